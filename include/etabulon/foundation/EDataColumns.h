#pragma once

#include "etabulon/foundation/EDataTable.h"
#include "etabulon/foundation/EWalkState.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

class EColumn;
/// The columns of one or several EDataColumns.
class EColumnRecords;

/// A read-only table in memory, by columns: texts as numbers into a dictionary of the column,
/// numbers and dates in their natural size. It has the positions and keys of the table that it was
/// loaded from, so that a pending change made on it finds its record there. LoadColumns loads a
/// walk into one; EColumnsBuilder makes one from values. Several tables may stand on the same
/// columns.
///
/// Walks      in the order of loading, forward and backward. Before the first walk and after a
///            failed move GetNext and GetPrevious fail with DataNoCurrent; at an end they may be
///            repeated or reversed. RePos fails with DataNoSuchPosition for a position that no
///            record has.
/// Blocks     point into the columns; nothing is copied for each record except for types of less
///            than 8 bytes. Numbers of texts are the same in all walks of all tables on the same
///            columns.
/// Writes     fail with DataReadOnly. Locks are granted: there is no writer that they would stop.
/// Threads    tables on the same columns may live in different threads, each in one at a time.
/// Example    adapters/csv/src/ECsvTable.cpp
class ETABULON_API EDataColumns : public EDataTable {
public:
    /// A second table on the columns of `other`.
    EDataColumns(const EDataColumns& other);
    /// A second table with some of the fields of `other`, by index, in this order.
    EDataColumns(const EDataColumns& other, std::span<const unsigned int> fields);
    ~EDataColumns() override;

    [[nodiscard]] std::size_t Count() const noexcept;
    /// The number of distinct values of a field, by their bytes; missing ones aren't counted.
    [[nodiscard]] std::size_t CountDistinct(std::uint16_t field);
    /// What the columns take, in bytes.
    [[nodiscard]] std::size_t MemoryBytes() const noexcept;

    EPosition GetFirst() override;
    EPosition GetLast() override;
    EPosition GetNext() override;
    EPosition GetPrevious() override;
    EPosition RePos(EPosition newPosition, bool flag) override;
    EPosition Insert() override;
    EPosition Update(EPosition where) override;
    bool DeleteOne(EPosition where) override;
    bool DeleteLoop() override;
    std::int32_t Lock(EPosition where, bool wait) override;
    void Unlock() override { status = DataOk; }
    bool LoadBuffer() override;
    const EFieldKey& CurKey() override;
    std::int32_t LockRecord(EPosition where, bool wait) override;
    std::int32_t UnlockRecord(EPosition where) override;
    [[nodiscard]] Chaine LastErrorText() const override;
    /// Null for a derived class, which may have steps of its own.
    EBlockSource* Blocks() override;

protected:
    /// Leaves no current record, no position of the walk, a blank buffer and this status. Returns
    /// -1.
    EPosition LeaveRecord(std::int32_t newStatus);

private:
    friend class EColumnsBuilder;
    class BlockSource;
    struct Cell {
        const EColumn* column;
        std::size_t offset;  // in the record
    };

    EDataColumns(std::shared_ptr<const EColumnRecords> records, const EFieldSet& layout,
                 std::span<const unsigned int> fields);
    EPosition Step(std::int64_t from, bool forward);
    void Load(std::size_t record);
    /// Load without the fields.
    void StandOn(std::size_t record);
    void LoadFields() noexcept;
    [[nodiscard]] BlockSource& Source();

    std::shared_ptr<const EColumnRecords> records_;
    ERecordBuffer record_;
    ERecordBuffer blank_;
    std::vector<Cell> cells_;              // by field
    std::vector<unsigned int> columns_;    // by field: the index in records_
    EWalkState walk_;                      // by the records' numbers, not their positions
    std::size_t current_ = 0;              // the current record's number, if there is one
    std::unique_ptr<BlockSource> blocks_;  // made when it is first asked for
};

}  // namespace etabulon
