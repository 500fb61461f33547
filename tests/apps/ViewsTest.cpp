#include "apps/CommandRun.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace etabulon::test {
namespace {

constexpr const char* kSales = R"(
    CREATE TABLE sales(id INTEGER PRIMARY KEY, kind TEXT, city TEXT, amount INTEGER, part REAL);
    INSERT INTO sales VALUES (1, 'a', 'x', 10, 1), (2, 'b', 'x', -4, NULL), (3, 'A', 'y', 10, 2.5),
        (4, NULL, 'y', NULL, NULL), (5, '', 'z', 3, 0), (6, 'b', 'z', 1, 8), (7, 'c', 'x', 0, 1);
)";

struct ViewCase {
    const char* line;
    const char* printed;
};

void ExpectPrinted(std::initializer_list<ViewCase> cases, const char* script) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("sales.db", script);
    for (const ViewCase& each : cases) {
        EXPECT_EQ(Printed(each.line, path), each.printed) << each.line;
    }
}

TEST(ScoresInAnotherOrder, SortByCalculationsAndLabels) {
    ExpectPrinted(
        {{"score @ --level kind --calc SUM:amount --sort SUM:amount:asc",
          "kind\tSUM(amount)\n\\N\t\\N\nb\t-3\nc\t0\n\t3\nA\t10\na\t10\ntotal\t20\n"},
         {"score @ --level kind --calc SUM:amount,COUNT:id --sort COUNT:id,kind:desc --top 3",
          "kind\tSUM(amount)\tCOUNT(id)\nb\t-3\t2\nc\t0\t1\na\t10\t1\ntotal\t20\t7\n"},
         {"score @ --level city,kind --calc SUM:amount --sort city,SUM:amount --top 4",
          "city\tkind\tSUM(amount)\nx\ta\t10\nx\tc\t0\nx\tb\t-4\ny\tA\t10\ntotal\t\\N\t20\n"},
         // The level goes as --reverse says, unless its key tells a direction.
         {"score @ --level city --calc COUNT:id --reverse city --sort city",
          "city\tCOUNT(id)\nz\t2\ny\t2\nx\t3\ntotal\t7\n"},
         {"score @ --level city --calc COUNT:id --reverse city --sort city:asc",
          "city\tCOUNT(id)\nx\t3\ny\t2\nz\t2\ntotal\t7\n"},
         {"score @ --level city --calc MAX:part --sort MAX:part:asc",
          "city\tMAX(part)\nx\t1\ny\t2.5\nz\t8\ntotal\t8\n"}},
        kSales);
}

TEST(ScoresInAnotherOrder, HaveSharesOfTheTotal) {
    ExpectPrinted(
        {{"score @ --level kind --calc AVG:part,SUM:amount --share SUM:amount --sort SUM:amount",
          "kind\tAVG(part)\tSUM(amount)\tSUM(amount) % of total\tSUM(amount) running % of total\n"
          "A\t2.5\t10\t50\t50\na\t1\t10\t50\t100\n\t0\t3\t15\t115\nc\t1\t0\t0\t115\n"
          "b\t4\t-3\t-15\t100\n\\N\t\\N\t\\N\t\\N\t100\ntotal\t1.7857142857142858\t20\t100\t\\N\n"},
         // Without --sort the order is that of a score.
         {"score @ --level city --calc COUNT:id --share COUNT:id --top 2 --format ndjson",
          R"~({"label":{"city":"x"},"values":{"COUNT(id)":3,"COUNT(id) % of total":42.86,)~"
          R"~("COUNT(id) running % of total":42.86}}
{"label":{"city":"z"},"values":{"COUNT(id)":2,"COUNT(id) % of total":28.57,"COUNT(id) running % of total":71.43}}
{"total":{"COUNT(id)":7,"COUNT(id) % of total":100,"COUNT(id) running % of total":null}}
)~"},
         {"score @ --level kind --at id=4 --calc SUM:amount --share SUM:amount",
          "kind\tSUM(amount)\tSUM(amount) % of total\tSUM(amount) running % of "
          "total\n\\N\t\\N\t\\N\t\\N\n"
          "total\t\\N\t\\N\t\\N\n"}},
        kSales);
}

TEST(ScoresInAnotherOrder, AreDrilledInto) {
    ExpectPrinted({{"score @ --level kind --calc COUNT:id --drill b",
                    "kind\tid\tcity\tamount\tpart\nb\t2\tx\t-4\t\\N\nb\t6\tz\t1\t8\n"},
                   {"score @ --level kind,city --calc COUNT:id --sort city --drill NULL,y",
                    "kind\tcity\tid\tamount\tpart\n\\N\ty\t4\t\\N\t\\N\n"},
                   {"score @ --level kind --at city=y --calc COUNT:id --drill total",
                    "kind\tcity\tid\tamount\tpart\nA\ty\t3\t10\t2.5\n\\N\ty\t4\t\\N\t\\N\n"}},
                  kSales);
}

