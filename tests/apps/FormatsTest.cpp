#include "apps/CommandRun.h"

namespace etabulon::test {
namespace {
constexpr const char* kOddities = R"(
    CREATE TABLE odd(id INTEGER PRIMARY KEY, t TEXT, n INTEGER, r REAL, b BLOB, d DATE);
    INSERT INTO odd VALUES
        (1, NULL, NULL, NULL, NULL, NULL),
        (2, '', 0, 0.0, x'', '2024-02-29'),
        (3, 'NULL', -9223372036854775807, 1e300, x'00ff', '0999-01-01'),
        (4, 'say "a,b"', 1, 9e999, x'41', NULL),
        (5, 'two' || char(10) || 'lines' || char(9) || 'tab\' || char(13), 2, 0.1, NULL, NULL),
        (6, ' blanks ', 3, -1.5, NULL, NULL),
        (7, CAST(x'c328' AS TEXT), 4, 1e+05, NULL, NULL),
        (8, 'été 東', 5, 1.0, NULL, NULL),
        (9, '\N', 6, NULL, NULL, NULL);
)";

TEST(FormatsOfOddValues, TellThemAllApart) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("odd.db", kOddities);
    const std::pair<std::string, const char*> cases[] = {
        {"csv",
         "id,t,n,r,b,d\n"
         "1,,,,,\n"
         "2,\"\",0,0,\"\",2024-02-29\n"
         "3,NULL,-9223372036854775807,1e+300,00ff,0999-01-01\n"
         "4,\"say \"\"a,b\"\"\",1,inf,41,\n"
         "5,\"two\nlines\ttab\\\r\",2,0.1,,\n"
         "6,\" blanks \",3,-1.5,,\n"
         "7,\xC3(,4,100000,,\n"
         "8,été 東,5,1,,\n"
         "9,\\N,6,,,\n"},
        {"tsv",
         "id\tt\tn\tr\tb\td\n"
         "1\t\\N\t\\N\t\\N\t\\N\t\\N\n"
         "2\t\t0\t0\t\t2024-02-29\n"
         "3\tNULL\t-9223372036854775807\t1e+300\t00ff\t0999-01-01\n"
         "4\tsay \"a,b\"\t1\tinf\t41\t\\N\n"
         "5\ttwo\\nlines\\ttab\\\\\\r\t2\t0.1\t\\N\t\\N\n"
         "6\t blanks \t3\t-1.5\t\\N\t\\N\n"
         "7\t\xC3(\t4\t100000\t\\N\t\\N\n"
         "8\tété 東\t5\t1\t\\N\t\\N\n"
         "9\t\\\\N\t6\t\\N\t\\N\t\\N\n"},
        {"ndjson", R"({"id":1,"t":null,"n":null,"r":null,"b":null,"d":null}
{"id":2,"t":"","n":0,"r":0,"b":{"hex":""},"d":"2024-02-29"}
{"id":3,"t":"NULL","n":-9223372036854775807,"r":1e+300,"b":{"hex":"00ff"},"d":"0999-01-01"}
{"id":4,"t":"say \"a,b\"","n":1,"r":"inf","b":{"hex":"41"},"d":null}
{"id":5,"t":"two\nlines\ttab\\\r","n":2,"r":0.1,"b":null,"d":null}
{"id":6,"t":" blanks ","n":3,"r":-1.5,"b":null,"d":null}
{"id":7,"t":{"hex":"c328"},"n":4,"r":100000,"b":null,"d":null}
{"id":8,"t":"été 東","n":5,"r":1,"b":null,"d":null}
{"id":9,"t":"\\N","n":6,"r":null,"b":null,"d":null}
)"},
        {"table",
         "id  t                                         n       r  b     d\n"
         "--  ---------------------  --------------------  ------  ----  ----------\n"
         " 1  NULL                                   NULL    NULL  NULL  NULL\n"
         " 2  \"\"                                        0       0  \"\"    2024-02-29\n"
         " 3  \"NULL\"                 -9223372036854775807  1e+300  00ff  0999-01-01\n"
         " 4  say \"a,b\"                                 1  inf     41    NULL\n"
         " 5  \"two\\nlines\\ttab\\\\\\r\"                     2     0.1  NULL  NULL\n"
         " 6  \" blanks \"                                3    -1.5  NULL  NULL\n"
         " 7  \"\\xc3(\"                                   4  100000  NULL  NULL\n"
         " 8  été 東                                    5       1  NULL  NULL\n"
         " 9  \\N                                        6    NULL  NULL  NULL\n"}};
    for (const auto& [format, expected] : cases) {
        EXPECT_EQ(Printed("walk @ --format " + format, database), expected) << format;
    }
}

TEST(FormatJson, IsOneArrayAndAnEmptyOneWithoutRecords) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "few.db",
        "CREATE TABLE few(id INTEGER PRIMARY KEY); INSERT INTO few VALUES(1),(2);"
        "CREATE TABLE none(id INTEGER PRIMARY KEY);");
    EXPECT_EQ(Printed("walk @ few --format json", database), "[\n{\"id\":1},\n{\"id\":2}\n]\n");
    EXPECT_EQ(Printed("walk @ none --format json", database), "[]\n");
    EXPECT_EQ(Printed("walk @ none --format csv", database), "id\n");
}

