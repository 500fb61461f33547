#include "apps/CommandRun.h"
#include "support/AllocationCount.h"

#include <algorithm>

namespace etabulon::test {
namespace {

const std::string kStrikes = ETABULON_STRIKES_DATABASE;

// --------------------------------------------------------------------------- descriptors that fail

TEST(BrokenDescriptors, ChangeNoStatusAndEndNothingBySignal) {
    // D is the database; the text is in what is left of stdout and stderr.
    const Table<std::string, int, std::string> cases = {
        {"$ETABULON walk nosuch 2>&-", 1, ""},
        {"$ETABULON walk nosuch 2>/dev/full", 1, ""},
        {"$ETABULON wlak 2>&-", 2, ""},
        {"$ETABULON walk D strikes --limit many 2>/dev/full", 2, ""},
        {"$ETABULON walk D strikes >/dev/full 2>&-", 1, ""},
        {"$ETABULON walk D strikes >/dev/full 2>/dev/full", 1, ""},
        {"$ETABULON walk D strikes --limit 1 >&-", 1, "can't be written: Bad file descriptor"},
        {"$ETABULON walk D strikes --limit 1 <&- >&- 2>&-", 1, ""},
        {"$ETABULON --help >&-", 1, "can't be written: Bad file descriptor"},
        {"$ETABULON walk D states --limit 1 <&- 2>&-", 0, "1\tArizona"},
        // An explanation beside the result.
        {"$ETABULON edit D strikes --set airport_id=1:airport_id=2 --levels 'airport>name' --show "
         "score --calc COUNT:id --top 0 2>/dev/full",
         0, "total\t10000"},
        {"(sleep 0.2; $ETABULON walk nosuch; echo $? >&3) 3>&1 2>&1 >/dev/null | :", 0, ""}};
    for (const auto& [given, status, said] : cases) {
        std::string line = given;
        if (const std::size_t at = line.find(" D "); at != std::string::npos) {
            line.replace(at + 1, 1, kStrikes);
        }
        const CommandResult result = RunShell(line);
        EXPECT_EQ(result.status, status) << line << result.err;
        ExpectHas(result.out + result.err, {said});
    }
}

TEST(ReaderThatHasGone, IsNoFailureWhateverWasPrinted) {
    const TestFolder folder;
    const std::string status = folder.Path("status");
    const std::pair<std::string, const char*> cases[] = {
        {"--help", "0"},
        {"grid --help", "0"},
        {"--version", "0"},
        {"levels " + kStrikes, "0"},
        {"tree " + kStrikes + " states --levels id", "0"},
        {"walk nosuch 2>&1", "1"}};
    for (const auto& [command, expected] : cases) {
        RunShell("(sleep 0.2; $ETABULON " + command + "; echo $? >" + status + ") | :");
        std::string told;
        std::ifstream(status) >> told;
        EXPECT_EQ(told, expected) << command;
    }
}

// --------------------------------------------------------------------------------- what runs short

TEST(TooFewThreads, AreAFailureThatIsTold) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "sanitizers start threads of their own";
    }
    const std::string line = "ulimit -p 1; exec $ETABULON levels " + kStrikes;
    const CommandResult result =
        geteuid() != 0 ? RunShell(line)
                       : RunShell("exec setpriv --reuid 65534 --clear-groups sh -c '" + line + "'");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "etabulon: no thread can be started: Resource temporarily unavailable\n");
}

TEST(TooLittleMemory, IsAFailureWhereverItRunsOut) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "sanitizers take more than there is";
    }
    bool hasFailed = false;
    bool hasDone = false;
    for (int megabytes = 8; megabytes < 400; megabytes += megabytes < 120 ? 2 : 40) {
        const std::string command =
            "ulimit -v " + std::to_string(megabytes * 1024) + "; exec $ETABULON ";
        // With less, the shell, the loader or the libraries fail before the program begins.
        if (RunShell(command + "--version").status != 0) {
            continue;
        }
        const CommandResult result =
            RunShell(command + "tree " + kStrikes +
                     " strikes --levels airport_id,species_id,id --format ndjson");
        EXPECT_LT(result.status, 128) << megabytes << result.err;
        if (result.status == 1) {
            hasFailed = true;
            EXPECT_EQ(result.err.find("etabulon: "), 0U) << megabytes;
        }
        hasDone = hasDone || result.status == 0;
    }
    EXPECT_TRUE(hasFailed);
    EXPECT_TRUE(hasDone);
}

// ------------------------------------------------------------------------------------- whole lines

