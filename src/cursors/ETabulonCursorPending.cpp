#include "etabulon/cursors/ETabulonCursorPending.h"

#include "etabulon/foundation/EExpects.h"
#include "pending/PendingFilter.h"

#include <utility>

namespace etabulon {

ETabulonCursorPending::ETabulonCursorPending(ETabulonCursor* source,
                                             const ETabulonPendingChanges* changes)
    : ETabulonCursorRelay(source),
      changes_(changes),
      filter_(std::make_unique<detail::PendingFilter>()) {
    E_EXPECTS(changes_ != nullptr);
}

ETabulonCursorPending::~ETabulonCursorPending() = default;

CursorStatus ETabulonCursorPending::Reset(const ETabulonTag& tag) {
    inInserts_ = false;
    mayBeDeleted_ = true;
    inserts_ = changes_->ScriptUnder(ETabulonPendingChanges::Insert, tag);
    insertIndex_ = 0;
    const CursorStatus status = CallReset(tag);
    // Deliberate: a first record that the source refused is judged once more here, with the
    // script's values, so that one that they move under the tag shows. Of later records the source
    // passes over such ones by itself. MovesOnlyTheFirstRecordUnderTheTag holds it.
    if (status == StatusOk || status == StatusRefused) {
        return StatusOk;
    }
    if (status != StatusEnd) {
        return status;
    }
    inInserts_ = true;
    return ShowInsert();
}

CursorStatus ETabulonCursorPending::GetNext() {
    mayBeDeleted_ = true;
    if (!inInserts_) {
        const CursorStatus status = CallGetNext();
        if (status != StatusEnd) {
            return status;
        }
        inInserts_ = true;
        insertIndex_ = -1;
    }
    if (insertIndex_ < static_cast<std::int32_t>(inserts_.Size())) {
        ++insertIndex_;
    }
    return ShowInsert();
}

/// Makes the fields what the save will write before its updates, which follow by CalcFields.
CursorStatus ETabulonCursorPending::ShowInsert() {
    if (inserts_.Size() == 0) {
        return StatusEnd;  // the source has blanked its record
    }
    EFieldSet& fields = iFields();
    fields.SetNull();
    if (insertIndex_ >= static_cast<std::int32_t>(inserts_.Size())) {
        return StatusEnd;
    }
    const auto index = static_cast<std::uint32_t>(insertIndex_);
    const ETabulonTag& selection = std::as_const(inserts_).At(index).Selection();
    const ETabulonLevels& levels = std::as_const(*this).Source()->Levels();
    for (unsigned int place = 0; place < selection.KnownLevelsCount(); ++place) {
        if (levels.ExistLevel(selection.LevelAt(place))) {
            const ETabulonVariableID& id = levels.GetLevel(selection.LevelAt(place)).DataID();
            id.GetIn(fields) <<= selection.ValueAt(place).Data();
        }
    }
    return StatusOk;
}

void ETabulonCursorPending::CalcFields() {
    ETabulonCursorRelay::CalcFields();
    // The script is asked by the tag of the record as it is in the table: iFields only marks it
    // stale. Where no update applies the fields aren't asked for: the tag stays good, and what the
    // source keeps of linked records too.
    const ETabulonTag& tag = CurrentTag();
    changes_->CopyFilter(*filter_, filterVersion_);
    const detail::PendingFilter::Answer answer = filter_->Ask(tag);
    mayBeDeleted_ = answer.mayBeDeleted;
    if (answer.mayBeUpdated && changes_->IsUpdated(tag)) {
        EFieldSet& fields = iFields();
        static_cast<void>(changes_->UpdateFields(fields, tag));
    }
}

EFieldSet& ETabulonCursorPending::iFields() {
    mayBeDeleted_ = true;
    return ETabulonCursorRelay::iFields();
}

bool ETabulonCursorPending::IsInFilter() const {
    // Deliberate: whether a record is deleted is asked by the tag that updates have given it, while
    // the save looks for it by the one in the table. A record that an update moves away from a
    // deleted place shows, and one that it moves there doesn't.
    // UpdateOfALevelMovesARecordAwayFromItsDelete holds it.
    return inInserts_ || (ETabulonCursorRelay::IsInFilter() &&
                          !(mayBeDeleted_ && changes_->IsDeleted(CurrentTag())));
}

void ETabulonCursorPending::ExtractCurrentTag(ETabulonTag& tag) const {
    if (inInserts_ && insertIndex_ < static_cast<std::int32_t>(inserts_.Size())) {
        tag = inserts_.At(static_cast<std::uint32_t>(insertIndex_)).Selection();
    } else {
        ETabulonCursorRelay::ExtractCurrentTag(tag);
    }
}

void ETabulonCursorPending::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    if (inInserts_) {
        key.Reset();  // no record yet
    } else {
        ETabulonCursorRelay::ExtractPrimaryKey(key);
    }
}

}  // namespace etabulon
