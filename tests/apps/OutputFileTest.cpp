#include "CommandRun.h"

#include <filesystem>
#include <iterator>

namespace etabulon::test {
namespace {

class OutputFile : public testing::Test {
protected:
    /// A file whose third record can't be read.
    const TestFolder folder;
    const std::string source = folder.MakeDatabase(
        "t.sqlite",
        "CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER); INSERT INTO t VALUES (1, 1), (2, 2), "
        "(3, -9223372036854775808), (4, 4); CREATE VIEW v AS SELECT id, abs(n) AS n FROM t");

    CommandResult Run(const std::string& line) const {
        Arguments arguments = Words(line, source);
        for (std::string& argument : arguments) {
            if (argument.starts_with("./")) {
                argument = folder.Path(argument.substr(2));
            }
        }
        return RunCommand(arguments);
    }
    std::string Content(const std::string& name) const {
        std::ifstream file(folder.Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void ExpectFiles(std::ptrdiff_t count) const {
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("")),
                                std::filesystem::directory_iterator()),
                  count);
    }
};

TEST_F(OutputFile, HasTheFormatOfItsEnding) {
    struct Case {
        const char* name;
        const char* begin;
    };
    const std::vector<Case> cases = {
        {"a.csv", "id,n\n1,1\n"},      {"a.TSV", "id\tn\n"},      {"a.json", "[\n{\"id\":1"},
        {"a.ndjson", "{\"id\":1,"},    {"a.jsonl", "{\"id\":1,"}, {"a.md", "| id |"},
        {"a.html", "<!DOCTYPE html>"}, {"a.txt", "id  n\n"},      {"a.xlsx", "PK"},
    };
    for (const Case& each : cases) {
        const CommandResult run = Run(std::string("walk @ t --limit 2 --output ./") + each.name);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_TRUE(Content(each.name).starts_with(each.begin)) << Content(each.name);
    }
    EXPECT_EQ(Run("walk @ t --limit 1 --format json --output ./b.csv").status, 0);
    EXPECT_EQ(Content("b.csv"), "[\n{\"id\":1,\"n\":1}\n]\n");
    EXPECT_EQ(Run("score @ t --level id --calc SUM:n --output ./b.svg").status, 0);
    EXPECT_TRUE(Content("b.svg").starts_with("<svg "));
    EXPECT_EQ(Run("edit @ t --set id=1:n=7 --show walk --limit 1 --output ./c.csv").status, 0);
    EXPECT_EQ(Content("c.csv"), "id,n\n1,7\n");
}

TEST_F(OutputFile, StaysAsItWasBesideAFailure) {
    folder.MakeFile("old.csv", "old");
    folder.MakeFile("old.xlsx", "old");
    folder.MakeFile("old.svg", "old");
    folder.MakeFile("s.csv", "set n=1:n=2");
    struct Case {
        const char* line;
        int status;
        const char* said;
    };
    const std::vector<Case> cases = {
        {"walk @ v --output ./old.csv", 1, "integer overflow"},
        {"walk @ v --output ./old.xlsx", 1, "integer overflow"},
        {"walk @ t --columns none --output ./old.csv", 1, "'none'"},
        {"walk @ t --output ./t.sqlite --format csv", 2, "would replace the file of SOURCE"},
        {"walk @ t --output ./t.sqlite-wal --format csv", 2, "would replace the file of SOURCE"},
        {"levels ./ --output ./old.csv", 2, "would replace the file of SOURCE"},
        {"edit @ t --script ./s.csv --show walk --output ./s.csv", 2, "the file of --script"},
        {"walk @ t --output ./old.abc", 2, "tells no format"},
        {"walk @ t --output ./old.svg", 2, "only grid and score have one"},
        {"walk @ t --output ./none/a.csv", 1, "its folder isn't there"},
        {"grid @ t --axes n --calc COMMONVAL:n --drill 1 --output ./old.svg", 2, "no picture"},
        {"score @ t --level id --calc SUM:n --bars --output ./old.csv", 2,
         "needs the format table"},
    };
    for (const Case& each : cases) {
        const CommandResult run = Run(each.line);
        EXPECT_EQ(run.status, each.status) << each.line << run.err;
        EXPECT_NE(run.err.find(each.said), std::string::npos) << each.line << run.err;
    }
    EXPECT_EQ(Content("old.csv") + Content("old.xlsx") + Content("old.svg"), "oldoldold");
    ExpectFiles(5);
}

TEST_F(OutputFile, StaysAsItWasAfterCtrlC) {
    folder.MakeFile("old.csv", "old");
    Arguments arguments = Words("walk @ strikes --output");
    arguments.push_back(folder.Path("old.csv"));
    CommandRun run(arguments);
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    // The signal may come before the file is opened.
    EXPECT_TRUE(run.err.empty() ||
                run.err == "etabulon: cancelled: the file of --output is left as it was\n")
        << run.err;
    EXPECT_EQ(Content("old.csv"), "old");
    ExpectFiles(2);
}

TEST_F(OutputFile, TellsWhatASpreadsheetCanNotHold) {
    const std::string database = folder.MakeDatabase(
        "long.sqlite",
        "CREATE TABLE t(id INTEGER PRIMARY KEY, text TEXT); INSERT INTO t VALUES (1, "
        "replace(hex(zeroblob(20000)), '00', 'xy'))");
    const CommandResult run = RunCommand({"walk", database, "--output", folder.Path("new.xlsx")});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("new.xlsx' can't be written: a spreadsheet's cell has at most 32,767 "
                           "characters; the text of column 'text' in row 2 has 40000"),
              std::string::npos)
        << run.err;
    ExpectFiles(2);
}

