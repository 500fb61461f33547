#include "apps/CommandRun.h"

#include <algorithm>
#include <sstream>

namespace etabulon::test {
namespace {
bool HasIcu() { return RunLine("tree @ states --levels id --locale sv").status == 0; }

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// ------------------------------------------------------------------------------------------ counts

TEST(StrikesTree, CountsAsGroupByDoes) {
    const std::string from =
        " FROM strikes s JOIN airports a ON a.id = s.airport_id"
        " JOIN states t ON t.id = a.state_id ";
    const std::pair<std::string, std::string> cases[] = {
        {"damage", "SELECT damage, count(*)" + from + "GROUP BY 1"},
        {"airport>state>name,damage", "SELECT t.name, damage, count(*)" + from + "GROUP BY 1, 2"},
        {"airport>state>name,damage,speed_knots --depth 1",
         "SELECT t.name, count(*)" + from + "GROUP BY 1"},
        {"airport>state>name,damage --hide airport>state>name",
         "SELECT damage, count(*)" + from + "GROUP BY 1"},
        {"speed_knots,damage", "SELECT speed_knots, damage, count(*)" + from + "GROUP BY 1, 2"},
        {"airport_id:airport>name,damage --at damage=Substantial",
         "SELECT a.name, damage, count(*)" + from + "WHERE damage = 'Substantial' GROUP BY a.id"},
        {"damage,airport>state>name --at damage=Medium --leaves",
         "SELECT damage, t.name, 1, s.id" + from + "WHERE damage = 'Medium'"}};
    for (const auto& [levels, sql] : cases) {
        std::vector<std::string> printed =
            Lines(Printed("tree @ strikes --format tsv --levels " + levels));
        printed.erase(printed.begin());
        std::vector<std::string> expected;
        for (const Database::Row& row : Database(ETABULON_STRIKES_DATABASE).Rows(sql)) {
            std::string& line = expected.emplace_back();
            for (const std::string& cell : row) {
                line += (line.empty() ? "" : "\t") + cell;
            }
        }
        std::sort(printed.begin(), printed.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(printed, expected) << sql;
        EXPECT_GT(expected.size(), 3U);
    }
}

// ------------------------------------------------------------------------------------------- order

class WordTree : public testing::Test {
protected:
    std::string Csv(const std::string& levels) const {
        return Printed("tree @ --format csv --levels " + levels, database);
    }
    /// The values of the levels' nodes in the order printed, the counts left out.
    std::string Order(const std::string& levels) const {
        std::string order;
        for (const std::string& line : Lines(Csv(levels))) {
            order += (order.empty() ? "" : " ") + line.substr(0, line.rfind(','));
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
    EXPECT_EQ(Order("word --by data"), "word Zebra apple pear zoo ölig");
    EXPECT_EQ(Order("word --by data --reverse word"), "word ölig zoo pear apple Zebra");
    if (!HasIcu()) {
        GTEST_SKIP() << "built without ICU";
    }
    EXPECT_EQ(Order("word"), "word apple ölig pear Zebra zoo");
    EXPECT_EQ(Order("word --by display --locale ''"), "word apple ölig pear Zebra zoo");
    EXPECT_EQ(Order("word --locale sv"), "word apple pear Zebra zoo ölig");
}

TEST_F(WordTree, SortsNumbersByTheirSizeOrAsTexts) {
    EXPECT_EQ(Order("n"), "n 2 9 10");
    EXPECT_EQ(Order("n --by value --reverse n"), "n 10 9 2");
    EXPECT_EQ(Order("n --by data"), "n 10 2 9");
    EXPECT_EQ(Order("n --by display"), "n 10 2 9");
}

TEST_F(WordTree, ReversesOnlyTheLevelsNamed) {
    EXPECT_EQ(Order("flag,n"), "flag,n x,9 x,10 y,2 y,9");
    EXPECT_EQ(Order("flag,n --reverse n"), "flag,n x,10 x,9 y,9 y,2");
    EXPECT_EQ(Order("flag,n --reverse n --reverse flag"), "flag,n y,9 y,2 x,10 x,9");
}

TEST_F(WordTree, OfALabelledLevelIsSortedByItsDataOrItsLabels) {
    EXPECT_EQ(Order("id:word --by data"), "id:word zoo apple Zebra ölig pear");
    EXPECT_EQ(Order("id:word").find("id:word apple "), 0U);
    EXPECT_EQ(Order("id:word,flag --hide id:word"), "flag x y");
    EXPECT_EQ(Order("id:word,flag --hide id"), "flag x y");
}

TEST_F(WordTree, BeginsAtThePlaceOfAnyLevel) {
    EXPECT_EQ(Csv("flag,n --at flag=x"), "flag,n,count\nx,9,1\nx,10,2\n");
    EXPECT_EQ(Csv("flag,n --at n=9"), "flag,n,count\nx,9,1\ny,9,1\n");
    EXPECT_EQ(Csv("flag,n,word --at n=10 --depth 1"), "flag,n,count\nx,10,2\n");
    EXPECT_EQ(Csv("flag,n --at n=9,flag=y --hide n"), "flag,count\ny,1\n");
}

// ----------------------------------------------------------------------------------------- formats

class SmallTree : public testing::Test {
protected:
    std::string Tree(const std::string& options) const {
        return Printed("tree @ " + options, database);
    }
    std::string As(const std::string& format) const {
        return Tree("t --levels a,b --format " + format);
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
    EXPECT_EQ(As("table"),
              "a, b      count\n--------  -----\nt             6\n"
              "  NULL        1\n    7         1\n"
              "  \"\"          2\n    NULL      1\n    7         1\n"
              "  \"NULL\"      1\n    7         1\n"
              "  日本        2\n    7         2\n");
    EXPECT_EQ(As("table --at a=日本 --leaves"),
              "b             count\n------------  -----\na=日本            2\n"
              "  7               2\n    k=q, m=2      1\n    k=r, m=2      1\n");
}

TEST_F(SmallTree, TellsNullFromEmptyTextInLines) {
    ExpectHas(As("csv --hide b"), {"a,count\n", "\n\"\",2\n", "\n,1\n", "\nNULL,1\n"});
    ExpectHas(As("tsv --leaves"), {"a\tb\tcount\tk\tm\n", "\n\t7\t1\tp\t1\n", "\n\t\\N\t1\tq\t1\n",
                                   "\n\\N\t7\t1\tp\t2\n", "\nNULL\t7\t1\tr\t1\n",
                                   "\n日本\t7\t1\tq\t2\n日本\t7\t1\tr\t2\n"});
    ExpectHas(As("ndjson"),
              {"{\"path\":{},\"count\":6}\n", "\n{\"path\":{\"a\":null},\"count\":1}\n",
               "\n{\"path\":{\"a\":\"\"},\"count\":2}\n", "\n{\"path\":{\"a\":\"\",\"b\":null},",
               "\n{\"path\":{\"a\":\"NULL\",\"b\":7},\"count\":1}\n"});
}

TEST_F(SmallTree, NestsInJson) {
    EXPECT_EQ(As("json --at a=日本 --leaves"),
              "{\"table\":\"t\",\"at\":{\"a\":\"日本\"},\"count\":2,\"children\":[\n"
              "  {\"level\":\"b\",\"value\":7,\"count\":2,\"leaves\":[\n"
              "    {\"k\":\"q\",\"m\":2},\n    {\"k\":\"r\",\"m\":2}]}]}\n");
    EXPECT_EQ(As("json --hide a --reverse b"),
              "{\"table\":\"t\",\"count\":6,\"children\":[\n"
              "  {\"level\":\"b\",\"value\":7,\"count\":5},\n"
              "  {\"level\":\"b\",\"value\":null,\"count\":1}]}\n");
    EXPECT_EQ(As("json --depth 0"), "{\"table\":\"t\",\"count\":6}\n");
    EXPECT_EQ(As("ndjson --at b=NULL --leaves --hide b"),
              "{\"path\":{},\"count\":1}\n{\"path\":{\"a\":\"\"},\"count\":1}\n"
              "{\"path\":{\"a\":\"\"},\"count\":1,\"key\":{\"k\":\"q\",\"m\":1}}\n");
}

TEST_F(SmallTree, OfHiddenLevelsOrOfNoRecordsIsTheRoot) {
    EXPECT_EQ(As("csv --hide a,b"), "count\n6\n");
    EXPECT_EQ(As("csv --depth 0"), "count\n6\n");
    EXPECT_EQ(Tree("keyless --levels a --hide a --leaves"), "count\trowid\n1\t1\n1\t2\n1\t3\n");
    EXPECT_EQ(Tree("hollow --levels a --format json"),
              "{\"table\":\"hollow\",\"count\":0,\"children\":[]}\n");
    EXPECT_EQ(Tree("hollow --levels a --format csv"), "a,count\n");
}

TEST_F(SmallTree, ReadsOnlyTheColumnsOfItsLevels) {
    // Reading `bad` fails for m = 2.
    EXPECT_EQ(RunLine("tree @ v --levels bad", database).status, 1);
    EXPECT_EQ(Tree("v --levels b --reverse b"), "b\tcount\n7\t5\n\\N\t1\n");
}

TEST(TreeTable, IsAlignedBeyondTheFirstRecords) {
    const std::vector<std::string> lines =
        Lines(Printed("tree @ strikes --levels operator>name,airport>name --format table"));
    ASSERT_GT(lines.size(), 500U);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.size(), lines.front().size()) << line;
    }
}

// ---------------------------------------------------------------------------------------- failures

TEST_F(SmallTree, RefusesWhatItCanNotShow) {
    ExpectFailures({{"tree @ t", 2, {"--levels is missing"}},
                    {"tree @ t --levels a --hide b", 2, {"'b' in --hide", "'a'"}},
                    {"tree @ t --levels a:k --reverse a:m", 2, {"'a:m' in --reverse"}},
                    {"tree @ t --levels a --hide zz", 1, {"'zz'"}},
                    {"tree @ t --levels a --by size", 2, {"--by", "data"}},
                    {"tree @ t --levels a --depth -1", 2, {"--depth"}},
                    {"tree @ t --levels a --depth 0 --leaves", 2, {"--leaves", "--depth 0"}},
                    {"tree @ t --levels a --locale qqq", 2, {HasIcu() ? "locale: qqq" : "ICU"}},
                    {"tree @ t --levels a,b --at b=8", 1, {"no '8' at level 'b'"}},
                    {"tree @ t --levels a,b --at a=NULL,b=NULL", 1, {"together"}},
                    {"tree @ v --levels b --leaves", 1, {"'v' is a view"}}},
                   database);
}

TEST(LongTree, IsBrokenOffAtAnInterruptAndEndsQuietlyWhenTheReaderGoes) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "long.db",
        "CREATE TABLE t AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT"
        "    20000) SELECT printf('%d%.*c', x, 1000, 'x') AS word FROM c;");
    for (const std::string format : {"csv", "tsv", "json", "ndjson"}) {
        SCOPED_TRACE(format);
        const Arguments arguments = Words("tree @ --levels word --format " + format, database);
        const CommandResult cut = RunInterrupted(arguments, 1);
        EXPECT_EQ(cut.status, 130);
        const std::vector<std::string> lines = Lines(cut.out);
        EXPECT_LT(lines.size(), 20000U);
        EXPECT_EQ(cut.out.back(), '\n');
        EXPECT_GT(lines.back().size(), 1000U);
        EXPECT_EQ(cut.out.find("]}"), std::string::npos) << "what was broken off must show it";
        const CommandResult unread = RunWithoutReader(arguments, 1);
        EXPECT_EQ(unread.status, 0);
        EXPECT_EQ(unread.err, "");
    }
}

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
        levels = List(count, [](const auto& column) { return 'c' + column; });
        place = List(count, [](const auto& column) { return 'c' + column + "=v1"; });
        std::string script = "CREATE TABLE t(" + levels + ");";
        for (const char* const value : {"'v0'", "'v1'", "'v2'", "'v1'"}) {
            const auto same = [value](const auto&) { return std::string(value); };
            script += "INSERT INTO t VALUES(" + List(count, same) + ");";
        }
        path = folder.MakeDatabase("wide.db", script);
    }
    [[nodiscard]] double SecondsOf(const char* line) const {
        Arguments arguments = Words(line, path);
        for (std::string& argument : arguments) {
            argument = argument == "LEVELS"  ? levels
                       : argument == "PLACE" ? place
                       : argument == "SET"   ? place + ":c1=x"
                                             : argument;
        }
        const CommandResult result = RunCommand(arguments);
        EXPECT_EQ(result.status, 0) << line << result.err;
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
    for (const char* const line : {"walk @ --levels LEVELS --at PLACE", "tree @ --levels LEVELS",
                                   "tree @ --levels LEVELS --at c1=v1 --reverse LEVELS --leaves",
                                   "grid @ --levels LEVELS --axes c7,c3 --calc COUNT:c1",
                                   "score @ --level LEVELS --calc COUNT:c1",
                                   "edit @ --levels LEVELS --set SET --insert PLACE",
                                   "edit @ --levels LEVELS --set SET --show tree"}) {
        EXPECT_LT(many.SecondsOf(line), 10 * few.SecondsOf(line) + 0.1) << line;
    }
}

}  // namespace
}  // namespace etabulon::test
