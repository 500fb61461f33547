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

/// A value of the field's own type that is neither missing nor the type's blank one. Text of no
/// declared bytes has none.
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
    // A relay of another kind may keep records as a cache does: where the table stands decides.
    return !keepsRecords_ && (cursor_ == nullptr || (key.Position() != kNoPosition &&
                                                     cursor_->Data()->position == key.Position() &&
                                                     Position() == key.Position()));
}

// To a table no position is the current record, whichever that is. Records without a key are those
// that a relay between has made up.
bool CacheTarget::CanBeFound(const ETabulonPrimaryKey& key) const noexcept {
    return cursor_ == nullptr || key.Position() != kNoPosition;
}

CursorStatus CacheTarget::Move(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    if (cursor_ == nullptr) {
        return MakeFieldsDiffer(tag);
    }
    EData& table = *cursor_->Data();
    table.RePos(key.Position(), false);
    static_cast<void>(iFields());  // the tag and key that the cursor keeps are another record's
    return static_cast<CursorStatus>(table.status);
}

// An updater that goes by the rule of a table cursor moves only where the fields have another tag.
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
    // Without a level that could differ the updater can't be made to move, and what it stands on
    // isn't to be written over.
    return kNotFound;
}

// A table cursor deletes where its walk stands, if it stands anywhere. The walk that filled the
// cache came to its end; whoever walked the source since may have stopped on a record.
CursorStatus CacheTarget::LeaveOtherRecord(const ETabulonPrimaryKey& key) {
    const EPosition stands = Position();
    if (stands == kNoPosition || stands == key.Position()) {
        return StatusOk;
    }
    CursorStatus status = StatusOk;
    while (status == StatusOk) {
        status = GetNext();
    }
    // A walk that failed, because the table had lost its place, stands nowhere either.
    return status == StatusEnd || Position() == kNoPosition ? StatusOk : status;
}

EPosition CacheTarget::Position() const {
    ETabulonPrimaryKey key;
    ExtractPrimaryKey(key);
    return key.Position();
}

}  // namespace etabulon::detail
