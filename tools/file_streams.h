// Files named on the command line, where "-" stands for standard input or
// standard output, so that every command can sit in a pipeline.
#ifndef VELTRANE_TOOLS_FILE_STREAMS_H
#define VELTRANE_TOOLS_FILE_STREAMS_H

#include <cstdio>
#include <string>

namespace veltrane::tools {

inline bool IsStdStream(const std::string& path) { return path == "-"; }

// The names messages use: "stdin" and "stdout" for "-", else the path.
std::string InputName(const std::string& path);
std::string OutputName(const std::string& path);

// Binary streams; "-" gives stdin or stdout. Null with errno set on failure.
std::FILE* OpenInputStream(const std::string& path);
std::FILE* OpenOutputStream(const std::string& path);

// Closes what the Open functions returned; stdin and stdout are only flushed.
// False when buffered data could not be written.
bool CloseStream(std::FILE* file);

// The stream's offset when it can seek back there (a regular file), else -1
// (a pipe, a FIFO or a terminal).
long long SeekableOffset(std::FILE* file);

}  // namespace veltrane::tools

#endif
