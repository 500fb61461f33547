#include "ESqlLinkSource.h"

#include "ESqlProcess.h"
#include "ESqlStatements.h"
#include "SqlSourceCore.h"

#include <unordered_map>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMostRows = std::size_t{1} << 16;

struct KeyHash {
    std::size_t operator()(const EFieldKey& key) const noexcept { return key.Hash(); }
};

ESqlError LinkError(const ESqlTableInfo& info, ESqlError error) {
    Chaine text("linked table ");
    text += info.name;
    text.Append(" can't be read: ");
    text += error.text;
    error.text = text;
    return error;
}

/// A statement that reads by key on the connection of the table at which the links start, with a
/// cache of its rows, which a write of this process, a new walk and Forget empty.
class SqlLookup final : public IRecordLookup {
public:
    SqlLookup(std::shared_ptr<detail::SqlSourceCore> source, const ESqlTableInfo& info,
              const DRubric& rubric, std::span<const unsigned int> keyVariables,
              std::span<const unsigned int> columns, std::shared_ptr<ISqlConnection> connection);
    [[nodiscard]] bool Prepare();
    ERecordRead Read(const EFieldKey& values, void* record) override;
    EDataError LastError() const override { return error_; }
    void Forget() override { rows_.clear(); }
    std::uint64_t Version() const override { return version_->load() + source_->walks.load(); }

private:
    using Row = std::unique_ptr<ERecordBuffer>;  // null: no record has the key
    [[nodiscard]] bool Fetch(const EFieldKey& values, Row& row);
    [[nodiscard]] bool BindKey(const EFieldKey& values);
    void NoteMisreads();
    void NoteError() { error_ = LinkError(info_, connection_->LastError()); }
    void Blank(void* record);
    void CopyTo(const std::byte* image, void* record);

    std::shared_ptr<detail::SqlSourceCore> source_;  // holds info_
    const ESqlTableInfo& info_;
    std::vector<unsigned int> keyVariables_;
    std::vector<unsigned int> columns_;
    std::shared_ptr<ISqlConnection> connection_;
    EFieldSet layout_;
    ESqlColumnData data_;
    ESqlRow row_;                       // decodes into an image of layout_
    std::vector<std::size_t> offsets_;  // the cells' offsets in a record of the whole rubric
    std::unique_ptr<ISqlStatement> statement_;
    std::shared_ptr<std::atomic<std::uint64_t>> version_;
    std::uint64_t rowsVersion_ = 0;
    std::unordered_map<EFieldKey, Row, KeyHash> rows_;
    ESqlError error_;
};

SqlLookup::SqlLookup(std::shared_ptr<detail::SqlSourceCore> source, const ESqlTableInfo& info,
                     const DRubric& rubric, std::span<const unsigned int> keyVariables,
                     std::span<const unsigned int> columns,
                     std::shared_ptr<ISqlConnection> connection)
    : source_(std::move(source)),
      info_(info),
      keyVariables_(keyVariables.begin(), keyVariables.end()),
      columns_(columns.begin(), columns.end()),
      connection_(std::move(connection)),
      layout_(rubric.MakeFields(columns_)),
      data_(columns_.size()),
      version_(SqlTableVersion(connection_->Identity() + '\n' + info.name.c_str())) {
    row_.cells = MakeSqlCells(info, columns_, layout_, data_);
    const EFieldSet whole = rubric.MakeFields();
    for (const unsigned int column : columns_) {
        offsets_.push_back(whole.OffsetOf(static_cast<std::uint16_t>(column)));
    }
}

bool SqlLookup::Prepare() {
    std::string text = SqlSelect(info_, columns_, row_);
    row_.integerKeyColumn = -1;
    row_.keyColumns.clear();
    int parameter = 0;
    for (const unsigned int column : keyVariables_) {
        text += parameter == 0 ? " WHERE " : " AND ";
        text += SqlColumn(info_, column) + " = ?" + std::to_string(++parameter);
    }
    text += SqlOrder(info_, {}) + " LIMIT 1";
    statement_ = connection_->Prepare(text);
    if (statement_ == nullptr) {
        NoteError();
    }
    return statement_ != nullptr;
}

ERecordRead SqlLookup::Read(const EFieldKey& values, void* record) {
    if (const std::uint64_t version = Version(); version != rowsVersion_) {
        Forget();
        rowsVersion_ = version;
    }
    auto known = rows_.find(values);
    if (known == rows_.end()) {
        Row row;
        if (!Fetch(values, row)) {
            Blank(record);
            return ERecordRead::Failed;
        }
        if (rows_.size() >= kMostRows) {
            Forget();
        }
        known = rows_.emplace(values, std::move(row)).first;
    }
    if (known->second == nullptr) {
        Blank(record);
        return ERecordRead::Missing;
    }
    CopyTo(static_cast<const std::byte*>(known->second->Get()), record);
    return ERecordRead::Found;
}

