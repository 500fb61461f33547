#include "etabulon/cursors/ETabulonCursorRelay.h"

#include "etabulon/foundation/EExpects.h"

namespace etabulon {

ETabulonCursorRelay::ETabulonCursorRelay(ETabulonCursor* source) : source_(source) {
    E_EXPECTS(source_ != nullptr);
}

bool ETabulonCursorRelay::IsCancelled() { return source_->IsCancelled(); }

const EFieldSet& ETabulonCursorRelay::Fields() const { return source_->Fields(); }

ETabulonCursor::IUpdater* ETabulonCursorRelay::Updater() { return source_->Updater(); }

bool ETabulonCursorRelay::CursorLock(bool wait) { return source_->CursorLock(wait); }

void ETabulonCursorRelay::CursorUnlock() { source_->CursorUnlock(); }

bool ETabulonCursorRelay::IsLockedByThisThread() const noexcept {
    return source_->IsLockedByThisThread();
}

void ETabulonCursorRelay::Cancel() { source_->Cancel(); }

EFieldSet& ETabulonCursorRelay::iFields() {
    MarkStale();
    return source_->iFields();
}

// A bare step moves the source without its protocol, which would mark its cached tag and key as
// stale; its filter would then test the previous record. So the relay marks them: before the step,
// so that they are stale even if an exception leaves it, and after it, in case the step built them.

CursorStatus ETabulonCursorRelay::Reset(const ETabulonTag& tag) {
    source_->MarkStale();
    const CursorStatus status = source_->Reset(tag);
    source_->MarkStale();
    return status;
}

CursorStatus ETabulonCursorRelay::GetNext() {
    source_->MarkStale();
    const CursorStatus status = source_->GetNext();
    source_->MarkStale();
    return status;
}

CursorStatus ETabulonCursorRelay::CallGetNextBlock(const ERecordBlock*& block) {
    const CursorStatus status = source_->GetNextBlock(block);
    source_->MarkStale();
    return status;
}

CursorStatus ETabulonCursorRelay::CallStandInBlock(const ERecordBlock& block, EBlockIndex record,
                                                   bool isWhole) {
    const CursorStatus status = source_->StandInBlock(block, record, isWhole);
    return status == StatusOk ? source_->DeriveFields() : status;
}

bool ETabulonCursorRelay::IsInFilter() const { return source_->IsInFilter(); }

bool ETabulonCursorRelay::MeetsFilter() const {
    return ETabulonCursor::MeetsFilter() && source_->MeetsFilter();
}

void ETabulonCursorRelay::ResetCancel() { source_->ResetCancel(); }

void ETabulonCursorRelay::ExtractCurrentTag(ETabulonTag& tag) const {
    source_->ExtractCurrentTag(tag);
}

void ETabulonCursorRelay::ExtractTagOfFields(ETabulonTag& tag) const {
    source_->ExtractTagOfFields(tag);
}

void ETabulonCursorRelay::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    source_->ExtractPrimaryKey(key);
}

}  // namespace etabulon
