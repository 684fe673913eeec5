// A fresh directory per test for the files the tool's tests write.
#ifndef VELTRANE_TESTS_TOOLS_TEMP_DIR_H
#define VELTRANE_TESTS_TOOLS_TEMP_DIR_H

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace veltrane::tools::test {

class TempDir {
public:
    TempDir() {
        std::string name = std::filesystem::temp_directory_path() / "veltrane_tools_tests.XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

}  // namespace veltrane::tools::test

#endif
