#include "apps/CommandRun.h"

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
          "kind\tAVG(part)\tSUM(amount)\t% of SUM(amount)\trunning % of SUM(amount)\n"
          "A\t2.5\t10\t50\t50\na\t1\t10\t50\t100\n\t0\t3\t15\t115\nc\t1\t0\t0\t115\n"
          "b\t4\t-3\t-15\t100\n\\N\t\\N\t\\N\t\\N\t100\ntotal\t1.7857142857142858\t20\t100\t\\N\n"},
         // Without --sort the order is that of a score.
         {"score @ --level city --calc COUNT:id --share COUNT:id --top 2 --format ndjson",
          R"~({"label":{"city":"x"},"values":{"COUNT(id)":3,"% of COUNT(id)":42.86,)~"
          R"~("running % of COUNT(id)":42.86}}
{"label":{"city":"z"},"values":{"COUNT(id)":2,"% of COUNT(id)":28.57,"running % of COUNT(id)":71.43}}
{"total":{"COUNT(id)":7,"% of COUNT(id)":100,"running % of COUNT(id)":null}}
)~"},
         {"score @ --level kind --at id=4 --calc SUM:amount --share SUM:amount",
          "kind\tSUM(amount)\t% of SUM(amount)\trunning % of SUM(amount)\n\\N\t\\N\t\\N\t\\N\n"
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
         {"--share", "AVG(cost_total)", "COUNT and SUM"}},
        {"score @ strikes --level damage --calc COUNT:id --sort SUM:cost_total",
         2,
         {"'SUM:cost_total' in --sort", "'COUNT:id'"}},
        {"score @ strikes --level damage --calc COUNT:id --sort time_of_day",
         2,
         {"--sort can't sort by 'time_of_day'", "'damage' and 'COUNT:id'"}},
        {"score @ strikes --level damage --calc COUNT:id --sort COUNT:id:up", 2, {"COUNT:id:up"}},
        {"walk @ strikes --sort cost_totl", 1, {"'cost_totl'", "cost_total"}},
        {"walk @ strikes --sort SUM:cost_total", 2, {"'SUM:cost_total' in --sort", "column:desc"}},
        {"score @ strikes --level damage --calc COUNT:id --drill Minr", 1, {"'Minr'", "'Minor'"}},
        {"score @ strikes --level damage,id --calc COUNT:id --drill Minor", 2, {"2 labels"}},
    });
}

}  // namespace
}  // namespace etabulon::test
