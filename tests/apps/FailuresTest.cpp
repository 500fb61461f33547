#include "apps/CommandRun.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace etabulon::test {
namespace {

const std::string kStrikes = ETABULON_STRIKES_DATABASE;

TEST(WrongUsage, EndsWith2) {
    const std::vector<FailureCase> cases = {
        {{}, 2, {"subcommand"}},
        {{"wlak", kStrikes}, 2, {"'wlak'", "mean 'walk'"}},
        {{"walk"}, 2, {"SOURCE", "etabulon walk --help"}},
        {{"walk", kStrikes, "strikes", "more"}, 2, {"more"}},
        {{"walk", kStrikes, "strikes", "--lvels", "x"}, 2, {"--lvels"}},
        {{"walk", kStrikes, "strikes", "--limit", "-1"}, 2, {"--limit"}},
        {{"walk", kStrikes, "strikes", "--limit", "many"}, 2, {"--limit"}},
        {{"walk", kStrikes, "strikes", "--format", "xml"}, 2, {"'xml'", "ndjson"}},
        {{"walk", kStrikes}, 2, {"6 tables", "'strikes'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage,,id"}, 2, {"missing", "damage,,id"}},
        {{"walk", kStrikes, "strikes", "--levels", "\"damage"}, 2, {"closed"}},
        {{"walk", kStrikes, "strikes", "--levels", "\"damage\"x"}, 2, {"behind"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage,id,damage"}, 2, {"'damage'", "twice"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage", "--at", "damage"}, 2, {"no value"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage", "--at", "damage=x,damage=y"},
         2,
         {"two values", "'damage'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage", "--at", "id=1"},
         2,
         {"'id'", "'damage'"}},
        {{"walk", kStrikes, "airports", "--levels",
          "id\xC2\xBB"
          "damage"},
         2,
         {"table.column"}}};
    ExpectFailures(cases);
}

TEST(WhatIsNotThere, EndsWith1AndNamesWhatIs) {
    const TestFolder folder;
    folder.MakeFile("people.csv", "name\nAnn\n");
    const std::vector<FailureCase> cases = {
        {{"walk", folder.Path("pepole.csv")}, 1, {"pepole.csv'", "No such file", "'people.csv'"}},
        {{"levels", folder.Path("")}, 1, {"is a folder"}},
        {{"levels", "/dev/null"}, 1, {"/dev/null", "not a file"}},
        {{"walk", kStrikes, "strike"}, 1, {"strikes.sqlite", "'strike'", "mean 'strikes'"}},
        {{"levels", kStrikes, "nothing_like_it"}, 1, {"'states'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damag"}, 1, {"'damag'", "mean 'damage'"}},
        {{"walk", kStrikes, "strikes", "--columns", "zzz"}, 1, {"'zzz'", "more"}},
        {{"walk", kStrikes, "strikes", "--levels", "airprt>name"}, 1, {"link", "mean 'airport'"}},
        {{"walk", kStrikes, "strikes", "--levels", "airport"}, 1, {"is a link", "'airports'"}},
        {{"walk", kStrikes, "strikes", "--levels", "airport>nam"}, 1, {"'airports'", "'name'"}},
        {{"walk", kStrikes, "states", "--levels", "id\xC2\xBBstrikes.id"}, 1, {"no link"}},
        {{"walk", kStrikes, "states", "--levels", "id\xC2\xBBx.id"}, 1, {"no table 'x'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage", "--at", "damage=Substancial"},
         1,
         {"'Substancial'", "level 'damage'", "mean 'Substantial'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage,airport>state>name", "--at",
          "damage=None,airport>state>name=Texs"},
         1,
         {"'Texs'", "level 'airport>state>name'", "mean 'Texas'"}},
        {{"walk", kStrikes, "strikes", "--levels", "damage", "--at", "damage=NULL"}, 1, {"NULL"}},
        {{"walk", kStrikes, "strikes", "--levels", "id,damage", "--at", "id=4,damage=None"},
         1,
         {"id = '4', damage = 'None'", "together"}},
        {{"walk", kStrikes, "strikes", "--levels", "id", "--at", "id=four"},
         1,
         {"'four'", "integer"}},
        {{"walk", kStrikes, "strikes", "--levels", "flight_date", "--at", "flight_date=2024-13-01"},
         1,
         {"'2024-13-01'", "date"}}};
    ExpectFailures(cases);
}

/// What a message proposes in the place of the last argument.
std::string Proposed(const std::string& message) {
    constexpr std::string_view kExample = "such as ";
    if (const std::size_t place = message.find(kExample); place != std::string::npos) {
        return message.substr(place + kExample.size(), message.size() - place - 9);
    }
    const std::size_t open = message.find('\'', message.rfind("; "));
    return message.substr(open + 1, message.find('\'', open + 1) - open - 1);
}

TEST(Proposals, AreTakenAsTheyStand) {
    const TestFolder folder;
    const std::string odd = folder.MakeDatabase(
        "odd.db",
        "CREATE TABLE target(id INTEGER PRIMARY KEY, \"x>y\" TEXT);"
        "CREATE TABLE t(\"a,b\" TEXT, \"c:d\" INTEGER, flag BOOLEAN, raw BLOB, \"a link\" INTEGER"
        "    REFERENCES target);"
        "INSERT INTO target VALUES(1, 'q');"
        "INSERT INTO t VALUES('one,two', 1, 1, x'00ff', 1), ('NULL', 2, 0, x'0a', 1), (NULL, 3, 2,"
        "    NULL, NULL);");
    const std::vector<std::vector<std::string>> cases = {
        {"grid", kStrikes, "strikes", "--calc", "COUNT"},
        {"grid", kStrikes, "strikes", "--calc", "damage"},
        {"grid", kStrikes, "strikes", "--calc", "sum"},
        {"grid", kStrikes, "strikes", "--calc", "zzz"},
        {"grid", kStrikes, "strikes", "--calc", "airport>name"},
        {"grid", kStrikes, "strikes", "--calc", "airport>sum:cost_total"},
        {"grid", kStrikes, "strikes", "--axes", "damage", "--calc", "SMU:cost_total"},
        {"score", odd, "t", "--level", "flag", "--calc", "SUM"},
        {"score", odd, "t", "--level", "flag", "--calc", "\"a,b\""},
        {"score", odd, "t", "--level", "flag", "--calc", "zzz"},
        {"walk", kStrikes, "strikes", "--levels", "airprt>name"},
        {"walk", kStrikes, "strikes", "--levels", "airport>nam"},
        {"walk", kStrikes, "strikes", "--levels", "damage", "--at", "damage=Substancial"},
        {"walk", odd, "t", "--levels", "\"a.b\""},
        {"walk", odd, "t", "--levels", "c;d"},
        {"walk", odd, "t", "--levels", "\"a link\">xy"},
        {"walk", odd, "t", "--levels", "\"a,b\"", "--at", "\"a,b\"=one"},
        {"walk", odd, "t", "--levels", "\"a,b\"", "--at", "\"a,b\"=NUL"},
        {"walk", odd, "t", "--levels", "flag", "--at", "flag=7"},
        {"walk", odd, "t", "--levels", "raw", "--at", "raw=00fe"},
        {"tree", odd, "t", "--levels", "flag", "--hide", "raw"},
        {"grid", odd, "t", "--axes", "\"a,b\"", "--calc", "COUNT:flag", "--drill", "one two"},
        {"grid", odd, "t", "--axes", "\"a,b\"", "--calc", "COUNT:flag", "--drill", "ULL"},
        {"tree", odd, "t", "--levels", "flg"},
        {"walk", odd, "taget"},
        {"edit", odd, "t", "--delete", "flag=1", "--show", "wlak"}};
    for (std::vector<std::string> arguments : cases) {
        const CommandResult refused = RunCommand(arguments);
        ASSERT_NE(refused.status, 0) << testing::PrintToString(arguments);
        // Of a path or a place it is the last name or value.
        std::string& last = arguments.back();
        const std::string proposed = Proposed(refused.err);
        const bool isWhole = refused.err.find("such as") != std::string::npos;
        const std::size_t kept = isWhole ? std::string::npos : last.find_last_of("=>");
        last = (kept == std::string::npos ? "" : last.substr(0, kept + 1)) + proposed;
        if (refused.err.find("has no link") != std::string::npos) {
            last = proposed + ">name";
        } else if (refused.err.find("has no function") != std::string::npos) {
            last = proposed + ":cost_total";
        }
        const CommandResult taken = RunCommand(arguments);
        EXPECT_EQ(taken.status, 0) << refused.err << testing::PrintToString(arguments) << taken.err;
    }
}

TEST(BadSource, EndsWith1AndNamesTheFile) {
    const TestFolder folder;
    std::ifstream stream(kStrikes, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string cut = folder.MakeFile("cut.db", bytes.substr(0, bytes.size() / 2));
    bytes.replace(100, 4000, 4000, '\xFF');
    const std::string garbled = folder.MakeFile("garbled.db", bytes);
    const std::vector<FailureCase> cases = {
        {{"walk", folder.MakeFile("empty.db", "")}, 1, {"empty.db", "is empty"}},
        {{"walk", folder.MakeFile("picture.csv", std::string("\x89PNG\0\0", 6))},
         1,
         {"picture.csv", "neither"}},
        {{"levels", garbled}, 1, {"garbled.db"}},
        {{"walk", folder.MakeFile("uneven.csv", "a,b\n1,2\n3\n"), "--limit", "1"},
         1,
         {"uneven.csv", "3"}},
        {{"walk", folder.MakeFile("no\x1B[2Jsuch", ""), "x"}, 1, {"no\\x1b[2Jsuch"}}};
    ExpectFailures(cases);
    const CommandResult broken = RunCommand({"walk", cut, "strikes"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("cut.db"), std::string::npos) << broken.err;
}

TEST(BadSource, IsAFileThatMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read everything";
    }
    const TestFolder folder;
    const std::string path = folder.MakeFile("secret.csv", "a\n1\n");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    ExpectFailures({{{"walk", path}, 1, {"secret.csv", "Permission denied"}}});
}

TEST(BadSource, IsADatabaseThatAnotherHasLocked) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("busy.db", "CREATE TABLE t(id INTEGER)");
    Database holder(path);
    holder.Do("BEGIN EXCLUSIVE");
    ExpectFailures({{{"walk", path}, 1, {"busy.db", "locked"}}});
}

TEST(BadView, EndsItsWalkWith1AndTheEnginesText) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "views.db",
        "CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(7);"
        "CREATE VIEW v AS SELECT abs(-9223372036854775807 - id / 7) AS x FROM t;");
    const CommandResult result = RunCommand({"walk", path, "v"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("overflow"), std::string::npos) << result.err;
}

TEST(Output, ThatCanNotBeWrittenIsAFailure) {
    for (const char* const command : {"walk", "levels"}) {
        const CommandResult result = RunCommand({command, kStrikes, "strikes"}, "/dev/full");
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("No space left"), std::string::npos) << result.err;
    }
    EXPECT_EQ(RunCommand({"--help"}, "/dev/full").status, 1);
}

