#pragma once

#include "etabulon/foundation/EFieldKey.h"
#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/foundation/fwd.h"

#include <cstdint>

namespace etabulon {

/// A record's position in its table: opaque, -1 for none.
using EPosition = std::int64_t;
inline constexpr EPosition kNoPosition = -1;

/// The statuses of tables that have a fixed meaning. Every other status of the library's own tables
/// is at least 1000; statuses of an application's tables pass through unread.
enum EDataStatus : std::int32_t {
    DataOk = 0,
    DataGone = 4,       // the record was deleted
    DataDuplicate = 5,  // a key that must be unique exists already
    DataNoCurrent = 8,  // no current record
    DataEnd = 9,        // end of the data, and only that
    DataNoSuchPosition = 43,
    DataLocked = 1001,
    DataConstraint = 1002,  // a constraint other than a duplicate key
    DataConnectionLost = 1003,
    DataReadOnly = 1004,  // read-only, or no permission
    DataBadStatement = 1005,
    DataNoMemory = 1098,
    DataOther = 1099,
};

/// A table with a current record and one record buffer for life.
///
/// Every operation sets `status`, to DataOk on success. A position result is -1 exactly when the
/// status isn't DataOk; after a step that returns -1 there is no current record and the buffer is
/// blank. A failed write leaves the current record and the buffer as they are. A position argument
/// of -1 means the current record; without a current record the operation fails with DataNoCurrent.
/// A write changes exactly one record, or fails.
///
/// Threads  one at a time: the walking thread, and for writes the holder of the cursor's lock.
/// Example    apps/etabulon/browse/BrowseCursor.cpp
class ETABULON_API EData {
public:
    /// Views `fields` in the record that they view; a derived class attaches its own buffer.
    explicit EData(const EFieldSet& fields);
    EData(const EData&) = delete;
    EData& operator=(const EData&) = delete;
    virtual ~EData();

    virtual EPosition GetFirst() = 0;
    virtual EPosition GetLast() = 0;
    virtual EPosition GetNext() = 0;
    virtual EPosition GetPrevious() = 0;
    /// Moves to `position` and loads its record; `flag` is ignored.
    virtual EPosition RePos(EPosition position, bool flag) = 0;
    virtual EPosition Insert() = 0;
    virtual EPosition Update(EPosition position) = 0;
    virtual bool DeleteOne(EPosition position) = 0;
    /// Deletes every record of the range and ends at the first failure. Afterwards there is no
    /// current record.
    virtual bool DeleteLoop();
    /// A cursor saves through these two. They write exactly the current record, or the one at
    /// `where`, or fail. A table whose Update and DeleteOne find their record by the values in the
    /// buffer overrides them.
    virtual EPosition UpdateRecord() { return Update(kNoPosition); }
    virtual bool DeleteRecord(EPosition where) { return DeleteOne(where); }
    /// A session of writes: the first holder opens it, the last one closes it.
    virtual void BeginDelete() {}
    virtual void EndDelete() {}
    /// Returns a status. With `wait` it waits for another holder's lock. The base has nothing to
    /// lock and only requires a current record or a position.
    virtual std::int32_t Lock(EPosition position, bool wait);
    virtual void Unlock() {}
    /// Reads the current record into the buffer again. The base, which an override calls last,
    /// blanks the buffer where there is no current record, and leaves the status. True with a
    /// current record.
    virtual bool LoadBuffer();
    /// The table's records in blocks; null if it offers single steps only, as here. Not owned.
    [[nodiscard]] virtual EBlockSource* Blocks() { return nullptr; }

    [[nodiscard]] EFieldSet& Fields() noexcept { return fields_; }
    [[nodiscard]] const EFieldSet& Fields() const noexcept { return fields_; }
    [[nodiscard]] virtual const EFieldKey& CurKey() { return key_; }
    [[nodiscard]] void* GetBuffer() const noexcept { return buffer_; }

    EPosition position = kNoPosition;  // of the current record
    std::int32_t status = DataOk;      // of the last operation
    DDicoBase* dico = nullptr;         // the table's dictionary node; a table works without one

protected:
    /// Makes `buffer` the record buffer, with the fields at the same offsets in it. Not owned.
    /// Requires a constructed record (EFieldSet::ConstructRecord) of `size` bytes.
    void AttachBuffer(void* buffer, int size);
    [[nodiscard]] virtual bool IsInRange() { return true; }
    [[nodiscard]] virtual bool IsInFilter() { return true; }
    [[nodiscard]] virtual bool IsInCondition() { return true; }
    /// All three; a walk skips the records for which it is false.
    [[nodiscard]] bool IsVisible() { return IsInRange() && IsInFilter() && IsInCondition(); }
    EPosition Fail(std::int32_t newStatus) {
        status = newStatus;
        return kNoPosition;
    }

    EFieldSet fields_;
    EFieldKey key_;
    void* buffer_ = nullptr;
};

}  // namespace etabulon
