#include "etabulon/jsonl/EJsonTable.h"

#include "JsonScanner.h"
#include "etabulon/csv/ECsvInput.h"
#include "etabulon/csv/ECsvTypes.h"
#include "etabulon/sql/ESqlText.h"

#include <algorithm>

namespace etabulon {

/// Reads the file, by one pass or two.
class EJsonTable::Reader {
public:
    Reader(EJsonTable& table, ECsvInput& input, const EJsonReadOptions& options, ESqlError& error)
        : table_(table), input_(input), options_(options), error_(error) {}

    [[nodiscard]] bool Read();

private:
    [[nodiscard]] bool ReadPasses();
    void Describe();
    void Build();
    [[nodiscard]] bool Fail(const std::string& what) {
        error_ = CsvError(table_.path_, 0, what);
        return false;
    }

    EJsonTable& table_;
    ECsvInput& input_;
    const EJsonReadOptions& options_;
    ESqlError& error_;
    JsonColumns columns_;
    std::size_t count_ = 0;
};

bool EJsonTable::Reader::Read() {
    const bool isRead = ReadPasses();
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

bool EJsonTable::Reader::ReadPasses() {
    JsonScanner first(input_, options_);
    if (!first.Read(columns_, /*isSecond=*/false, error_)) {
        return false;
    }
    count_ = first.Count();
    if (columns_.keys.empty()) {
        return Fail("there isn't a single object with a key in it");
    }
    bool areDone = true;
    for (const auto& column : columns_.columns) {
        areDone = column->EndPass() && areDone;
    }
    if (areDone) {
        return true;
    }
    JsonScanner second(input_, options_);
    return second.Read(columns_, /*isSecond=*/true, error_) &&
           (second.Count() == count_ || Fail(kCsvChanged));
}

void EJsonTable::Reader::Describe() {
    const std::string name = CsvTableName(table_.path_, options_.table);
    const std::vector<std::string> names = CsvColumnNames(columns_.keys, /*isHeader=*/true);
    ESqlTableInfo& info = table_.info_;
    info.name = Chaine(std::string_view(name));
    info.code = SqlCode(name);
    DRubric* const rubric = table_.dico_.AddRubric(info.code, info.name);
    for (std::size_t index = 0; index < names.size(); ++index) {
        const ECsvType type = columns_.columns[index]->Type();
        ESqlColumn& column = info.columns.emplace_back();
        column.name = Chaine(std::string_view(names[index]));
        column.code = SqlCode(names[index]);
        column.declared = CsvDeclaredType(type);
        column.type = JsonColumn::VariableType(type);
        const ETypeInfo& typeInfo = TypeInfo(column.type);
        rubric->AddVariable(column.code, column.name, column.type,
                            typeInfo.naturalSize + (typeInfo.IsSlot() ? 0U : 1U), 1, index + 1);
        table_.cuts_.push_back(columns_.columns[index]->Cuts());
    }
    info.rowIdName = SqlRowIdName(info);
    info.keyKind = info.rowIdName.empty() ? ESqlKeyKind::None : ESqlKeyKind::RowId;
}

void EJsonTable::Reader::Build() {
    DRubric* const rubric = table_.dico_.At(0);
    EColumnsBuilder builder(rubric->MakeFields(), rubric);
    for (std::size_t index = 0; index < columns_.columns.size(); ++index) {
        builder.SetColumn(index, columns_.columns[index]->End());
    }
    builder.AppendPositions(1, count_);
    table_.columns_ = builder.Finish();
}

// ------------------------------------------------------------------------------------------- table

std::unique_ptr<EJsonTable> EJsonTable::Read(ECsvInput& input, const EJsonReadOptions& options,
                                             ESqlError& error) {
    error = ESqlError{};
    std::unique_ptr<EJsonTable> table(new EJsonTable(input.Name()));
    return Reader(*table, input, options, error).Read() ? std::move(table) : nullptr;
}

EJsonTable::~EJsonTable() = default;

bool EJsonTable::IsBegun(std::string_view start) noexcept {
    constexpr std::string_view kBlanks = " \t\r\n";
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    start.remove_prefix(start.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    start.remove_prefix(std::min(start.find_first_not_of(kBlanks), start.size()));
    if (!start.starts_with('{')) {
        return false;
    }
    start.remove_prefix(1);
    start.remove_prefix(std::min(start.find_first_not_of(kBlanks), start.size()));
    return start.starts_with('"') || start.starts_with('}');
}

std::unique_ptr<EDataColumns> EJsonTable::Open() const {
    return std::make_unique<EDataColumns>(*columns_);
}

std::unique_ptr<EDataColumns> EJsonTable::Open(std::span<const unsigned int> fields) const {
    return std::make_unique<EDataColumns>(*columns_, fields);
}

}  // namespace etabulon
