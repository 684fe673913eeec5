#include "file_streams.h"

#include <sys/stat.h>
#include <sys/types.h>

namespace veltrane::tools {

std::string InputName(const std::string& path) { return IsStdStream(path) ? "stdin" : path; }

std::string OutputName(const std::string& path) { return IsStdStream(path) ? "stdout" : path; }

std::FILE* OpenInputStream(const std::string& path) {
    return IsStdStream(path) ? stdin : std::fopen(path.c_str(), "rb");
}

std::FILE* OpenOutputStream(const std::string& path) {
    return IsStdStream(path) ? stdout : std::fopen(path.c_str(), "wb");
}

bool CloseStream(std::FILE* file) {
    if (file == stdin) return true;
    if (file == stdout) return std::fflush(file) == 0 && std::ferror(file) == 0;
    const bool clean = std::ferror(file) == 0;
    return std::fclose(file) == 0 && clean;
}

long long SeekableOffset(std::FILE* file) {
    struct stat status;
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
    const off_t offset = ftello(file);
    return offset < 0 ? -1 : static_cast<long long>(offset);
}

}  // namespace veltrane::tools
