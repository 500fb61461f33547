#include "apps/CommandRun.h"
#include "apps/etabulon/commands/CliHelp.h"
#include "etabulon/foundation/EBlockSource.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace etabulon::test {
namespace {
TEST(StrikesWalk, ShowsLinkedLevelsKeyAndChosenColumns) {
    EXPECT_EQ(Printed("walk @ strikes --levels 'airport>state>name, damage' "
                      "--columns species>name,speed_knots --limit 4"),
              "airport>state>name\tdamage\tid\tspecies>name\tspeed_knots\n"
              "Louisiana\tNone\t1\tTurkey vulture\t300\n"
              "Louisiana\tNone\t2\tUnknown bird or bat\t200\n"
              "Louisiana\tNone\t3\tUnknown bird or bat\t130\n"
              "Louisiana\tSubstantial\t4\tRock pigeon\t140\n");
    // Columns for links, labels and backward paths.
    EXPECT_EQ(Printed("walk @ airports --levels state_id:state_id>name "
                      "--columns id»strikes.species>name --limit 2"),
              "state_id:state_id>name\tid\tid»strikes.species>name\n"
              "Georgia\t1\tUnknown bird - small\n"
              "New Jersey\t2\tUnknown bird - medium\n");
}

TEST(StrikesWalk, FindsThePlaceAtAnyLevelsAndOfAnyType) {
    EXPECT_EQ(Printed("walk @ strikes --levels damage,airport>state>name,flight_date "
                      "--at 'airport>state>name=Texas, flight_date = 2001-02-09' --columns ''"),
              "damage\tairport>state>name\tflight_date\tid\n"
              "Substantial\tTexas\t2001-02-09\t8343\n");
    // A key that is a level is printed once.
    EXPECT_EQ(Printed("walk @ states --levels id --at id=2"), "id\tname\n2\tCalifornia\n");
}

TEST(StrikesWalk, EndsAtItsLimitAndZeroPrintsTheHeaderOnly) {
    EXPECT_EQ(Printed("walk @ states --limit 0"), "id\tname\n");
    EXPECT_EQ(Printed("walk @ states --columns= --limit 1"), "id\n1\n");
    EXPECT_EQ(Printed("walk @ states --limit 1"), "id\tname\n1\tArizona\n");
}

TEST(StrikesLevels, ListTablesAndColumnsWithLinks) {
    EXPECT_EQ(Printed("levels @"),
              "table\tkind\trows\n"
              "aircraft\ttable\t225\nairports\ttable\t50\noperators\ttable\t46\n"
              "species\ttable\t37\nstates\ttable\t29\nstrikes\ttable\t10000\n");
    ExpectHas(Printed("levels @ STRIKES"),
              {"\nid\tinteger\t10000\tfalse\t1\t\\N\t\\N\n",
               "\nairport_id\tinteger\t50\tfalse\t\\N\tairport\tairports\n",
               "\nspeed_knots\tinteger\t122\ttrue\t"});
}

constexpr const char* kPlaces = R"(
    CREATE TABLE places(a INTEGER, b INTEGER, flag BOOLEAN, t TEXT, at TIME, raw BLOB,
        PRIMARY KEY(a, b)) WITHOUT ROWID;
    INSERT INTO places VALUES (1, 1, 1, NULL, '12:30:00', x'0a'), (1, 2, 0, '', NULL, NULL),
        (2, 1, 1, 'NULL', '08:00:00', x''), (2, 2, NULL, 'x, y=z', NULL, x'0b');
)";

TEST(PlacesByValue, HoldTheirRecords) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("places.db", kPlaces);
    const std::pair<std::string, const char*> cases[] = {
        {"t --at t=NULL", "1,1\n"},         {"t --at t=", "1,2\n"},
        {"t --at t=\"\"", "1,2\n"},         {"t --at t=\"NULL\"", "2,1\n"},
        {"t --at 't=\"x, y=z\"'", "2,2\n"}, {"flag --at flag=true", "1,1\n2,1\n"},
        {"flag --at flag=0", "1,2\n"},      {"flag --at flag=NULL", "2,2\n"},
        {"at --at at=12:30:00", "1,1\n"},   {"raw --at raw=0b", "2,2\n"},
        {"raw --at raw=", "2,1\n"},         {"flag,t --at t=,flag=0", "1,2\n"},
        {"a,b --at b=2", "1,2\n2,2\n"}};
    for (const auto& [place, keys] : cases) {
        std::string found;  // the last two columns
        std::istringstream lines(
            Printed("walk @ --columns a,b --format csv --levels " + place, database));
        std::string line;
        for (std::getline(lines, line); std::getline(lines, line);) {
            found += line.substr(line.size() - 3) + '\n';
        }
        EXPECT_EQ(found, keys) << place;
    }
}

