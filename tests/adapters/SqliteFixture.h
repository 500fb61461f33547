#pragma once

#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "etabulon/values/ETabulonValue.h"
#include "support/Database.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace etabulon {

using test::Database;

/// A folder that goes with the test, and databases in it.
class SqliteTest : public ::testing::Test {
protected:
    SqliteTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "etabulon-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        path = folder / "test.db";
    }
    ~SqliteTest() override {
        std::error_code failure;
        std::filesystem::remove_all(folder, failure);
    }

    /// Puts the folder in memory where there is room for files: what a killed process has written
    /// is there as it would be on a disk, and nothing waits for one.
    void MoveToMemory() {
        std::string pattern = "/dev/shm/etabulon-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr) {
            std::filesystem::remove(folder);
            folder = pattern;
            path = folder / "test.db";
        }
    }
    /// Runs statements by SQLite itself.
    void Run(const std::string& statements) { Database(path).Do(statements); }
    /// The first column of the rows, joined by "|".
    std::string Ask(const std::string& query) {
        std::string answer;
        for (const Database::Row& row : Database(path).Rows(query, "NULL")) {
            answer += (answer.empty() ? "" : "|") + row[0];
        }
        return answer;
    }
    void Open(ESqlOpenMode mode = ESqlOpenMode::ReadWrite) {
        table.reset();
        source = ESqliteSource::Open(path.c_str(), mode, error);
        ASSERT_NE(source, nullptr) << error.text.c_str();
    }
    void OpenTable(const char* name, const ESqlTableOptions& options = {},
                   ESqlOpenMode mode = ESqlOpenMode::ReadWrite) {
        Open(mode);
        table = source->OpenTable(name, options, error);
        ASSERT_NE(table, nullptr) << error.text.c_str();
    }
    [[nodiscard]] EField& Field(const char* name) { return table->Fields()[Chaine(name)]; }
    [[nodiscard]] std::string Text(const char* name) {
        const EField& field = Field(name);
        return field.IsMissing() ? "NULL" : std::string(field.AsChaine().View());
    }
    void SetText(const char* name, std::string_view text) {
        Field(name) <<= EVariant(Chaine(text));
    }
    /// A field of every record in order, joined by "|"; ends with "!status" if not by the end.
    [[nodiscard]] std::string Walk(const char* name) {
        std::string texts;
        std::size_t count = 0;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            texts += (count++ == 0 ? "" : "|") + Text(name);
        }
        return table->status == DataEnd ? texts : texts + '!' + std::to_string(table->status);
    }
    [[nodiscard]] static std::string Bytes(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    [[nodiscard]] std::size_t FilesInFolder() const {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
            ++count;
        }
        return count;
    }

    std::filesystem::path folder;
    std::filesystem::path path;
    ESqlError error;
    std::unique_ptr<ESqliteSource> source;
    std::unique_ptr<ESqlTable> table;  // before its source
};

inline ETabulonValue ValueOf(const EVariant& value) { return {value, Chaine(), false}; }

}  // namespace etabulon