TEST(ScoresInAnotherOrder, PutTheRestTogether) {
    ExpectPrinted(
        {{"score @ --level kind --calc SUM:amount,AVG:amount,LAST:id --top 2 --others",
          "kind\tSUM(amount)\tAVG(amount)\tLAST(id)\nA\t10\t10\t3\na\t10\t10\t1\n"
          "others\t0\t0\t7\ntotal\t20\t2.857142857142857\t7\n"},
         {"score @ --level city --calc COUNT:id --top 1 --others --format json",
          R"~({"lines":[
{"label":{"city":"x"},"values":{"COUNT(id)":3}}],
"others":{"COUNT(id)":4},
"total":{"COUNT(id)":7}}
)~"},
         {"score @ --level city --calc COUNT:id --top 3 --others",
          "city\tCOUNT(id)\nx\t3\nz\t2\ny\t2\ntotal\t7\n"},
         {"score @ --level city,kind --calc COUNT:id --sort city --top 6 --others --drill others",
          "city\tkind\tid\tamount\tpart\nz\tb\t6\t1\t8\n"}},
        kSales);
}

constexpr const char* kNested =
    "--lines city,kind --columns part --where 'part >= 0' --calc SUM:amount";

TEST(ArrangedGrids, ArePrintedInEveryFormat) {
    const std::string nested = std::string("grid @ ") + kNested;
    const std::string limited = nested + " --top-lines 2,1 --others --sort-lines total";
    const std::string table = limited + " --format table";
    const std::string json = limited + " --top-columns 1 --format json";
    const std::string lines = nested + " --top-lines 1 --totals subtotals --format ndjson";
    const std::string html = nested + " --top-lines 1 --format html";
    ExpectPrinted({{table.c_str(),
                    "city    kind \\ part  0   1  2.5  8  total\n"
                    "------  -----------  -  --  ---  -  -----\n"
                    "x       a               10             10\n"
                    "x       others           0              0\n"
                    "x       total           10             10\n"
                    "y       A                    10        10\n"
                    "y       total                10        10\n"
                    "others               3           1      4\n"
                    "total                3  10   10  1     24\n"},
                   {json.c_str(),
                    R"~([
{"calculation":"SUM(amount)","lines":{"axis":["city","kind"],"labels":[["x","a"],{"others":["x"]},)~"
                    R"~({"total":["x"]},["y","A"],{"total":["y"]},{"others":[]}]},
"columns":{"axis":"part","labels":[0,{"others":[]}]},
"values":[
[null,10],
[null,0],
[null,10],
[null,10],
[null,10],
[3,1]],
"lineTotals":[10,0,10,10,10,4],
"columnTotals":[3,21],"total":24}
]
)~"},
                   {lines.c_str(),
                    R"~({"calculation":"SUM(amount)","line":["x","a"],"column":0,"value":null}
{"calculation":"SUM(amount)","line":["x","a"],"column":1,"value":10}
{"calculation":"SUM(amount)","line":["x","a"],"column":2.5,"value":null}
{"calculation":"SUM(amount)","line":["x","a"],"column":8,"value":null}
{"calculation":"SUM(amount)","line":["x","c"],"column":0,"value":null}
{"calculation":"SUM(amount)","line":["x","c"],"column":1,"value":0}
{"calculation":"SUM(amount)","line":["x","c"],"column":2.5,"value":null}
{"calculation":"SUM(amount)","line":["x","c"],"column":8,"value":null}
{"calculation":"SUM(amount)","line":{"total":["x"]},"column":0,"total":null}
{"calculation":"SUM(amount)","line":{"total":["x"]},"column":1,"total":10}
{"calculation":"SUM(amount)","line":{"total":["x"]},"column":2.5,"total":null}
{"calculation":"SUM(amount)","line":{"total":["x"]},"column":8,"total":null}
)~"}},
                  kSales);
    const TestFolder folder;
    ExpectHas(Printed(html, folder.MakeDatabase("sales.db", kSales)),
              {"<tr class=\"total\"><th scope=\"row\">x</th><th scope=\"row\">total</th>"});
}

TEST(ArrangedGrids, HaveThePartsThatAreAskedFor) {
    ExpectPrinted(
        {{"grid @ --axes city,kind --calc COUNT:id,SUM:amount --priority 2 --sort-lines kind=b "
          "--top-columns 1 --totals lines",
          "city \\\\ kind\tNULL\ttotal\nz\t\\N\t4\nx\t\\N\t6\ny\t\\N\t10\n"},
         {"grid @ --axes city --calc COUNT:id,SUM:amount --sort-lines SUM:amount --top-lines 1 "
          "--percent column --totals columns",
          "city\tCOUNT(id) % of column\tSUM(amount) % of column\ny\t28.57\t50\ntotal\t100\t100\n"},
         {"grid @ --axes city,kind --calc COUNT:id --sort-columns total --top-columns 2 --others "
          "--totals none",
          "city \\\\ kind\tb\tNULL\tothers\nx\t1\t\\N\t2\ny\t\\N\t1\t1\nz\t1\t\\N\t1\n"},
         {"grid @ --axes city,kind --calc COUNT:id --top-lines 1 --others --drill others,total",
          "city\tkind\tid\tamount\tpart\ny\tA\t3\t10\t2.5\ny\t\\N\t4\t\\N\t\\N\n"
          "z\t\t5\t3\t0\nz\tb\t6\t1\t8\n"}},
        kSales);
}

TEST(SortedWalks, PutRecordsIntoTheOrderOfTheirValues) {
    ExpectPrinted(
        {{"walk @ --sort amount:desc,kind --columns amount,kind",
          "id\tamount\tkind\n3\t10\tA\n1\t10\ta\n5\t3\t\n6\t1\tb\n7\t0\tc\n2\t-"
          "4\tb\n4\t\\N\t\\N\n"},
         {"walk @ --sort part --columns part --limit 4", "id\tpart\n2\t\\N\n4\t\\N\n5\t0\n1\t1\n"},
         // Equal records stay in the order of the key, whatever is left out.
         {"walk @ --sort city:desc --columns '' --limit 3", "id\n5\n6\n3\n"},
         {"walk @ --sort kind --columns '' --limit 0", "id\n"},
         {"walk @ --levels city,kind --at city=x --sort kind:desc --columns amount",
          "city\tkind\tid\tamount\nx\tc\t7\t0\nx\tb\t2\t-4\nx\ta\t1\t10\n"},
         {"walk @ --sort amount --where 'amount > 3' --columns city", "id\tcity\n1\tx\n3\ty\n"},
         {"edit @ --set id=7:amount=99 --insert id=9,kind=z --show walk --sort amount:desc "
          "--columns amount --limit 2",
          "id\tkind\tamount\n7\tc\t99\n1\ta\t10\n"}},
        kSales);
}

TEST(ViewsThatAreMeaningless, SayWhatThereIs) {
    ExpectFailures({
        {"score @ strikes --level damage --calc AVG:cost_total --share AVG:cost_total",
         2,
         {"--share", "AVG(cost_total)", "COUNT, COUNTVAL and SUM"}},
        {"score @ strikes --level damage --calc COUNT:id --sort SUM:cost_total",
         2,
         {"'SUM:cost_total' in --sort", "'COUNT:id'"}},
        {"score @ strikes --level damage --calc COUNT:id --sort time_of_day",
         2,
         {"--sort can't sort by 'time_of_day'", "'damage' and 'COUNT:id'"}},
        {"score @ strikes --level damage --calc COUNT:id --sort COUNT:id:up", 2, {"COUNT:id:up"}},
        {"score @ strikes --level damage --calc COUNT:id --others", 2, {"--top"}},
        {"grid @ strikes --axes damage --calc COUNT:id --others", 2, {"--top-lines"}},
        {"score @ strikes --level damage --calc CODEMIN:cost_total --top 1 --others",
         2,
         {"CODEMIN(cost_total)", "CODELOWEST"}},
        {"grid @ strikes --axes damage --lines id --calc COUNT:id", 2, {"--axes", "--lines"}},
        {"grid @ strikes --columns id --calc COUNT:id --totals none", 2, {"--lines"}},
        {"grid @ strikes --axes damage --calc MAX:id --percent total", 2, {"--percent", "MAX(id)"}},
        {"grid @ strikes --axes damage --calc COUNT:id --percent line", 2, {"--percent line"}},
        {"grid @ strikes --axes damage --calc COUNT:id --totals all", 2, {"'all'", "subtotals"}},
        {"grid @ strikes --axes damage --calc COUNT:id --top-lines 1,2", 2, {"one level"}},
        {"grid @ strikes --axes damage --calc COUNT:id --top-lines -1", 2, {"'-1'"}},
        {"grid @ strikes --axes damage,time_of_day --calc COUNT:id --sort-lines time_of_day=Nigt",
         1,
         {"'Nigt'", "'Night'"}},
        {"grid @ strikes --lines damage,time_of_day --calc COUNT:id --drill Minor",
         2,
         {"2 labels"}},
        {"grid @ strikes --lines damage,time_of_day --calc COUNT:id --drill Minor,Dask",
         1,
         {"'Dask'", "'Dusk'", "time_of_day"}},
        {"walk @ strikes --sort cost_totl", 1, {"'cost_totl'", "cost_total"}},
        {"walk @ strikes --sort SUM:cost_total", 2, {"'SUM:cost_total' in --sort", "column:desc"}},
        {"score @ strikes --level damage --calc COUNT:id --drill Minr", 1, {"'Minr'", "'Minor'"}},
        {"score @ strikes --level damage,id --calc COUNT:id --drill Minor", 2, {"2 labels"}},
        {"score @ strikes --level damage --calc COUNT:id --top -1",
         2,
         {"--top: '-1' isn't a whole number from 0 on (see"}},
        {"walk @ strikes --limit many", 2, {"--limit: 'many' isn't a whole number from 0 on (see"}},
        {"score @ strikes --level damage --depth 0", 2, {"'0' isn't a whole number from 1 on"}},
        {"score @ strikes --level damage --calc P0:cost_total",
         2,
         {"'P0'; quantiles are 'P1' to 'P99'"}},
        {"score @ strikes --level damage --calc XYZ:cost_total",
         2,
         {"'LAST', 'MAX', 'MIN', 'SUM'; of the values that are there 'CODEHIGHEST'",
          "'STDDEVP' and the quantiles 'P1' to 'P99'"}},
        {"score @ strikes --level damage --calc XYZ:damage", 2, {"'HIGHEST', 'LOWEST'"}},
        {"grid @ strikes --axes damage --calc COUNT:id --sort-lines damage:sideways",
         2,
         {"'damage:sideways' in --sort-lines", "COUNT:id", ":asc or :desc"}},
        {"grid @ strikes --axes damage --calc COUNT:id --sort-lines COUNT:idd",
         1,
         {"no column 'idd'"}},
        {"score @ strikes --level damage --calc COUNT:id --topp 2",
         2,
         {"there is no option '--topp'; did you mean '--top'? (see etabulon score --help)"}},
        {"score @ strikes 2 --level damage --calc COUNT:id", 2, {"'2' isn't expected"}},
        {"score @ strikes --level damage --calc COUNT:id --top 1 --drill Minor",
         1,
         {"'Minor'", "--top shows; there is 'None'; without --top"}},
        {"grid @ strikes --axes damage,time_of_day --calc COUNT:id --top-lines 1 --drill "
         "Minor,Dusk",
         1,
         {"--top-lines shows"}},
        {"tree @ strikes --levels damage --calc COUNT:id --leaves --format csv",
         2,
         {"--leaves", "ndjson"}},
        {"tree @ strikes --levels 'flight_date.year.bin(2)'",
         2,
         {".bin(2) can't be made", "'flight_date.year.bin(2)'"}},
        {"tree @ strikes --levels 'id.bin(2).bin(4)'", 2, {".bin(4) can't be made"}},
    });
}

TEST(ResultsOfNoRecords, AreThoseOfSql) {
    ExpectPrinted(
        {{"grid @ --levels kind --hide kind --where 'amount > 99' --format csv "
          "--calc COUNT:id,SUM:id,COUNT:part",
          "variable,COUNT,SUM\nid,0,\npart,0,\n"},
         {"grid @ --levels kind --hide kind --where 'amount > 99' --calc COUNT:id,SUM:id",
          "calculation\tvalue\nCOUNT(id)\t0\nSUM(id)\t\\N\n"},
         {"grid @ --levels kind --hide kind --where 'amount > 99' --calc COUNT:id --format csv",
          "COUNT(id)\n0\n"},
         {"score @ --level kind --where 'amount > 99' --calc DISTINCT:id,MAX:id",
          "kind\tDISTINCT(id)\tMAX(id)\ntotal\t0\t\\N\n"},
         {"score @ --level kind --where 'amount > 99' --calc COUNT:id --sort kind --share COUNT:id",
          "kind\tCOUNT(id)\tCOUNT(id) % of total\tCOUNT(id) running % of total\n"
          "total\t0\t\\N\t\\N\n"},
         {"tree @ --levels kind --where 'amount > 99' --calc COUNT:id,MEAN:part --format ndjson",
          R"~({"path":{},"count":0,"values":{"COUNT(id)":0,"MEAN(part)":null}}
)~"}},
        kSales);
}

TEST(Percents, HaveOneSpellingInAllViews) {
    ExpectPrinted(
        {{"grid @ --axes city --calc COUNTVAL:part --percent total",
          "city\tCOUNTVAL(part) % of total\nx\t40\ny\t20\nz\t40\ntotal\t100\n"},
         {"tree @ --levels city --calc COUNTVAL:part --percent total",
          "city\tcount\tCOUNTVAL(part) % of total\nx\t3\t40\ny\t2\t20\nz\t2\t40\n"},
         {"score @ --level city --calc COUNTVAL:part --share COUNTVAL:part --top 1",
          "city\tCOUNTVAL(part)\tCOUNTVAL(part) % of total\tCOUNTVAL(part) running % of total\n"
          "z\t2\t40\t40\ntotal\t5\t100\t\\N\n"},
         {"score @ --level city --calc COUNT:id --top 0", "city\tCOUNT(id)\ntotal\t7\n"}},
        kSales);
}

TEST(DrilledLabels, InQuotesAreThoseOfThatText) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "t.db",
        "CREATE TABLE t(k INTEGER PRIMARY KEY, g); INSERT INTO t VALUES(1, 'NULL'), (2, NULL), "
        "(3, '\"NULL\"'), (4, 'others'), (5, 'total'), (6, 7)");
    const std::pair<const char*, const char*> kCases[] = {
        {"\"NULL\"", "1"},   {"NULL", "2"},      {"\"\"\"NULL\"\"\"", "3"},
        {"\"others\"", "4"}, {"\"total\"", "5"}, {"7", "6"},
    };
    for (const auto& [label, key] : kCases) {
        for (const Arguments& command :
             {Arguments{"grid", path, "t", "--axes", "g", "--calc", "COUNT:k"},
              Arguments{"grid", path, "t", "--lines", "g", "--calc", "COUNT:k", "--sort-lines",
                        "g:desc"},
              Arguments{"score", path, "t", "--level", "g", "--calc", "COUNT:k"}}) {
            Arguments drilled = command;
            drilled.insert(drilled.end(), {"--drill", label, "--format", "ndjson"});
            const CommandResult result = RunCommand(drilled);
            EXPECT_NE(result.out.find(std::string("\"k\":") + key), std::string::npos)
                << command.front() << " " << label << result.out << result.err;
            EXPECT_EQ(std::ranges::count(result.out, '\n'), 1) << label;
        }
    }
}

