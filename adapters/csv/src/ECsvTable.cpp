#include "etabulon/csv/ECsvTable.h"

#include "ECsvColumn.h"
#include "ECsvScanner.h"
#include "etabulon/csv/ECsvInput.h"
#include "etabulon/foundation/EColumnsBuilder.h"
#include "etabulon/sql/ESqlText.h"

#include <string>
#include <vector>

namespace etabulon {

namespace {

constexpr std::size_t kMostColumns = 0xFFFF;  // of a record's fields

}  // namespace

/// Reads the file, by one pass or two.
class ECsvTable::Reader {
public:
    Reader(ECsvTable& table, ECsvInput& input, const ECsvReadOptions& options, ESqlError& error)
        : table_(table), input_(input), options_(options), error_(error) {}

    [[nodiscard]] bool Read();

private:
    [[nodiscard]] bool ReadFirst(ECsvScanner& rows);
    [[nodiscard]] bool ReadPass(std::vector<ECsvColumn*> columns);
    [[nodiscard]] bool ReadPostponed();
    void Describe();
    void Build();
    [[nodiscard]] bool Fail(const std::string& what) {
        error_ = CsvError(table_.path_, 0, what);
        return false;
    }

    ECsvTable& table_;
    ECsvInput& input_;
    const ECsvReadOptions& options_;
    ESqlError& error_;
    std::vector<std::string> names_;
    std::vector<std::unique_ptr<ECsvColumn>> columns_;
    std::size_t count_ = 0;  // of the rows that were taken in the last pass
};

bool ECsvTable::Reader::Read() {
    if (!CheckCsvFormat(table_.path_, options_, error_)) {
        return false;
    }
    const bool isRead = ReadPass({}) && ReadPostponed();
    if (!isRead) {
        input_.FindDamage(options_.goesOn, error_);
    }
    // What a half-written file says of itself is no fault of its own.
    if (error_.status == kDataInterrupted || !input_.IsUnchanged(error_) || !isRead) {
        return false;
    }
    Describe();
    Build();
    return true;
}

/// The first row, which names the columns or says only how many there are.
bool ECsvTable::Reader::ReadFirst(ECsvScanner& rows) {
    if (!rows.NextRows(error_)) {
        return error_.status != DataOk ? false : Fail("there isn't a single row in it");
    }
    if (rows.Width() > kMostColumns) {
        return Fail(std::to_string(rows.Width()) + " columns, where " +
                    std::to_string(kMostColumns) + " are possible");
    }
    std::vector<std::string> cells;
    for (std::size_t column = 0; column < rows.Width(); ++column) {
        cells.emplace_back(rows.Cell(0, column));
    }
    names_ = CsvColumnNames(cells, options_.header);
    return true;
}

/// Gives the file's cells to these columns, or to new ones.
bool ECsvTable::Reader::ReadPass(std::vector<ECsvColumn*> columns) {
    ECsvScanner rows(input_, options_);
    if (!rows.Begin(error_) || !ReadFirst(rows)) {
        return false;
    }
    if (columns_.empty()) {
        for (std::size_t column = 0; column < rows.Width(); ++column) {
            columns_.push_back(std::make_unique<ECsvColumn>(options_));
            columns.push_back(columns_.back().get());
        }
    }
    if (rows.Width() != columns_.size()) {
        return Fail(kCsvChanged);
    }
    count_ = 0;
    bool areTaken = !options_.header;
    do {
        for (std::size_t column = 0; areTaken && column < columns.size(); ++column) {
            if (columns[column] != nullptr) {
                columns[column]->Take(rows, column);
            }
        }
        count_ += areTaken ? rows.Rows() : 0;
        areTaken = true;
    } while (rows.NextRows(error_));
    return error_.status == DataOk;
}

bool ECsvTable::Reader::ReadPostponed() {
    std::vector<ECsvColumn*> postponed;
    bool isAny = false;
    for (const auto& column : columns_) {
        postponed.push_back(column->IsPostponed() ? column.get() : nullptr);
        if (column->IsPostponed()) {
            column->BeginAgain();
            isAny = true;
        }
    }
    const std::size_t count = count_;
    return !isAny || (ReadPass(std::move(postponed)) && (count == count_ || Fail(kCsvChanged)));
}

void ECsvTable::Reader::Describe() {
    const std::string name = CsvTableName(table_.path_, options_.table);
    ESqlTableInfo& info = table_.info_;
    info.name = Chaine(std::string_view(name));
    info.code = SqlCode(name);
    DRubric* const rubric = table_.dico_.AddRubric(info.code, info.name);
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        const ECsvType type = columns_[index]->Type();
        ESqlColumn& column = info.columns.emplace_back();
        column.name = Chaine(std::string_view(names_[index]));
        column.code = SqlCode(names_[index]);
        column.declared = CsvDeclaredType(type);
        column.type = ECsvColumn::VariableType(type);
        const ETypeInfo& typeInfo = TypeInfo(column.type);
        rubric->AddVariable(column.code, column.name, column.type,
                            typeInfo.naturalSize + (typeInfo.IsSlot() ? 0U : 1U), 1, index + 1);
        table_.cuts_.push_back(columns_[index]->Cuts());
        ECsvHint hint;
        hint.column = index;
        if (columns_[index]->Lookalike().Tell(options_.notation, hint)) {
            table_.hints_.push_back(std::move(hint));
        }
    }
    info.rowIdName = SqlRowIdName(info);
    info.keyKind = info.rowIdName.empty() ? ESqlKeyKind::None : ESqlKeyKind::RowId;
}

void ECsvTable::Reader::Build() {
    DRubric* const rubric = table_.dico_.At(0);
    EColumnsBuilder builder(rubric->MakeFields(), rubric);
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        builder.SetColumn(index, columns_[index]->End());
    }
    builder.AppendPositions(1, count_);
    table_.columns_ = builder.Finish();
}

// ------------------------------------------------------------------------------------------- table

std::unique_ptr<ECsvTable> ECsvTable::Read(const Chaine& path, const ECsvReadOptions& options,
                                           ESqlError& error) {
    error = ESqlError{};
    const std::unique_ptr<ECsvInput> input = ECsvInput::Open(path, error);
    return input != nullptr ? Read(*input, options, error) : nullptr;
}

std::unique_ptr<ECsvTable> ECsvTable::Read(ECsvInput& input, const ECsvReadOptions& options,
                                           ESqlError& error) {
    error = ESqlError{};
    std::unique_ptr<ECsvTable> table(new ECsvTable(input.Name()));
    return Reader(*table, input, options, error).Read() ? std::move(table) : nullptr;
}

ECsvTable::~ECsvTable() = default;

std::unique_ptr<EDataColumns> ECsvTable::Open() const {
    return std::make_unique<EDataColumns>(*columns_);
}

std::unique_ptr<EDataColumns> ECsvTable::Open(std::span<const unsigned int> fields) const {
    return std::make_unique<EDataColumns>(*columns_, fields);
}

}  // namespace etabulon