TEST_F(OutputFile, MayBeATableWithBars) {
    const std::string bars =
        folder.MakeDatabase("bars.sqlite",
                            "CREATE TABLE t(id INTEGER PRIMARY KEY, n INTEGER); "
                            "INSERT INTO t VALUES (1, 8), (2, -4), (3, 1), (4, NULL), (5, 0)");
    const std::string line = " $ETABULON score " + bars + " --level id --calc SUM:n --bars";
    EXPECT_EQ(RunShell("LC_ALL=C" + line).out,
              "id     SUM(n)  \n"
              "-----  ------  ------------------------\n"
              "    1       8          ################\n"
              "    3       1          ##\n"
              "    5       0  \n"
              "    2      -4  --------\n"
              "    4    NULL  \n"
              "total       5  \n");
    EXPECT_EQ(
        RunShell("LC_ALL=de_DE.utf8" + line + " --top 2").out,
        "id     SUM(n)  \n"
        "-----  ------  ------------------------\n"
        "    1       8  \xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88"
        "\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88"
        "\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88"
        "\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\n"
        "    3       1  \xE2\x96\x88\xE2\x96\x88\xE2\x96\x88\n"
        "total       5  \n");
    // The root is the total of its nodes.
    EXPECT_EQ(RunShell("LC_ALL=C $ETABULON tree " + bars +
                       " --levels id --calc SUM:n --sort SUM:n --bars")
                  .out,
              "id   count  SUM(n)  \n"
              "---  -----  ------  ------------------------\n"
              "t        5       5  \n"
              "  1      1       8          ################\n"
              "  3      1       1          ##\n"
              "  5      1       0  \n"
              "  2      1      -4  --------\n"
              "  4      1    NULL  \n");
}

TEST_F(OutputFile, HasColoursOnlyIfTheUserSaysSo) {
    const std::string walk =
        "walk " +
        folder.MakeDatabase("none.sqlite", "CREATE TABLE t(a TEXT); INSERT INTO t VALUES (NULL)") +
        " --levels a --format table --color ";
    const Table<std::string, bool> cases = {{"$ETABULON " + walk + "auto", false},
                                            {"$ETABULON " + walk + "always", true},
                                            {"NO_COLOR=1 $ETABULON " + walk + "always", true}};
    for (const auto& [line, isDim] : cases) {
        EXPECT_EQ(RunShell(line).out.find("\x1B[2mNULL\x1B[0m") != std::string::npos, isDim)
            << line;
    }
}

}  // namespace
}  // namespace etabulon::test