TEST(FormatTable, MeasuresWhatItPrintsAndGoesOnBehindItsSample) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "long.db",
        "CREATE TABLE long(id INTEGER PRIMARY KEY, t TEXT, u TEXT, v TEXT);"
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 1002)"
        "INSERT INTO long SELECT x, CASE x WHEN 7 THEN printf('%.70c', 'x') ELSE 'ab' END,"
        "    CASE x WHEN 1000 THEN 'wide 東' WHEN 1001 THEN 'much wider' END, 'c' FROM c;"
        "CREATE TABLE longest(id INTEGER PRIMARY KEY, t TEXT, u TEXT);"
        "INSERT INTO longest VALUES (1, 'a', 'b'), (2, printf('%.5000c', 'x'), 'c')");
    const std::string out = Printed("walk @ long --format table --levels u", database);
    ExpectHas(out, {"\nNULL        1  ab" + std::string(68, ' ') + "  c\n",
                    "\nNULL        7  " + std::string(70, 'x') + "  c\n", "\nwide 東  1000  ab",
                    "\nmuch wider  1001  ab", "\nNULL     1002  ab"});
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1004);
    // One cell doesn't make all lines as long as it is.
    EXPECT_LT(Printed("walk @ longest --format table", database).size(), 7000U);
}

/// Cells without records, values that differ, empty and missing ones, zero, and texts that each of
/// the formats has to escape.
constexpr const char* kMarks = R"(
    CREATE TABLE marks(id INTEGER PRIMARY KEY, a TEXT, b TEXT, t TEXT, n INTEGER);
    INSERT INTO marks VALUES (1, 'x|y', '<b>', '', 0), (2, 'x|y', 'c&d', 'u', 1),
        (3, 'x|y', 'c&d', 'v', 2), (4, 'z', 'c&d', NULL, NULL),
        (5, NULL, '<b>', 'two' || char(10) || 'lines', 4), (6, 'z_', 'c&d', '≠', 5);
)";

class Marks : public testing::Test {
protected:
    [[nodiscard]] std::string Run(const std::string& line) const { return Printed(line, path); }
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("marks.db", kMarks);
};

