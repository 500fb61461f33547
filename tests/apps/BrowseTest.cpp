#include "apps/CommandRun.h"
#include "apps/TerminalRun.h"

namespace etabulon::test {
namespace {

const std::string kDown = "\x1B[B";
const std::string kUp = "\x1B[A";
const std::string kLeft = "\x1B[D";
const std::string kRight = "\x1B[C";
const std::string kPageUp = "\x1B[5~";
const std::string kPageDown = "\x1B[6~";
const std::string kHome = "\x1B[H";
const std::string kEnd = "\x1B[F";
const std::string kAltUp = "\x1B[1;3A";
const std::string kAltDown = "\x1B[1;3B";
const std::string kF5 = "\x1B[15~";
const std::string kEscape = "\x1B";

class BrowsedOrders : public testing::Test {
protected:
    static Arguments Command(const std::string& path, const std::string& options) {
        return Words("browse @ orders --levels country,city,n " + options, path);
    }
    /// Browse with these options, when it has read all.
    struct Orders : TerminalRun {
        explicit Orders(const std::string& path, const std::string& options = "",
                        const char* terminal = "xterm-256color", int width = 64)
            : TerminalRun(Command(path, options), terminal, width) {
            AwaitText("done, ");
        }
    };

    TestFolder folder_;
    std::string path_ = folder_.MakeDatabase(
        "orders.sqlite",
        "CREATE TABLE orders (id INTEGER PRIMARY KEY, country TEXT, city TEXT, n INTEGER);"
        "INSERT INTO orders (country, city, n) VALUES ('France','Lyon',1),('France','Lyon',2),"
        "('France','Paris',1),('France','Paris',2),('Austria','Graz',1);"
        "CREATE VIEW endless AS WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c)"
        "  SELECT x, x % 10 AS last FROM c;");
};

TEST_F(BrowsedOrders, ShowTheirBranchesWithCountsAndATitle) {
    Orders run(path_);
    run.AwaitText("done, 5 records");
    run.AwaitTree(
        "- orders (5)\n"
        "  + Austria (1)\n"
        "  - France (4)\n"
        "    - Lyon (2)\n"
        "        1\n"
        "        2\n"
        "    - Paris (2)\n"
        "        1\n"
        "        2");
    EXPECT_EQ(run.screen.Line(0), "orders  country, city, n");
    EXPECT_EQ(run.screen.Line(13).substr(0, 6), "q quit");
    run.Await("orders is selected", [&] { return run.screen.StyleOf("orders (") == "reverse"; });
}

TEST_F(BrowsedOrders, OpenAndCloseByKeys) {
    Orders run(path_);
    const std::string opened = "\n  - Austria (1)\n    + Graz (1)\n  + France (4)";
    run.Type(kDown + "+" + kDown + kDown + "-");  // Austria opens, France closes
    run.AwaitTree("- orders (5)" + opened);
    run.Type(kUp + kRight + kRight + kLeft, "city: Graz (Graz)");  // into Graz and back
    run.Type("\r" + kLeft);                                        // Enter opens; then it closes
    run.AwaitTree("- orders (5)" + opened);
    run.Type(kLeft + kLeft + kHome + "\r");
    run.AwaitTree("+ orders (5)");
    run.Type("\r");
    run.AwaitTree("- orders (5)\n  + Austria (1)\n  + France (4)");
}

TEST_F(BrowsedOrders, MoveTheLevelOfTheSelectedNode) {
    for (const auto& [down, up] :
         {std::pair(kAltDown, kAltUp), std::pair<std::string, std::string>(">", "<")}) {
        Orders run(path_, "--hide n");
        run.Type(kDown + down);  // Austria moves below its cities
        run.AwaitTree(
            "- orders (3)\n"
            "  - Graz (1)\n"
            "      Austria\n"
            "  + Lyon (1)\n"
            "  + Paris (1)");
        EXPECT_EQ(run.screen.Line(0), "orders  city, country  (hidden: n)");
        run.Await("Austria is selected",
                  [&] { return run.screen.StyleOf("Austria") == "reverse"; });
        run.Type(down, "this level can't be moved down");
        run.Type(up, "level moved up");
        EXPECT_EQ(run.screen.Line(0), "orders  country, city  (hidden: n)");
    }
}

TEST_F(BrowsedOrders, HideALevelAndShowItAgain) {
    Orders run(path_);
    run.Type("h", "no level is selected");
    run.Type(kDown + "h", "(hidden: country)");
    run.AwaitTree(
        "- orders (5)\n"
        "  + Graz (1)\n"
        "  - Lyon (2)\n"
        "      1\n"
        "      2\n"
        "  - Paris (2)\n"
        "      1\n"
        "      2");
    run.Type(kHome + kDown + "h", "orders  n  (hidden: city, country)");
    run.AwaitTree("- orders (2)\n    1\n    2");
    run.Type(kHome + kDown + "h", "the last level can't be hidden");
    run.Type("ss", "orders  n, city, country\n");  // they come back as the last ones
    run.AwaitTree("- orders (5)\n  + 1 (3)\n  + 2 (2)");
}

TEST_F(BrowsedOrders, SortAndStartAsTheOptionsSay) {
    Orders run(path_, "--at country=France --reverse city --hide n");
    run.AwaitTree("- country=France (2)\n    Paris\n    Lyon");
    EXPECT_EQ(run.screen.Line(0), "orders  city  (hidden: n)");
    run.AwaitText("done, 4 records");
}

TEST_F(BrowsedOrders, RefreshedShowWhatOthersHaveChanged) {
    Orders run(path_, "--hide n");
    Database other(path_);
    other.Do(
        "INSERT INTO orders (country, city, n) VALUES ('Spain', '東京', 1), "
        "('Austria', 'a\x1B[31m', 2); DELETE FROM orders WHERE city = 'Lyon'");
    run.Type(kDown + kDown);
    run.Type(kF5, "done, 5 records");
    run.AwaitTree(
        "- orders (4)\n"
        "  + Austria (2)\n"
        "  - France (1)\n"
        "      Paris\n"
        "  + Spain (1)");
    run.Type(kHome + kDown + "+" + kEnd + "+" + kDown);
    run.AwaitTree(
        "- orders (4)\n"
        "  - Austria (2)\n"
        "      a\\x1b[31m\n"
        "      Graz\n"
        "  - France (1)\n"
        "      Paris\n"
        "  - Spain (1)\n"
        "      東京");
    run.Await("東京 is selected", [&] { return run.screen.StyleOf("東京") == "reverse"; });
}

TEST_F(BrowsedOrders, SelectedNodesAreRefreshedByThemselves) {
    Orders run(path_, "--hide n");
    Database other(path_);
    other.Do("INSERT INTO orders (country, city, n) VALUES ('Austria', 'Linz', 1)");
    run.Type(kDown + "+", "Linz");
    run.AwaitText("- Austria (2)");
}

TEST_F(BrowsedOrders, MarkNodesWithMoreLeavesThanAnAlertAllows) {
    Orders run(path_, "--alert city>1:bold,italic,red --alert country>3:green,up");
    run.Type(kDown);
    run.Await("orders in green", [&] {
        return run.screen.StyleOf("orders (") == "32" && run.screen.StyleOf("Austria") == "reverse";
    });
    EXPECT_EQ(run.screen.StyleOf("done, 5 records"), "reverse");
    EXPECT_EQ(run.screen.StyleOf("Lyon"), "bold italic 31");
    EXPECT_EQ(run.screen.StyleOf("Paris"), "bold italic 31");
    EXPECT_EQ(run.screen.StyleOf("France"), "32");
    run.Type(kHome + "-");  // France isn't shown, and isn't the first country
    run.AwaitTree("+ orders (5)");
    run.Await("still in green", [&] { return run.screen.StyleOf("orders (") == "reverse 32"; });
    run.Type("+");
    Database other(path_);
    other.Do("DELETE FROM orders WHERE city = 'Lyon' AND n = 2");
    run.Type(kF5);
    run.Await("Lyon is plain", [&] { return run.screen.StyleOf("Lyon").empty(); });
    EXPECT_EQ(run.screen.StyleOf("France"), "");
}

TEST_F(BrowsedOrders, AlertsFollowTheirLevelWhenItMoves) {
    Orders run(path_, "--hide n --alert country>1:bold");
    run.Await("France in bold", [&] { return run.screen.StyleOf("France") == "bold"; });
    run.Type(kDown + kAltDown, "level moved down");
    run.Type(kEnd + "+", "    France");
    EXPECT_EQ(run.screen.StyleOf("France"), "");
}

TEST(BrowsedOddities, TellNullFromEmptyAndWhatLooksLikeThem) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "odd.sqlite",
        "CREATE TABLE odd(id INTEGER PRIMARY KEY, a TEXT, b BLOB, label TEXT);"
        "INSERT INTO odd(a, b, label) VALUES (NULL, NULL, 'x'), ('', x'', 'y'),"
        "    ('NULL', x'00ff', ''), (' b ', x'41', NULL), ('\"q', x'42', 'NULL');");
    const auto browse = [&path](const std::string& levels) {
        return Words("browse @ odd --levels " + levels, path);
    };
    TerminalRun run(browse("a"), "vt100");  // without colours
    run.AwaitText("done, 5 records");
    run.AwaitTree("- odd (5)\n    NULL\n    \"\"\n    \" b \"\n    \"\\\"q\"\n    \"NULL\"");
    run.Type(kDown, "a: NULL (NULL)");
    run.Type(kDown, "a: \"\" (\"\")");
    TerminalRun blobs(browse("b"));
    blobs.AwaitTree("- odd (5)\n    NULL\n    \"\"\n    00ff\n    41\n    42");
    TerminalRun labels(browse("a:label"));
    labels.AwaitTree("- odd (5)\n    NULL\n    \" b \"\n    \"NULL\"\n    \"NULL\"\n    y");
}