/// Texts with line ends and quotes, and more output than pipes and buffers hold.
class LargeResults : public testing::TestWithParam<const char*> {
protected:
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "large.db",
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT);"
        "WITH RECURSIVE c(x) AS (SELECT 0 UNION ALL SELECT x + 1 FROM c WHERE x < 90000)"
        "INSERT INTO t SELECT x, 'line' || char(10) || '\"' || (x / 300), 'column ' || (x % 300)"
        "    FROM c;");
};

TEST_P(LargeResults, EndWithAWholeLineWhenInterrupted) {
    for (const std::string format : {"table", "csv", "tsv", "json", "ndjson", "markdown", "html"}) {
        SCOPED_TRACE(format);
        const CommandResult result =
            RunInterrupted(Words(GetParam() + (" --format " + format), database), 1);
        // A quick one may end before the signal comes.
        EXPECT_TRUE(result.status == 130 || result.status == 0) << result.status;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.ends_with('\n'));
        // A line end in a text of CSV ends no record.
        EXPECT_FALSE(format == "csv" &&
                     std::count(result.out.begin(), result.out.end(), '"') % 2 != 0);
    }
}

INSTANTIATE_TEST_SUITE_P(All, LargeResults,
                         testing::Values("walk @ t --levels a,b", "tree @ t --levels a,b,id",
                                         "grid @ t --axes a,b --calc COUNT:id",
                                         "grid @ t --axes a,b --calc COUNT:id --drill total,total",
                                         "score @ t --level a,b --calc COUNT:id"));

TEST(InterruptedScript, EndsWithAWholeEdit) {
    const TestFolder folder;
    const std::string database =
        folder.MakeDatabase("t.db", "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT)");
    std::string script;
    for (int id = 0; id < 40000; ++id) {
        script += "set id=" + std::to_string(id) + ":a=\"x\nset id=7:a=y\"\n";
    }
    const CommandResult result =
        RunInterrupted({"edit", database, "--script", folder.MakeFile("script", script)}, 1);
    EXPECT_EQ(result.status, 130);
    EXPECT_LT(result.out.size(), script.size());
    EXPECT_EQ(script.find(result.out), 0U);
    EXPECT_TRUE(result.out.ends_with("y\"\n"));
}

/// A line that no buffer holds: the first interrupt waits for its end, the second doesn't.
TEST(InterruptedLine, IsWrittenToItsEndUnlessInterruptedAgain) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "long.db",
        "CREATE TABLE t(a TEXT, b TEXT);"
        "INSERT INTO t VALUES(printf('%.3000000c', 'x'), 'one'), ('y', 'two');");
    const Arguments grid = Words("grid @ t --axes a --calc COUNT:b --format tsv", database);
    const CommandResult once = RunInterrupted(grid, 1);
    EXPECT_TRUE(once.status == 130 || once.status == 0) << once.status;  // it may end first
    EXPECT_EQ(once.out.back(), '\n');
    CommandRun twice(grid);
    twice.ReadAtLeast(1);
    twice.Interrupt();
    while (twice.IsRunning()) {  // nobody reads: it can only end by the second one
        twice.Interrupt();
        usleep(1000);
    }
    twice.Finish();
    EXPECT_EQ(twice.status, 130);
}

TEST(InterruptedReading, EndsWith130AndNoMessage) {
    const TestFolder folder;
    std::string text = "a,b\n";
    for (int row = 0; row < 2000000; ++row) {
        text += "12,x\n";
    }
    CommandRun run({"grid", folder.MakeFile("t.csv", text), "--axes", "b", "--calc", "SUM:a"});
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.out + run.err, "");
}

/// The script of a save that failed is being written while the signals come.
TEST(InterruptedSave, SaysThatNothingWasSavedWhicheverSignalEndsIt) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("t.db", "CREATE VIEW v AS SELECT 1 AS a");
    std::string script;
    for (int a = 0; a < 40000; ++a) {
        script += "delete a=" + std::to_string(a) + '\n';
    }
    const std::string file = folder.MakeFile("script", script);
    for (const int second : {SIGINT, SIGTERM}) {
        CommandRun run({"edit", database, "v", "--script", file, "--save"});
        run.ReadAtLeast(1);
        run.Interrupt();
        while (run.IsRunning()) {
            run.Interrupt(second);
            usleep(1000);
        }
        run.Finish();
        EXPECT_EQ(run.err, "etabulon: cancelled: nothing was saved\n");
        // Between two writes of the script the first signal ends it.
        EXPECT_TRUE(run.status == 128 + second || run.status == 128 + SIGINT) << run.status;
    }
}

}  // namespace
}  // namespace etabulon::test