TEST_F(Marks, TellNoValueDifferingMissingEmptyAndZeroApart) {
    const std::pair<std::string, const char*> cases[] = {
        {"table",
         "a \\ b  <b>           c&d   total\n"
         "-----  ------------  ----  ------------\n"
         "NULL   \"two\\nlines\"        \"two\\nlines\"\n"
         "x|y    \"\"            ≠     ≠\n"
         "z                    NULL  NULL\n"
         "z_                   \"≠\"   \"≠\"\n"
         "total  ≠             ≠     ≠\n"},
        {"csv",
         "a \\ b,<b>,c&d,total\n"
         ",\"two\nlines\",,\"two\nlines\"\n"
         "x|y,\"\",≠,≠\n"
         "z,,,\n"
         "z_,,\"≠\",\"≠\"\n"
         "total,≠,≠,≠\n"},
        {"tsv",
         "a \\\\ b\t<b>\tc&d\ttotal\n"
         "\\N\ttwo\\nlines\t\\N\ttwo\\nlines\n"
         "x|y\t\t\\D\t\\D\n"
         "z\t\\N\t\\N\t\\N\n"
         "z_\t\\N\t≠\t≠\n"
         "total\t\\D\t\\D\t\\D\n"},
        {"json",
         R"json([
{"calculation":"COMMONVAL(t)","lines":{"axis":"a","labels":[null,"x|y","z","z_"]},
"columns":{"axis":"b","labels":["<b>","c&d"]},
"values":[
["two\nlines",null],
["",{"special":"differ"}],
[null,null],
[null,"≠"]],
"lineTotals":["two\nlines",{"special":"differ"},null,"≠"],
"columnTotals":[{"special":"differ"},{"special":"differ"}],"total":{"special":"differ"}}
]
)json"},
        {"ndjson",
         R"json({"calculation":"COMMONVAL(t)","line":null,"column":"<b>","value":"two\nlines"}
{"calculation":"COMMONVAL(t)","line":null,"column":"c&d","value":null}
{"calculation":"COMMONVAL(t)","line":null,"total":"two\nlines"}
{"calculation":"COMMONVAL(t)","line":"x|y","column":"<b>","value":""}
{"calculation":"COMMONVAL(t)","line":"x|y","column":"c&d","value":{"special":"differ"}}
{"calculation":"COMMONVAL(t)","line":"x|y","total":{"special":"differ"}}
{"calculation":"COMMONVAL(t)","line":"z","column":"<b>","value":null}
{"calculation":"COMMONVAL(t)","line":"z","column":"c&d","value":null}
{"calculation":"COMMONVAL(t)","line":"z","total":null}
{"calculation":"COMMONVAL(t)","line":"z_","column":"<b>","value":null}
{"calculation":"COMMONVAL(t)","line":"z_","column":"c&d","value":"≠"}
{"calculation":"COMMONVAL(t)","line":"z_","total":"≠"}
{"calculation":"COMMONVAL(t)","column":"<b>","total":{"special":"differ"}}
{"calculation":"COMMONVAL(t)","column":"c&d","total":{"special":"differ"}}
{"calculation":"COMMONVAL(t)","total":{"special":"differ"}}
)json"},
        {"markdown",
         "| a \\\\ b | \\<b\\> | c\\&d | total |\n"
         "| --- | --- | --- | --- |\n"
         "| NULL | two<br>lines | | two<br>lines |\n"
         "| x\\|y | \"\" | ≠ | ≠ |\n"
         "| z | | NULL | NULL |\n"
         "| z\\_ | | \"≠\" | \"≠\" |\n"
         "| **total** | **≠** | **≠** | **≠** |\n"}};
    for (const auto& [format, expected] : cases) {
        EXPECT_EQ(Run("grid @ --axes a,b --calc COMMONVAL:t --format " + format), expected)
            << format;
    }
}