/// Terminals disagree about the width of joined emoji, which are drawn as their parts.
TEST(BrowsedOddities, TakeTheCellsThatEachTerminalGivesThem) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "wide.sqlite",
        "CREATE TABLE wide (id INTEGER PRIMARY KEY, a TEXT);"
        "INSERT INTO wide (a) VALUES ('1 \u6771\u4eac'), ('2 e\u0301'), ('3 \u05d0\u05d1'),"
        "('4 \U0001F469\u200d\U0001F467'), ('5 \U0001F44D\U0001F3FD'), ('6 \u2764\uFE0F');");
    TerminalRun run({"browse", path, "--levels", "a"}, "xterm-256color", 60, 10);
    run.AwaitText("done, ");
    run.AwaitTree(
        "- wide (6)\n"
        "    1 \u6771\u4eac\n"
        "    2 e\u0301\n"
        "    \u20683 \u05d0\u05d1\u2069\n"
        "    4 \U0001F469\U0001F467\n"
        "    5 \U0001F44D\n"
        "    6 \u2764");
}

TEST_F(BrowsedOrders, FollowTheSizeOfTheTerminal) {
    Orders run(path_);
    run.Type(kEnd, "n: 2 (2)");
    run.Resize(30, 6);
    run.AwaitTree("    - Paris (2)\n        1\n        2");  // the selected one stays in sight
    run.Resize(40, 2);
    run.Await("two lines", [&] {
        return run.screen.Line(0) == "        2" &&
               run.screen.Line(1).find("done, 5 records") != std::string::npos;
    });
    run.Resize(64, 14);
    run.AwaitText("- orders (5)");
    run.AwaitText("orders  country, city, n");
}

