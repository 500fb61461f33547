#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorRelay.h"

namespace etabulon::detail {

/// The end of a chain of cursors, where its writes arrive: the last cursor, whose updater the
/// chain offers, and the table of that cursor.
///
/// A table cursor writes where it stands if its fields have the record's tag. A cache fills the
/// fields without moving the table, so that they may have the tag of any record: before a write
/// the table is brought to the record of the key here. For a chain with a cache the cache's own
/// updater does that (CacheUpdater).
///
/// Ownership  the chain isn't owned, and must outlive this.
/// Failure    43 where no record can be found by the key, and otherwise the table's own.
class CacheTarget : public ETabulonCursorRelay {
public:
    /// With `keepsRecords` the front has records in memory, and its walk never moves the table.
    CacheTarget(ETabulonCursor& front, bool keepsRecords);

    /// Null where the last cursor isn't a table's.
    [[nodiscard]] EData* Table() const noexcept {
        return cursor_ != nullptr ? cursor_->Data() : nullptr;
    }
    /// After either the updater's StartUpdate, or Delete, of that key and tag reaches the record of
    /// the key and no other. Does nothing where the walk of the chain moves the table itself.
    [[nodiscard]] CursorStatus MoveForUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag);
    [[nodiscard]] CursorStatus MoveForDelete(const ETabulonPrimaryKey& key, const ETabulonTag& tag);

private:
    [[nodiscard]] bool IsInStep(const ETabulonPrimaryKey& key) const;
    [[nodiscard]] bool CanBeFound(const ETabulonPrimaryKey& key) const noexcept;
    [[nodiscard]] CursorStatus Move(const ETabulonPrimaryKey& key, const ETabulonTag& tag);
    [[nodiscard]] CursorStatus MakeFieldsDiffer(const ETabulonTag& tag);
    [[nodiscard]] CursorStatus LeaveOtherRecord(const ETabulonPrimaryKey& key);
    [[nodiscard]] EPosition Position() const;

    bool hasRelays_;
    bool keepsRecords_;
    bool hasMovingUpdater_;        // that of a cache in the chain
    ETabulonCursorEData* cursor_;  // the last one; null if it isn't a table's
    ETabulonTag tag_;              // of the fields
};

}  // namespace etabulon::detail