TEST_F(Marks, AsHtmlAreOneDocumentWithScopesAndEscapedText) {
    const std::string out = Run("grid @ --axes a,b --calc COMMONVAL:t --format html");
    EXPECT_EQ(out.rfind("<!DOCTYPE html>\n<html lang=\"en\">", 0), 0U);
    EXPECT_NE(out.find("<caption>COMMONVAL(t): a \\ b</caption>"), std::string::npos);
    const std::string table = out.substr(out.find("<thead>"));
    EXPECT_EQ(table,
              "<thead>\n"
              "<tr><th scope=\"col\">a \\ b</th><th scope=\"col\">&lt;b&gt;</th>"
              "<th scope=\"col\">c&amp;d</th><th scope=\"col\">total</th></tr>\n"
              "</thead>\n<tbody>\n"
              "<tr><th scope=\"row\" class=\"null\">NULL</th><td>two<br>lines</td>"
              "<td class=\"absent\"></td><td>two<br>lines</td></tr>\n"
              "<tr><th scope=\"row\">x|y</th><td>&quot;&quot;</td>"
              "<td class=\"differing\">≠</td><td class=\"differing\">≠</td></tr>\n"
              "<tr><th scope=\"row\">z</th><td class=\"absent\"></td>"
              "<td class=\"null\">NULL</td><td class=\"null\">NULL</td></tr>\n"
              "<tr><th scope=\"row\">z_</th><td class=\"absent\"></td>"
              "<td>&quot;≠&quot;</td><td>&quot;≠&quot;</td></tr>\n"
              "<tr class=\"total\"><th scope=\"row\">total</th><td class=\"differing\">≠</td>"
              "<td class=\"differing\">≠</td><td class=\"differing\">≠</td></tr>\n"
              "</tbody>\n</table>\n</body>\n</html>\n");
}

TEST_F(Marks, ScoreFormatsKeepTheTotalAndTheLabelsOfEachLevel) {
    const auto print = [this](const std::string& format) {
        return Run("score @ --level a,b --calc SUM:n,COUNT:id --top 2 --format " + format);
    };
    EXPECT_EQ(print("table"),
              "a      b    SUM(n)  COUNT(id)\n"
              "-----  ---  ------  ---------\n"
              "z_     c&d       5          1\n"
              "NULL   <b>       4          1\n"
              "total           12          6\n");
    EXPECT_EQ(print("json"),
              R"json({"lines":[
{"label":{"a":"z_","b":"c&d"},"values":{"SUM(n)":5,"COUNT(id)":1}},
{"label":{"a":null,"b":"<b>"},"values":{"SUM(n)":4,"COUNT(id)":1}}],
"total":{"SUM(n)":12,"COUNT(id)":6}}
)json");
    EXPECT_EQ(print("ndjson"),
              R"json({"label":{"a":"z_","b":"c&d"},"values":{"SUM(n)":5,"COUNT(id)":1}}
{"label":{"a":null,"b":"<b>"},"values":{"SUM(n)":4,"COUNT(id)":1}}
{"total":{"SUM(n)":12,"COUNT(id)":6}}
)json");
}

TEST_F(Marks, GridsFollowTheAxesAndTheCalculations) {
    const std::pair<std::string, const char*> cases[] = {
        {"--calc SUM:n", "SUM(n)\n12\n"},
        {"--calc SUM:n,COUNT:n", "calculation,value\nSUM(n),12\nCOUNT(n),6\n"},
        {"--calc SUM:n,COUNT:n,COUNT:id", "variable,SUM,COUNT\nn,12,6\nid,,6\n"},
        {"--axes b --calc SUM:n,COUNT:id", "b,SUM(n),COUNT(id)\n<b>,4,2\nc&d,8,4\ntotal,12,6\n"},
        {"--axes b --calc SUM:n,COUNT:n", "b,SUM(n),COUNT(n)\n<b>,4,2\nc&d,8,4\ntotal,12,6\n"},
        {"--axes b --calc SUM:n,COUNT:n,COUNT:id",
         "b,SUM(n),COUNT(n),COUNT(id)\n<b>,4,2,2\nc&d,8,4,4\ntotal,12,6,6\n"},
        {"--axes b,a --at id=5 --calc SUM:n,COUNT:id",
         "calculation,b \\ a,NULL,total\nSUM(n),<b>,4,4\nSUM(n),total,4,4\n"
         "COUNT(id),<b>,1,1\nCOUNT(id),total,1,1\n"},
        {"--levels b,t,a --hide t --reverse b --calc SUM:n,COUNT:id --priority 2",
         "b \\ a,NULL,x|y,z,z_,total\nc&d,,2,1,1,4\n<b>,1,1,,,2\ntotal,1,3,1,1,6\n"}};
    for (const auto& [options, expected] : cases) {
        EXPECT_EQ(Run("grid @ --format csv " + options), expected) << options;
    }
}

