#include "etabulon/foundation/EDataMemory.h"

#include "foundation/EMemoryBlocks.h"
#include "foundation/EMemoryRecords.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace etabulon {

EDataMemory::EDataMemory(DRubric* rubric) : EDataMemory(std::make_shared<EMemoryRecords>(*rubric)) {
    dico = rubric;
    rubric->SetSource(records_);
}

EDataMemory::EDataMemory(const EDataMemory& other) : EDataMemory(other.records_) {
    dico = other.dico;
}

EDataMemory::EDataMemory(std::shared_ptr<EMemoryRecords> records)
    : EDataTable(records->Layout()), records_(std::move(records)), record_(records_->Layout()) {
    AttachBuffer(record_.Get(), static_cast<int>(records_->Layout().RecordSize()));
}

EDataMemory::~EDataMemory() { records_->DropLocks(this); }

EPosition EDataMemory::Append(const std::vector<EVariant>& values) {
    EFieldSet& fields = records_->Scratch();
    const std::size_t count = std::min(values.size(), fields.Size());
    for (std::size_t i = 0; i < count; ++i) {
        fields.At(static_cast<std::uint16_t>(i)) <<= values[i];
    }
    EPosition added = kNoPosition;
    status = records_->Insert(fields.Buffer(), added);
    return added;
}

std::size_t EDataMemory::Count() const { return records_->Count(); }

EPosition EDataMemory::GetFirst() { return Step(0, Direction::On); }

EPosition EDataMemory::GetLast() { return Step(records_->End() - 1, Direction::Back); }

EPosition EDataMemory::GetNext() {
    return walk_.known ? Step(walk_.next, Direction::On) : LeaveRecord(DataNoCurrent);
}

EPosition EDataMemory::GetPrevious() {
    return walk_.known ? Step(walk_.previous, Direction::Back) : LeaveRecord(DataNoCurrent);
}

EPosition EDataMemory::RePos(EPosition newPosition, bool) {
    if (const std::int32_t failure = Find(newPosition); failure != DataOk) {
        return LeaveRecord(failure);
    }
    Load(newPosition);
    return position;
}

EPosition EDataMemory::Insert() {
    EPosition added = kNoPosition;
    if (const std::int32_t failure = records_->Insert(record_.Get(), added); failure != DataOk) {
        return Fail(failure);
    }
    Load(added);
    return position;
}

EPosition EDataMemory::Update(EPosition where) {
    if (const std::int32_t failure = FindToWrite(where); failure != DataOk) {
        return Fail(failure);
    }
    if (const std::int32_t failure = records_->Update(where, record_.Get()); failure != DataOk) {
        return Fail(failure);
    }
    Load(where);
    return position;
}

bool EDataMemory::DeleteOne(EPosition where) {
    status = FindToWrite(where);
    if (status != DataOk) {
        return false;
    }
    records_->Delete(where);
    if (where == position) {
        // The walk keeps its position, from which the next step goes on.
        position = kNoPosition;
        record_.Clear();
    }
    return true;
}

std::int32_t EDataMemory::Lock(EPosition where, bool) {
    status = Find(where);
    if (status == DataOk && !records_->TakeLock(where, this, EMemoryRecords::ByLock)) {
        status = DataLocked;
    }
    if (status == DataOk && locked_ != where) {
        records_->DropLock(std::exchange(locked_, where), this, EMemoryRecords::ByLock);
    }
    return status;
}

void EDataMemory::Unlock() {
    records_->DropLock(std::exchange(locked_, kNoPosition), this, EMemoryRecords::ByLock);
    status = DataOk;
}

bool EDataMemory::LoadBuffer() {
    EPosition where = position;
    if (const std::int32_t failure = Find(where); failure != DataOk) {
        LeaveRecord(failure);
        return false;
    }
    Load(where);
    return true;
}

const EFieldKey& EDataMemory::CurKey() {
    // From the stored record: a key written into the fields counts once the record is saved.
    if (const std::byte* const record = records_->At(position); record != nullptr) {
        records_->ReadKey(record, key_);
    } else {
        key_.Free();
    }
    return key_;
}

std::int32_t EDataMemory::LockRecord(EPosition where, bool) {
    status = Find(where);
    if (status == DataOk && !records_->TakeLock(where, this, EMemoryRecords::ByLockRecord)) {
        status = DataLocked;
    }
    return status;
}

std::int32_t EDataMemory::UnlockRecord(EPosition where) {
    status = Find(where);
    if (status == DataOk) {
        records_->DropLock(where, this, EMemoryRecords::ByLockRecord);
    }
    return status;
}

EBlockSource* EDataMemory::Blocks() {
    if (typeid(*this) != typeid(EDataMemory)) {
        return nullptr;
    }
    if (blocks_ == nullptr) {
        blocks_ = std::make_unique<BlockSource>(*this);
    }
    return blocks_.get();
}

EPosition EDataMemory::Step(EPosition from, Direction direction) {
    const bool isOn = direction == Direction::On;
    EPosition at = isOn ? records_->FindNext(from) : records_->FindPrevious(from);
    while (at != kNoPosition) {
        Load(at);
        if (IsVisible()) {
            return position;
        }
        at = isOn ? records_->FindNext(at + 1) : records_->FindPrevious(at - 1);
    }
    LeaveRecord(DataEnd);
    walk_.StandBefore(isOn ? records_->End() : 0);
    return kNoPosition;
}

void EDataMemory::Load(EPosition where) {
    records_->Layout().CopyRecord(record_.Get(), records_->At(where));
    position = where;
    walk_.StandOn(where);
    status = DataOk;
}

EPosition EDataMemory::LeaveRecord(std::int32_t newStatus) {
    position = kNoPosition;
    walk_.Lose();
    record_.Clear();
    status = newStatus;
    return kNoPosition;
}

std::int32_t EDataMemory::Find(EPosition& where) const {
    if (where == kNoPosition) {
        where = position;
    }
    if (where == kNoPosition) {
        return DataNoCurrent;
    }
    if (records_->At(where) != nullptr) {
        return DataOk;
    }
    return where >= 0 && where < records_->End() ? DataGone : DataNoSuchPosition;
}

std::int32_t EDataMemory::FindToWrite(EPosition& where) const {
    const std::int32_t found = Find(where);
    return found == DataOk && records_->IsLockedByOther(where, this) ? DataLocked : found;
}

}  // namespace etabulon