TEST(TableWithoutAKey, ShowsRecordNumbersOnlyWhereAsked) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "keyless.db",
        "CREATE TABLE t(a, b INT); INSERT INTO t VALUES ('x', 7), ('y', 8);"
        "CREATE TABLE hidden(rowid TEXT, b); INSERT INTO hidden VALUES ('q', 7);"
        "CREATE VIEW v AS SELECT * FROM t;");
    const std::string file = folder.MakeFile("people.csv", "name,age\nAnn,3\nBob,4\n");
    const std::string sources[] = {database, file};
    const std::pair<int, std::pair<std::string, std::string>> cases[] = {
        {0, {"walk @ t", "a\tb\nx\t7\ny\t8\n"}},
        {0,
         {"walk @ t --levels b --columns RowID,a,rowid --limit 1",
          "b\trowid\ta\trowid_2\n7\t1\tx\t1\n"}},
        {0, {"walk @ t --columns a,rowid --sort b:desc", "a\trowid\ny\t2\nx\t1\n"}},
        {0, {"walk @ t --limit 1 --format ndjson", "{\"a\":\"x\",\"b\":7}\n"}},
        {0, {"walk @ hidden", "rowid\tb\nq\t7\n"}},
        {0, {"walk @ hidden --columns rowid,_rowid_", "rowid\t_rowid_\nq\t1\n"}},
        {0, {"grid @ t --axes a --calc COUNT:b --drill y", "a\tb\ny\t8\n"}},
        {0, {"tree @ t --levels a --leaves", "a\tcount\trowid\nx\t1\t1\ny\t1\t2\n"}},
        {1, {"walk @ --limit 1", "name\tage\nAnn\t3\n"}},
        {1, {"walk @ --columns rowid --format json", "[\n{\"rowid\":1},\n{\"rowid\":2}\n]\n"}},
        {1,
         {"edit @ --insert name=Cy --show walk --columns rowid",
          "name\trowid\nAnn\t1\nBob\t2\nCy\t\\N\n"}}};
    for (const auto& [source, each] : cases) {
        EXPECT_EQ(Printed(each.first, sources[source]), each.second) << each.first;
    }
    // A line without columns is a line of no format.
    ExpectFailures({{"walk @ t --columns ''", 2, {"no column"}},
                    {"walk @ v --columns '' --format json", 2, {"no column"}}},
                   database);
}

constexpr const char* kHostile = R"(
    CREATE TABLE "a.b, ""c"">d"("x>y" INTEGER PRIMARY KEY, "1" TEXT, "12" TEXT, "août" TEXT,
        "AOÛT" TEXT, "q""=:" TEXT, " s " TEXT, "; DROP TABLE z; --" TEXT, "%41" TEXT, "A" TEXT);
    INSERT INTO "a.b, ""c"">d" VALUES (1, 'one', 'twelve', 'lower', 'upper', 'quote', 'blank',
        'drop', 'percent', 'letter');
)";

TEST(HostileNames, AreFoundAsTheyAreAndInQuotes) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("hostile.db", kHostile);
    EXPECT_EQ(Printed("walk @ 'a.b, \"c\">d' --levels '\"q\"\"=:\",août,AOÛT,\" s \"' "
                      "--at '\"q\"\"=:\"=quote' --columns '1,12,; DROP TABLE z; --,%41,A'",
                      database),
              "q\"=:\taoût\tAOÛT\t s \tx>y\t1\t12\t; DROP TABLE z; --\t%41\tA\n"
              "quote\tlower\tupper\tblank\t1\tone\ttwelve\tdrop\tpercent\tletter\n");
    EXPECT_EQ(Printed("walk @ 'a.b, \"c\">d' --columns \"x>y\",1", database),
              "x>y\tx>y_2\t1\n1\t1\tone\n")
        << "names of columns that are printed twice must differ";
}

