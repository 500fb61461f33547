#include "bench/Sqlite.h"

#include <cstdio>
#include <cstdlib>

namespace etabulon::bench {

Database::Database(const std::string& path, Mode mode) {
    int flags = SQLITE_OPEN_NOMUTEX;
    flags |= mode == Mode::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const std::string name = mode == Mode::Memory ? ":memory:" : path;
    if (sqlite3_open_v2(name.c_str(), &connection_, flags, nullptr) != SQLITE_OK) {
        Fail("opening " + name);
    }
    if (mode == Mode::Read) {
        Run("PRAGMA query_only = 1; PRAGMA mmap_size = 0; PRAGMA cache_size = -1000");
    }
}

void Database::Run(const std::string& statements) {
    if (sqlite3_exec(connection_, statements.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        Fail(statements);
    }
}

void Database::Fail(const std::string& doing) const {
    std::fprintf(stderr, "%s: %s\n", doing.c_str(), sqlite3_errmsg(connection_));
    std::exit(1);
}

Statement::Statement(Database& database, const std::string& text) : database_(database) {
    if (sqlite3_prepare_v2(database.Get(), text.c_str(), -1, &statement_, nullptr) != SQLITE_OK) {
        database.Fail(text);
    }
}

void Statement::Bind(int parameter, std::int64_t value) {
    sqlite3_bind_int64(statement_, parameter, value);
}

void Statement::Bind(int parameter, double value) {
    sqlite3_bind_double(statement_, parameter, value);
}

void Statement::Bind(int parameter, std::string_view text) {
    sqlite3_bind_text(statement_, parameter, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

void Statement::BindNull(int parameter) { sqlite3_bind_null(statement_, parameter); }

void Statement::Run() {
    while (Step()) {
    }
    Reset();
}

bool Statement::Step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        database_.Fail(sqlite3_sql(statement_));
    }
    return result == SQLITE_ROW;
}

std::string_view Statement::Text(int column) const {
    const void* const bytes = sqlite3_column_text(statement_, column);
    return {static_cast<const char*>(bytes),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::int64_t WalkBare(Statement& statement, std::string_view columns) {
    sqlite3_stmt* const bare = statement.Get();
    std::int64_t rows = 0;
    while (sqlite3_step(bare) == SQLITE_ROW) {
        int column = 0;
        for (const char kind : columns) {
            switch (kind) {
                case 'i':
                    sqlite3_column_int64(bare, column);
                    break;
                case 'd':
                    sqlite3_column_double(bare, column);
                    break;
                default:
                    sqlite3_column_text(bare, column);
                    sqlite3_column_bytes(bare, column);
                    break;
            }
            ++column;
        }
        ++rows;
    }
    statement.Reset();
    return rows;
}

}  // namespace etabulon::bench
