#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace etabulon::bench {

/// SQLite with nothing around it: makes the data, is the floor under every speed, and tells what
/// the results ought to be. Whatever fails ends the program.
class Database {
public:
    enum class Mode : std::uint8_t { Create = 0, Read = 1, Memory = 2 };
    /// Read opens as ESqliteSource does: without a memory map, and with its cache.
    Database(const std::string& path, Mode mode);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database() { sqlite3_close(connection_); }

    void Run(const std::string& statements);
    [[nodiscard]] sqlite3* Get() const noexcept { return connection_; }
    [[noreturn]] void Fail(const std::string& doing) const;

private:
    sqlite3* connection_ = nullptr;
};

class Statement {
public:
    Statement(Database& database, const std::string& text);
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(statement_); }

    void Bind(int parameter, std::int64_t value);
    void Bind(int parameter, double value);
    /// The text is copied.
    void Bind(int parameter, std::string_view text);
    void BindNull(int parameter);
    /// Steps to the end, and is ready again.
    void Run();
    [[nodiscard]] bool Step();
    void Reset() { sqlite3_reset(statement_); }
    [[nodiscard]] std::int64_t Int64(int column) const {
        return sqlite3_column_int64(statement_, column);
    }
    [[nodiscard]] double Double(int column) const {
        return sqlite3_column_double(statement_, column);
    }
    [[nodiscard]] std::string_view Text(int column) const;
    [[nodiscard]] sqlite3_stmt* Get() const noexcept { return statement_; }

private:
    Database& database_;
    sqlite3_stmt* statement_ = nullptr;
};

/// The floor: walks `statement` and reads each column, by its letter in `columns`: i, d or t for
/// whole number, real or text with its length. Returns the number of rows.
std::int64_t WalkBare(Statement& statement, std::string_view columns);

}  // namespace etabulon::bench
