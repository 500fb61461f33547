#include "apps/CommandRun.h"

#include <algorithm>
#include <sstream>

namespace etabulon::test {
namespace {
const std::string kStrikes = ETABULON_STRIKES_DATABASE;

/// Runs without a failure; what it printed.
std::string Tree(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "tree");
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments);
    EXPECT_EQ(result.err, "");
    return result.out;
}

bool HasIcu() {
    return RunCommand({"tree", kStrikes, "states", "--levels", "id", "--locale", "sv"}).status == 0;
}

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// ------------------------------------------------------------------------------------------ counts

struct CountCase {
    std::vector<std::string> arguments;
    std::string sql;
};

TEST(StrikesTree, CountsAsGroupByDoes) {
    const std::string from =
        " FROM strikes s JOIN airports a ON a.id = s.airport_id"
        " JOIN states t ON t.id = a.state_id ";
    const std::vector<CountCase> cases = {
        {{"--levels", "damage"}, "SELECT damage, count(*)" + from + "GROUP BY 1"},
        {{"--levels", "airport>state>name,damage"},
         "SELECT t.name, damage, count(*)" + from + "GROUP BY 1, 2"},
        {{"--levels", "airport>state>name,damage,speed_knots", "--depth", "1"},
         "SELECT t.name, count(*)" + from + "GROUP BY 1"},
        {{"--levels", "airport>state>name,damage", "--hide", "airport>state>name"},
         "SELECT damage, count(*)" + from + "GROUP BY 1"},
        {{"--levels", "speed_knots,damage"},
         "SELECT speed_knots, damage, count(*)" + from + "GROUP BY 1, 2"},
        {{"--levels", "airport_id:airport>name,damage", "--at", "damage=Substantial"},
         "SELECT a.name, damage, count(*)" + from + "WHERE damage = 'Substantial' GROUP BY a.id"},
        {{"--levels", "damage,airport>state>name", "--at", "damage=Medium", "--leaves"},
         "SELECT damage, t.name, 1, s.id" + from + "WHERE damage = 'Medium'"}};
    for (const CountCase& each : cases) {
        std::vector<std::string> arguments = {kStrikes, "strikes", "--format", "tsv"};
        arguments.insert(arguments.end(), each.arguments.begin(), each.arguments.end());
        std::vector<std::string> printed = Lines(Tree(arguments));
        printed.erase(printed.begin());
        std::vector<std::string> expected;
        for (const Database::Row& row : Database(kStrikes).Rows(each.sql)) {
            std::string& line = expected.emplace_back();
            for (const std::string& cell : row) {
                line += (line.empty() ? "" : "\t") + cell;
            }
        }
        std::sort(printed.begin(), printed.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(printed, expected) << each.sql;
        EXPECT_GT(expected.size(), 3U);
    }
}

// ------------------------------------------------------------------------------------------- order

class WordTree : public testing::Test {
protected:
    /// The values of the levels' nodes in the order printed, the counts left out.
    std::string Order(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {database, "--format", "csv"});
        std::string order;
        for (const std::string& line : Lines(Tree(arguments))) {
            order += order.empty() ? "" : " ";
            order += line.substr(0, line.rfind(','));
        }
        return order;
    }
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "words.db",
        "CREATE TABLE words(id INTEGER PRIMARY KEY, word TEXT, n INTEGER, flag TEXT);"
        "INSERT INTO words VALUES (1, 'zoo', 9, 'y'), (2, 'apple', 10, 'x'), (3, 'Zebra', 2, 'y'),"
        "    (4, 'ölig', 9, 'x'), (5, 'pear', 10, 'x');");
};

TEST_F(WordTree, SortsTextsByLocaleAndDataByBytes) {
    EXPECT_EQ(Order({"--levels", "word", "--by", "data"}), "word Zebra apple pear zoo ölig");
    EXPECT_EQ(Order({"--levels", "word", "--by", "data", "--reverse", "word"}),
              "word ölig zoo pear apple Zebra");
    if (!HasIcu()) {
        GTEST_SKIP() << "built without ICU";
    }
    EXPECT_EQ(Order({"--levels", "word"}), "word apple ölig pear Zebra zoo");
    EXPECT_EQ(Order({"--levels", "word", "--by", "display", "--locale", ""}),
              "word apple ölig pear Zebra zoo");
    EXPECT_EQ(Order({"--levels", "word", "--locale", "sv"}), "word apple pear Zebra zoo ölig");
}

TEST_F(WordTree, SortsNumbersAsTexts) {
    for (const char* const by : {"data", "display"}) {
        EXPECT_EQ(Order({"--levels", "n", "--by", by}), "n 10 2 9");
    }
}

