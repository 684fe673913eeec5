// A fresh directory per test for the files the tool's tests write.
#ifndef VELTRANE_TESTS_TOOLS_TEMP_DIR_H
#define VELTRANE_TESTS_TOOLS_TEMP_DIR_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace veltrane::tools::test {

class TempDir {
public:
    // The process id keeps concurrent runs of the same test apart; the '/' in
    // the names of parameterised tests would make a directory of its own.
    TempDir()
        : path_(std::filesystem::temp_directory_path() /
                ("veltrane_tools_tests." + std::to_string(getpid()) + "." + TestName())) {
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    static std::string TestName() {
        std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::replace(name.begin(), name.end(), '/', '.');
        return name;
    }

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
