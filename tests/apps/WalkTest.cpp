#include "apps/CommandRun.h"
#include "apps/etabulon/commands/CliHelp.h"

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace etabulon::test {
namespace {
const std::string kStrikes = ETABULON_STRIKES_DATABASE;

/// Runs without a failure; what it printed as tab-separated lines.
std::string Walked(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "walk");
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
}

TEST(StrikesWalk, ShowsLinkedLevelsKeyAndChosenColumns) {
    EXPECT_EQ(Walked({kStrikes, "strikes", "--levels", "airport>state>name, damage", "--columns",
                      "species>name,speed_knots", "--limit", "4"}),
              "airport>state>name\tdamage\tid\tspecies>name\tspeed_knots\n"
              "Louisiana\tNone\t1\tTurkey vulture\t300\n"
              "Louisiana\tNone\t2\tUnknown bird or bat\t200\n"
              "Louisiana\tNone\t3\tUnknown bird or bat\t130\n"
              "Louisiana\tSubstantial\t4\tRock pigeon\t140\n");
}

TEST(StrikesWalk, TakesColumnsForLinksLabelsAndBackwardPaths) {
    EXPECT_EQ(Walked({kStrikes, "airports", "--levels", "state_id:state_id>name", "--columns",
                      "id\xC2\xBBstrikes.species>name", "--limit", "2"}),
              "state_id:state_id>name\tid\tid\xC2\xBBstrikes.species>name\n"
              "Georgia\t1\tUnknown bird - small\n"
              "New Jersey\t2\tUnknown bird - medium\n");
}

TEST(StrikesWalk, FindsThePlaceAtAnyLevelsAndOfAnyType) {
    EXPECT_EQ(
        Walked({kStrikes, "strikes", "--levels", "damage,airport>state>name,flight_date", "--at",
                "airport>state>name=Texas, flight_date = 2001-02-09", "--columns", ""}),
        "damage\tairport>state>name\tflight_date\tid\n"
        "Substantial\tTexas\t2001-02-09\t8343\n");
}

TEST(StrikesWalk, PrintsAKeyThatIsALevelOnce) {
    EXPECT_EQ(Walked({kStrikes, "states", "--levels", "id", "--at", "id=2"}),
              "id\tname\n2\tCalifornia\n");
}

TEST(StrikesLevels, ListTablesAndColumnsWithLinks) {
    EXPECT_EQ(RunCommand({"levels", kStrikes}).out,
              "table\tkind\trows\n"
              "aircraft\ttable\t225\nairports\ttable\t50\noperators\ttable\t46\n"
              "species\ttable\t37\nstates\ttable\t29\nstrikes\ttable\t10000\n");
    const std::string columns = RunCommand({"levels", kStrikes, "STRIKES"}).out;
    EXPECT_NE(columns.find("\nid\tinteger\t10000\tfalse\t1\t\\N\t\\N\n"), std::string::npos);
    EXPECT_NE(columns.find("\nairport_id\tinteger\t50\tfalse\t\\N\tairport\tairports\n"),
              std::string::npos);
    EXPECT_NE(columns.find("\nspeed_knots\tinteger\t122\ttrue\t"), std::string::npos);
}

constexpr const char* kPlaces = R"(
    CREATE TABLE places(a INTEGER, b INTEGER, flag BOOLEAN, t TEXT, at TIME, raw BLOB,
        PRIMARY KEY(a, b)) WITHOUT ROWID;
    INSERT INTO places VALUES (1, 1, 1, NULL, '12:30:00', x'0a'), (1, 2, 0, '', NULL, NULL),
        (2, 1, 1, 'NULL', '08:00:00', x''), (2, 2, NULL, 'x, y=z', NULL, x'0b');
)";

struct PlaceCase {
    const char* levels;
    const char* at;
    const char* keys;  // of the records there
};

class PlacesByValue : public testing::TestWithParam<PlaceCase> {};

TEST_P(PlacesByValue, HoldTheirRecords) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("places.db", kPlaces);
    std::string keys;
    const std::string out = Walked({database, "--levels", GetParam().levels, "--at", GetParam().at,
                                    "--columns", "a,b", "--format", "csv"});
    for (std::size_t line = out.find('\n') + 1; line < out.size();
         line = out.find('\n', line) + 1) {
        const std::size_t end = out.find('\n', line);
        keys += keys.empty() ? "" : " ";
        keys += out.substr(end - 3, 3);
    }
    EXPECT_EQ(keys, GetParam().keys) << out;
}