TEST_F(WordTree, ReversesOnlyTheLevelsNamed) {
    EXPECT_EQ(Order({"--levels", "flag,n"}), "flag,n x,10 x,9 y,2 y,9");
    EXPECT_EQ(Order({"--levels", "flag,n", "--reverse", "n"}), "flag,n x,9 x,10 y,9 y,2");
    EXPECT_EQ(Order({"--levels", "flag,n", "--reverse", "n", "--reverse", "flag"}),
              "flag,n y,9 y,2 x,9 x,10");
}

TEST_F(WordTree, OfALabelledLevelIsSortedByItsDataOrItsLabels) {
    EXPECT_EQ(Order({"--levels", "id:word", "--by", "data"}), "id:word zoo apple Zebra ölig pear");
    EXPECT_EQ(Order({"--levels", "id:word"}).find("id:word apple "), 0U);
    for (const char* const name : {"id:word", "id"}) {
        EXPECT_EQ(Order({"--levels", "id:word,flag", "--hide", name}), "flag x y");
    }
}

TEST_F(WordTree, BeginsAtThePlaceOfAnyLevel) {
    EXPECT_EQ(Tree({database, "--levels", "flag,n", "--at", "flag=x", "--format", "csv"}),
              "flag,n,count\nx,10,2\nx,9,1\n");
    EXPECT_EQ(Tree({database, "--levels", "flag,n", "--at", "n=9", "--format", "csv"}),
              "flag,n,count\nx,9,1\ny,9,1\n");
    EXPECT_EQ(Tree({database, "--levels", "flag,n,word", "--at", "n=10", "--depth", "1", "--format",
                    "csv"}),
              "flag,n,count\nx,10,2\n");
    EXPECT_EQ(Tree({database, "--levels", "flag,n", "--at", "n=9,flag=y", "--hide", "n", "--format",
                    "csv"}),
              "flag,count\ny,1\n");
}

// ----------------------------------------------------------------------------------------- formats

class SmallTree : public testing::Test {
protected:
    std::string Printed(const char* format, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {database, "t", "--levels", "a,b", "--format", format});
        return Tree(more);
    }
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "small.db",
        "CREATE TABLE t(k TEXT, m INTEGER, a TEXT, b INTEGER, PRIMARY KEY(k, m)) WITHOUT ROWID;"
        "INSERT INTO t VALUES ('p', 1, '', 7), ('p', 2, NULL, 7), ('q', 1, '', NULL),"
        "    ('q', 2, '日本', 7), ('r', 1, 'NULL', 7), ('r', 2, '日本', 7);"
        "CREATE VIEW v AS SELECT b, abs(-9223372036854775807 - m) AS bad FROM t;"
        "CREATE TABLE keyless(a TEXT); INSERT INTO keyless VALUES ('x'), ('y'), ('x');"
        "CREATE TABLE hollow(a TEXT);");
};

TEST_F(SmallTree, IsIndentedAndAlignedAsATable) {
    EXPECT_EQ(Printed("table"),
              "a, b      count\n--------  -----\nt             6\n"
              "  NULL        1\n    7         1\n"
              "  \"\"          2\n    NULL      1\n    7         1\n"
              "  \"NULL\"      1\n    7         1\n"
              "  日本        2\n    7         2\n");
    EXPECT_EQ(Printed("table", {"--at", "a=日本", "--leaves"}),
              "b             count\n------------  -----\na=日本            2\n"
              "  7               2\n    k=q, m=2      1\n    k=r, m=2      1\n");
}

TEST_F(SmallTree, TellsNullFromEmptyTextInLines) {
    const std::string csv = Printed("csv", {"--hide", "b"});
    for (const char* const line : {"a,count\n", "\n\"\",2\n", "\n,1\n", "\nNULL,1\n"}) {
        EXPECT_NE(csv.find(line), std::string::npos) << line << csv;
    }
    const std::string tsv = Printed("tsv", {"--leaves"});
    for (const char* const line :
         {"a\tb\tcount\tk\tm\n", "\n\t7\t1\tp\t1\n", "\n\t\\N\t1\tq\t1\n", "\n\\N\t7\t1\tp\t2\n",
          "\nNULL\t7\t1\tr\t1\n", "\n日本\t7\t1\tq\t2\n日本\t7\t1\tr\t2\n"}) {
        EXPECT_NE(tsv.find(line), std::string::npos) << line << tsv;
    }
    const std::string ndjson = Printed("ndjson");
    for (const char* const line :
         {"{\"path\":{},\"count\":6}\n", "\n{\"path\":{\"a\":null},\"count\":1}\n",
          "\n{\"path\":{\"a\":\"\"},\"count\":2}\n", "\n{\"path\":{\"a\":\"\",\"b\":null},",
          "\n{\"path\":{\"a\":\"NULL\",\"b\":7},\"count\":1}\n"}) {
        EXPECT_NE(ndjson.find(line), std::string::npos) << line << ndjson;
    }
}

