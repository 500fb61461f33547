#include "etabulon/foundation/EDataArray.h"

#include "etabulon/foundation/EExpects.h"

namespace etabulon {

EDataArray::EDataArray(const EFieldSet& fields) : EData(fields), layout_(fields), record_(fields) {
    layout_.ChangeBuffer(nullptr, /*takeOwnership=*/false);
    AttachBuffer(record_.Get(), static_cast<int>(layout_.RecordSize()));
}

EDataArray::~EDataArray() { ReleaseArray(); }

void EDataArray::AttachArray(void* records, int recordSize, long count, bool takeOwnership) {
    E_EXPECTS(count == 0 || records != nullptr);
    E_EXPECTS(recordSize >= 0 && static_cast<std::size_t>(recordSize) >= layout_.RecordSize());
    ReleaseArray();
    records_ = static_cast<std::byte*>(records);
    recordSize_ = recordSize;
    count_ = count;
    ownsRecords_ = takeOwnership;
    Leave(DataOk);
}

EPosition EDataArray::GetFirst() { return Step(0, 1); }

EPosition EDataArray::GetLast() { return Step(count_ - 1, -1); }

EPosition EDataArray::GetNext() { return walk_.known ? Step(walk_.next, 1) : Leave(DataNoCurrent); }

EPosition EDataArray::GetPrevious() {
    return walk_.known ? Step(walk_.previous, -1) : Leave(DataNoCurrent);
}

EPosition EDataArray::RePos(EPosition newPosition, bool) {
    if (newPosition == kNoPosition) {
        newPosition = position;
    }
    if (newPosition == kNoPosition) {
        return Leave(DataNoCurrent);
    }
    if (newPosition < 0 || newPosition >= count_) {
        return Leave(DataNoSuchPosition);
    }
    Load(newPosition);
    return position;
}

EPosition EDataArray::Insert() { return Fail(DataReadOnly); }

EPosition EDataArray::Update(EPosition where) {
    if (where == kNoPosition) {
        where = position;
    }
    if (where == kNoPosition) {
        return Fail(DataNoCurrent);
    }
    if (where < 0 || where >= count_) {
        return Fail(DataNoSuchPosition);
    }
    layout_.CopyRecord(RecordAt(where), record_.Get());
    position = where;
    walk_.StandOn(where);
    status = DataOk;
    return position;
}

bool EDataArray::DeleteOne(EPosition) {
    status = DataReadOnly;
    return false;
}

bool EDataArray::LoadBuffer() {
    if (position == kNoPosition) {
        status = DataNoCurrent;
        record_.Clear();
        return false;
    }
    Load(position);
    return true;
}

EPosition EDataArray::Step(EPosition from, EPosition step) {
    for (; from >= 0 && from < count_; from += step) {
        Load(from);
        if (IsVisible()) {
            return position;
        }
    }
    Leave(DataEnd);
    walk_.StandBefore(step > 0 ? count_ : 0);
    return kNoPosition;
}

EPosition EDataArray::Leave(std::int32_t newStatus) {
    position = kNoPosition;
    walk_.Lose();
    record_.Clear();
    status = newStatus;
    return kNoPosition;
}

void EDataArray::Load(EPosition where) {
    layout_.CopyRecord(record_.Get(), RecordAt(where));
    position = where;
    walk_.StandOn(where);
    status = DataOk;
}

void EDataArray::ReleaseArray() noexcept {
    if (ownsRecords_) {
        for (EPosition i = 0; i < count_; ++i) {
            layout_.DestroyRecord(RecordAt(i));
        }
        delete[] records_;
    }
    records_ = nullptr;
    count_ = 0;
    ownsRecords_ = false;
}

}  // namespace etabulon
