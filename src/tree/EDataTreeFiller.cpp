#include "etabulon/tree/EDataTreeFiller.h"

#include "etabulon/tree/EDataTreeNode.h"

namespace etabulon {

EDataTreeFiller::~EDataTreeFiller() = default;

CursorStatus EDataTreeFiller::OnReset(const ETabulonTag& /*tag*/,
                                      const ETabulonCursor& /*cursor*/) {
    oneFound_ = false;
    return StatusOk;
}

CursorStatus EDataTreeFiller::OnMove(const ETabulonCursor& cursor) {
    SetOneFound();
    // A copy: making a node may run the application's own code, which may move the cursor.
    EDataTreeNode* const node = node_->AddChild(ETabulonTag(cursor.CurrentTag()));
    if (node != nullptr) {
        node->SetPrimaryKey(cursor.PrimaryKey());
    }
    return StatusOk;
}

bool EDataTreeFiller::WantBlocks(const ETabulonCursor& /*cursor*/, EBlockRequest& /*request*/) {
    return false;
}

CursorStatus EDataTreeFiller::OnBlock(const ETabulonCursor& /*cursor*/,
                                      const ERecordBlock& /*block*/,
                                      std::span<const EBlockIndex> /*records*/) {
    SetOneFound();
    return StatusOk;
}

}  // namespace etabulon
