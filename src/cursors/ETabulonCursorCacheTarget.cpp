#include "cursors/ETabulonCursorCacheTarget.h"

#include "etabulon/cursors/ETabulonCursorCache.h"

#include <algorithm>
#include <string>

namespace etabulon::detail {

namespace {

constexpr auto kNotFound = static_cast<CursorStatus>(DataNoSuchPosition);

ETabulonCursor* SourceOf(ETabulonCursor* cursor) {
    auto* const relay = dynamic_cast<ETabulonCursorRelay*>(cursor);
    return relay != nullptr ? relay->Source() : nullptr;
}

ETabulonCursor* FindLast(ETabulonCursor* cursor) {
    ETabulonCursor* const source = SourceOf(cursor);
    return source != nullptr ? FindLast(source) : cursor;
}

bool HasCache(ETabulonCursor* cursor) {
    return cursor != nullptr &&
           (dynamic_cast<ETabulonCursorCache*>(cursor) != nullptr || HasCache(SourceOf(cursor)));
}

/// A value of the field's type that is neither missing nor blank. A text of no declared bytes has
/// no such value.
EVariant AnyValueOf(const EField& field) {
    constexpr std::size_t kLargestFixed = 16;
    const std::string bytes(std::max<std::size_t>(field.Size(), kLargestFixed), '\1');
    EVariant value;
    static_cast<void>(value.Init(field.Type(), field.Size(), bytes.c_str()));
    return value;
}

}  // namespace

CacheTarget::CacheTarget(ETabulonCursor& front, bool keepsRecords)
    : ETabulonCursorRelay(FindLast(&front)),
      hasRelays_(Source() != &front),
      keepsRecords_(keepsRecords),
      hasMovingUpdater_(HasCache(keepsRecords ? SourceOf(&front) : &front)),
      cursor_(dynamic_cast<ETabulonCursorEData*>(Source())) {}

CursorStatus CacheTarget::MoveForUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (IsInStep(key)) {
        return StatusOk;
    }
    return CanBeFound(key) ? Move(key, tag) : kNotFound;
}

CursorStatus CacheTarget::MoveForDelete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (IsInStep(key)) {
        return StatusOk;
    }
    if (!CanBeFound(key)) {
        return kNotFound;
    }
    const CursorStatus status = LeaveOtherRecord(key);
    return status == StatusOk ? Move(key, tag) : status;
}

bool CacheTarget::IsInStep(const ETabulonPrimaryKey& key) const {
    if (!hasRelays_ || hasMovingUpdater_) {
        return true;
    }
    // An application's relay may hold records as a cache does, so that the table's position
    // decides.
    return !keepsRecords_ && (cursor_ == nullptr || (key.Position() != kNoPosition &&
                                                     cursor_->Data()->position == key.Position() &&
                                                     Position() == key.Position()));
}

// A table takes kNoPosition for its current record, whichever that is. Records without a position
// are made up by a relay in the chain.
bool CacheTarget::CanBeFound(const ETabulonPrimaryKey& key) const noexcept {
    return cursor_ == nullptr || key.Position() != kNoPosition;
}

CursorStatus CacheTarget::Move(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (cursor_ == nullptr) {
        return MakeFieldsDiffer(tag);
    }
    EData& table = *cursor_->Data();
    table.RePos(key.Position(), /*flag=*/false);
    static_cast<void>(iFields());  // the cursor's cached tag and key are another record's
    return static_cast<CursorStatus>(table.status);
}

// An updater that follows the rule of a table cursor moves only if the fields have another tag.
CursorStatus CacheTarget::MakeFieldsDiffer(const ETabulonTag& tag) {
    const auto differ = [this, &tag] {
        ExtractCurrentTag(tag_);
        return !(tag_ == tag);
    };
    iFields().SetNull();
    if (differ()) {
        return StatusOk;
    }
    const ETabulonLevels& levels = Source()->Levels();
    for (unsigned int position = 0; position < levels.Size(); ++position) {
        EField& field = iField(levels.GetLevel(levels.GetLevelID(position)).DataID());
        field <<= AnyValueOf(field);
        if (differ()) {
            return StatusOk;
        }
    }
    // No level can be made to differ, so that the updater would write the record that it stands on.
    return kNotFound;
}

// A table cursor deletes the record on which its walk stands, if any. The walk that filled the
// cache came to its end, but a later walk of the source may have stopped on a record.
CursorStatus CacheTarget::LeaveOtherRecord(const ETabulonPrimaryKey& key) {
    const EPosition stands = Position();
    if (stands == kNoPosition || stands == key.Position()) {
        return StatusOk;
    }
    CursorStatus status = StatusOk;
    while (status == StatusOk) {
        status = GetNext();
    }
    // A walk that failed because the table has no current record stands on none either.
    return status == StatusEnd || Position() == kNoPosition ? StatusOk : status;
}

EPosition CacheTarget::Position() const {
    ETabulonPrimaryKey key;
    ExtractPrimaryKey(key);
    return key.Position();
}

}  // namespace etabulon::detail
