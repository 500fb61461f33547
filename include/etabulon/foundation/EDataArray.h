#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EWalkState.h"

namespace etabulon {

/// A table over an array of records in memory. The table copies each record into its buffer; a
/// position is the record's number from 0. Update writes back; insert and delete aren't offered and
/// fail with DataReadOnly. A position outside of the array fails with DataNoSuchPosition.
/// Example    tests/foundation/MemoryTableTest.cpp
class ETABULON_API EDataArray : public EData {
public:
    /// Records are laid out as `fields` are.
    explicit EDataArray(const EFieldSet& fields);
    ~EDataArray() override;

    /// Serves `count` records of `recordSize` bytes from `records`. With `takeOwnership` the array
    /// was made by new std::byte[], its slots constructed, and is released here.
    void AttachArray(void* records, int recordSize, long count, bool takeOwnership);

    EPosition GetFirst() override;
    EPosition GetLast() override;
    EPosition GetNext() override;
    EPosition GetPrevious() override;
    EPosition RePos(EPosition newPosition, bool flag) override;
    EPosition Insert() override;
    EPosition Update(EPosition where) override;
    bool DeleteOne(EPosition where) override;
    bool LoadBuffer() override;
    [[nodiscard]] long Count() const noexcept { return count_; }

private:
    EPosition Step(EPosition from, EPosition step);
    EPosition Leave(std::int32_t newStatus);
    void Load(EPosition where);
    [[nodiscard]] std::byte* RecordAt(EPosition where) const noexcept {
        return records_ + where * recordSize_;
    }
    void ReleaseArray() noexcept;

    EFieldSet layout_;  // without the fields that are added to the table later
    ERecordBuffer record_;
    EWalkState walk_;
    std::byte* records_ = nullptr;
    int recordSize_ = 0;
    long count_ = 0;
    bool ownsRecords_ = false;
};

}  // namespace etabulon
