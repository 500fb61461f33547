#include "etabulon/sqlite/LoadCsv.h"

#include "ECsvReader.h"
#include "ESqliteConnection.h"
#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sql/ESqlText.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>

namespace etabulon {

namespace {

constexpr std::int64_t kMemoryLimit = std::int64_t{1} << 40;  // SQLite's default is one gigabyte

/// Checks the number of cells of each row; derived classes get the rows after the header.
class Rows : public ECsvRows {
public:
    Rows(const Chaine& path, const ECsvFormat& format, ESqlError& error)
        : format_(format), path_(path), error_(error) {}
    bool TakeRow(const std::vector<ECsvCell>& cells, std::uint64_t line) final {
        if (count_++ == 0) {
            width_ = cells.size();
            std::vector<std::string> header;
            for (const ECsvCell& cell : cells) {
                header.push_back(cell.text);
            }
            if (!Begin(CsvColumnNames(header, format_.header))) {
                return false;
            }
            if (format_.header) {
                return true;
            }
        }
        if (cells.size() != width_) {
            error_ = CsvWidthError(path_, line, cells.size(), width_);
            return false;
        }
        return Take(cells);
    }
    [[nodiscard]] bool IsEmpty() const noexcept { return count_ == 0; }

protected:
    virtual bool Begin(std::vector<std::string> names) = 0;
    virtual bool Take(const std::vector<ECsvCell>& cells) = 0;
    [[nodiscard]] bool IsNull(const ECsvCell& cell) const {
        return cell.isEmpty ||
               (!cell.text.empty() && std::ranges::count(format_.nulls, cell.text) > 0);
    }

    const ECsvFormat& format_;

private:
    const Chaine& path_;
    ESqlError& error_;
    std::size_t width_ = 0;
    std::uint64_t count_ = 0;
};

/// The first pass, for names and types.
class TypeRows final : public Rows {
public:
    using Rows::Rows;
    std::vector<std::string> names;
    std::vector<ECsvType> types;

protected:
    bool Begin(std::vector<std::string> columns) override {
        names = std::move(columns);
        types.assign(names.size(), ECsvType::Unknown);
        return true;
    }
    bool Take(const std::vector<ECsvCell>& cells) override {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (types[i] != ECsvType::Text && !IsNull(cells[i])) {
                types[i] = CsvTypeOfBoth(types[i], CsvTypeOf(cells[i].text, format_.notation));
            }
        }
        return true;
    }
};

/// The second pass, which inserts into the table.
class InsertRows final : public Rows {
public:
    InsertRows(const Chaine& path, const ECsvFormat& format, const std::vector<ECsvType>& types,
               ISqlStatement& insert, const ISqlConnection& connection, ESqlError& error)
        : Rows(path, format, error),
          types_(types),
          isoTexts_(types.size()),
          insert_(insert),
          connection_(connection),
          failure_(error) {}

protected:
    bool Begin(std::vector<std::string>) override { return true; }
    bool Take(const std::vector<ECsvCell>& cells) override {
        for (std::size_t i = 0; i < cells.size() && i < types_.size(); ++i) {
            insert_.Bind(static_cast<int>(i) + 1, ValueOf(cells[i], i));
        }
        const bool isDone = insert_.Step() == ESqlStep::Done;
        if (!isDone) {
            failure_ = connection_.LastError();
        }
        insert_.Reset();
        return isDone;
    }

private:
    ESqlValue ValueOf(const ECsvCell& cell, std::size_t column) {
        ESqlValue value;
        const ECsvType type = types_[column];
        const bool isText = type == ECsvType::Text || type == ECsvType::Unknown;
        if (IsNull(cell) || (cell.text.empty() && !isText)) {
            return value;
        }
        switch (type) {
            case ECsvType::Whole:
            case ECsvType::Large:
                value.kind = ESqlValue::Kind::Int;
                static_cast<void>(ParseCsvWhole(cell.text, value.integer));
                return value;
            case ECsvType::Real:
                value.kind = ESqlValue::Kind::Real;
                static_cast<void>(ParseCsvReal(cell.text, format_.notation.decimal, value.real));
                return value;
            case ECsvType::Bool:
                value.kind = ESqlValue::Kind::Int;
                value.integer = cell.text[0] == 't' || cell.text[0] == 'T' ? 1 : 0;
                return value;
            case ECsvType::Date:
            case ECsvType::Timestamp:
                return TextOf(SpelledAsIso(cell.text, column));
            default:
                return TextOf(cell.text);
        }
    }

    static ESqlValue TextOf(std::string_view text) {
        ESqlValue value;
        value.kind = ESqlValue::Kind::Text;
        value.bytes = text.data();
        value.size = text.size();
        return value;
    }
    /// A date; one that ISO spells already stays as it is.
    std::string_view SpelledAsIso(std::string_view text, std::size_t column) {
        if (format_.notation.dates == ECsvDates::Iso) {
            return text;
        }
        const std::string_view spelled =
            CsvIsoSpelling(text, format_.notation.dates, isoTexts_[column].data());
        return spelled.empty() ? text : spelled;
    }

