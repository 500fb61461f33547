#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorRelay.h"

namespace etabulon::detail {

/// The end of a chain of cursors, where its writes arrive: the last cursor, whose updater the
/// chain offers, and the table of that cursor.
///
/// A table cursor writes where it stands if its fields have the record's tag. A cache fills the
/// fields without moving the table, so that they may have the tag of any record. So this class
/// moves the table to the record of the key before a write. For a chain with a cache the cache's
/// own updater (CacheUpdater) does that.
///
/// Ownership  the chain isn't owned, and must outlive this.
/// Failure    43 if the key finds no record, otherwise the table's status.
class CacheTarget : public ETabulonCursorRelay {
public:
    /// `keepsRecords` says that the front holds its records in memory, so that its walk doesn't
    /// move the table.
    CacheTarget(ETabulonCursor& front, bool keepsRecords);

    /// Null if the last cursor isn't one on a table.
    [[nodiscard]] EData* Table() const noexcept {
        return cursor_ != nullptr ? cursor_->Data() : nullptr;
    }
    /// After this call the updater's StartUpdate (Delete) with the same key and tag reaches exactly
    /// the record of the key. Does nothing if the walk of the chain moves the table itself.
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
    bool hasMovingUpdater_;        // the chain holds a cache, whose updater moves the table
    ETabulonCursorEData* cursor_;  // the last cursor; null if it isn't one on a table
    ETabulonTag tag_;              // of the fields
};

}  // namespace etabulon::detail