/// False if the read failed. A failure isn't cached, since it doesn't mean that no record exists.
bool SqlLookup::Fetch(const EFieldKey& values, Row& row) {
    if (!source_->isOpen.load()) {
        error_ = LinkError(info_, source_->ClosedError());
        return false;
    }
    const SqlRun run(*statement_);
    if (!BindKey(values)) {
        return true;
    }
    row = std::make_unique<ERecordBuffer>(layout_);
    row_.record = static_cast<std::byte*>(row->Get());
    const ESqlStep step =
        statement_->StepWalk(row_);  // StepWalk, since a cancel of the walk ends it
    if (step != ESqlStep::Row) {
        row.reset();
    }
    NoteMisreads();
    if (step == ESqlStep::Failed) {
        NoteError();
    }
    return step != ESqlStep::Failed;
}

void SqlLookup::NoteMisreads() {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const ESqlMisreads misreads = std::exchange(data_.misreads[i], ESqlMisreads{});
        if (misreads.mismatches != 0 || misreads.cuts != 0) {
            Chaine name("'");
            name += info_.columns[columns_[i]].name;
            name.Append("' of table '");
            name += info_.name;
            name.Append("'");
            const std::lock_guard<std::mutex> guard(source_->misreadLock);
            (misreads.mismatches != 0 ? source_->misreads : source_->cuts).insert(name);
        }
    }
}

/// False for a key that no record can have.
bool SqlLookup::BindKey(const EFieldKey& values) {
    if (values.Size() != keyVariables_.size()) {
        return false;
    }
    char iso[kIsoCapacity];
    for (std::uint16_t i = 0; i < values.Size(); ++i) {
        ESqlValue value;
        Chaine text;
        if (!MakeSqlValue(values.At(i), value, text, iso)) {
            return false;
        }
        statement_->Bind(i + 1, value);
    }
    return true;
}

void SqlLookup::Blank(void* record) {
    auto* const bytes = static_cast<std::byte*>(record);
    for (std::size_t i = 0; i < row_.cells.size(); ++i) {
        const ESqlCell& cell = row_.cells[i];
        if (cell.IsSlot()) {
            ESqlTextIntern::StoreMissing(bytes + offsets_[i]);
        } else {
            std::memset(bytes + offsets_[i], 0, cell.size);
            bytes[offsets_[i] + cell.size] = std::byte{1};
        }
    }
}

void SqlLookup::CopyTo(const std::byte* image, void* record) {
    auto* const bytes = static_cast<std::byte*>(record);
    for (std::size_t i = 0; i < row_.cells.size(); ++i) {
        const ESqlCell& cell = row_.cells[i];
        if (!cell.IsSlot()) {
            std::memcpy(bytes + offsets_[i], image + cell.offset, std::size_t{cell.size} + 1);
            continue;
        }
        Chaine::Body* from = nullptr;
        Chaine::Body* to = nullptr;
        std::memcpy(&from, image + cell.offset, sizeof from);
        std::memcpy(&to, bytes + offsets_[i], sizeof to);
        if (from == to) {
            continue;
        }
        if (from != nullptr) {
            Chaine::Retain(from);
        }
        std::memcpy(bytes + offsets_[i], &from, sizeof from);
        if (to != nullptr) {
            Chaine::Release(to);
        }
    }
}

}  // namespace

std::unique_ptr<IRecordLookup> ESqlLinkSource::OpenLookup(
    const DRubric& rubric, std::span<const unsigned int> keyVariables,
    std::span<const unsigned int> columns, EData* from, EDataError& error) {
    // On another connection a lookup would wait for the locks of the table's own transaction, and
    // read the state before the transaction.
    if (!core_.isOpen.load()) {
        error = LinkError(info_, core_.ClosedError());
        return nullptr;
    }
    const auto* const table = dynamic_cast<const ESqlTable*>(from);
    std::shared_ptr<ISqlConnection> connection =
        table != nullptr ? table->ConnectionTo(source_) : nullptr;
    if (connection == nullptr) {
        connection = source_.Connect(error);
    }
    if (connection == nullptr) {
        error = LinkError(info_, error);
        return nullptr;
    }
    auto lookup = std::make_unique<SqlLookup>(source_.Core(), info_, rubric, keyVariables, columns,
                                              std::move(connection));
    if (!lookup->Prepare()) {
        error = lookup->LastError();
        return nullptr;
    }
    return lookup;
}

}  // namespace etabulon