    const std::vector<ECsvType>& types_;
    std::vector<std::array<char, kCsvIsoCapacity>> isoTexts_;  // by column, of one row
    ISqlStatement& insert_;
    const ISqlConnection& connection_;
    ESqlError& failure_;
};

class Loader {
public:
    Loader(ECsvInput& input, const ECsvOptions& options, ESqlError& error)
        : input_(input), path_(input.Name()), options_(options), error_(error) {}

    [[nodiscard]] std::unique_ptr<ESqliteSource> Load();

private:
    [[nodiscard]] bool Fill(ESqliteConnection& connection, const TypeRows& shape);
    [[nodiscard]] bool MakeTable(ESqliteConnection& connection, const std::string& table,
                                 const TypeRows& shape);
    [[nodiscard]] bool Fail(const ESqliteConnection& connection) {
        error_ = connection.LastError();
        return false;
    }

    ECsvInput& input_;
    const Chaine& path_;
    const ECsvOptions& options_;
    ESqlError& error_;
};

std::unique_ptr<ESqliteSource> Loader::Load() {
    TypeRows shape(path_, options_, error_);
    if (!CheckCsvFormat(path_, options_, error_)) {
        return nullptr;
    }
    if (!ReadCsv(input_, options_.separator, shape, error_)) {
        input_.FindDamage({}, error_);
        return nullptr;
    }
    if (shape.IsEmpty()) {
        error_ = CsvError(path_, 0, "there isn't a single row in it");
        return nullptr;
    }
    static std::atomic<unsigned int> number{0};
    const bool isMemory = options_.database.IsEmpty();
    const Chaine location =
        isMemory ? Chaine::Format("file:/etabulon-csv-%u?vfs=memdb", ++number) : options_.database;
    std::error_code failure;
    const bool isNew = isMemory || !std::filesystem::exists(location.c_str(), failure);
    std::unique_ptr<ESqliteSource> source;
    bool isFilled = false;
    {
        auto connection = ESqliteConnection::Create(location, error_);
        isFilled = connection != nullptr && Fill(*connection, shape);
        if (isFilled) {
            // Opened while this connection exists: a database in memory ends with its last one.
            source = ESqliteSource::Open(location, ESqlOpenMode::ReadWrite, error_);
        }
    }
    if (!isFilled && isNew && !isMemory) {
        std::filesystem::remove(location.c_str(), failure);
    }
    return source;
}

bool Loader::Fill(ESqliteConnection& connection, const TypeRows& shape) {
    std::int64_t limit = kMemoryLimit;
    sqlite3_file_control(connection.Handle(), "main", SQLITE_FCNTL_SIZE_LIMIT, &limit);
    const std::string name = CsvTableName(path_, options_.table);
    std::string table = "\"main\".";
    if (!SqlQuote(table, name)) {
        error_ = CsvError(path_, 0, "the table's name holds a NUL");
        return false;
    }
    if (!connection.Begin()) {
        return Fail(connection);
    }
    if (!MakeTable(connection, table, shape)) {
        connection.Rollback();
        return false;
    }
    std::string text = "INSERT INTO " + table + " VALUES (";
    for (std::size_t i = 0; i < shape.names.size(); ++i) {
        text += i > 0 ? ",?" : "?";
    }
    const auto insert = connection.Prepare(text + ')');
    if (insert == nullptr) {
        error_ = connection.LastError();
        connection.Rollback();
        return false;
    }
    InsertRows rows(path_, options_, shape.types, *insert, connection, error_);
    if (!ReadCsv(input_, options_.separator, rows, error_) || !input_.IsUnchanged(error_)) {
        connection.Rollback();
        return false;
    }
    return connection.Commit(error_) == ESqlOutcome::Committed;
}

bool Loader::MakeTable(ESqliteConnection& connection, const std::string& table,
                       const TypeRows& shape) {
    if (options_.replace && !connection.Execute(("DROP TABLE IF EXISTS " + table).c_str())) {
        return Fail(connection);
    }
    std::string text = "CREATE TABLE " + table + " (";
    for (std::size_t i = 0; i < shape.names.size(); ++i) {
        text += i > 0 ? "," : "";
        static_cast<void>(SqlQuote(text, shape.names[i]));
        text += ' ';
        text += CsvDeclaredType(shape.types[i]);
    }
    return connection.Execute((text + ')').c_str()) || Fail(connection);
}

}  // namespace

std::unique_ptr<ESqliteSource> LoadCsv(const Chaine& path, const ECsvOptions& options,
                                       ESqlError& error) {
    error = ESqlError{};
    const std::unique_ptr<ECsvInput> input = ECsvInput::Open(path, error);
    return input != nullptr ? Loader(*input, options, error).Load() : nullptr;
}

}  // namespace etabulon
