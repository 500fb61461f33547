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

// The source's tag and key belong to the record that it stood on: without its protocol nobody else
// tells it that it has moved, and its filter would judge the record before. They are raised before
// the step, so that they are stale whatever passes through it, and after it, in case the step has
// asked for them.

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

bool ETabulonCursorRelay::IsInFilter() const { return source_->IsInFilter(); }

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