TEST(CsvSource, IsRecognisedByContentWithItsSeparator) {
    const TestFolder folder;
    const auto walk = [&folder](const char* name, const char* content, const std::string& options) {
        return Printed("walk @ " + options, folder.MakeFile(name, content));
    };
    EXPECT_EQ(walk("people.data", "name,age,note\nAnn,30,\nBob,,\"\"\n",
                   "--levels name --at name=Bob --format ndjson --columns age,note")
                  .find("{\"name\":\"Bob\","),
              0U);
    ExpectHas(walk("people.csv", "name;\"a,b,c,d\";age\nAnn;x,y;30\nBob;z;31\n", "--columns age"),
              {"\n31\n"});
    ExpectHas(walk("people.tsv", "name\tage\nAnn, x\t30\n", "people --columns name"), {"Ann, x\n"});
    ExpectHas(walk("bars.txt", "a,b|c\nx,2|3\n", "--separator | --columns \"a,b\""), {"x,2\n"});
}

TEST(FolderSource, IsATableForEachOfItsFiles) {
    const TestFolder folder;
    folder.MakeFile("b.csv", "name;age\nAnn;3\n");
    folder.MakeFile("A.jsonl", "{\"n\":1}\n{\"n\":2}\n");
    folder.MakeFile("notes.md", "none");
    folder.MakeFile(".hidden.csv", "x\n");
    const std::string path = folder.Path("");
    EXPECT_EQ(Printed("levels @", path), "table\tkind\trows\nA\ttable\t2\nb\ttable\t1\n");
    folder.MakeFile("a.tsv", "x\ty\n1\t2\n");
    const std::pair<const char*, const char*> cases[] = {
        {"levels @", "table\tkind\trows\nA.jsonl\ttable\t2\na.tsv\ttable\t1\nb\ttable\t1\n"},
        {"levels @ b --format csv",
         "column,type,distinct,nullable,key,link,links_to\n"
         "name,text,1,true,,,\nage,integer,1,true,,,\n"},
        {"walk @ b", "name\tage\nAnn\t3\n"},
        {"walk @ B.CSV", "name\tage\nAnn\t3\n"},
        {"tree @ A.jsonl --levels n --depth 0", "count\n2\n"},
        {"walk @ a.tsv", "x\ty\n1\t2\n"},
        {"edit @ b --set name=Ann:age=4 --show walk", "name\tage\nAnn\t4\n"}};
    for (const auto& [line, printed] : cases) {
        EXPECT_EQ(Printed(line, path), printed) << line;
    }
    ExpectFailures({{"walk @", 2, {"3 tables", "'A.jsonl'"}},
                    {"walk @ c", 1, {"no table 'c'"}},
                    {"walk @ notes", 1, {"no table 'notes'"}},
                    {"walk @ b --output " + folder.Path("b.csv"), 2, {"would replace"}}},
                   path);
    folder.MakeFile("bad.csv", "a,b\n1\n");
    ExpectFailures({{"levels @", 1, {"bad.csv", "line 2"}}}, path);
    EXPECT_EQ(Printed("walk @ b", path), "name\tage\nAnn\t3\n") << "only its file is read";
}

/// Table t, whose 100 records link to the same name in p.
constexpr const char* kLinked = R"(
    CREATE TABLE p(id INTEGER PRIMARY KEY, name TEXT NOT NULL); INSERT INTO p VALUES(1,'a');
    CREATE TABLE t(id INTEGER PRIMARY KEY, p INTEGER REFERENCES p, n INTEGER);
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<100)
    INSERT INTO t SELECT i,1,i FROM n)";

std::int64_t AskNumber(const std::string& path, const std::string& query) {
    return std::stoll(Database(path).Ask(query));
}

