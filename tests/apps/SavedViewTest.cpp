#include "apps/CommandRun.h"
#include "apps/TerminalRun.h"

#include <filesystem>
#include <iterator>

namespace etabulon::test {
namespace {

class SavedView : public testing::Test {
protected:
    /// Runs a line in which ./name is a file of the folder.
    CommandResult Run(const std::string& line) const { return RunCommand(InFolder(line)); }
    std::string Print(const std::string& line) const {
        const CommandResult run = Run(line);
        EXPECT_EQ(run.status, 0) << line;
        EXPECT_EQ(run.err, "") << line;
        return run.out;
    }
    Arguments InFolder(const std::string& line) const {
        Arguments arguments = Words(line, source_);
        for (std::string& argument : arguments) {
            if (argument.starts_with("./")) {
                argument = folder_.Path(argument.substr(2));
            }
        }
        return arguments;
    }
    std::string Content(const std::string& name) const {
        std::ifstream file(folder_.Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void ExpectRefused(const std::string& json, const std::vector<std::string>& said) const {
        folder_.MakeFile("bad.json", json);
        const CommandResult run = Run("tree --view ./bad.json");
        EXPECT_EQ(run.status, 1) << json;
        EXPECT_EQ(run.out, "") << json;
        ExpectHas(run.err, {"bad.json"});
        ExpectHas(run.err, said);
    }

    const TestFolder folder_;
    const std::string source_ = folder_.MakeDatabase(
        "orders.sqlite",
        "CREATE TABLE orders(id INTEGER PRIMARY KEY, country TEXT, city TEXT, \"a,b\" TEXT, n INT);"
        "INSERT INTO orders(country, city, \"a,b\", n) VALUES ('France', 'Lyon', 'x, \"y\"', 1),"
        "('France', 'Lyon', '', 2), ('France', 'Paris', NULL, 3), ('France', 'Nice', 'z', 4),"
        "('Austria', 'Graz', 'z', 5), ('Austria', 'Wien', 'z', 6);"
        "CREATE TABLE other(id INTEGER PRIMARY KEY);");
};

TEST_F(SavedView, GivesWhatTheCommandGaveThatWroteIt) {
    folder_.MakeFile("people.csv", "name;\"a,b\"\nAnn;1\nBob;2\n");
    const std::string lines[] = {
        "levels @",
        "levels @ orders --format json",
        ("walk @ orders --levels '\"a,b\", country' --at '\"a,b\"=\"x, \"\"y\"\"\",country=France' "
         "--columns city,n --where 'n < 5' --where 'n between 1 and 9 or city = \"a,b\"' "
         "--sort n:desc,city --limit 3 --format csv"),
        "walk @ orders --levels country --columns ''",
        "walk ./people.csv --separator ; --columns '\"a,b\",name'",
        "walk ./people.csv --limit 1",
        ("tree @ orders --levels country --levels city --at country=France --calc SUM:n,COUNT:id "
         "--sort SUM:n:asc --percent parent --depth 1 --reverse city --hide '' --by data"),
        "tree @ orders --levels country,city --leaves --format ndjson",
        "grid @ orders --axes country,city --calc SUM:n,MEAN:n --priority 2 --by display",
        ("grid @ orders --lines country,city --calc SUM:n --top-lines 2,1 --others --percent total "
         "--totals lines,subtotals --sort-lines SUM:n:asc --format table"),
        "grid @ orders --axes country --calc COUNT:id --drill France",
        ("score @ orders --level country,city --depth 1 --calc COUNT:id --top 1 --others "
         "--share COUNT:id --bars"),
        "score @ orders --level city --calc SUM:n --format svg --theme dark",
        "edit @ orders --levels country --set country=France:n=7",
        "edit @ orders --set country=France:n=7 --show tree --levels city --calc SUM:n --depth 1"};
    for (const std::string& line : lines) {
        const std::string command = line.substr(0, line.find(' '));
        // What edits are isn't part of a view: the line gives them again.
        const std::size_t edits = command == "edit" ? line.find(" --set") : std::string::npos;
        const std::size_t shown = std::min(line.find(" --show tree"), line.size());
        std::string again = command + " --view ./v.json";
        if (edits != std::string::npos) {
            again +=
                line.substr(edits, shown - edits) + (shown < line.size() ? " --show tree" : "");
        }
        const std::size_t options = std::min({line.find(" --"), line.size()});
        const std::string first =
            Print(line.substr(0, options) + " --save-view ./v.json" + line.substr(options));
        EXPECT_NE(first, "") << line;
        EXPECT_EQ(Print(again), first) << line << "\n" << Content("v.json");
        const std::string written = Content("v.json");
        Print(command + " --save-view ./v.json" + again.substr(command.size()));
        EXPECT_EQ(Content("v.json"), written) << "a view that is read and saved stays the same";
        std::filesystem::remove(folder_.Path("v.json"));
    }
}

TEST_F(SavedView, GivesWayToTheCommandLineOptionByOption) {
    std::filesystem::create_directory(folder_.Path("sub"));
    folder_.MakeFile("sub/v.json",
                     "\xEF\xBB\xBF{\"version\": 1, \"source\": \"../orders.sqlite\",\n"
                     "\"table\": \"orders\", \"levels\": [\"country\", \"city\"],\n"
                     "\"calc\": [\"SUM:n\"], \"where\": [\"n > 1\"],\n"
                     "\"others\": true, \"tree\": {\"depth\": 1, \"hide\": [\"city\"]},\n"
                     "\"score\": {\"calc\": [\"COUNT:id\"], \"level\": [\"city\"], \"top\": 1}}\n");
    const std::pair<const char*, const char*> cases[] = {
        {"tree", "country\tcount\tSUM(n)\nAustria\t2\t11\nFrance\t3\t9\n"},
        {"tree --hide country",
         "city\tcount\tSUM(n)\nGraz\t1\t5\nLyon\t1\t2\nNice\t1\t4\n"
         "Paris\t1\t3\nWien\t1\t6\n"},
        {"tree --hide= --where 'n > 5' --depth 2",
         "country\tcity\tcount\tSUM(n)\n"
         "Austria\tWien\t1\t6\n"},
        {"tree --without where,calc", "country\tcount\nAustria\t2\nFrance\t4\n"},
        {"score", "city\tCOUNT(id)\nWien\t1\nothers\t4\ntotal\t5\n"},
        {"score --others=false --calc SUM:n", "city\tSUM(n)\nWien\t6\ntotal\t20\n"},
        {"walk --columns n --limit 1", "country\tcity\tid\tn\nFrance\tLyon\t2\t2\n"},
        {"levels @ other --format csv",
         "column,type,distinct,nullable,key,link,links_to\n"
         "id,integer,0,false,1,,\n"}};
    for (const auto& [line, printed] : cases) {
        std::string command = line;
        const std::size_t end = std::min(command.find(' '), command.size());
        EXPECT_EQ(Print(command.insert(end, " --view ./sub/v.json")), printed) << line;
    }
    // Saved by one command, a view keeps what it has for the others, from where it lies.
    Print("tree --view ./sub/v.json --depth 0 --save-view ./moved.json");
    ExpectHas(Content("moved.json"), {"\"source\": \"orders.sqlite\"", "\"depth\": 0",
                                      "\"score\": {\n    \"calc\": [\"COUNT:id\"]"});
}

TEST_F(SavedView, TellsFileLineAndKeyOfWhatItCantRead) {
    const std::string head = "{\"version\": 1, \"source\": \"orders.sqlite\",\n";
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {head + "\"colour\": 1}", {"line 2", "no key 'colour'"}},
        {head + "\"hides\": []}", {"line 2", "'hides'", "'hide'"}},
        {head + "\"tree\": {\n\"leafs\": true}}",
         {"line 3", "tree has no key 'leafs'", "'leaves'"}},
        {head + "\"trees\": {\"depth\": 1}}", {"line 2", "'trees'", "no command"}},
        {head + "\"depth\": 1}", {"line 2", "\"tree\": {\"depth\": ...}"}},
        {head + "\"output\": \"x\"}", {"no key 'output'"}},
        {head + "\"hide\": [],\n\n\"hide\": []}", {"line 4", "'hide' is there twice"}},
        {head + "\"levels\": \"country\"}", {"line 2", "'levels' isn't a list"}},
        {head + "\"levels\": [[\"country\"]]}", {"line 2", "'levels'"}},
        {head + "\"levels\": {\"format\": \"csv\"}}", {"line 2", "'levels' isn't a list"}},
        {head + "\"levels\": null}", {"line 2", "'levels'"}},
        {head + "\"tree\": {\"leaves\": 1}}", {"line 2", "'leaves' isn't true or false"}},
        {head + "\"tree\": {\"depth\": 1.5}}", {"line 2", "'depth' isn't a whole number"}},
        {head + "\"tree\": {\"depth\": 01}}", {"line 2", "this isn't JSON"}},
        {head + "\"limit\": 1}", {"line 2", "\"walk\": {\"limit\": ...}"}},
        {head + "\"walk\": 3}", {"line 2", "'walk' is an object"}},
        {head + "\"hide\": [\"n\",]}", {"line 2", "this isn't JSON"}},
        {head + "\"hide\": [\"\\q\"]}", {"line 2", "this isn't JSON"}},
        {head + "\"by\": \"value}\n", {"line 2", "a text doesn't end in its line"}},
        {head + "\"by\": \"val\\u0000ue\"}", {"line 2", "'by' holds", "u0000"}},
        {"{\"version\": 1, \"source\": \"\"}", {"line 1", "'source' has no name of a file"}},
        {"{\"version\": 1x}", {"line 1", "this isn't JSON"}},
        {std::string(1100000, ' '), {"at most 1 MB"}},
        {head + "\"tree\": {\"depth\": -1}}", {"line 2", "'depth'", "-1"}},
        {head + "\"by\":\n\"size\"}", {"line 2", "'by'", "size"}},
        {head + "\"by\" \"value\"}", {"line 2", "JSON"}},
        {head + "\"by\": \"value\"} {}", {"line 2", "more behind the end"}},
        {head + "\"by\": \"\xFF\"}", {"line 2", "UTF-8"}},
        {"{\"version\": 2}", {"line 1", "'version'"}},
        {"{\"source\": \"orders.sqlite\"}", {"'version'"}},
        {"[1]", {"object"}},
        {"", {"JSON"}}};
    for (const auto& [json, said] : cases) {
        ExpectRefused(json, said);
    }
    ExpectFailures({{"tree --view " + folder_.Path("none.json"), 1, {"none.json", "No such file"}},
                    {"tree --view /dev/zero", 1, {"it isn't a regular file"}},
                    {"tree", 2, {"SOURCE is required"}},
                    {"tree @ --without where", 2, {"--view"}},
                    {"walk @ orders --save-view @", 2, {"--save-view", "SOURCE"}},
                    {"walk @ orders --save-view=", 2, {"--save-view has no name"}},
                    {"walk @ orders --view=", 2, {"--view has no name"}},
                    {"walk @ orders --save-view /no/such", 1, {"/no/such"}}},
                   source_);
    folder_.MakeFile("v.json", "{\"version\": 1}");
    EXPECT_EQ(Run("tree --view ./v.json").status, 2);
    EXPECT_EQ(Run("tree --view ./v.json --without hide @ orders --levels city").status, 2);
}

TEST_F(SavedView, PassesOverWhatOneCommandCantUse) {
    folder_.MakeFile("v.json",
                     "{\"version\": 1, \"source\": \"orders.sqlite\", \"table\": \"orders\",\n"
                     "\"levels\": [\"country\"], \"calc\": [\"SUM:n\"], \"format\": \"svg\",\n"
                     "\"others\": true, \"bars\": true, \"null\": [],\n"
                     "\"tree\": {\"calc\": []},\n\"grid\": {\"axes\": [\"city\"]}}");
    const std::string ranked = "country,SUM(n)\nAustria,11\nFrance,10\ntotal,21\n";
    const std::pair<std::string, std::string> cases[] = {
        {"tree --view ./v.json --without bars", "country\tcount\nAustria\t2\nFrance\t4\n"},
        {"score --view ./v.json --level country --format csv", ranked},
        {"score --view ./v.json --format csv --save-view ./v.json", ranked},
        {"levels --view ./v.json --limit 1 --save-view ./v.json",
         "column,type,distinct,nullable,key,link,links_to\nid,integer,6,false,1,,\n"}};
    for (const auto& [line, printed] : cases) {
        EXPECT_EQ(Print(line), printed) << line;
    }
    ExpectHas(Content("v.json"), {"\"others\": true", "\"bars\": true"});
    // What the user didn't type isn't blamed on the command line.
    const std::pair<const char*, std::vector<std::string>> failures[] = {
        {"score --view ./v.json --without format --others --bars --level city --format csv",
         {"--bars needs the format table"}},
        {"grid --view ./v.json --lines city --without format,bars",
         {"--axes is that of view", "line ", "(--without axes leaves it out)"}}};
    for (const auto& [line, said] : failures) {
        const CommandResult run = Run(line);
        EXPECT_NE(run.status, 0) << line;
        ExpectHas(run.err, said);
    }
    const CommandResult run = Run("tree --view ./v.json --without=--source");
    EXPECT_EQ(run.status, 2);
    ExpectHas(run.err, {"has its source left out by --without"});
}

TEST_F(SavedView, IsWrittenOnlyByACommandThatSucceeds) {
    folder_.MakeFile("v.json", "old");
    for (const char* const line :
         {"walk @ orders --columns none", "walk @ orders --limit x", "walk @ orders --by \xFF",
          "walk @ orders --where 'city = \"\xFF\"'",
          "walk @ orders --output ./v.json --format csv"}) {
        EXPECT_NE(Run(std::string(line) + " --save-view ./v.json").status, 0) << line;
        EXPECT_EQ(Content("v.json"), "old") << line;
    }
    std::filesystem::create_symlink(source_, folder_.Path("current.sqlite"));
    Print("walk ./current.sqlite orders --save-view ./v.json");
    ExpectHas(Content("v.json"), {folder_.Path("current.sqlite")});
}

TEST_F(SavedView, ReplacesNoFileThatTheCommandUses) {
    std::filesystem::create_directory(folder_.Path("sub"));
    const std::string view =
        "{\"version\": 1, \"source\": \"orders.sqlite\", \"table\": \"orders\"}";
    folder_.MakeFile("v.json", view);
    folder_.MakeFile("s.txt", "set n=1:n=2\n");
    folder_.MakeFile("p.csv", "a\n1\n");
    const std::pair<const char*, const char*> cases[] = {
        {"walk @ orders --output ./sub/../new.json --save-view ./new.json", "--save-view"},
        {"walk --view ./v.json --output ./sub/../v.json --format csv", "--view"},
        {"edit --view ./v.json --script ./s.txt --save-view ./s.txt", "--script"},
        {"levels ./ --save-view ./p.csv", "SOURCE"}};
    for (const auto& [line, option] : cases) {
        const CommandResult run = Run(line);
        EXPECT_EQ(run.status, 2) << line;
        ExpectHas(run.err, {std::string("would replace the file of ") + option});
    }
    EXPECT_EQ(Content("v.json") + Content("s.txt") + Content("p.csv") + Content("new.json"),
              view + "set n=1:n=2\na\n1\n");
}

TEST_F(SavedView, FindsItsSourceFromItsRealFolder) {
    std::filesystem::create_directories(folder_.Path("real/deep"));
    std::filesystem::create_symlink("real/deep", folder_.Path("link"));
    folder_.MakeFile("-", "a\n1\n");
    const std::string begin = "cd " + folder_.Path("") + " && $ETABULON ";
    for (const char* const line :
         {"levels orders.sqlite --save-view link/v.json && $ETABULON levels --view link/v.json",
          "walk ./- --save-view dash.json && $ETABULON walk --view dash.json < /dev/null"}) {
        const CommandResult run = RunShell(begin + line);
        EXPECT_EQ(run.status, 0) << line << run.err;
        EXPECT_EQ(run.out.substr(0, run.out.size() / 2), run.out.substr(run.out.size() / 2));
    }
}

TEST_F(SavedView, KeepsWhatIsRearrangedInBrowse) {
    folder_.MakeFile("v.json",
                     "{\"version\": 1, \"source\": \"orders.sqlite\", \"table\": \"orders\",\n"
                     "\"levels\": [\"country\", \"city\", \"n\"], \"reverse\": [\"city\"]}");
    {
        TerminalRun run(InFolder("browse --view ./v.json"));
        run.AwaitText("done, ");
        run.Type("\x1B[B>", "level moved down");       // Wien comes first, the country below it
        run.Type("\x1B[H\x1B[B-\x1B[B\x1B[B\x1B[B-");  // closes Wien and Lyon
        run.AwaitTree(
            "- orders (6)\n  + Wien (1)\n  + Paris (1)\n  + Nice (1)\n  + Lyon (2)\n  + Graz (1)");
        run.Type("w", "saved as ");
        run.Type("q");
        run.Finish();
        EXPECT_EQ(run.status, 0);
    }
    ExpectHas(Content("v.json"), {"\"levels\": [\"city\", \"country\", \"n\"]",
                                  "\"reverse\": [\"city\"]", "\"depth\": 1"});
    {
        TerminalRun run(InFolder("browse --view ./v.json --depth 2 --save-view ./end.json"));
        run.AwaitTree(
            "- orders (6)\n  - Wien (1)\n    + Austria (1)\n  - Paris (1)\n    + France (1)\n"
            "  - Nice (1)\n    + France (1)\n  - Lyon (2)\n    + France (2)\n  - Graz (1)\n"
            "    + Austria (1)");
        run.Type("\x1B[B\x1B[Bh", "(hidden: country)");
        run.Type("q");
        run.Finish();
    }
    ExpectHas(Content("end.json"), {"\"hide\": [\"country\"]"});
    ExpectHas(Print("tree --view ./end.json --depth 1"), {"city\tcount\nWien\t1\nParis\t1\n"});
    {
        TerminalRun run(
            InFolder("browse @ orders --levels country,city,n --at country=France "
                     "--hide city --save-view ./order.json"));
        run.AwaitText("done, ");
        run.Type("q");
        run.Finish();
    }
    ExpectHas(Content("order.json"), {"\"levels\": [\"country\", \"city\", \"n\"]"});
    EXPECT_EQ(Content("order.json").find("reverse"), std::string::npos);
    TerminalRun run(InFolder("browse @ orders --levels city"));
    run.AwaitText("done, ");
    run.Type("w", "the view has no file");
}

}  // namespace
}  // namespace etabulon::test