class EndlessView : public testing::Test {
protected:
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "endless.db",
        "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "    SELECT x FROM c;"
        "CREATE VIEW none AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "    SELECT x FROM c WHERE x < 0;");
};

TEST_F(EndlessView, IsCancelledByInterruptWithWholeLinesAnd130) {
    CommandRun run({"walk", database, "endless", "--format", "ndjson"});
    run.ReadAtLeast(1);
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out.find("{\"x\":\"1\"}\n{\"x\":\"2\"}\n"), 0U);
    EXPECT_EQ(run.out.substr(run.out.size() - 2), "}\n");
}

TEST_F(EndlessView, IsCancelledWhereverTheInterruptComes) {
    for (const char* const table : {"endless", "none"}) {
        CommandRun run({"walk", database, table, "--levels", "x"});
        run.Interrupt();
        run.Finish();
        EXPECT_EQ(run.status, 130) << table;
    }
}

TEST_F(EndlessView, LeavesAnInterruptedJsonArrayOpen) {
    CommandRun run({"walk", database, "endless", "--format", "json"});
    run.ReadAtLeast(1);
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.out.substr(run.out.size() - 2), "}\n");
}

TEST_F(EndlessView, IsWrittenAsItComesAndEndsQuietlyWhenTheReaderGoes) {
    for (const char* const format : {"table", "csv", "tsv", "json", "ndjson"}) {
        CommandRun run({"walk", database, "endless", "--format", format});
        run.ReadAtLeast(1000);
        run.CloseOutput();
        run.Finish();
        EXPECT_EQ(run.status, 0) << format;
        EXPECT_EQ(run.err, "") << format;
    }
}

}  // namespace
}  // namespace etabulon::test
