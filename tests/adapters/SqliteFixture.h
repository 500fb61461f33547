#pragma once

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "etabulon/values/ETabulonValue.h"
#include "support/Table.h"
#include "support/Tags.h"
#include "support/TestFolder.h"
#include "support/WalkTrace.h"

#include <cstdint>
#include <memory>
#include <sstream>

namespace etabulon {

using test::Database;

/// A folder that goes with the test, and databases in it.
class SqliteTest : public ::testing::Test {
protected:
    /// Runs statements by SQLite itself.
    void Run(const std::string& statements) { Database(path).Do(statements); }
    /// The same in a new database.
    void Remake(const std::string& statements) {
        std::filesystem::remove(path);
        Run(statements);
    }
    void RunAndOpen(const std::string& statements, const char* name = "t",
                    ESqlOpenMode mode = ESqlOpenMode::ReadWrite) {
        Run(statements);
        OpenTable(name, {}, mode);
    }
    /// Another connection keeps what it has begun.
    void Hold(const std::string& statements) {
        holder = std::make_unique<Database>(path);
        holder->Do(statements);
    }
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
    /// Opens table t if that is possible.
    bool TryOpen(ESqlOpenMode mode) {
        table.reset();
        source = ESqliteSource::Open(path.c_str(), mode, error);
        table = source != nullptr ? source->OpenTable("t", error) : nullptr;
        return table != nullptr;
    }
    void Close() {
        table.reset();
        source.reset();
    }
    /// The table's last step has failed so, with this in its text; `isDone` is what the step gave.
    [[nodiscard]] ::testing::AssertionResult Refused(bool isDone, std::int32_t status,
                                                     std::string_view said = {}) const {
        const std::string_view text = table->LastErrorText().View();
        return (!isDone && table->status == status && text.find(said) != std::string_view::npos
                    ? ::testing::AssertionSuccess()
                    : ::testing::AssertionFailure())
               << (isDone ? "done, " : "") << table->status << ": " << text;
    }
    [[nodiscard]] ::testing::AssertionResult Refused(EPosition at, std::int32_t status,
                                                     std::string_view said = {}) const {
        return Refused(at != kNoPosition, status, said);
    }
    [[nodiscard]] EField& Field(const char* name) { return table->Fields()[Chaine(name)]; }
    [[nodiscard]] std::string Text(const char* name) {
        const EField& field = Field(name);
        return field.IsMissing() ? "NULL" : std::string(field.AsChaine().View());
    }
    void SetText(const char* name, std::string_view text) {
        Field(name) <<= EVariant(Chaine(text));
    }
    /// Copies a database with what is beside it, as a kill would leave both.
    static void CopyFiles(const std::filesystem::path& from, const std::filesystem::path& to,
                          bool withIndex = false) {
        for (const std::string end : {"", "-journal", "-wal", "-shm"}) {
            std::error_code none;
            std::filesystem::remove(to.string() + end, none);
            if (end != "-shm" || withIndex) {
                std::filesystem::copy_file(from.string() + end, to.string() + end, none);
            }
        }
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
    /// Where these steps come to: "first next" to "1 2"; "!status" for one that fails.
    [[nodiscard]] std::string Steps(const std::string& steps) {
        std::string seen;
        std::istringstream words(steps);
        for (std::string word; words >> word;) {
            const EPosition at = word == "first"  ? table->GetFirst()
                                 : word == "next" ? table->GetNext()
                                 : word == "last" ? table->GetLast()
                                                  : table->GetPrevious();
            seen += (seen.empty() ? "" : " ") +
                    (at != kNoPosition ? std::to_string(at) : '!' + std::to_string(table->status));
        }
        return seen;
    }
    /// What a walk of the cursor shows, see WalkTrace; ends with "!status text" where it fails.
    [[nodiscard]] std::string Walked(ETabulonCursor& cursor,
                                     const ETabulonTag& tag = ETabulonTag::Null,
                                     const ETabulonVariableID& shown = ETabulonVariableID()) {
        const auto trace = MakeRef<test::WalkTrace>(shown);
        const ECursorListening listening(cursor, *trace);
        const CursorStatus status = cursor.Browse(tag);
        const std::string text = table->LastErrorText().c_str();
        return trace->Take() +
               (status == StatusOk ? "" : '!' + std::to_string(status) + ' ' + text);
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

    const test::TestFolder made;
    const std::filesystem::path folder{made.Path("")};
    std::filesystem::path path{folder / "test.db"};
    ESqlError error;
    std::unique_ptr<ESqliteSource> source;
    std::unique_ptr<ESqlTable> table;  // before its source
    std::unique_ptr<Database> holder;
};

/// A cursor on a table by these levels; its steps can be called.
class SqlCursor : public ETabulonCursorSql {
public:
    SqlCursor(const std::unique_ptr<ESqlTable>& table, std::initializer_list<const char*> levels) {
        Init(test::LevelsBy(levels), table.get(), /*ownsTable=*/false);
    }
    /// What a save of the script comes to.
    CursorStatus SaveAll(const ETabulonPendingChanges& changes) {
        return ETabulonSavePending(this, Levels()).Run(&changes, ETabulonTag::Null);
    }
    using ETabulonCursorSql::CallGetNext;
    using ETabulonCursorSql::CallReset;
};

inline EVariant Str(std::string_view text) { return EVariant(Chaine(text)); }
inline EVariant Whole(std::int64_t number) { return EVariant::FromInt64(number); }
inline ETabulonValue ValueOf(const EVariant& value) { return {value, Chaine(), false}; }

}  // namespace etabulon
