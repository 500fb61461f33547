#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataTable.h"
#include "etabulon/foundation/EWalkState.h"

#include <memory>
#include <vector>

namespace etabulon {

/// The records of an in-memory table, shared by every EDataMemory over it, and its link source.
class EMemoryRecords;

/// A table in memory: records in order of arrival, positions from a counter and never reused,
/// the key of the rubric unique (a missing part is a value like others there). Several tables may
/// stand on the same records.
///
/// A step from a record that was deleted meanwhile goes on from its position; a walk meets the
/// records appended meanwhile. Before the first walk and after a failed move GetNext and
/// GetPrevious fail with DataNoCurrent; at an end they may be repeated or reversed. A deleted
/// position fails with DataGone, a position that never existed with DataNoSuchPosition.
///
/// Locks keep other tables on the same records from locking and writing a record, not from reading
/// it. Lock holds one record at a time, LockRecord any number; a table's own locks don't hinder it.
/// Both fail with DataLocked even when asked to wait: the holder is on the same thread, so that the
/// wait would never end.
///
/// Threads  all tables on the same records belong to one thread at a time, which their cursors'
///          lock ensures.
/// Example    examples/first.cpp
class ETABULON_API EDataMemory : public EDataTable {
public:
    /// An empty table of this rubric, which gets the records as its link source. Requires a rubric
    /// with its variables and its key already set.
    explicit EDataMemory(DRubric* rubric);
    /// A second table on the records of `other`.
    EDataMemory(const EDataMemory& other);
    ~EDataMemory() override;

    /// Appends a record: a value for each field in order, converted into its cell; values that
    /// aren't given are missing. Returns its position, or -1 with the status (DataDuplicate: the
    /// key exists). The current record and the buffer stay.
    EPosition Append(const std::vector<EVariant>& values);
    [[nodiscard]] std::size_t Count() const;

    EPosition GetFirst() override;
    EPosition GetLast() override;
    EPosition GetNext() override;
    EPosition GetPrevious() override;
    EPosition RePos(EPosition newPosition, bool flag) override;
    EPosition Insert() override;
    EPosition Update(EPosition where) override;
    bool DeleteOne(EPosition where) override;
    std::int32_t Lock(EPosition where, bool wait) override;
    void Unlock() override;
    bool LoadBuffer() override;
    const EFieldKey& CurKey() override;
    std::int32_t LockRecord(EPosition where, bool wait) override;
    std::int32_t UnlockRecord(EPosition where) override;
    /// Null for a derived class, which may have steps of its own.
    EBlockSource* Blocks() override;

protected:
    /// Leaves no current record, no position of the walk, a blank buffer and this status. Returns
    /// -1.
    EPosition LeaveRecord(std::int32_t newStatus);

private:
    class BlockSource;
    enum class Direction : std::int8_t { Back = -1, On = 1 };

    explicit EDataMemory(std::shared_ptr<EMemoryRecords> records);
    EPosition Step(EPosition from, Direction direction);
    void Load(EPosition where);
    /// Resolves a position argument, -1 being the current record. Returns DataOk, or why there is
    /// no record at it.
    [[nodiscard]] std::int32_t Find(EPosition& where) const;
    [[nodiscard]] std::int32_t FindToWrite(EPosition& where) const;

    std::shared_ptr<EMemoryRecords> records_;
    ERecordBuffer record_;
    EWalkState walk_;
    EPosition locked_ = kNoPosition;       // by Lock
    std::unique_ptr<BlockSource> blocks_;  // made when it is first asked for
};

}  // namespace etabulon
