#include "etabulon/report/EReportFile.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <iterator>

namespace etabulon::test {
namespace {

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t FilesIn(const TestFolder& folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder.Path("")),
                      std::filesystem::directory_iterator()));
}

TEST(ReportFile, TakesTheNameOnlyAsAWhole) {
    const TestFolder folder;
    const std::string path = folder.MakeFile("report", "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    std::string error;
    {
        EReportFile file;
        ASSERT_TRUE(file.Open(path, error)) << error;
        file.Append("new");
        EXPECT_EQ(ContentOf(path), "old");
        ASSERT_TRUE(file.Commit(error)) << error;
    }
    EXPECT_EQ(ContentOf(path), "new");
    struct stat written {};
    ASSERT_EQ(stat(path.c_str(), &written), 0);
    EXPECT_EQ(written.st_mode & 07777U, 0640U);
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReportFile, ThatIsBrokenOrDroppedLeavesTheOldOne) {
    const TestFolder folder;
    const std::string path = folder.MakeFile("report", "old");
    std::string error;
    {
        EReportFile dropped;
        ASSERT_TRUE(dropped.Open(path, error));
        dropped.Append("new");
    }
    EReportFile broken;
    ASSERT_TRUE(broken.Open(path, error));
    broken.Append("new");
    broken.Fail("it rains");
    EXPECT_FALSE(broken.Commit(error));
    EXPECT_EQ(error, "'" + path + "' can't be written: it rains");
    EXPECT_EQ(ContentOf(path), "old");
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReportFile, OnAFullDiskLeavesTheOldOne) {
    const TestFolder folder;
    const std::string path = folder.MakeFile("report", "old");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit tight{100'000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    std::string error;
    EReportFile file;
    ASSERT_TRUE(file.Open(path, error));
    for (int part = 0; part < 10; ++part) {
        file.Append(std::string(50'000, 'x'));
    }
    EXPECT_FALSE(file.Commit(error));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_NE(error.find("File too large"), std::string::npos) << error;
    EXPECT_EQ(ContentOf(path), "old");
    EXPECT_EQ(FilesIn(folder), 1U);
}

TEST(ReportFile, RefusesWhatIsNoRegularFile) {
    const TestFolder folder;
    const std::string target = folder.MakeFile("target", "old");
    std::filesystem::create_symlink(target, folder.Path("link"));
    std::filesystem::create_directory(folder.Path("folder"));
    const std::vector<std::pair<std::string, std::string>> cases = {
        {folder.Path("link"), "it is a symbolic link"},
        {folder.Path("folder"), "it is a folder"},
        {folder.Path("new/"), "that isn't the name of a file"},
        {folder.Path("none/new"), "its folder isn't there"},
        {folder.Path("target/new"), "Not a directory"},
        {"/dev/null", "it isn't a regular file"},
        {"", "that isn't the name of a file"},
    };
    for (const auto& [path, said] : cases) {
        EReportFile file;
        std::string error;
        EXPECT_FALSE(file.Open(path, error)) << path;
        EXPECT_NE(error.find(said), std::string::npos) << error;
    }
    EXPECT_EQ(ContentOf(target), "old");
}

}  // namespace
}  // namespace etabulon::test
