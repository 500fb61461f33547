#include "etabulon/score/ETabulonScoreFiller.h"

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/score/ETabulonScoreCumulsBuffers.h"

#include <typeinfo>

namespace etabulon {

ETabulonScoreFiller::ETabulonScoreFiller(ETabulonCursor* cursor,
                                         const ETabulonPendingChanges* pending)
    : pending_(pending), cursor_(cursor) {
    E_EXPECTS(cursor != nullptr);
}

ETabulonScoreFiller* ETabulonScoreFiller::Build(ETabulonCursor* cursor,
                                                const ETabulonPendingChanges* pending) {
    return new ETabulonScoreFiller(cursor, pending);
}

ETabulonScoreFiller::~ETabulonScoreFiller() { Free(); }

void ETabulonScoreFiller::Free() {
    buffers_ = nullptr;
    cumuls_ = nullptr;
}

// Deliberate: copies the pointers without adding references, though the destructor releases them.
// Callers that copy add the references themselves. CopiedFillerNeedsReferences holds it.
ETabulonScoreFiller::ETabulonScoreFiller(const ETabulonScoreFiller& other)
    : ECountedUnknown(other),
      EBlockListener(other),
      pending_(other.pending_),
      calculations_(other.calculations_),
      sortDesc_(other.sortDesc_),
      levelCount_(other.levelCount_),
      cumuls_(ERef<ETabulonScoreCumuls>::Adopt(other.cumuls_.Get())),
      buffers_(ERef<ETabulonScoreCumulsBuffers>::Adopt(other.buffers_.Get())),
      cursor_(other.cursor_) {
    InitExtract();
}

ETabulonScoreFiller& ETabulonScoreFiller::operator=(const ETabulonScoreFiller& other) {
    if (this == &other) {
        return *this;
    }
    pending_ = other.pending_;
    calculations_ = other.calculations_;
    sortDesc_ = other.sortDesc_;
    levelCount_ = other.levelCount_;
    cursor_ = other.cursor_;
    ETabulonScoreCumuls* const cumuls = other.cumuls_.Get();
    ETabulonScoreCumulsBuffers* const buffers = other.buffers_.Get();
    static_cast<void>(cumuls_.Detach());
    static_cast<void>(buffers_.Detach());
    cumuls_ = ERef<ETabulonScoreCumuls>::Adopt(cumuls);
    buffers_ = ERef<ETabulonScoreCumulsBuffers>::Adopt(buffers);
    InitExtract();
    return *this;
}

void ETabulonScoreFiller::RetainShared() const noexcept {
    static_cast<void>(ERef<ETabulonScoreCumuls>(cumuls_).Detach());
    static_cast<void>(ERef<ETabulonScoreCumulsBuffers>(buffers_).Detach());
}

// Uses the description's copies of the calculations, whose variables the buffers look up. The
// copy's extract views no record, since the record that the other viewed may be gone.
void ETabulonScoreFiller::InitExtract() {
    if (cumuls_) {
        extract_.Init(&cumuls_->Calculations(), pending_);
    }
}

void ETabulonScoreFiller::SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                                    const ETabulonSortDesc* sortDesc, unsigned int levelCount) {
    Free();
    calculations_ = *calculations;
    sortDesc_ = sortDesc;
    levelCount_ = levelCount;
}

CursorStatus ETabulonScoreFiller::OnReset(const ETabulonTag& tag,
                                          const ETabulonCursor& /*cursor*/) {
    Free();
    // Deliberate: always ranks the largest first, without a parameter for it.
    // RanksTheLargestFirstAndReplacesAtEachWalk holds it.
    cumuls_ = ERef<ETabulonScoreCumuls>::Adopt(ETabulonScoreCumuls::Build(
        tag, sortDesc_, &calculations_, levelCount_, /*increasingOrder=*/false));
    InitExtract();
    buffers_ = ERef<ETabulonScoreCumulsBuffers>::Adopt(cumuls_->Start());
    return StatusOk;
}

CursorStatus ETabulonScoreFiller::OnMove(const ETabulonCursor& cursor) {
    extract_.ViewCurrent(cursor);
    buffers_->AddOwnValue(extract_);
    return StatusOk;
}

bool ETabulonScoreFiller::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return pending_ == nullptr && buffers_ && typeid(*this) == typeid(ETabulonScoreFiller) &&
           buffers_->WantBlocks(cursor, request);
}

CursorStatus ETabulonScoreFiller::OnBlock(const ETabulonCursor& /*cursor*/,
                                          const ERecordBlock& block,
                                          std::span<const EBlockIndex> records) {
    buffers_->AddBlock(block, records);
    return StatusOk;
}

void ETabulonScoreFiller::SendTo(ITabulonResScoreUI* ui) const {
    const ECursorLocking locking(*cursor_);
    buffers_->SendTo(ui);
}

}  // namespace etabulon
