#include "apps/CommandRun.h"
#include "apps/etabulon/commands/CliHelp.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace etabulon {
namespace {

TEST(Help, ShowsExamplesThatRun) {
    const test::TestFolder folder;
    std::filesystem::copy_file(ETABULON_STRIKES_DATABASE, folder.Path("strikes.sqlite"));
    std::filesystem::copy_file(ETABULON_DATA_DIR "/birdstrikes.csv",
                               folder.Path("birdstrikes.csv"));
    const std::string programs = std::filesystem::path(ETABULON_COMMAND).parent_path();
    for (const CliExample& example : CliExamples()) {
        SCOPED_TRACE(example.line);
        const std::string line = "cd '" + folder.Path("") + "' && PATH='" + programs +
                                 "':$PATH && { " + example.line + "; } >/dev/null </dev/null";
        // Without a terminal browse reads its options and goes no further.
        const bool needsTerminal = std::string(example.command) == "browse";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), needsTerminal ? 2 : 0);
    }
}

TEST(Help, HasLinesOfAtMostOneHundredColumns) {
    const auto isFirstByte = [](char byte) { return (byte & 0xC0) != 0x80; };
    for (const char* command : {"levels", "walk", "tree", "browse", "grid", "score", "edit"}) {
        SCOPED_TRACE(command);
        std::istringstream help(test::RunCommand({command, "--help"}).out);
        std::string line;
        while (std::getline(help, line)) {
            EXPECT_LE(std::count_if(line.begin(), line.end(), isFirstByte), 100) << line;
        }
    }
}

}  // namespace
}  // namespace etabulon
