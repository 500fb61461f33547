#pragma once

#include "support/Database.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace etabulon::test {

/// A folder that goes with what is in it. It is in memory where there is room for files: what a
/// killed process has written is there as it would be on a disk, and nothing waits for one.
class TestFolder {
public:
    TestFolder() {
        const std::filesystem::path memory = "/dev/shm";
        const bool hasMemory = access(memory.c_str(), W_OK) == 0;
        path_ = (hasMemory ? memory : std::filesystem::temp_directory_path()) / "etabulon-XXXXXX";
        EXPECT_NE(mkdtemp(path_.data()), nullptr);
    }
    ~TestFolder() {
        std::error_code failure;
        std::filesystem::remove_all(path_, failure);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] std::string Path(const std::string& name) const { return path_ + '/' + name; }
    /// Makes a database of this script; its path.
    std::string MakeDatabase(const std::string& name, const std::string& script) const {
        Database(Path(name)).Do(script);
        return Path(name);
    }
    std::string MakeFile(const std::string& name, const std::string& content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

private:
    std::string path_;
};

}  // namespace etabulon::test
