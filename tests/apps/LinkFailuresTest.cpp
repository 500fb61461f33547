#include "apps/CommandRun.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

namespace etabulon {
namespace {

using test::CommandResult;
using test::RunCommand;
using test::TestFolder;

using Arguments = std::vector<std::string>;

/// Table t, 2,500 records of which behind one another link to the same of 8 names in p.
std::string Script(int count) {
    return "CREATE TABLE p(id INTEGER PRIMARY KEY, name TEXT NOT NULL);"
           "INSERT INTO p VALUES(1,'a'),(2,'b'),(3,'c'),(4,'d'),(5,'e'),(6,'f'),(7,'g'),(8,'h');"
           "CREATE TABLE t(id INTEGER PRIMARY KEY, p INTEGER REFERENCES p, n INTEGER, pad TEXT);"
           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" +
           std::to_string(count) +
           ") INSERT INTO t SELECT i,1+(i-1)/2500,i,hex(zeroblob(80)) FROM n";
}

std::int64_t AskNumber(const std::string& path, const std::string& query) {
    sqlite3* database = nullptr;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_prepare_v2(database, query.c_str(), -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    const std::int64_t number = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(database);
    return number;
}

TEST(LinksInASave, AreReadWhileItHoldsTheFileAlone) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("t.sqlite", Script(20000));
    const auto start = std::chrono::steady_clock::now();
    const CommandResult result = RunCommand({"edit", path, "t", "--levels", "p>name", "--set",
                                             ":n=-5", "--delete", "p>name=NULL", "--save"});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "20000 updated, 0 inserted, 0 deleted\n");
    EXPECT_EQ(AskNumber(path, "SELECT count(*) FROM t WHERE n=-5"), 20000);
}

TEST(LinkedTableThatIsDamaged, EndsEachCommandWith1AndIsNamed) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase("t.sqlite", Script(100));
    const auto page = AskNumber(path, "SELECT rootpage FROM sqlite_schema WHERE name='p'");
    {
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp((page - 1) * AskNumber(path, "PRAGMA page_size"));
        file << std::string(1000, '\xFF');
    }
    const std::vector<Arguments> cases = {
        {"walk", path, "t", "--levels", "p>name"},
        {"walk", path, "t", "--columns", "p>name"},
        {"walk", path, "t", "--levels", "id:p>name"},
        {"walk", path, "t", "--levels", "p>name", "--at", "p>name=NULL"},
        {"tree", path, "t", "--levels", "p>name,id"},
        {"grid", path, "t", "--axes", "p>name", "--calc", "COUNT:id"},
        {"grid", path, "t", "--levels", "n", "--axes", "n", "--calc", "LAST:p>name"},
        {"grid", path, "t", "--axes", "p>name", "--calc", "COUNT:id", "--drill", "NULL"},
        {"score", path, "t", "--level", "p>name", "--calc", "COUNT:id"},
        {"edit", path, "t", "--delete", "p>name=NULL", "--show", "tree"},
        {"edit", path, "t", "--delete", "p>name=NULL", "--save"},
    };
    for (const Arguments& arguments : cases) {
        const CommandResult result = RunCommand(arguments);
        const std::string shown = testing::PrintToString(arguments);
        EXPECT_EQ(result.status, 1) << shown;
        const bool isSave = arguments.back() == "--save";
        EXPECT_EQ(result.out, isSave ? "delete p>name=NULL\n" : "") << shown;
        for (const char* const text : {"linked table p ", "t.sqlite: the database is corrupt"}) {
            EXPECT_NE(result.err.find(text), std::string::npos) << shown << result.err;
        }
        EXPECT_EQ(result.err.find("nothing was saved") != std::string::npos, isSave) << result.err;
    }
    EXPECT_EQ(AskNumber(path, "SELECT count(*) FROM t"), 100);
}

TEST(LinkPath, ThatCanNotBeFollowedIsRefused) {
    const TestFolder folder;
    const std::string path = folder.MakeDatabase(
        "s.sqlite",
        "CREATE TABLE s(id INTEGER PRIMARY KEY, boss INTEGER REFERENCES s, name TEXT,"
        "  two INTEGER CONSTRAINT two REFERENCES pair, CONSTRAINT none FOREIGN KEY(two) REFERENCES "
        "nokey);"
        "CREATE TABLE pair(a INTEGER, b INTEGER, name TEXT, PRIMARY KEY(a, b));"
        "CREATE TABLE nokey(name TEXT);"
        "INSERT INTO s(id, boss, name) VALUES(1, 1, 'Ann')");
    const auto hops = [](int count) {
        std::string text;
        for (int hop = 0; hop < count; ++hop) {
            text += "boss>";
        }
        return text + "name";
    };
    const CommandResult longest =
        RunCommand({"walk", path, "s", "--columns", hops(63), "--format", "csv"});
    EXPECT_EQ(longest.status, 0) << longest.err;
    EXPECT_EQ(longest.out.substr(longest.out.rfind('\n', longest.out.size() - 2) + 1), "1,Ann\n");
    struct Case {
        Arguments options;
        int status;
        const char* said;
    };
    for (const Case& each : {
             Case{{"--columns", hops(64)}, 2, "'boss' has 65"},
             Case{{"--levels", hops(300)}, 2, "at most 64 steps"},
             Case{{"--levels", "id:" + hops(300)}, 2, "at most 64 steps"},
             Case{{"--columns", "two>name"}, 1, "can't be followed"},
             Case{{"--columns", "none>name"}, 1, "the key of 'nokey'"},
             Case{{"--columns", "id\xC2\xBBs.name,boss>two>name"}, 1, "can't be followed"},
         }) {
        Arguments arguments{"walk", path, "s"};
        arguments.insert(arguments.end(), each.options.begin(), each.options.end());
        const CommandResult result = RunCommand(arguments);
        EXPECT_EQ(result.status, each.status) << each.said << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(each.said), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace etabulon
