#include "apps/CommandRun.h"
#include "apps/TerminalRun.h"

namespace etabulon::test {
namespace {

/// What a person before a terminal reads behind the output, which is in the format for pipes.
std::string RemarksOn(const std::string& line) {
    constexpr std::string_view kBegin = "etabulon: ";
    const bool hasFormat = line.find("--format") != std::string::npos;
    TerminalRun run(Words(hasFormat ? line : line + " --format tsv"), "xterm-256color",
                    /*width=*/120, /*height=*/40);
    run.Finish();
    const std::string text = run.screen.Text();
    const std::size_t begin = text.find(kBegin);
    return begin == std::string::npos
               ? ""
               : text.substr(begin + kBegin.size(), text.find('\n', begin) - begin - kBegin.size());
}

TEST(Limits, LeaveTheFirstLinesAndTellOfTheOthersOnce) {
    const TestFolder folder;
    const std::string csv = folder.MakeFile("few.csv", "a\n1\n2\n3\n");
    const std::string walk = "walk @ strikes --columns '' --limit ";
    const std::string grid = "grid @ strikes --axes damage --calc COUNT:id --limit ";
    const std::string json = "tree @ strikes --levels damage,time_of_day --format json --limit 4";
    const Table<std::string, std::string, std::string> cases = {
        {walk + "2", "id\n1\n2\n", "the records after the first 2"},
        {walk + "1", "id\n1\n", "the records after the first one"},
        {walk + "0", "id\n", "all records"},
        {"walk @ states --columns '' --limit 50 --sort id --where 'id = 7'", "id\n7\n", ""},
        {walk + "2 --sort id:desc", "id\n10000\n9999\n", "9998 of 10000 records"},
        {"walk " + csv + " --columns a --limit 2", "a\n1\n2\n", "1 of 3 records"},
        {"walk " + csv + " --columns rowid --limit 3", "rowid\n1\n2\n3\n", ""},
        {grid + "1", "damage\tCOUNT(id)\nB\t1\ntotal\t10000\n", "5 of 6 lines"},
        {grid + "0", "damage\tCOUNT(id)\ntotal\t10000\n", "6 of 6 lines"},
        {grid + "6 --top-lines 0", "damage\tCOUNT(id)\ntotal\t10000\n", ""},
        {"score @ strikes --level damage --calc COUNT:id --top 2 --others --limit 1",
         "damage\tCOUNT(id)\nNone\t8939\nothers\t512\ntotal\t10000\n", "1 of 2 lines"},
        {"levels @ --limit 1", "table\tkind\trows\naircraft\ttable\t225\n", "5 of 6 tables"},
        {"levels @ states --limit 2",
         "column\ttype\tdistinct\tnullable\tkey\tlink\tlinks_to\n"
         "id\tinteger\t29\tfalse\t1\t\\N\t\\N\nname\ttext\t29\tfalse\t\\N\t\\N\t\\N\n",
         ""},
        {"tree @ strikes --levels damage,time_of_day --limit 1",
         "damage\ttime_of_day\tcount\nB\tDay\t1\n", "19 of 20 nodes"},
        {"tree @ strikes --levels damage --at damage=C --leaves --limit 1",
         "damage\tcount\tid\nC\t1\t300\n", "13 of 14 records"},
        {json,
         "{\"table\":\"strikes\",\"count\":10000,\"children\":[\n"
         "  {\"level\":\"damage\",\"value\":\"B\",\"count\":1,\"children\":[\n"
         "    {\"level\":\"time_of_day\",\"value\":\"Day\",\"count\":1}]},\n"
         "  {\"level\":\"damage\",\"value\":\"C\",\"count\":14,\"children\":[\n"
         "    {\"level\":\"time_of_day\",\"value\":\"Day\",\"count\":10}]}]}\n",
         "22 of 26 nodes"}};
    for (const auto& [line, out, told] : cases) {
        const CommandResult run = RunLine(line);
        EXPECT_EQ(run.out, out) << line;
        EXPECT_EQ(run.err, "") << line;
        EXPECT_EQ(RemarksOn(line), told.empty() ? "" : "--limit leaves out " + told) << line;
    }
}

/// The next record may lie behind all others.
TEST(Limits, EndTheReadingOfAPlaceWhereTheyAreReached) {
    for (const std::string line :
         {"walk @ strikes --columns '' --where 'damage = C' --limit 1",
          "grid @ strikes --axes damage --calc COUNT:id --drill C --limit 1",
          "score @ strikes --level damage --calc COUNT:id --drill C --limit 1"}) {
        const CommandResult run = RunLine(line);
        EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 2) << line << run.out;
        EXPECT_EQ(RemarksOn(line), "--limit ends the reading after 1 record: there may be more");
    }
}

}  // namespace
}  // namespace etabulon::test
