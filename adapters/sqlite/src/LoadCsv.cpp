#include "etabulon/sqlite/LoadCsv.h"

#include "ECsvReader.h"
#include "ESqliteConnection.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sql/ESqlText.h"

#include <sqlite3.h>

#include <atomic>
#include <charconv>
#include <filesystem>

namespace etabulon {

namespace {

constexpr std::int64_t kMemoryLimit = std::int64_t{1} << 40;  // SQLite's default is one gigabyte

/// Checks the number of cells of each row; derived classes get the rows after the header.
class Rows : public ECsvRows {
public:
    Rows(const Chaine& path, bool hasHeader, ESqlError& error)
        : path_(path), hasHeader_(hasHeader), error_(error) {}
    bool TakeRow(const std::vector<ECsvCell>& cells, std::uint64_t line) final {
        if (count_++ == 0) {
            width_ = cells.size();
            std::vector<std::string> header;
            for (const ECsvCell& cell : cells) {
                header.push_back(cell.text);
            }
            if (!Begin(CsvColumnNames(header, hasHeader_))) {
                return false;
            }
            if (hasHeader_) {
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

private:
    const Chaine& path_;
    bool hasHeader_;
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
            if (types[i] != ECsvType::Text) {
                types[i] = CsvTypeOfBoth(types[i], CsvTypeOf(cells[i].text));
            }
        }
        return true;
    }
};

/// The second pass, which inserts into the table.
class InsertRows final : public Rows {
public:
    InsertRows(const Chaine& path, bool hasHeader, const std::vector<ECsvType>& types,
               ISqlStatement& insert, const ISqlConnection& connection, ESqlError& error)
        : Rows(path, hasHeader, error),
          types_(types),
          insert_(insert),
          connection_(connection),
          failure_(error) {}

protected:
    bool Begin(std::vector<std::string>) override { return true; }
    bool Take(const std::vector<ECsvCell>& cells) override {
        for (std::size_t i = 0; i < cells.size() && i < types_.size(); ++i) {
            insert_.Bind(static_cast<int>(i) + 1, ValueOf(cells[i], types_[i]));
        }
        const bool isDone = insert_.Step() == ESqlStep::Done;
        if (!isDone) {
            failure_ = connection_.LastError();
        }
        insert_.Reset();
        return isDone;
    }

private:
    static ESqlValue ValueOf(const ECsvCell& cell, ECsvType type) {
        ESqlValue value;
        const bool isText = type == ECsvType::Text || type == ECsvType::Unknown;
        if (cell.isEmpty || (cell.text.empty() && !isText)) {
            return value;
        }
        const char* const end = cell.text.data() + cell.text.size();
        switch (type) {
            case ECsvType::Whole:
            case ECsvType::Large:
                value.kind = ESqlValue::Kind::Int;
                std::from_chars(cell.text.data(), end, value.integer);
                return value;
            case ECsvType::Real:
                value.kind = ESqlValue::Kind::Real;
                std::from_chars(cell.text.data(), end, value.real);
                return value;
            case ECsvType::Bool:
                value.kind = ESqlValue::Kind::Int;
                value.integer = cell.text[0] == 't' || cell.text[0] == 'T' ? 1 : 0;
                return value;
            default:
                value.kind = ESqlValue::Kind::Text;
                value.bytes = cell.text.data();
                value.size = cell.text.size();
                return value;
        }
    }

    const std::vector<ECsvType>& types_;
    ISqlStatement& insert_;
    const ISqlConnection& connection_;
    ESqlError& failure_;
};

class Loader {
public:
    Loader(const Chaine& path, const ECsvOptions& options, ESqlError& error)
        : path_(path), options_(options), error_(error) {}

    [[nodiscard]] std::unique_ptr<ESqliteSource> Load();

private:
    [[nodiscard]] bool Fill(ESqliteConnection& connection, const TypeRows& shape);
    [[nodiscard]] bool MakeTable(ESqliteConnection& connection, const std::string& table,
                                 const TypeRows& shape);
    [[nodiscard]] bool Fail(const ESqliteConnection& connection) {
        error_ = connection.LastError();
        return false;
    }

    const Chaine& path_;
    const ECsvOptions& options_;
    ESqlError& error_;
};

std::unique_ptr<ESqliteSource> Loader::Load() {
    TypeRows shape(path_, options_.header, error_);
    if (!ReadCsv(path_, options_.separator, shape, error_)) {
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
    InsertRows rows(path_, options_.header, shape.types, *insert, connection, error_);
    if (!ReadCsv(path_, options_.separator, rows, error_)) {
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
    return Loader(path, options, error).Load();
}

}  // namespace etabulon
