#include "etabulon/foundation/EDataColumns.h"

#include "foundation/EColumnBlocks.h"
#include "foundation/EColumnRecords.h"

#include <typeinfo>

namespace etabulon {

namespace {

EFieldSet LayoutOf(const EColumnRecords& records, std::span<const unsigned int> fields) {
    PTableau<EFieldDesc> descs;
    for (const unsigned int field : fields) {
        descs.Add(records.layout.At(static_cast<std::uint16_t>(field)).Desc());
    }
    EFieldSet layout;
    if (records.node != nullptr) {
        layout.SetRubricName(records.node->Name());
    }
    layout.Attach(descs, nullptr, 0, static_cast<std::uint16_t>(descs.Size()));
    return layout;
}

}  // namespace

EDataColumns::EDataColumns(const EDataColumns& other)
    : EDataColumns(other.records_, other.Fields().Packed(), other.columns_) {}

EDataColumns::EDataColumns(const EDataColumns& other, std::span<const unsigned int> fields)
    : EDataColumns(other.records_, LayoutOf(*other.records_, fields), fields) {}

EDataColumns::EDataColumns(std::shared_ptr<const EColumnRecords> records, const EFieldSet& layout,
                           std::span<const unsigned int> fields)
    : EDataTable(layout),
      records_(std::move(records)),
      record_(layout),
      blank_(layout),
      columns_(fields.begin(), fields.end()) {
    dico = records_->node;
    AttachBuffer(record_.Get(), static_cast<int>(layout.RecordSize()));
    for (std::uint16_t field = 0; field < layout.Size(); ++field) {
        cells_.push_back({records_->columns[columns_[field]].get(), layout.OffsetOf(field)});
    }
}

EDataColumns::~EDataColumns() = default;

std::size_t EDataColumns::Count() const noexcept { return records_->Count(); }

std::size_t EDataColumns::CountDistinct(std::uint16_t field) {
    return Source().CountDistinct(columns_[field]);
}

std::size_t EDataColumns::MemoryBytes() const noexcept { return records_->Bytes(); }

// -------------------------------------------------------------------------------------------- walk

EPosition EDataColumns::GetFirst() { return Step(0, /*forward=*/true); }

EPosition EDataColumns::GetLast() {
    return Step(static_cast<std::int64_t>(Count()) - 1, /*forward=*/false);
}

EPosition EDataColumns::GetNext() {
    return walk_.known ? Step(walk_.next, /*forward=*/true) : LeaveRecord(DataNoCurrent);
}

EPosition EDataColumns::GetPrevious() {
    return walk_.known ? Step(walk_.previous, /*forward=*/false) : LeaveRecord(DataNoCurrent);
}

EPosition EDataColumns::Step(std::int64_t from, bool forward) {
    const auto count = static_cast<std::int64_t>(Count());
    for (std::int64_t at = from; at >= 0 && at < count; at += forward ? 1 : -1) {
        Load(static_cast<std::size_t>(at));
        if (IsVisible()) {
            return position;
        }
    }
    LeaveRecord(DataEnd);
    walk_.StandBefore(forward ? count : 0);
    return kNoPosition;
}

EPosition EDataColumns::RePos(EPosition newPosition, bool) {
    if (newPosition == kNoPosition) {
        newPosition = position;
    }
    if (newPosition == kNoPosition) {
        return LeaveRecord(DataNoCurrent);
    }
    const std::size_t record = records_->Find(newPosition);
    if (record == EColumnRecords::kNone) {
        return LeaveRecord(DataNoSuchPosition);
    }
    Load(record);
    return position;
}

bool EDataColumns::LoadBuffer() {
    if (position == kNoPosition) {
        LeaveRecord(DataNoCurrent);
        return false;
    }
    Load(current_);
    return true;
}

void EDataColumns::Load(std::size_t record) {
    StandOn(record);
    LoadFields();
}

void EDataColumns::LoadFields() noexcept {
    auto* const to = static_cast<std::byte*>(record_.Get());
    const auto* const blank = static_cast<const std::byte*>(blank_.Get());
    for (const Cell& cell : cells_) {
        cell.column->Read(current_, to + cell.offset, blank + cell.offset);
    }
}

void EDataColumns::StandOn(std::size_t record) {
    current_ = record;
    position = records_->PositionOf(record);
    walk_.StandOn(static_cast<std::int64_t>(record));
    status = DataOk;
}

EPosition EDataColumns::LeaveRecord(std::int32_t newStatus) {
    position = kNoPosition;
    walk_.Lose();
    record_.Clear();
    status = newStatus;
    return kNoPosition;
}

const EFieldKey& EDataColumns::CurKey() {
    if (position != kNoPosition) {
        Source().ReadKeyOf(current_, key_);
    } else {
        key_.Free();
    }
    return key_;
}

EDataColumns::BlockSource& EDataColumns::Source() {
    if (blocks_ == nullptr) {
        blocks_ = std::make_unique<BlockSource>(*this);
    }
    return *blocks_;
}

EBlockSource* EDataColumns::Blocks() {
    return typeid(*this) == typeid(EDataColumns) ? &Source() : nullptr;
}

// ------------------------------------------------------------------------------------------ writes

EPosition EDataColumns::Insert() { return Fail(DataReadOnly); }

EPosition EDataColumns::Update(EPosition) { return Fail(DataReadOnly); }

bool EDataColumns::DeleteOne(EPosition) {
    status = DataReadOnly;
    return false;
}

bool EDataColumns::DeleteLoop() {
    status = DataReadOnly;
    return false;
}

std::int32_t EDataColumns::Lock(EPosition where, bool) {
    where = where == kNoPosition ? position : where;
    if (where == kNoPosition) {
        return status = DataNoCurrent;
    }
    return status = records_->Find(where) != EColumnRecords::kNone ? DataOk : DataNoSuchPosition;
}

std::int32_t EDataColumns::LockRecord(EPosition where, bool wait) { return Lock(where, wait); }

std::int32_t EDataColumns::UnlockRecord(EPosition where) { return Lock(where, /*wait=*/false); }

Chaine EDataColumns::LastErrorText() const {
    return status == DataReadOnly ? Chaine("a table in columns can't be written") : Chaine();
}

}  // namespace etabulon
