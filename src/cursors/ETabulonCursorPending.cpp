#include "etabulon/cursors/ETabulonCursorPending.h"

#include "etabulon/foundation/EExpects.h"
#include "pending/PendingBlocks.h"
#include "pending/PendingFilter.h"

#include <typeinfo>
#include <utility>

namespace etabulon {

namespace {

bool AreSame(const ETabulonLevels& a, const ETabulonLevels& b) {
    bool same = a.Size() == b.Size();
    for (unsigned int position = 0; same && position < a.Size(); ++position) {
        const unsigned int level = a.GetLevelID(position);
        same = level == b.GetLevelID(position) &&
               a.GetLevel(level).DataID() == b.GetLevel(level).DataID() &&
               a.GetLevel(level).DescID() == b.GetLevel(level).DescID();
    }
    return same;
}

}  // namespace

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
    inserts_ = areInsertsByFields_ ? changes_->Script(ETabulonPendingChanges::Insert)
                                   : changes_->ScriptUnder(ETabulonPendingChanges::Insert, tag);
    insertIndex_ = 0;
    const CursorStatus status = CallReset(tag);
    // Deliberate: if the source refused the first record, this cursor tests it again with the
    // script's values, so that a first record that an update moves under the tag is shown. The
    // source's own step skips later records of this kind. MovesOnlyTheFirstRecordUnderTheTag holds
    // it.
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

/// Fills the fields as StartInsert of a save does; CalcFields then applies the updates.
CursorStatus ETabulonCursorPending::ShowInsert() {
    if (inserts_.Size() == 0) {
        return StatusEnd;  // the source has blanked its record already
    }
    EFieldSet& fields = iFields();
    fields.SetNull();
    if (insertIndex_ >= static_cast<std::int32_t>(inserts_.Size())) {
        return StatusEnd;
    }
    const auto insert = static_cast<std::uint32_t>(insertIndex_);
    const ETabulonTag& selection = std::as_const(inserts_).At(insert).Selection();
    const ETabulonLevels& levels = std::as_const(*this).Source()->Levels();
    for (unsigned int index = 0; index < selection.KnownLevelsCount(); ++index) {
        if (levels.ExistLevel(selection.LevelAt(index))) {
            const ETabulonVariableID& id = levels.GetLevel(selection.LevelAt(index)).DataID();
            id.GetIn(fields) <<= selection.ValueAt(index).Data();
        }
    }
    return StatusOk;
}

// ------------------------------------------------------------------------------------------ blocks

bool ETabulonCursorPending::BeginBlocks(const EBlockRequest& request) {
    if (typeid(*this) != typeid(ETabulonCursorPending) || inInserts_ ||
        dynamic_cast<const ETabulonCursorRelay*>(Source()) != nullptr ||
        Source()->Notifiers().Size() != 0 ||
        !AreSame(std::as_const(*this).Source()->Levels(), Levels())) {
        return false;
    }
    EBlockRequest wider = request;
    wider.keys = true;
    blocks_ = std::make_unique<detail::PendingBlocks>();
    blocks_->Want(Levels(), Fields(), wider);
    return CallBeginBlocks(wider);
}

CursorStatus ETabulonCursorPending::GetNextBlock(const ERecordBlock*& block) {
    mayBeDeleted_ = true;
    markedVersion_ = 0;
    const CursorStatus status = CallGetNextBlock(block);
    return status == StatusEnd ? StatusOk : status;  // GetNext shows the inserts
}

void ETabulonCursorPending::EndBlocks() noexcept {
    CallEndBlocks();
    blocks_.reset();
}

/// Looks at the script again if it has changed since the block's last part.
ETabulonCursor::BlockPart ETabulonCursorPending::TakePart(const ERecordBlock& block,
                                                          std::span<const EBlockIndex> records) {
    using Verdict = detail::PendingVerdict;
    changes_->CopyFilter(*filter_, filterVersion_);
    if (markedVersion_ != filterVersion_) {
        markedVersion_ = filterVersion_;
        blocks_->Mark(block, *filter_, filterVersion_);
    }
    blocks_->BeginPart();
    shown_.clear();
    bool hasMoved = false;
    std::size_t count = 0;
    for (; count < records.size(); ++count) {
        const EBlockIndex record = records[count];
        if (blocks_->IsMarked(record)) {
            Verdict verdict = blocks_->Find(block, record);
            if (verdict == Verdict::Unknown) {
                verdict = Judge(block, record);
                hasMoved = true;
            }
            if (verdict == Verdict::Single) {
                break;
            }
            if (verdict == Verdict::Hidden) {
                continue;
            }
            if (verdict == Verdict::Changed) {
                blocks_->Put(block, record);
            }
        }
        shown_.push_back(record);
    }
    if (hasMoved) {
        const auto last = static_cast<EBlockIndex>(block.Size() - 1);
        if (StandInBlock(block, last, /*isWhole=*/false) == StatusOk) {
            static_cast<void>(DeriveFields());
        }
    }
    return {&blocks_->Part(block), shown_, count};
}

/// Works out what a single step would show of the records with this record's tag. A script that
/// another thread changes meanwhile leaves that to the single step.
detail::PendingVerdict ETabulonCursorPending::Judge(const ERecordBlock& block, EBlockIndex record) {
    using Verdict = detail::PendingVerdict;
    Verdict verdict = Verdict::Single;
    if (StandInBlock(block, record, /*isWhole=*/false) == StatusOk && DeriveFields() == StatusOk) {
        verdict = IsInFilter() ? Verdict::Same : Verdict::Hidden;
    }
    changes_->CopyFilter(*filter_, filterVersion_);
    if (filterVersion_ != markedVersion_) {
        return Verdict::Single;
    }
    if (verdict == Verdict::Same && !updated_.empty()) {
        return blocks_->SetUpdated(block, updated_);
    }
    blocks_->Set(verdict);
    return verdict;
}

CursorStatus ETabulonCursorPending::StandInBlock(const ERecordBlock& block, EBlockIndex record,
                                                 bool isWhole) {
    mayBeDeleted_ = true;
    return CallStandInBlock(block, record, isWhole);
}

void ETabulonCursorPending::CalcFields() {
    ETabulonCursorRelay::CalcFields();
    // The script is asked by the tag that the record has in the table. If no update applies,
    // iFields isn't called, as it would mark that tag and the source's linked records stale.
    const ETabulonPendingChanges::Change* const insert = ShownInsert();
    const ETabulonTag& tag = insert != nullptr ? insert->Selection() : CurrentTag();
    changes_->CopyFilter(*filter_, filterVersion_);
    const detail::PendingFilter::Answer answer = filter_->Ask(tag);
    mayBeDeleted_ = answer.mayBeDeleted;
    updated_.clear();
    if (answer.mayBeUpdated && changes_->IsUpdated(tag)) {
        EFieldSet& fields = iFields();
        static_cast<void>(changes_->UpdateFieldsAndNote(fields, tag, &updated_));
        DeriveAgain(updated_);
    }
    if (inInserts_) {
        // The source hasn't stood on this record: what it derives follows from the insert's fields.
        EFieldSet& fields = iFields();
        for (std::uint16_t index = 0; index < fields.Size(); ++index) {
            updated_.push_back(&fields.At(index));
        }
        DeriveAgain(updated_);
        updated_.clear();
    }
}

EFieldSet& ETabulonCursorPending::iFields() {
    mayBeDeleted_ = true;
    return ETabulonCursorRelay::iFields();
}

bool ETabulonCursorPending::IsInFilter() const {
    // Deliberate: the deletes are tested by the tag that updates gave the record, while the save
    // tests them by the tag in the table. A record that an update moves out of a deleted branch is
    // shown, and a record that it moves into one isn't. UpdateOfALevelMovesARecordAwayFromItsDelete
    // holds it.
    if (inInserts_) {
        return !areInsertsByFields_ || FilterTag().IsRoot() ||
               CurrentTag().IsAtOrBelow(FilterTag());
    }
    return ETabulonCursorRelay::IsInFilter() &&
           !(mayBeDeleted_ && changes_->IsDeleted(CurrentTag()));
}

const ETabulonPendingChanges::Change* ETabulonCursorPending::ShownInsert() const {
    const bool isShown = inInserts_ && insertIndex_ >= 0 &&
                         insertIndex_ < static_cast<std::int32_t>(inserts_.Size());
    return isShown ? &inserts_.At(static_cast<std::uint32_t>(insertIndex_)) : nullptr;
}

void ETabulonCursorPending::ExtractCurrentTag(ETabulonTag& tag) const {
    if (const auto* const insert = ShownInsert(); insert != nullptr && !areInsertsByFields_) {
        tag = insert->Selection();
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