INSTANTIATE_TEST_SUITE_P(
    Each, PlacesByValue,
    testing::Values(PlaceCase{"t", "t=NULL", "1,1"}, PlaceCase{"t", "t=", "1,2"},
                    PlaceCase{"t", "t=\"\"", "1,2"}, PlaceCase{"t", "t=\"NULL\"", "2,1"},
                    PlaceCase{"t", "t=\"x, y=z\"", "2,2"},
                    PlaceCase{"flag", "flag=true", "1,1 2,1"}, PlaceCase{"flag", "flag=0", "1,2"},
                    PlaceCase{"flag", "flag=NULL", "2,2"}, PlaceCase{"at", "at=12:30:00", "1,1"},
                    PlaceCase{"raw", "raw=0b", "2,2"}, PlaceCase{"raw", "raw=", "2,1"},
                    PlaceCase{"flag,t", "t=,flag=0", "1,2"}, PlaceCase{"a,b", "b=2", "1,2 2,2"}));

constexpr const char* kHostile = R"(
    CREATE TABLE "a.b, ""c"">d"("x>y" INTEGER PRIMARY KEY, "1" TEXT, "12" TEXT, "août" TEXT,
        "AOÛT" TEXT, "q""=:" TEXT, " s " TEXT, "; DROP TABLE z; --" TEXT, "%41" TEXT, "A" TEXT);
    INSERT INTO "a.b, ""c"">d" VALUES (1, 'one', 'twelve', 'lower', 'upper', 'quote', 'blank',
        'drop', 'percent', 'letter');
)";

TEST(HostileNames, AreFoundAsTheyAreAndInQuotes) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("hostile.db", kHostile);
    const std::string table = "a.b, \"c\">d";
    EXPECT_EQ(Walked({database, table, "--levels", "\"q\"\"=:\",août,AOÛT,\" s \"", "--at",
                      "\"q\"\"=:\"=quote", "--columns", "1,12,; DROP TABLE z; --,%41,A"}),
              "q\"=:\taoût\tAOÛT\t s \tx>y\t1\t12\t; DROP TABLE z; --\t%41\tA\n"
              "quote\tlower\tupper\tblank\t1\tone\ttwelve\tdrop\tpercent\tletter\n");
    EXPECT_EQ(Walked({database, table, "--columns", "\"x>y\",1"}), "x>y\tx>y_2\t1\n1\t1\tone\n")
        << "names of columns that are printed twice must differ";
}

TEST(CsvSource, IsRecognisedByContentWithItsSeparator) {
    const TestFolder folder;
    const std::string comma = folder.MakeFile("people.data", "name,age,note\nAnn,30,\nBob,,\"\"\n");
    EXPECT_EQ(Walked({comma, "--levels", "name", "--at", "name=Bob", "--format", "ndjson",
                      "--columns", "age,note"})
                  .find("{\"name\":\"Bob\","),
              0U);
    const std::string semicolon =
        folder.MakeFile("people.csv", "name;\"a,b,c,d\";age\nAnn;x,y;30\nBob;z;31\n");
    EXPECT_NE(Walked({semicolon, "--columns", "age"}).find("\t31\n"), std::string::npos);
    const std::string tab = folder.MakeFile("people.tsv", "name\tage\nAnn, x\t30\n");
    EXPECT_NE(Walked({tab, "people", "--columns", "name"}).find("Ann, x\n"), std::string::npos);
    const std::string bars = folder.MakeFile("bars.txt", "a,b|c\n1,2|3\n");
    EXPECT_NE(Walked({bars, "--separator", "|", "--columns", "\"a,b\""}).find("1,2\n"),
              std::string::npos);
}

TEST(WalkLimit, EndsTheWalkAndZeroPrintsTheHeaderOnly) {
    EXPECT_EQ(Walked({kStrikes, "states", "--limit", "0"}), "id\tname\n");
    EXPECT_EQ(Walked({kStrikes, "states", "--columns=", "--limit", "1"}), "id\n1\n");
    EXPECT_EQ(Walked({kStrikes, "states", "--limit", "1"}), "id\tname\n1\tArizona\n");
}

using Arguments = std::vector<std::string>;

/// Table t, 2,500 records of which behind one another link to the same of 8 names in p.
std::string Script(int count) {
    return "CREATE TABLE p(id INTEGER PRIMARY KEY, name TEXT NOT NULL);"
           "INSERT INTO p VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d'),(5,'e'),(6,'f'),(7,'g'),(8,'h');"
           "CREATE TABLE t(id INTEGER PRIMARY KEY, p INTEGER REFERENCES p, n INTEGER, pad TEXT);"
           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" +
           std::to_string(count) +
           ") INSERT INTO t SELECT i,1+(i-1)/2500,i,hex(zeroblob(80)) FROM n";
}

std::int64_t AskNumber(const std::string& path, const std::string& query) {
    return std::stoll(Database(path).Ask(query));
}

TEST(LinksInASave, AreReadWhileItHoldsTheFileAlone) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("t.sqlite", Script(20000));
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = RunCommand({"edit", path, "t", "--levels", "p>name", "--set",
                                             ":n=-5", "--delete", "p>name=NULL", "--save"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "20000 updated, 0 inserted, 0 deleted\n");
    EXPECT_EQ(AskNumber(path, "SELECT count(*) FROM t WHERE n=-5"), 20000);
}

