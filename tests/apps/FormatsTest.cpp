#include "apps/CommandRun.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon {
namespace {

using test::CommandResult;
using test::RunCommand;
using test::TestFolder;

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

class FormatsOfOddValues : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(FormatsOfOddValues, TellThemAllApart) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase("odd.db", kOddities);
    const auto& [format, expected] = GetParam();
    const CommandResult result = RunCommand({"walk", database, "--format", format});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, FormatsOfOddValues,
    testing::Values(
        std::pair("csv",
                  "id,t,n,r,b,d\n"
                  "1,,,,,\n"
                  "2,\"\",0,0,\"\",2024-02-29\n"
                  "3,NULL,-9223372036854775807,1e+300,00ff,0999-01-01\n"
                  "4,\"say \"\"a,b\"\"\",1,inf,41,\n"
                  "5,\"two\nlines\ttab\\\r\",2,0.1,,\n"
                  "6,\" blanks \",3,-1.5,,\n"
                  "7,\xC3(,4,1e+05,,\n"
                  "8,été 東,5,1,,\n"
                  "9,\\N,6,,,\n"),
        std::pair("tsv",
                  "id\tt\tn\tr\tb\td\n"
                  "1\t\\N\t\\N\t\\N\t\\N\t\\N\n"
                  "2\t\t0\t0\t\t2024-02-29\n"
                  "3\tNULL\t-9223372036854775807\t1e+300\t00ff\t0999-01-01\n"
                  "4\tsay \"a,b\"\t1\tinf\t41\t\\N\n"
                  "5\ttwo\\nlines\\ttab\\\\\\r\t2\t0.1\t\\N\t\\N\n"
                  "6\t blanks \t3\t-1.5\t\\N\t\\N\n"
                  "7\t\xC3(\t4\t1e+05\t\\N\t\\N\n"
                  "8\tété 東\t5\t1\t\\N\t\\N\n"
                  "9\t\\\\N\t6\t\\N\t\\N\t\\N\n"),
        std::pair("ndjson",
                  R"({"id":1,"t":null,"n":null,"r":null,"b":null,"d":null})"
                  "\n"
                  R"({"id":2,"t":"","n":0,"r":0,"b":{"hex":""},"d":"2024-02-29"})"
                  "\n"
                  R"({"id":3,"t":"NULL","n":-9223372036854775807,"r":1e+300,)"
                  R"("b":{"hex":"00ff"},"d":"0999-01-01"})"
                  "\n"
                  R"({"id":4,"t":"say \"a,b\"","n":1,"r":"inf","b":{"hex":"41"},"d":null})"
                  "\n"
                  R"({"id":5,"t":"two\nlines\ttab\\\r","n":2,"r":0.1,"b":null,"d":null})"
                  "\n"
                  R"({"id":6,"t":" blanks ","n":3,"r":-1.5,"b":null,"d":null})"
                  "\n"
                  R"({"id":7,"t":{"hex":"c328"},"n":4,"r":1e+05,"b":null,"d":null})"
                  "\n"
                  R"({"id":8,"t":"été 東","n":5,"r":1,"b":null,"d":null})"
                  "\n"
                  R"({"id":9,"t":"\\N","n":6,"r":null,"b":null,"d":null})"
                  "\n"),
        std::pair("table",
                  "id  t                                         n       r  b     d\n"
                  "--  ---------------------  --------------------  ------  ----  ----------\n"
                  " 1  NULL                                   NULL    NULL  NULL  NULL\n"
                  " 2  \"\"                                        0       0  \"\"    2024-02-29\n"
                  " 3  \"NULL\"                 -9223372036854775807  1e+300  00ff  0999-01-01\n"
                  " 4  say \"a,b\"                                 1  inf     41    NULL\n"
                  " 5  \"two\\nlines\\ttab\\\\\\r\"                     2     0.1  NULL  NULL\n"
                  " 6  \" blanks \"                                3    -1.5  NULL  NULL\n"
                  " 7  \"\\xc3(\"                                   4   1e+05  NULL  NULL\n"
                  " 8  été 東                                    5       1  NULL  NULL\n"
                  " 9  \\N                                        6    NULL  NULL  NULL\n")),
    [](const auto& instance) { return std::string(instance.param.first); });

TEST(FormatJson, IsOneArrayAndAnEmptyOneWithoutRecords) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "few.db",
        "CREATE TABLE few(id INTEGER PRIMARY KEY); INSERT INTO few VALUES(1),(2);"
        "CREATE TABLE none(id INTEGER PRIMARY KEY);");
    EXPECT_EQ(RunCommand({"walk", database, "few", "--format", "json"}).out,
              "[\n{\"id\":1},\n{\"id\":2}\n]\n");
    EXPECT_EQ(RunCommand({"walk", database, "none", "--format", "json"}).out, "[]\n");
    EXPECT_EQ(RunCommand({"walk", database, "none", "--format", "csv"}).out, "id\n");
}

TEST(FormatTable, WidensNothingForOneLongCellAndGoesOnBehindItsSample) {
    const TestFolder folder;
    const std::string database = folder.MakeDatabase(
        "long.db",
        "CREATE TABLE long(id INTEGER PRIMARY KEY, t TEXT, u TEXT);"
        "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 1000)"
        "INSERT INTO long SELECT x, CASE x WHEN 1 THEN printf('%.70c', 'x') ELSE 'ab' END,"
        "    CASE x WHEN 1000 THEN 'wide 東' END FROM c;");
    const std::string out =
        RunCommand({"walk", database, "--format", "table", "--levels", "u"}).out;
    EXPECT_NE(out.find("\nNULL    1  " + std::string(70, 'x') + "\n"), std::string::npos)
        << out.substr(0, 300);
    EXPECT_NE(out.find("\nwide 東  1000  ab\n"), std::string::npos);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1002);
}

}  // namespace
}  // namespace etabulon