TEST_F(BrowsedOrders, GiveTheTerminalBack) {
    for (const auto& [keys, signal, status] : Table<const char*, int, int>{
             {"q", 0, 0}, {"\x03", 0, 130}, {"", SIGINT, 130}, {"", SIGTERM, 143}}) {
        Orders run(path_);
        EXPECT_FALSE(run.IsRestored());
        run.Type(keys);
        if (signal != 0) {
            run.Signal(signal);
        }
        run.Finish();
        EXPECT_EQ(run.status, status) << keys << signal;
        EXPECT_TRUE(run.IsRestored()) << keys << signal;
    }
}

TEST_F(BrowsedOrders, GiveTheTerminalBackToASignalWhileItIsOpened) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        TerminalRun run(Command(path_, ""));
        run.Await("the other screen",
                  [&run] { return run.raw.find("\x1B[?1049h") != std::string::npos; });
        run.Signal(signal);
        run.Finish();
        EXPECT_EQ(run.status, signal == SIGINT ? 130 : 128 + signal);
        EXPECT_TRUE(run.IsRestored()) << signal;
        EXPECT_NE(run.raw.find("\x1B[?1049l"), std::string::npos) << signal;
    }
}

TEST_F(BrowsedOrders, LockedByOthersTellAndStayUsable) {
    Orders run(path_, "", "xterm", 120);
    Database other(path_);
    other.Do("BEGIN EXCLUSIVE");
    run.Type(kF5, "refreshing: 0 records");
    run.Type(kEnd, "n: 2 (2)");  // the keys are answered meanwhile
    run.Type(kHome + kDown + "+");
    run.Await("opening waits for the records", [&] {  // or they have failed by now
        return run.Status().find("a key waits for its end") != std::string::npos ||
               run.Status().find("failed") == 0;
    });
    run.Await("a failure", [&] {
        return run.Status().find("failed (status ") == 0 &&
               run.Status().find("locked") != std::string::npos;
    });
    run.AwaitText("- Austria (1)");
    run.AwaitText("- France (4)");
    other.Do("COMMIT");
    run.Type(kHome + kF5, "done, 5 records");
    other.Do("DROP TABLE orders");
    run.Type(kF5, "failed (status ");
    run.AwaitText("- France (4)");
    run.Type("h", "no level is selected");
}

