// A fresh directory per test for the files the tool's tests write.
#ifndef VELTRANE_TESTS_TOOLS_TEMP_DIR_H
#define VELTRANE_TESTS_TOOLS_TEMP_DIR_H

#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace veltrane::tools::test {

// The process id keeps concurrent runs of the tests apart.
class TempDir {
public:
    TempDir() {
        static int count = 0;
        path_ =
            std::filesystem::temp_directory_path() /
            ("veltrane_tools_tests." + std::to_string(getpid()) + "." + std::to_string(count++));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

inline std::vector<uint8_t> ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace veltrane::tools::test

#endif
