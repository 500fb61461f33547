#include "etabulon/cross/ECrossFiller.h"

#include "cross/CrossCells.h"
#include "etabulon/foundation/EExpects.h"

#include <typeinfo>

namespace etabulon {

ECrossFiller::ECrossFiller(ETabulonCursor* cursor, const ETabulonPendingChanges* pending)
    : pending_(pending), cursor_(cursor) {
    E_EXPECTS(cursor != nullptr);
}

ECrossFiller::~ECrossFiller() = default;

ECrossFiller* ECrossFiller::Build(ETabulonCursor* cursor, const ETabulonPendingChanges* pending) {
    return new ECrossFiller(cursor, pending);
}

void ECrossFiller::SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                             const ETabulonSortDesc* sortDesc, Levels lines, Levels columns) {
    cells_ = nullptr;
    calculations_ = *calculations;
    sortDesc_ = sortDesc;
    lines_ = std::move(lines);
    columns_ = std::move(columns);
}

CursorStatus ECrossFiller::OnReset(const ETabulonTag& tag, const ETabulonCursor& /*cursor*/) {
    cells_ = MakeRef<detail::CrossCells>(tag, *sortDesc_, calculations_, lines_, columns_);
    // Uses the description's copies of the calculations, whose variables the cells look up.
    extract_.Init(&cells_->Desc().Calculations(), pending_);
    return StatusOk;
}

CursorStatus ECrossFiller::OnMove(const ETabulonCursor& cursor) {
    extract_.ViewCurrent(cursor);
    const ETabulonTag& position = extract_.Position();
    if (cells_->IsComputeTag(position)) {
        cells_->Add(position, extract_.CalculationValues(),
                    cells_->NeedsContext() ? &extract_.Context() : nullptr);
    }
    return StatusOk;
}

bool ECrossFiller::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    return pending_ == nullptr && cells_ && typeid(*this) == typeid(ECrossFiller) &&
           cells_->WantBlocks(cursor, request);
}

CursorStatus ECrossFiller::OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& block,
                                   std::span<const EBlockIndex> records) {
    cells_->AddBlock(block, records);
    return StatusOk;
}

}  // namespace etabulon
