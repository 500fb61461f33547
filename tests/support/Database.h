#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace etabulon::test {

/// A connection of a test's own to a database, as another program has one.
class Database {
public:
    using Row = std::vector<std::string>;

    explicit Database(const std::string& path) {
        EXPECT_EQ(sqlite3_open(path.c_str(), &handle_), SQLITE_OK);
    }
    ~Database() { sqlite3_close(handle_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// SQLite's code for what became of the statements.
    int Try(const std::string& statements) {
        return sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, nullptr);
    }
    void Do(const std::string& statements) {
        EXPECT_EQ(Try(statements), SQLITE_OK) << sqlite3_errmsg(handle_) << " in " << statements;
    }
    [[nodiscard]] std::vector<Row> Rows(const std::string& query, const char* null = "\\N") {
        struct Into {
            std::vector<Row> rows;
            const char* null;
        } into{{}, null};
        const auto take = [](void* to, int count, char** values, char** /*names*/) {
            Row& row = static_cast<Into*>(to)->rows.emplace_back();
            for (int column = 0; column < count; ++column) {
                row.emplace_back(values[column] != nullptr ? values[column]
                                                           : static_cast<Into*>(to)->null);
            }
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(handle_, query.c_str(), take, &into, nullptr), SQLITE_OK)
            << sqlite3_errmsg(handle_) << " in " << query;
        return into.rows;
    }
    /// "a,1|b,NULL|": the rows of a query.
    [[nodiscard]] std::string Ask(const std::string& query) {
        std::string answer;
        for (const Row& row : Rows(query, "NULL")) {
            for (const std::string& value : row) {
                answer += (&value == &row.front() ? "" : ",") + value;
            }
            answer += '|';
        }
        return answer;
    }

private:
    sqlite3* handle_ = nullptr;
};

}  // namespace etabulon::test