TEST_F(SmallTree, NestsInJson) {
    EXPECT_EQ(Printed("json", {"--at", "a=日本", "--leaves"}),
              "{\"table\":\"t\",\"at\":{\"a\":\"日本\"},\"count\":2,\"children\":[\n"
              "  {\"level\":\"b\",\"value\":7,\"count\":2,\"leaves\":[\n"
              "    {\"k\":\"q\",\"m\":2},\n    {\"k\":\"r\",\"m\":2}]}]}\n");
    EXPECT_EQ(Printed("json", {"--hide", "a", "--reverse", "b"}),
              "{\"table\":\"t\",\"count\":6,\"children\":[\n"
              "  {\"level\":\"b\",\"value\":7,\"count\":5},\n"
              "  {\"level\":\"b\",\"value\":null,\"count\":1}]}\n");
    EXPECT_EQ(Printed("json", {"--depth", "0"}), "{\"table\":\"t\",\"count\":6}\n");
    EXPECT_EQ(Printed("ndjson", {"--at", "b=NULL", "--leaves", "--hide", "b"}),
              "{\"path\":{},\"count\":1}\n{\"path\":{\"a\":\"\"},\"count\":1}\n"
              "{\"path\":{\"a\":\"\"},\"count\":1,\"key\":{\"k\":\"q\",\"m\":1}}\n");
}

TEST_F(SmallTree, OfHiddenLevelsOrOfNoRecordsIsTheRoot) {
    EXPECT_EQ(Printed("csv", {"--hide", "a,b"}), "count\n6\n");
    EXPECT_EQ(Printed("csv", {"--depth", "0"}), "count\n6\n");
    EXPECT_EQ(Tree({database, "keyless", "--levels", "a", "--hide", "a", "--leaves"}),
              "count\trowid\n1\t1\n1\t2\n1\t3\n");
    EXPECT_EQ(Tree({database, "hollow", "--levels", "a", "--format", "json"}),
              "{\"table\":\"hollow\",\"count\":0,\"children\":[]}\n");
    EXPECT_EQ(Tree({database, "hollow", "--levels", "a", "--format", "csv"}), "a,count\n");
}

TEST_F(SmallTree, ReadsOnlyTheColumnsOfItsLevels) {
    // Reading `bad` fails for m = 2.
    EXPECT_EQ(RunCommand({"tree", database, "v", "--levels", "bad"}).status, 1);
    EXPECT_EQ(Tree({database, "v", "--levels", "b", "--reverse", "b"}), "b\tcount\n7\t5\n\\N\t1\n");
}

TEST(TreeTable, IsAlignedBeyondTheFirstRecords) {
    const std::vector<std::string> lines = Lines(
        Tree({kStrikes, "strikes", "--levels", "operator>name,airport>name", "--format", "table"}));
    ASSERT_GT(lines.size(), 500U);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.size(), lines.front().size()) << line;
    }
}

// ---------------------------------------------------------------------------------------- failures

TEST_F(SmallTree, RefusesWhatItCanNotShow) {
    const std::vector<FailureCase> cases = {
        {{"t"}, 2, {"--levels is missing"}},
        {{"t", "--levels", "a", "--hide", "b"}, 2, {"'b' in --hide", "'a'"}},
        {{"t", "--levels", "a:k", "--reverse", "a:m"}, 2, {"'a:m' in --reverse"}},
        {{"t", "--levels", "a", "--hide", "zz"}, 1, {"'zz'"}},
        {{"t", "--levels", "a", "--by", "size"}, 2, {"--by", "data"}},
        {{"t", "--levels", "a", "--depth", "-1"}, 2, {"--depth"}},
        {{"t", "--levels", "a", "--depth", "0", "--leaves"}, 2, {"--leaves", "--depth 0"}},
        {{"t", "--levels", "a", "--locale", "qqq"}, 2, {HasIcu() ? "locale: qqq" : "ICU"}},
        {{"t", "--levels", "a,b", "--at", "b=8"}, 1, {"no '8' at level 'b'"}},
        {{"t", "--levels", "a,b", "--at", "a=NULL,b=NULL"}, 1, {"together"}},
        {{"v", "--levels", "b", "--leaves"}, 1, {"'v' is a view"}}};
    ExpectFailures(cases, {"tree", database});
    EXPECT_EQ(RunCommand({"tree", database, "t", "--levels", "a"}, "/dev/full").status, 1);
}

