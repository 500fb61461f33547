#include "apps/CommandRun.h"

namespace etabulon::test {
namespace {

TEST(Explained, CommandsTellWhatTheyWouldReadAndKeep) {
    const Table<std::string, std::vector<std::string>> cases = {
        {"walk @ strikes --levels 'airport>state>name' --columns speed_knots --where 'damage = C "
         "and cost_total > 5' --explain",
         {"table       strikes, a table\n",
          "columns     id, airport_id, damage, cost_total, speed_knots, and the key\n",
          "links       airport>state>name, ",
          (" WHERE \"strikes\".\"damage\" = ?1 AND \"strikes\".\"cost_total\" > ?2 ORDER BY "
           "\"strikes\".\"id\"\nplan        SCAN main.strikes\n"),
          "conditions  each record that the statement gives is tested\n",
          "walk        record by record\n"}},
        {"walk @ strikes --columns '' --sort damage --limit 5 --where 'id < 9' --explain",
         {"plan        SEARCH main.strikes USING INTEGER PRIMARY KEY (rowid<?)\n",
          "memory      the first 5 records of the order, about "}},
        {"tree @ strikes --levels damage --at damage=C --calc MEDIAN:speed_knots --explain",
         {"WHERE \"strikes\".\"damage\" = ?1", "walk        by blocks of records",
          "memory      each node of all levels, about 480 bytes\n",
          "memory      MEDIAN(speed_knots): each value, about 30 bytes\n"}},
        {"score @ strikes --level 'cost_total.bins(3)' --calc COUNT:id --drill total --explain",
         {"walk        before it one of all records, for the bounds of .bins\n",
          "walk        after it one of the records behind --drill\n"}},
        {"edit @ strikes --set damage=B:damage=C --show grid --axes damage --calc COUNT:id "
         "--where 'damage = C' --explain",
         {"FROM \"main\".\"strikes\" ORDER BY", "edits       laid over", "walk        record by"}},
        {"browse @ strikes --levels damage,time_of_day --at damage=C --explain",
         {"WHERE \"strikes\".\"damage\" = ?1", "memory      each node"}},
        {"levels @ --explain", {"reads       the schema, and of each table"}}};
    for (const auto& [line, told] : cases) {
        ExpectHas(Printed(line), told);
    }
}

TEST(Explained, CommandsReadAndWriteNothing) {
    const TestFolder folder;
    // A walk of it would never end.
    const std::string path = folder.MakeDatabase(
        "endless.sqlite",
        "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) "
        "SELECT x FROM c;");
    for (const std::string command : {"walk", "tree --levels x", "grid --axes x --calc COUNT:x",
                                      "score --level 'x.first(1)' --calc COUNT:x"}) {
        const std::size_t name = std::min(command.find(' '), command.size());
        const std::string line = command.substr(0, name) + " @ endless" + command.substr(name) +
                                 " --explain --progress --output " + folder.Path("out.csv");
        ExpectHas(Printed(line, path), {"table       endless, a view\n"});
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Path("out.csv")));
    const std::string csv = folder.MakeFile("few.csv", "a\n1\n2\n");
    ExpectHas(Printed("walk @ --explain", csv),
              {"few.csv, a table of text\ntable       few, 2 records, loaded into memory\n"});
}

}  // namespace
}  // namespace etabulon::test
