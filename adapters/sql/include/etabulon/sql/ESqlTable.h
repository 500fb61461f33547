#pragma once

#include "etabulon/foundation/EDataTable.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/sql/fwd.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace etabulon {

class DRubric;
class ETabulonValue;
class EVariant;

/// What of a table is opened.
struct ESqlTableOptions {
    /// Variable indexes of the rubric, in the order in which the fields are wanted; empty = all.
    /// The key is read in any case, but is a field only if it is listed. See UseColumns.
    std::vector<unsigned> columns;
};

/// What came of a write session: since its first BeginDelete.
struct ESqlSessionRecord {
    std::uint64_t attempts = 0;
    std::uint64_t successes = 0;
    std::uint64_t failures = 0;
    ESqlError first;  // the first failure; status 0 without one
};

/// A table or view of a database.
///
/// Positions  of a single integer key the key itself (values at or below -1 less one), of a table
///            without a key its row number, otherwise a number that is never reused while the
///            source lives: the same in all its table objects. To a key with a NULL in it belongs
///            the row number, as such keys may be alike; where columns hide that number, a read by
///            a key that several rows have fails. Where nothing tells rows apart (views), each
///            record of each walk has a new position, of this table object, and the table is only
///            walked forward.
/// Walks      without a write session one streaming statement; inside one, and once a write in
///            mid-walk, over a list of keys taken first: each record is met once, whatever is
///            written meanwhile, and one that went isn't. A table that can't be written sees one
///            state of the database from the first step of a walk to the one that finds its end,
///            in either direction. A failed or interrupted step lets the
///            statement and its read lock go, and so does the cursor's cancel; a walk given up
///            otherwise keeps them until EndWalk.
/// Writes     each is atomic and durable by itself; inside an atomic session they stand or fall
///            together. Only columns that differ from the loaded record are written; an insert
///            leaves out those that are missing, and the record is then read again. A write whose
///            record can't be read again is taken back. Once an atomic session has ended, by the
///            engine after a failure or by the caller, writes are refused: until its outcome was
///            asked for, and for the rest of a write session that it lies in.
/// Values     that the database wouldn't store as they were set fail the write with DataConstraint:
///            NaN, a date that has no ISO text, a text that the column makes a number of or that
///            the encoding doesn't have. What triggers make of a value isn't looked at.
/// Waits      for the lock of another program a read waits two seconds at most. Writes wait two
///            seconds in all, to begin and to commit: a single one, or all of a write session or an
///            atomic session together. A commit that succeeds gives the next ones two seconds
///            again.
/// Links      are read by its connection: from the same state as its records, within its
///            transactions, and without waiting for its locks.
/// Threads    one at a time, but for Interrupt. It has a connection of its own.
/// Failure    by status, with LastErrorText and LastErrorCode beside it. A write or Commit with
///            kDataUnknown may have been carried out: look before trying again.
class ETABULON_API ESqlTable : public EDataTable {
public:
    /// For sources.
    ESqlTable(ESqlSource& source, const ESqlTableInfo& info, DRubric& rubric,
              std::vector<unsigned> columns, std::unique_ptr<ISqlConnection> connection);
    ~ESqlTable() override;

    EPosition GetFirst() override;
    EPosition GetLast() override;
    EPosition GetNext() override;
    EPosition GetPrevious() override;
    EPosition RePos(EPosition newPosition, bool flag) override;
    EPosition Insert() override;
    EPosition Update(EPosition where) override;
    bool DeleteOne(EPosition where) override;
    void BeginDelete() override;
    void EndDelete() override;
    std::int32_t Lock(EPosition where, bool wait) override;
    void Unlock() override;
    bool LoadBuffer() override;
    const EFieldKey& CurKey() override;
    std::int32_t LockRecord(EPosition where, bool wait) override;
    std::int32_t UnlockRecord(EPosition where) override;
    [[nodiscard]] Chaine LastErrorText() const override;
    [[nodiscard]] int LastErrorCode() const override;

