#pragma once

#include "etabulon/cursors/EFilter.h"
#include "etabulon/foundation/EDataTable.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/ESqlMisreads.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/sql/fwd.h"
#include "etabulon/values/fwd.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace etabulon {

/// The part of a table to open.
/// Example    apps/etabulon/request/CliTables.cpp
struct ESqlTableOptions {
    /// Variable indexes of the rubric, in the order of the fields; empty = all. The key is always
    /// read, but becomes a field only if it is listed. See UseColumns.
    std::vector<unsigned int> columns;
};

/// The outcome of a write session since its first BeginDelete.
struct ESqlSessionRecord {
    std::uint64_t attempts = 0;
    std::uint64_t successes = 0;
    std::uint64_t failures = 0;
    ESqlError first;  // the first failure; status 0 without one
};

/// A table or view of a database.
///
/// Positions  with an integer key the key itself (negative values less one, as -1 is no position);
///            without a key the row number; otherwise a number that the source never reuses, the
///            same in all its table objects. A key that contains a NULL may be shared by several
///            rows, and is completed by the row number; if columns hide that number, a read by a
///            shared key fails. In a view each record of each walk gets a new position, which
///            belongs to this table object, and the walk goes only forward.
/// Walks      without a write session one streaming statement; in a session, and after a write
///            during a walk, a list of keys read first: the walk meets each record once, whatever
///            is written meanwhile, and skips deleted ones. A table that can't be written sees one
///            state of the database from the first step of a walk to the step that finds its end,
///            in either direction. A step that fails or is interrupted, and the cursor's cancel,
///            release the statement and its read lock; a walk left in another way keeps them until
///            EndWalk.
/// Writes     each is atomic and durable by itself; in an atomic session all take effect or none.
///            Only columns that differ from the loaded record are written; an insert leaves out
///            missing values and then reads the record again. A write whose record can't be read
///            again is rolled back. After an atomic session was ended, by the engine after a
///            failure or by the caller, writes are refused: until the caller asked for its outcome,
///            and for the rest of the write session around it.
/// Values     that the database would store otherwise than they were set fail the write with
///            DataConstraint: NaN, a date without an ISO text, a text that the column converts to a
///            number or that the encoding can't represent. Changes by triggers aren't checked.
/// Waits      a read waits at most two seconds for another program's lock. Writes wait two seconds
///            in all, to begin and to commit: for a single write, or for all of a write session or
///            an atomic session. A successful commit restarts the two seconds.
/// Readers    a long walk by blocks in the order of an integer key reads ahead in further threads,
///            each on a connection of its own, if all of them see one state; see EReadAhead. They
///            end with the walk.
/// Links      are read through the table's connection: from the same state as its records, within
///            its transactions, and without waiting for its locks.
/// Threads    one at a time, except for Interrupt. Each table has its own connection.
/// Failure    by status, with LastErrorText and LastErrorCode. After kDataUnknown a write or Commit
///            may have taken effect: the caller looks before it tries again.
/// Example    examples/database.cpp
class ETABULON_API ESqlTable : public EDataTable {
public:
    /// For sources.
    ESqlTable(ESqlSource& source, const ESqlTableInfo& info, DRubric& rubric,
              std::vector<unsigned int> columns, std::unique_ptr<ISqlConnection> connection);
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
    /// Blocks of streaming walks; null for a derived class, which may have steps of its own.
    EBlockSource* Blocks() override;

    [[nodiscard]] const ESqlTableInfo& Info() const noexcept;
    [[nodiscard]] const DRubric& Rubric() const noexcept;
    /// The variable indexes behind the fields.
    [[nodiscard]] const std::vector<unsigned int>& Columns() const noexcept;
    /// The table's connection, for link lookups that must see the state of its records; null if
    /// `source` isn't its own.
    [[nodiscard]] std::shared_ptr<ISqlConnection> ConnectionTo(
        const ESqlSource& source) const noexcept;
    /// Whether the table was opened for writing and its rows can be addressed.
    [[nodiscard]] bool IsWritable() const noexcept;

    /// Stores a value in a field, as an assignment to the field does, with two differences that the
    /// record can't show. A missing value overwrites a stored value of another type, which reads as
    /// missing too; after an assignment of a missing value the write leaves it alone. A value that
    /// the field's type can't hold fails the write, instead of becoming missing or another value.
    void SetField(std::uint16_t field, const EVariant& value);
    /// Makes the record blank, as for an insert.
    void ClearFields();

    /// Removes the range and the tests, so that the next walk covers the whole table.
    void ClearRange();
    /// Removes only the tests of AddTest.
    void ClearTests();
    /// Narrows the next walk to rows whose column (by variable index) equals `value`; a null value
    /// means missing. False if SQL might compare more strictly than variants do; the walk then
    /// stays wider.
    bool AddRange(unsigned int column, const ETabulonValue& value);
    /// Narrows the next walk to rows whose column passes a test of a filter, in the same way.
    /// False for a table without a key, whose order it might change, and behind the 50th
    /// condition. Requires a test that is no joint of others.
    bool AddTest(unsigned int column, const EFilter::Node& test);
    /// Orders walks by these columns (missing values first, texts by bytes) and then by the key.
    void SetOrder(std::vector<unsigned int> columns);
    /// Ends the walk and releases its read lock.
    void EndWalk();
    /// Ends the walk as if its last step had failed with `error`, for a linked record that couldn't
    /// be read.
    void FailWalk(const ESqlError& error);
    /// The statement of the last walk.
    [[nodiscard]] Chaine WalkStatement() const;
    /// The statement of the next walk, and behind it the engine's plan, if it tells one.
    [[nodiscard]] std::vector<Chaine> PlanWalk() const;

    /// May be called from any thread. Until ResetInterrupt, running and later steps of a walk and
    /// waits for a lock end with kDataInterrupted. Reads by position and writes aren't affected.
    void Interrupt() noexcept;
    void ResetInterrupt() noexcept;

    /// Reads the stored value of a field of the record at `where` as a text, even if the field
    /// reads as missing; missing for NULL. The result is a status.
    [[nodiscard]] std::int32_t ReadStored(EPosition where, std::uint16_t field, EVariant& value);
    /// How many values of a column (by variable index) the walk met that records don't show as they
    /// are stored. A walk by blocks reads only the columns that its listeners ask for.
    [[nodiscard]] ESqlMisreads Misreads(unsigned int column) const;

    /// All writes until Commit or Rollback take effect together or not at all. The result is a
    /// status. Commit returns RolledBack if the engine ended the session before.
    [[nodiscard]] std::int32_t BeginAtomic();
    ESqlOutcome Commit();
    ESqlOutcome Rollback();
    [[nodiscard]] bool IsInAtomic() const noexcept;
    /// In an atomic session, until UnwatchKeys or its end: RePos fails for a key to which a write,
    /// a trigger or an action of a foreign key has put a record since. The result is a status.
    [[nodiscard]] std::int32_t WatchKeys();
    void UnwatchKeys();
    [[nodiscard]] const ESqlSessionRecord& Session() const noexcept;

private:
    struct State;
    class Write;
    class BlockSource;
    class Ranges;
    class ReadAhead;
    void EndSteps();
    EPosition StepStreaming();
    EPosition StreamAgain();
    EPosition StepElsewhere(bool forward);
    [[nodiscard]] bool ListRange();
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
    void NoteMissedWrite(std::int64_t rows, EPosition where, bool isGoneWithin);
    std::unique_ptr<State> state_;
    std::unique_ptr<BlockSource> blocks_;  // made when it is first asked for
};

}  // namespace etabulon
