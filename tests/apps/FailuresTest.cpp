#include "apps/CommandRun.h"

#include <iterator>

namespace etabulon::test {
namespace {

const std::string kStrikes = ETABULON_STRIKES_DATABASE;

TEST(WrongUsage, EndsWith2) {
    ExpectFailures({{"", 2, {"subcommand"}},
                    {"wlak @", 2, {"'wlak'", "mean 'walk'"}},
                    {"walk", 2, {"SOURCE", "etabulon walk --help"}},
                    {"walk @ strikes more", 2, {"more"}},
                    {"walk @ strikes --lvels x", 2, {"--lvels"}},
                    {"walk @ strikes --limit -1", 2, {"--limit"}},
                    {"walk @ strikes --limit many", 2, {"--limit"}},
                    {"walk @ strikes --format xml", 2, {"'xml'", "ndjson"}},
                    {"walk @", 2, {"6 tables", "'strikes'"}},
                    {"walk @ strikes --levels damage,,id", 2, {"missing", "damage,,id"}},
                    {"walk @ strikes --levels \"damage", 2, {"closed"}},
                    {"walk @ strikes --levels \"damage\"x", 2, {"behind"}},
                    {"walk @ strikes --levels damage,id,damage", 2, {"'damage'", "twice"}},
                    {"walk @ strikes --levels damage --at damage", 2, {"no value"}},
                    {"walk @ strikes --levels damage --at id=1", 2, {"'id'", "'damage'"}},
                    {"walk @ airports --levels id»damage", 2, {"table.column"}}});
}

TEST(WhatIsNotThere, EndsWith1AndNamesWhatIs) {
    const TestFolder folder;
    folder.MakeFile("people.csv", "name\nAnn\n");
    ExpectFailures({{"walk @", 1, {"pepole.csv'", "No such file", "'people.csv'"}}},
                   folder.Path("pepole.csv"));
    const TestFolder empty;
    ExpectFailures({{"levels @", 1, {"has no file that ends in .csv"}}}, empty.Path(""));
    ExpectFailures({{"levels /dev/null", 1, {"/dev/null", "not a file"}},
                    {"walk @ strike", 1, {"strikes.sqlite", "'strike'", "mean 'strikes'"}},
                    {"levels @ nothing_like_it", 1, {"'states'"}},
                    {"walk @ strikes --levels damag", 1, {"'damag'", "mean 'damage'"}},
                    {"walk @ strikes --columns zzz", 1, {"'zzz'", "more"}},
                    {"walk @ strikes --levels airprt>name", 1, {"link", "mean 'airport'"}},
                    {"walk @ strikes --levels airport", 1, {"is a link", "'airports'"}},
                    {"walk @ strikes --levels airport>nam", 1, {"'airports'", "'name'"}},
                    {"walk @ states --levels id»strikes.id", 1, {"no link"}},
                    {"walk @ states --levels id»x.id", 1, {"no table 'x'"}},
                    {"walk @ strikes --levels damage --at damage=Substancial",
                     1,
                     {"'Substancial'", "level 'damage'", "mean 'Substantial'"}},
                    {"walk @ strikes --levels damage,airport>state>name --at "
                     "damage=None,airport>state>name=Texs",
                     1,
                     {"'Texs'", "level 'airport>state>name'", "mean 'Texas'"}},
                    {"walk @ strikes --levels damage --at damage=NULL", 1, {"NULL"}},
                    {"walk @ strikes --levels id,damage --at id=4,damage=None",
                     1,
                     {"id = '4', damage = 'None'", "together"}},
                    {"walk @ strikes --levels id --at id=four", 1, {"'four'", "integer"}},
                    {"walk @ strikes --levels flight_date --at flight_date=2024-13-01",
                     1,
                     {"'2024-13-01'", "date"}}});
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
    for (const char* const line : {"grid S strikes --calc COUNT",
                                   "grid S strikes --calc damage",
                                   "grid S strikes --calc sum",
                                   "grid S strikes --calc zzz",
                                   "grid S strikes --calc airport>name",
                                   "grid S strikes --calc airport>sum:cost_total",
                                   "grid S strikes --axes damage --calc SMU:cost_total",
                                   "walk S strikes --levels airprt>name",
                                   "walk S strikes --levels airport>nam",
                                   "walk S strikes --levels damage --at damage=Substancial",
                                   "score @ t --level flag --calc SUM",
                                   "score @ t --level flag --calc \"a,b\"",
                                   "score @ t --level flag --calc zzz",
                                   "walk @ t --levels \"a.b\"",
                                   "walk @ t --levels c;d",
                                   "walk @ t --levels '\"a link\">xy'",
                                   "walk @ t --levels \"a,b\" --at \"a,b\"=one",
                                   "walk @ t --levels \"a,b\" --at \"a,b\"=NUL",
                                   "walk @ t --levels flag --at flag=7",
                                   "walk @ t --levels raw --at raw=00fe",
                                   "tree @ t --levels flag --hide raw",
                                   "grid @ t --axes \"a,b\" --calc COUNT:flag --drill 'one two'",
                                   "grid @ t --axes \"a,b\" --calc COUNT:flag --drill ULL",
                                   "tree @ t --levels flg",
                                   "walk @ taget",
                                   "edit @ t --delete flag=1 --show wlak"}) {
        Arguments arguments = Words(line, odd);
        if (arguments[1] == "S") {
            arguments[1] = kStrikes;
        }
        const CommandResult refused = RunCommand(arguments);
        ASSERT_NE(refused.status, 0) << line;
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
        EXPECT_EQ(taken.status, 0) << line << refused.err << last << taken.err;
    }
}

TEST(BadSource, EndsWith1AndNamesTheFile) {
    const TestFolder folder;
    std::ifstream stream(kStrikes, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string cut = folder.MakeFile("cut.db", bytes.substr(0, bytes.size() / 2));
    bytes.replace(100, 4000, 4000, '\xFF');
    const std::string garbled = folder.MakeFile("garbled.db", bytes);
    ExpectFailures({{"walk @", 1, {"empty.db", "is empty"}}}, folder.MakeFile("empty.db", ""));
    ExpectFailures({{"walk @", 1, {"picture.csv", "neither"}}},
                   folder.MakeFile("picture.csv", std::string("\x89PNG\0\0", 6)));
    ExpectFailures({{"levels @", 1, {"garbled.db"}}}, garbled);
    ExpectFailures({{"walk @ --limit 1", 1, {"uneven.csv", "3"}}},
                   folder.MakeFile("uneven.csv", "a,b\n1,2\n3\n"));
    ExpectFailures({{"walk @ x", 1, {"no\\x1b[2Jsuch"}}}, folder.MakeFile("no\x1B[2Jsuch", ""));
    const CommandResult broken = RunLine("walk @ strikes", cut);
    EXPECT_EQ(broken.status, 1);
    ExpectHas(broken.err, {"cut.db"});
}

TEST(BadSource, IsAFileThatMayNotBeRead) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "root may read everything";
    }
    const TestFolder folder;
    const std::string path = folder.MakeFile("secret.csv", "a\n1\n");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    ExpectFailures({{"walk @", 1, {"secret.csv", "Permission denied"}}}, path);
}

TEST(BadSource, IsADatabaseThatAnotherHasLocked) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("busy.db", "CREATE TABLE t(id INTEGER)");
    Database holder(path);
    holder.Do("BEGIN EXCLUSIVE");
    ExpectFailures({{"walk @", 1, {"busy.db", "locked"}}}, path);
}

