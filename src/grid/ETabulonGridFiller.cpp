#include "etabulon/grid/ETabulonGridFiller.h"

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/grid/ETabulonGridCumulsBuffers.h"

#include <typeinfo>

namespace etabulon {

ETabulonGridFiller::ETabulonGridFiller(ETabulonCursor* cursor,
                                       const ETabulonPendingChanges* pending)
    : pending_(pending), cursor_(cursor) {
    E_EXPECTS(cursor != nullptr);
}

ETabulonGridFiller::~ETabulonGridFiller() { Free(); }

ETabulonGridFiller* ETabulonGridFiller::Build(ETabulonCursor* cursor,
                                              const ETabulonPendingChanges* pending) {
    return new ETabulonGridFiller(cursor, pending);
}

void ETabulonGridFiller::Free() {
    buffers_ = nullptr;
    grid_ = nullptr;
}

void ETabulonGridFiller::SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                                   unsigned int axesCount, const ETabulonSortDesc* sortDesc) {
    Free();
    axesCount_ = axesCount;
    calculations_ = *calculations;
    sortDesc_ = sortDesc;
}

// ----------------------------------------------------------------------------------------- walking

CursorStatus ETabulonGridFiller::OnReset(const ETabulonTag& tag, const ETabulonCursor& /*cursor*/) {
    Free();
    grid_ = ERef<ETabulonGridCumuls>::Adopt(
        ETabulonGridCumuls::Build(tag, axesCount_, sortDesc_, &calculations_));
    // Uses the description's copies of the calculations, whose variables the buffers look up.
    extract_.Init(&grid_->Calculations(), pending_);
    buffers_ = ERef<ETabulonGridCumulsBuffers>::Adopt(grid_->Start());
    return StatusOk;
}

CursorStatus ETabulonGridFiller::OnMove(const ETabulonCursor& cursor) {
    extract_.ViewCurrent(cursor);
    buffers_->AddOwnValue(extract_);
    return StatusOk;
}

bool ETabulonGridFiller::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return pending_ == nullptr && buffers_ && typeid(*this) == typeid(ETabulonGridFiller) &&
           buffers_->WantBlocks(cursor, request);
}

CursorStatus ETabulonGridFiller::OnBlock(const ETabulonCursor& /*cursor*/,
                                         const ERecordBlock& block,
                                         std::span<const EBlockIndex> records) {
    buffers_->AddBlock(block, records);
    return StatusOk;
}

// ------------------------------------------------------------------------------------------ asking

unsigned int ETabulonGridFiller::GridAxesCount() const { return buffers_->GridAxesCount(); }

ETabulonGridAxe* ETabulonGridFiller::BuildAxeDesc(unsigned int index) const {
    const ECursorLocking locking(*cursor_);
    return buffers_->BuildAxeDesc(index);
}

bool ETabulonGridFiller::GetSelection(int column, int line, ETabulonVariableID* variable,
                                      ETabulonTag* tag) const {
    const ECursorLocking locking(*cursor_);
    return buffers_->GetSelection(static_cast<unsigned int>(column),
                                  static_cast<unsigned int>(line), variable, tag);
}

void ETabulonGridFiller::SendTo(ITabulonResGridUI* view) const {
    const ECursorLocking locking(*cursor_);
    buffers_->SendTo(view);
}

}  // namespace etabulon