TEST(LinkedTableThatIsDamaged, EndsEachCommandWith1AndIsNamed) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("t.sqlite", kLinked);
    const auto page = AskNumber(path, "SELECT rootpage FROM sqlite_schema WHERE name='p'");
    {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp((page - 1) * AskNumber(path, "PRAGMA page_size"));
        file << std::string(1000, '\xFF');
    }
    for (const std::string line :
         {"walk @ t --levels p>name", "walk @ t --columns p>name", "walk @ t --levels id:p>name",
          "walk @ t --levels p>name --at p>name=NULL", "walk @ t --levels id,p>name --at id=999",
          "tree @ t --levels p>name,id", "grid @ t --axes p>name --calc COUNT:id",
          "grid @ t --levels n --axes n --calc LAST:p>name",
          "grid @ t --axes p>name --calc COUNT:id --drill NULL",
          "score @ t --level p>name --calc COUNT:id", "edit @ t --delete p>name=NULL --show tree",
          "edit @ t --delete p>name=NULL --save"}) {
        SCOPED_TRACE(line);
        const CommandResult result = RunLine(line, path);
        const bool isSave = line.ends_with("--save");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, isSave ? "delete p>name=NULL\n" : "");
        ExpectHas(result.err, {"linked table p ", "t.sqlite: the database is corrupt"});
        EXPECT_EQ(result.err.find("nothing was saved") != std::string::npos, isSave) << result.err;
    }
    EXPECT_EQ(AskNumber(path, "SELECT count(*) FROM t"), 100);
}

TEST(ValuesOfAnotherType, AreToldWhereTheResultShowsThemAsNull) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "t.db",
        "CREATE TABLE t(k INTEGER PRIMARY KEY, n INT); INSERT INTO t VALUES(1, 'one'), "
        "(2, 2), (3, 'three')");
    const std::string count = "column 'n': 2 of the values aren't of its type and read as NULL";
    ExpectHas(RunLine("walk @ t", path).err, {count});
    ExpectHas(RunLine("grid @ t --axes k --calc SUM:n", path).err, {count});
    // Blocks leave out a column of which only the records are counted; single steps read it.
    EXPECT_EQ(RunLine("grid @ t --axes k --calc COUNT:n", path).err.empty(),
              EBlockSource::AreEnabled());
}

TEST(MomentsFinerThanMilliseconds, AreToldWhereTheyAreCut) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "t.db",
        "CREATE TABLE p(id INTEGER PRIMARY KEY, at TIMESTAMP);"
        "CREATE TABLE t(id INTEGER PRIMARY KEY, at TIMESTAMP, p INT CONSTRAINT p REFERENCES p(id));"
        "INSERT INTO p VALUES(1, '2024-01-02 03:04:05.1239Z');"
        "INSERT INTO t VALUES(1, '2024-01-02 03:04:05.123456', 1), (2, '2024-01-02 03:04:05.123', "
        "1),"
        " (3, '2024-01-02T03:04:05.123000', 1), (4, '2024-01-02', 1)");
    const std::string file = folder.MakeFile(
        "t.csv", "id,at\n1,2024-01-02 03:04:05.123456\n2,2024-01-02 03:04:05.123000\n");
    const std::string cut =
        "column 'at': 1 of the values have more than three decimals of a second, which are cut";
    for (const std::string& path : {database, file}) {
        ExpectHas(RunLine("grid @ t --axes at.hour --calc COUNT:id", path).err, {cut});
        EXPECT_EQ(RunLine("walk @ t --columns id", path).err, "");
    }
    ExpectHas(RunLine("walk @ t --columns p>at", database).err,
              {"column 'at' of table 'p': some of the values have more than three decimals"});
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
    EXPECT_TRUE(
        Printed("walk @ s --format csv --columns " + hops(63), path).ends_with("\n1,Ann\n"));
    ExpectFailures({{"walk @ s --columns " + hops(64), 2, {"'boss' has 65"}},
                    {"walk @ s --levels " + hops(300), 2, {"at most 64 steps"}},
                    {"walk @ s --levels id:" + hops(300), 2, {"at most 64 steps"}},
                    {"walk @ s --columns two>name", 1, {"can't be followed"}},
                    {"walk @ s --columns none>name", 1, {"the key of 'nokey'"}},
                    {"walk @ s --columns id»s.name,boss>two>name", 1, {"can't be followed"}}},
                   path);
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

TEST(Help, NamesTheVariablesOfTheEnvironment) {
    const std::string help = RunCommand({"--help"}).out;
    for (const CliMeaning& variable : CliVariableMeanings()) {
        EXPECT_NE(help.find(variable.word), std::string::npos) << variable.word;
    }
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
