#include "apps/etabulon/walk/CliPlaces.h"

#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"

namespace etabulon {

class PlacedCursor::Finder final : public ECursorListener {
public:
    Finder(const ETabulonPendingChanges& changes, PlacedCursor& cursor)
        : changes_(changes), cursor_(cursor) {}

    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        const ETabulonTag& place = cursor.CurrentTag();
        if (changes_.IsDeleted(place) || changes_.IsUpdated(place)) {
            cursor_.found_.push_back({cursor.PrimaryKey().Position(), place});
            return cursor_.OnFound(cursor.PrimaryKey(), place) ? StatusOk : StatusEnd;
        }
        return StatusOk;
    }

private:
    const ETabulonPendingChanges& changes_;
    PlacedCursor& cursor_;
};

CursorStatus PlacedCursor::FindRecords(const ETabulonPendingChanges& changes) {
    found_.clear();
    isFound_ = false;
    if (changes.Script(ETabulonPendingChanges::Update).Size() == 0 &&
        changes.Script(ETabulonPendingChanges::Delete).Size() == 0) {
        return StatusOk;  // inserts concern no record, and need no table that can be read
    }
    Finder finder(changes, *this);
    const ECursorListening listening(*this, finder);
    CursorStatus status = Browse(ETabulonTag());
    if (status == StatusOk && found_.size() > 1) {
        status = static_cast<CursorStatus>(Table()->WatchKeys());
    }
    isFound_ = status == StatusOk;
    return status;
}

CursorStatus PlacedCursor::Reset(const ETabulonTag& tag) {
    if (!isFound_) {
        return CliCursor::Reset(tag);
    }
    next_ = 0;
    return GetNext();
}

CursorStatus PlacedCursor::GetNext() {
    if (!isFound_) {
        return CliCursor::GetNext();
    }
    ESqlTable& table = *Table();
    while (next_ < found_.size()) {
        if (table.RePos(found_[next_++].position, /*flag=*/false) != kNoPosition) {
            return StatusOk;
        }
        if (table.status == kDataInterrupted) {
            return StatusCancelled;
        }
        if (table.status != DataGone && table.status != DataNoSuchPosition) {
            return static_cast<CursorStatus>(table.status);
        }
        ++gone_;
    }
    Table()->UnwatchKeys();
    return StatusEnd;
}

void PlacedCursor::ExtractCurrentTag(ETabulonTag& tag) const {
    if (isFound_ && next_ != 0) {
        tag = found_[next_ - 1].place;
    } else {
        CliCursor::ExtractCurrentTag(tag);
    }
}

void PlacedCursor::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    if (isFound_ && next_ != 0) {
        key.Set(Table()->CurKey(), found_[next_ - 1].position);
    } else {
        CliCursor::ExtractPrimaryKey(key);
    }
}

}  // namespace etabulon