TEST(BadView, EndsItsWalkWith1AndTheEnginesText) {
    const TestFolder folder;
    const CommandResult result = RunLine(
        "walk @ v", folder.MakeDatabase(
                        "views.db",
                        "CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(7);"
                        "CREATE VIEW v AS SELECT abs(-9223372036854775807 - id / 7) AS x FROM t;"));
    EXPECT_EQ(result.status, 1);
    ExpectHas(result.err, {"overflow"});
}

TEST(Output, ThatCanNotBeWrittenIsAFailure) {
    for (const char* const line :
         {"walk @ strikes", "levels @ strikes", "--help", "tree @ strikes --levels damage"}) {
        const CommandResult result = RunLine(line, kStrikes, "/dev/full");
        EXPECT_EQ(result.status, 1) << line;
        ExpectHas(result.err, {"No space left"});
    }
}

class EndlessView : public testing::Test {
protected:
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "endless.db",
        "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "    SELECT x FROM c;"
        "CREATE VIEW digits AS SELECT x % 10 AS x FROM endless;"
        "CREATE VIEW none AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "    SELECT x FROM c WHERE x < 0;");
};

TEST_F(EndlessView, IsCancelledByInterruptWithWholeLinesAnd130) {
    const CommandResult lines =
        RunInterrupted(Words("walk @ endless --format ndjson", database), 1);
    EXPECT_EQ(lines.status, 130);
    EXPECT_EQ(lines.err, "");
    EXPECT_EQ(lines.out.find("{\"x\":\"1\"}\n{\"x\":\"2\"}\n"), 0U);
    EXPECT_TRUE(lines.out.ends_with("}\n"));
    const CommandResult array = RunInterrupted(Words("walk @ endless --format json", database), 1);
    EXPECT_EQ(array.status, 130);
    EXPECT_TRUE(array.out.ends_with("}\n"));  // an array that stays open
}

TEST_F(EndlessView, IsCancelledWhereverTheInterruptComes) {
    for (const char* const line :
         {"walk @ endless --levels x", "walk @ none --levels x", "tree @ digits --levels x"}) {
        const CommandResult result = RunInterrupted(Words(line, database), 0);
        EXPECT_EQ(result.status, 130) << line;
        EXPECT_TRUE(result.out.empty() || line[0] == 'w') << line;
    }
}

TEST_F(EndlessView, IsWrittenAsItComesAndEndsQuietlyWhenTheReaderGoes) {
    for (const char* const format : {"table", "csv", "tsv", "json", "ndjson"}) {
        const CommandResult result =
            RunWithoutReader({"walk", database, "endless", "--format", format}, 1000);
        EXPECT_EQ(result.status, 0) << format;
        EXPECT_EQ(result.err, "") << format;
    }
}

}  // namespace
}  // namespace etabulon::test