TEST_F(BrowsedOrders, ShowWhatAFailedRefreshHasFound) {
    Database other(path_);
    other.Do(
        "CREATE VIEW risky AS SELECT country, CASE n WHEN 9 THEN abs(-9223372036854775807 - 1) "
        "ELSE n END AS n FROM orders");
    TerminalRun run(Words("browse @ risky --levels country,n", path_));
    run.AwaitText("done, 5 records");
    other.Do("INSERT INTO orders (country, n) VALUES ('Spain', 1), ('Spain', 9)");
    run.Type(kF5, "failed (status ");
    run.AwaitText("+ Spain (1)");
}

TEST_F(BrowsedOrders, StayAsTheyAreWhereALinkedTableCanNotBeRead) {
    const std::string path = folder_.MakeDatabase(
        "visits.sqlite",
        "CREATE TABLE city (id INTEGER PRIMARY KEY, name TEXT);"
        "CREATE TABLE visit (id INTEGER PRIMARY KEY, city REFERENCES city);"
        "INSERT INTO city VALUES (1,'Graz'),(2,'Lyon'); INSERT INTO visit (city) VALUES (2),(1)");
    TerminalRun run(Words("browse @ visit --levels city>name,id", path), "xterm", 120);
    run.AwaitText("done, 2 records");
    const std::string tree =
        "- visit (2)\n"
        "  + Graz (1)\n"
        "  + Lyon (1)";
    run.AwaitTree(tree);
    Database other(path);
    other.Do("ALTER TABLE city RENAME TO town");
    run.Type(kF5, "linked table city can't be read: ");
    run.AwaitTree(tree);
    other.Do("ALTER TABLE town RENAME TO city");
    run.Type(kF5, "done, 2 records");
    run.AwaitTree(tree);
}