    [[nodiscard]] const ESqlTableInfo& Info() const noexcept;
    [[nodiscard]] const DRubric& Rubric() const noexcept;
    /// The variable indexes behind the fields.
    [[nodiscard]] const std::vector<unsigned>& Columns() const noexcept;
    /// The connection that it reads and writes by, for what is read together with its records; null
    /// for another source than its own.
    [[nodiscard]] std::shared_ptr<ISqlConnection> ConnectionTo(
        const ESqlSource& source) const noexcept;
    /// Opened for writing, and has something to address rows by.
    [[nodiscard]] bool IsWritable() const noexcept;

    /// Stores a value in a field, as storing into the field itself does, with two differences that
    /// the record can't show. A missing value goes over a stored one of another type, which reads
    /// as missing too; a field that is only missing leaves that one alone. A value that the field's
    /// type doesn't take fails the write, instead of becoming missing or another.
    void SetField(std::uint16_t field, const EVariant& value);
    /// A blank record, as for an insert.
    void ClearFields();

    /// Forgets the range of the next walk.
    void ClearRange();
    /// Narrows the next walk to rows whose column (by variable index) equals `value`, a null value
    /// being missing. False where that can't be pushed without being narrower than the
    /// variants' equality; the walk then just stays wider.
    bool AddRange(unsigned column, const ETabulonValue& value);
    /// Orders walks by these columns (missing values first, texts by bytes) and then by the key.
    void SetOrder(std::vector<unsigned> columns);
    /// Ends the walk and gives up the read lock that it holds.
    void EndWalk();
    /// What belongs to the record couldn't be read: ends the walk as if its step had failed so.
    void FailWalk(const ESqlError& error);
    /// The statement of the last walk.
    [[nodiscard]] Chaine WalkStatement() const;

    /// From any thread: a running or coming step of a walk, and a wait for a lock, end with
    /// kDataInterrupted, until ResetInterrupt. Reads by position and writes aren't touched.
    void Interrupt() noexcept;
    void ResetInterrupt() noexcept;

    /// What the database holds in a field of the record at `where`, as a text, also where the field
    /// reads as missing; missing for NULL. The result is a status.
    [[nodiscard]] std::int32_t ReadStored(EPosition where, std::uint16_t field, EVariant& value);
    /// How many values of a column (by variable index) weren't of its type and were read as
    /// missing.
    [[nodiscard]] std::uint64_t MismatchCount(unsigned column) const;

    /// All writes until Commit or Rollback stand or fall together. The result is a status.
    /// Commit answers RolledBack where the engine has ended the session before.
    [[nodiscard]] std::int32_t BeginAtomic();
    ESqlOutcome Commit();
    ESqlOutcome Rollback();
    [[nodiscard]] bool IsInAtomic() const noexcept;
    [[nodiscard]] const ESqlSessionRecord& Session() const noexcept;

private:
    struct State;
    class Write;
    void EndSteps();
    EPosition StepStreaming();
    EPosition StepElsewhere(bool forward);
    EPosition StepListed(bool forward);
    EPosition Arrive(EPosition newPosition);
    EPosition Leave(std::int32_t newStatus);
    std::int32_t TakeLock(EPosition where, bool wait, bool isRecordLock);
    std::int32_t CheckWritable();
    std::int32_t FindToWrite(EPosition& where);
    EPosition FailWrite(std::int32_t newStatus);
    EPosition EndWrite(EPosition from, EPosition written);
    [[nodiscard]] bool BindCells(ISqlStatement& statement, std::span<const std::size_t> cells);
    [[nodiscard]] bool IsStored(std::span<const std::size_t> cells);
    [[nodiscard]] bool IsStoredInLoaded(std::span<const std::size_t> cells);
    [[nodiscard]] bool FindChanges(EPosition where, std::vector<std::size_t>& cells);
    void CountWrite(bool isSuccess);
    [[nodiscard]] bool ReadLoaded(EPosition where);
    ESqlOutcome EndAtomic(ESqlOutcome outcome);
    [[nodiscard]] bool RunWrite(const std::string& text, std::span<const std::size_t> cells,
                                EPosition where, EPosition* written);
    [[nodiscard]] std::int64_t StepWrite(ISqlStatement& statement, std::int64_t& keys);
    [[nodiscard]] bool ReadBack(EPosition& written);
    void NoteMissedWrite(std::int64_t rows, EPosition where);
    std::unique_ptr<State> state_;
};

}  // namespace etabulon