TEST(LinkedTableThatIsDamaged, EndsEachCommandWith1AndIsNamed) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("t.sqlite", Script(100));
    const auto page = AskNumber(path, "SELECT rootpage FROM sqlite_schema WHERE name='p'");
    {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp((page - 1) * AskNumber(path, "PRAGMA page_size"));
        file << std::string(1000, '\xFF');
    }
    const std::vector<Arguments> cases = {
        {"walk", path, "t", "--levels", "p>name"},
        {"walk", path, "t", "--columns", "p>name"},
        {"walk", path, "t", "--levels", "id:p>name"},
        {"walk", path, "t", "--levels", "p>name", "--at", "p>name=NULL"},
        {"tree", path, "t", "--levels", "p>name,id"},
        {"grid", path, "t", "--axes", "p>name", "--calc", "COUNT:id"},
        {"grid", path, "t", "--levels", "n", "--axes", "n", "--calc", "LAST:p>name"},
        {"grid", path, "t", "--axes", "p>name", "--calc", "COUNT:id", "--drill", "NULL"},
        {"score", path, "t", "--level", "p>name", "--calc", "COUNT:id"},
        {"edit", path, "t", "--delete", "p>name=NULL", "--show", "tree"},
        {"edit", path, "t", "--delete", "p>name=NULL", "--save"}};
    for (const Arguments& arguments : cases) {
        const CommandResult result = RunCommand(arguments);
        const std::string shown = testing::PrintToString(arguments);
        EXPECT_EQ(result.status, 1) << shown;
        const bool isSave = arguments.back() == "--save";
        EXPECT_EQ(result.out, isSave ? "delete p>name=NULL\n" : "") << shown;
        for (const char* const text : {"linked table p ", "t.sqlite: the database is corrupt"}) {
            EXPECT_NE(result.err.find(text), std::string::npos) << shown << result.err;
        }
        EXPECT_EQ(result.err.find("nothing was saved") != std::string::npos, isSave) << result.err;
    }
    EXPECT_EQ(AskNumber(path, "SELECT count(*) FROM t"), 100);
}

TEST(LinkPath, ThatCanNotBeFollowedIsRefused) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "s.sqlite",
        "CREATE TABLE s(id INTEGER PRIMARY KEY, boss INTEGER REFERENCES s, name TEXT,"
        "  two INTEGER CONSTRAINT two REFERENCES pair, CONSTRAINT none FOREIGN KEY(two) REFERENCES "
        "nokey);"
        "CREATE TABLE pair(a INTEGER, b INTEGER, name TEXT, PRIMARY KEY(a, b));"
        "CREATE TABLE nokey(name TEXT);"
        "INSERT INTO s(id, boss, name) VALUES(1, 1, 'Ann')");
    const auto hops = [](int count) {
        std::string text;
        for (int hop = 0; hop < count; ++hop) {
            text += "boss>";
        }
        return text + "name";
    };
    const CommandResult longest =
        RunCommand({"walk", path, "s", "--columns", hops(63), "--format", "csv"});
    EXPECT_EQ(longest.status, 0) << longest.err;
    EXPECT_EQ(longest.out.substr(longest.out.rfind('\n', longest.out.size() - 2) + 1), "1,Ann\n");
    ExpectFailures({{{"--columns", hops(64)}, 2, {"'boss' has 65"}},
                    {{"--levels", hops(300)}, 2, {"at most 64 steps"}},
                    {{"--levels", "id:" + hops(300)}, 2, {"at most 64 steps"}},
                    {{"--columns", "two>name"}, 1, {"can't be followed"}},
                    {{"--columns", "none>name"}, 1, {"the key of 'nokey'"}},
                    {{"--columns", "id\xC2\xBBs.name,boss>two>name"}, 1, {"can't be followed"}}},
                   {"walk", path, "s"});
}

TEST(Help, ShowsExamplesThatRun) {
    const TestFolder folder;
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

TEST(Help, NamesWhatAnOptionTakes) {
    EXPECT_NE(RunCommand({"edit", "--help"}).out.find("--delete EDIT "), std::string::npos);
}

TEST(Help, HasLinesOfAtMostOneHundredColumns) {
    const auto isFirstByte = [](char byte) { return (byte & 0xC0) != 0x80; };
    for (const char* command : {"levels", "walk", "tree", "browse", "grid", "score", "edit"}) {
        SCOPED_TRACE(command);
        std::istringstream help(RunCommand({command, "--help"}).out);
        std::string line;
        while (std::getline(help, line)) {
            EXPECT_LE(std::count_if(line.begin(), line.end(), isFirstByte), 100) << line;
        }
    }
}

}  // namespace
}  // namespace etabulon::test