TEST_F(BrowsedOrders, LongFillsCountAndAreCancelled) {
    TerminalRun run(Words("browse @ endless --levels last", path_));
    run.AwaitText("filling: ");
    run.AwaitText("The tree is being filled...");
    const std::string before = run.Status();
    run.Await("progress",
              [&] { return run.Status().find("filling: ") == 0 && run.Status() != before; });
    run.Type(kF5, "a key waits for its end");
    run.Type(kEscape, "cancelled after ");
    run.AwaitText("Cancelled. F5 fills the tree.");
    run.Type(kF5, "filling: ");
    run.Type("q");
    run.Finish();
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.IsRestored());
}

TEST(BrowsedCrowd, ScrollsThroughAHundredThousandChildren) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "crowd.sqlite",
        "CREATE TABLE crowd (id INTEGER PRIMARY KEY, name TEXT);"
        "WITH RECURSIVE c(x) AS (SELECT 100001 UNION ALL SELECT x + 1 FROM c WHERE x < 200000)"
        "INSERT INTO crowd SELECT x, 'n' || x FROM c;");
    TerminalRun run(Words("browse @ crowd --levels name", path));
    run.AwaitText("done, 100000 records");
    run.AwaitText("n100001");
    run.Type(kEnd);
    run.AwaitTree(
        "    n199990\n    n199991\n    n199992\n    n199993\n    n199994\n    n199995\n"
        "    n199996\n    n199997\n    n199998\n    n199999\n    n200000");
    run.Type(kPageUp, "name: n199990 (n199990)");
    run.Type(kPageDown, "name: n200000 (n200000)");
    std::string keys;
    for (int turn = 0; turn < 2000; ++turn) {
        keys += kUp;
    }
    run.Type(keys, "name: n198000 (n198000)");
    run.Await("no more than it takes", [&] { return run.screen.Line(1) == "    n198000"; });
    run.Type(kHome, "- crowd (100000)");
}

TEST_F(BrowsedOrders, RefuseWhatCantBeShown) {
    const Table<const char*, const char*, std::string> cases = {
        {"no-such", "", "browse doesn't know the terminal 'no-such'"},
        {"dumb", "", "browse needs a terminal that can place its cursor"},
        {"xterm", "--alert city>x:red", "is no alert"},
        {"xterm", "--alert 5:red", "is no alert"},
        {"xterm", "--alert city>1", "is no alert"},
        {"xterm", "--alert country,city>1:red", "names no single level"},
        {"xterm", "--alert city>1:pink", "'pink' is no style"},
        {"xterm", "--alert id>1:red", "--alert"},
        {"xterm", "--hide country,city,n", "no level is left to browse"}};
    for (const auto& [terminal, options, message] : cases) {
        TerminalRun run(Command(path_, options), terminal, 200, 5);
        run.Finish();
        EXPECT_EQ(run.status, 2) << message;
        ExpectHas(run.raw, {message});
        EXPECT_TRUE(run.IsRestored());
    }
    TerminalRun refused(Command(path_, "--alert city"), "xterm", 200, 5);
    refused.Finish();
    constexpr std::string_view kExample = "such as ";
    const std::string example = refused.raw.substr(refused.raw.find(kExample) + kExample.size());
    Orders taken(path_, "--alert " + example.substr(0, example.find_first_of("\r\n")));
    const CommandResult piped = RunCommand(Command(path_, ""));
    EXPECT_EQ(piped.status, 2);
    EXPECT_EQ(piped.err,
              "etabulon: browse needs a terminal for its input and its output; tree prints the "
              "same anywhere\n");
}

}  // namespace
}  // namespace etabulon::test