TEST(EmptyResults, AreHeadsWithoutLinesUnlessNothingIsGrouped) {
    const TestFolder folder;
    const std::string path =
        folder.MakeDatabase("none.db", "CREATE TABLE none(id INTEGER PRIMARY KEY, a TEXT);");
    EXPECT_EQ(Printed("grid @ --axes a --calc COUNT:id", path), "a\tCOUNT(id)\n");
    EXPECT_EQ(Printed("grid @ --axes a,id --calc COUNT:id", path), "a \\\\ id\n");
    EXPECT_EQ(Printed("grid @ --calc COUNT:id --format ndjson", path),
              "{\"column\":\"COUNT(id)\",\"value\":0}\n");
    EXPECT_EQ(Printed("score @ --level a --calc COUNT:id", path), "a\tCOUNT(id)\ntotal\t0\n");
}

TEST_F(Marks, DrillPrintsTheRecordsBehindCellsAndTotals) {
    const auto drill = [this](const std::string& cell) {
        return Run("grid @ --calc SUM:n --format csv --axes " + cell);
    };
    EXPECT_EQ(drill("a,b --drill x|y,c&d"), "a,b,id,t,n\nx|y,c&d,2,u,1\nx|y,c&d,3,v,2\n");
    EXPECT_EQ(drill("a,b --drill NULL,total"), "a,b,id,t,n\n,<b>,5,\"two\nlines\",4\n");
    EXPECT_EQ(drill("b --drill <b>"), "b,id,a,t,n\n<b>,1,x|y,\"\",0\n<b>,5,,\"two\nlines\",4\n");
    ExpectHas(drill("a,b --drill total,total"), {"\nx|y,<b>,1,", "\nz_,c&d,6,"});
}

TEST(ResultOptions, FailWithWhatIsWrong) {
    ExpectFailures(
        {{"grid @ strikes --axes damage", 2, {"--calc FUNCTION:column,... is missing"}},
         {"grid @ strikes --calc SUM", 2, {"'SUM' in --calc isn't written as FUNCTION:column"}},
         {"grid @ strikes --calc SUM:damage",
          2,
          {"there are 'COMMONVAL', 'COUNT', 'LAST'; of", "there 'COUNTVAL', 'DISTINCT'"}},
         {"grid @ strikes --calc SOM:id", 2, {"did you mean 'SUM'?"}},
         {"grid @ strikes --calc SUM:costs", 1, {"table 'strikes' has no column 'costs'"}},
         {"grid @ strikes --calc SUM:id,sum:ID", 2, {"SUM(id) is given twice"}},
         {"grid @ strikes --calc SUM:id --axes id,damage,phase_of_flight",
          2,
          {"a grid has two axes, not 3"}},
         {"grid @ strikes --calc SUM:id --axes id,id", 2, {"level 'id' is given twice"}},
         {"grid @ strikes --calc SUM:id --axes id --hide id", 2, {"both in --axes and"}},
         {"grid @ strikes --calc SUM:id --axes id --at id=1", 2, {"has one value by --at"}},
         {"grid @ strikes --calc SUM:id --priority 2", 2, {"--calc has one calculation"}},
         {"grid @ strikes --calc SUM:id --drill a", 2, {"--drill needs an axis"}},
         {"grid @ strikes --calc SUM:id --axes damage,id --drill B",
          2,
          {"--drill takes two labels"}},
         {"grid @ strikes --calc SUM:id --axes damage --drill b",
          1,
          {"'b' in --drill isn't a label of 'damage'"}},
         {"grid @ strikes --calc SUM:id --at damage=X", 1, {"has no 'X' at level 'damage'"}},
         {"score @ strikes --calc SUM:id", 2, {"--level is missing"}},
         {"score @ strikes --calc SUM:id --level damage --depth 2",
          2,
          {"--depth is 2, but there is one level"}}});
}

}  // namespace
}  // namespace etabulon::test
