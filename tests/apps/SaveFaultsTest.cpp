#include "apps/CommandRun.h"
#include "apps/etabulon/commands/CliApp.h"
#include "support/AllocationCount.h"
#include "support/FaultVfs.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <chrono>
#include <iterator>
#include <optional>
#include <thread>

namespace etabulon::test {
namespace {

constexpr const char* kNothing = "nothing was saved";
constexpr const char* kUnknown = "whether the edits were saved is unknown";

class FaultySaveCommand : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        std::filesystem::remove(path);
        folder.MakeDatabase("t.db", "PRAGMA journal_mode=" + std::string(GetParam()) +
                                        "; CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, n INT);"
                                        "INSERT INTO t(a, n) VALUES('x',1),('y',2),('x',3)");
        std::filesystem::copy_file(path, original);
    }
    /// Saves in a process of its own, in which this happens; the number of calls that were counted
    /// is behind its output.
    CommandResult Save(FaultVfs::Fault fault, std::uint64_t allowed = kNoLimit) const {
        for (const char* const end : {"", "-journal", "-wal", "-shm"}) {
            std::filesystem::remove(path + end);
        }
        std::filesystem::copy_file(original, path);
        const pid_t process = fork();
        if (process == 0) {
            _exit(RunHere(std::move(fault), allowed));
        }
        int ended = 0;
        EXPECT_EQ(waitpid(process, &ended, 0), process);
        return {WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended), Content("out"),
                Content("err"), 0};
    }
    /// The file holds what the program has reported, and it has reported something.
    void ExpectTruth(const CommandResult& result) const {
        const std::string rows = Database(path).Ask("SELECT id||a||ifnull(n,'') FROM t");
        const bool isUnknown = result.err.find(kUnknown) != std::string::npos;
        if (result.status == 0) {
            EXPECT_EQ(rows, kAfter);
            EXPECT_EQ(result.out.find("2 updated, 1 inserted, 1 deleted\n"), 0U) << result.out;
        } else if (isUnknown) {
            EXPECT_TRUE(rows == kBefore || rows == kAfter) << rows;
        } else {
            EXPECT_EQ(rows, kBefore) << result.status << ' ' << result.err;
        }
        EXPECT_EQ(result.status != 0, result.err.find("etabulon: ") != std::string::npos);
        if (result.status >= 128) {
            EXPECT_NE(result.err.find(kNothing), std::string::npos) << result.err;
        }
    }

    static constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};
    static constexpr const char* kBefore = "1x1|2y2|3x3|";
    static constexpr const char* kAfter = "1x9|3x9|4new|";
    const TestFolder folder;
    const std::string path = folder.Path("t.db");
    const std::string original = folder.Path("original.db");

private:
    [[nodiscard]] int RunHere(FaultVfs::Fault fault, std::uint64_t allowed) const {
        for (const auto& [name, descriptor] :
             {std::pair("out", STDOUT_FILENO), std::pair("err", STDERR_FILENO)}) {
            dup2(open(folder.Path(name).c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600), descriptor);
        }
        FaultVfs vfs;
        vfs.Arm(std::move(fault));
        const Arguments words = Words(
            "etabulon edit @ t --levels a --set a=x:n=9 --delete a=y --insert a=new --save", path);
        std::vector<const char*> arguments;
        for (const std::string& word : words) {
            arguments.push_back(word.c_str());
        }
        const std::uint64_t before = AllocationsSoFar();
        std::optional<FailingAllocation> failing;
        if (allowed != kNoLimit) {
            failing.emplace(allowed);
        }
        const int status =
            RunEtabulon(static_cast<int>(arguments.size()), arguments.data(), nullptr);
        failing.reset();
        const std::string count =
            std::to_string(vfs.Count()) + ' ' + std::to_string(AllocationsSoFar() - before);
        return write(STDOUT_FILENO, count.data(), count.size()) > 0 ? status : 99;
    }
    [[nodiscard]] std::string Content(const char* name) const {
        std::ifstream stream(folder.Path(name));
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

TEST_P(FaultySaveCommand, ReportsWhatTheFileHolds) {
    const FaultVfs::Fault faults[] = {
        {FaultVfs::kRead, 1, SQLITE_IOERR_READ},
        {FaultVfs::kWrite, 1, SQLITE_FULL, FaultVfs::Moment::Half},
        {FaultVfs::kSync, 1, SQLITE_IOERR_FSYNC, FaultVfs::Moment::Before, true},
        {FaultVfs::kDelete, 1, SQLITE_IOERR_DELETE, FaultVfs::Moment::After},
        {FaultVfs::kUnlock, 1, SQLITE_IOERR_UNLOCK},
        {FaultVfs::kAnyCall, 1, SQLITE_IOERR_NOMEM}};
    for (FaultVfs::Fault fault : faults) {
        FaultVfs::Fault none = fault;
        none.at = 0;
        const CommandResult clean = Save(none);
        ExpectTruth(clean);
        const std::uint64_t calls = std::stoull(clean.out.substr(clean.out.find('\n') + 1));
        const std::uint64_t step = std::max<std::uint64_t>(1, calls / 25);
        for (fault.at = 1; fault.at <= calls; fault.at += step) {
            SCOPED_TRACE(testing::Message() << fault.code << " at call " << fault.at);
            ExpectTruth(Save(fault));
        }
    }
}

TEST_P(FaultySaveCommand, ASignalCancelsItUntilTheCommitAndNotBehind) {
    const CommandResult clean = Save({FaultVfs::kAnyCall, 0});
    const std::uint64_t calls = std::stoull(clean.out.substr(clean.out.find('\n') + 1));
    int cancelled = 0;
    int saved = 0;
    for (const int signal : {SIGINT, SIGTERM}) {
        FaultVfs::Fault fault{FaultVfs::kAnyCall, 1, SQLITE_OK};
        fault.onHit = [signal] {
            kill(getpid(), signal);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        };
        // The last calls are those of the commit and of what comes after.
        while (fault.at <= calls) {
            SCOPED_TRACE(testing::Message() << "signal " << signal << " at call " << fault.at);
            const CommandResult result = Save(fault);
            ExpectTruth(result);
            EXPECT_TRUE(result.status == 0 || result.status == 128 + signal) << result.status;
            ++(result.status == 0 ? saved : cancelled);
            fault.at += fault.at + 40 < calls ? 10 : 1;
        }
    }
    EXPECT_GT(cancelled, 10);
    EXPECT_GT(saved, 10);
}

/// What comes after the commit needs no memory to tell the truth.
TEST_P(FaultySaveCommand, MemoryThatRunsOutNearTheEndIsNoReasonToSaveAgain) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "allocations can't be made to fail here";
    }
    const CommandResult clean = Save({FaultVfs::kAnyCall, 0});
    const std::uint64_t all = std::stoull(clean.out.substr(clean.out.rfind(' ')));
    for (std::uint64_t allowed = all - 60; allowed <= all; ++allowed) {
        SCOPED_TRACE(testing::Message() << "after " << allowed << " allocations");
        ExpectTruth(Save({FaultVfs::kAnyCall, 0}, allowed));
    }
}

INSTANTIATE_TEST_SUITE_P(InBothJournals, FaultySaveCommand, ::testing::Values("delete", "wal"));

}  // namespace
}  // namespace etabulon::test