TEST(TreeOfEndlessView, IsCancelledWithNothingPrinted) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "endless.db",
        "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "    SELECT x % 7 AS x FROM c;");
    CommandRun run({"tree", database, "--levels", "x"});
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.out, "");
}

class LongTree : public testing::TestWithParam<const char*> {
protected:
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "long.db",
        "CREATE TABLE t AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT"
        "    20000) SELECT printf('%d%.*c', x, 1000, 'x') AS word FROM c;");
};

TEST_P(LongTree, EndsAfterAWholeLineWhenInterrupted) {
    CommandRun run({"tree", database, "--levels", "word", "--format", GetParam()});
    run.ReadAtLeast(1);
    run.Interrupt();
    run.Finish();
    EXPECT_EQ(run.status, 130);
    const std::vector<std::string> lines = Lines(run.out);
    EXPECT_LT(lines.size(), 20000U);
    EXPECT_EQ(run.out.back(), '\n');
    EXPECT_GT(lines.back().size(), 1000U);
    EXPECT_EQ(run.out.find("]}"), std::string::npos) << "what was broken off must show it";
}

TEST_P(LongTree, EndsQuietlyWhenTheReaderGoes) {
    CommandRun run({"tree", database, "--levels", "word", "--format", GetParam()});
    run.ReadAtLeast(1);
    run.CloseOutput();
    run.Finish();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
}

INSTANTIATE_TEST_SUITE_P(Formats, LongTree, testing::Values("csv", "tsv", "json", "ndjson"));

/// `what` of each column, separated by commas.
template <class What>
std::string List(int count, What what) {
    std::string list;
    for (int column = 0; column < count; ++column) {
        list += (column == 0 ? "" : ",") + what(std::to_string(column));
    }
    return list;
}

/// A table of few records and `count` columns.
struct WideTable {
    explicit WideTable(int count) {
        std::string rows;
        for (int row = 0; row < 4; ++row) {
            rows += "INSERT INTO t VALUES(" +
                    List(count,
                         [row](const std::string& column) {
                             return "'v" + std::to_string((std::stoi(column) + row) % 3) + "'";
                         }) +
                    ");";
        }
        path = folder.MakeDatabase(
            "wide.db", "CREATE TABLE t(" +
                           List(count, [](const auto& column) { return 'c' + column; }) + ");" +
                           rows);
        levels = List(count, [](const auto& column) { return 'c' + column; });
        place = List(count, [](const auto& column) {
            return 'c' + column + "=v" + std::to_string(std::stoi(column) % 3);
        });
    }
    [[nodiscard]] double SecondsOf(std::vector<std::string> arguments) const {
        for (std::string& argument : arguments) {
            argument = argument == "D" ? path : argument;
            argument = argument == "LEVELS" ? levels : argument;
            argument = argument == "PLACE" ? place : argument;
            argument = argument == "SET" ? place + ":c1=x" : argument;
        }
        const CommandResult result = RunCommand(arguments);
        EXPECT_EQ(result.status, 0) << arguments.front() << result.err;
        return result.seconds;
    }
    TestFolder folder;
    std::string path;
    std::string levels;
    std::string place;
};

/// A cost that grows with the square of the levels would be sixteen times as much.
TEST(ManyLevels, CostAsManyTimesMoreAsThereAre) {
    const WideTable few(450);
    const WideTable many(1800);
    const std::vector<std::vector<std::string>> cases = {
        {"walk", "D", "--levels", "LEVELS", "--at", "PLACE"},
        {"tree", "D", "--levels", "LEVELS"},
        {"tree", "D", "--levels", "LEVELS", "--at", "c1=v1", "--reverse", "LEVELS", "--leaves"},
        {"grid", "D", "--levels", "LEVELS", "--axes", "c7,c3", "--calc", "COUNT:c1"},
        {"score", "D", "--level", "LEVELS", "--calc", "COUNT:c1"},
        {"edit", "D", "--levels", "LEVELS", "--set", "SET", "--insert", "PLACE"},
        {"edit", "D", "--levels", "LEVELS", "--set", "SET", "--show", "tree"}};
    for (const std::vector<std::string>& each : cases) {
        const double base = few.SecondsOf(each);
        EXPECT_LT(many.SecondsOf(each), 10 * base + 0.1) << testing::PrintToString(each);
    }
}

}  // namespace
}  // namespace etabulon::test