// Two values with the label acme, and one whose label is the text of another value.
TEST(DrilledLabels, OfSeveralValuesAreToldApartByTheValue) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "t.db",
        "CREATE TABLE c(id INTEGER PRIMARY KEY, name TEXT); INSERT INTO c VALUES(1, 'acme'), "
        "(2, 'beta'), (6, 'acme'), (7, '6'); CREATE TABLE t(k INTEGER PRIMARY KEY, c INTEGER "
        "REFERENCES c(id)); INSERT INTO t VALUES(1, 1), (2, 6), (3, 2), (4, 7); "
        "CREATE VIEW v AS SELECT * FROM t");
    const auto shown = [&path](Arguments arguments) {
        arguments.insert(arguments.begin() + 1, path);
        const CommandResult result = RunCommand(arguments);
        return result.out + result.err;
    };
    struct Drilled {
        const char* label;
        const char* shown;
    };
    for (const auto& [label, expected] : {Drilled{"acme", "is the label of 2 values of 'c:c>name'"},
                                          {"1", "\"k\":1"},
                                          {"beta", "\"k\":3"},
                                          {"6", "\"k\":4"},
                                          {"others", "--others puts"}}) {
        for (const Arguments& view : {Arguments{"score", "t", "--level", "c:c>name"},
                                      Arguments{"grid", "t", "--lines", "c:c>name"}}) {
            Arguments drilled = view;
            drilled.insert(drilled.end(),
                           {"--calc", "COUNT:k", "--format", "ndjson", "--drill", label});
            EXPECT_THAT(shown(drilled), testing::HasSubstr(expected)) << view.front() << label;
        }
    }
    EXPECT_THAT(shown({"score", "v", "--level", "c", "--calc", "CODEMAX:c"}),
                testing::HasSubstr("'v' has none"));
    EXPECT_THAT(shown({"tree", "t", "--levels", "c:c>name", "--at", "c:c>name=6"}),
                testing::HasSubstr("its data here: 'c'"));
}

}  // namespace
}  // namespace etabulon::test
