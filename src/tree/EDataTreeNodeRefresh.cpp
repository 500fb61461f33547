#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/NodeExtra.h"
#include "tree/TreeFileTag.h"
#include "tree/TreeFlagPass.h"
#include "tree/TreeRefresh.h"
#include "tree/TreeSiblings.h"

#include <vector>

// The operations that file records, which they hand to the filing side: it calls nodes, and nodes
// know no more of it than a walk's interface. And what a refresh does to all nodes below its start.

namespace etabulon {

EDataTreeNode* EDataTreeNode::AddChild(const ETabulonTag& tag) {
    FlushWalks();
    return detail::FileTag(*this, tag);
}

CursorStatus EDataTreeNode::Fill(ETabulonCursor* cursor) {
    Reset();
    return Refresh(cursor);
}

CursorStatus EDataTreeNode::Refresh(ETabulonCursor* cursor) {
    FlushWalks();
    bool oneFound = false;
    CursorStatus status = StatusOk;
    EDataTreeNode* parent = nullptr;
    {
        // A listener of the walk may drop the node.
        const auto self = ERef<EDataTreeNode>::Retain(this);
        status = detail::WalkAndFile(*this, *cursor, oneFound);
        parent = parent_;
    }
    if (status == StatusOk && parent != nullptr && !oneFound) {
        // No record is left: the parent walks its own tag, doesn't meet this node and drops it.
        return parent->Refresh(cursor);
    }
    return status;
}

/// False if a cancel has ended the pass: some nodes keep their flags.
bool EDataTreeNode::SetDirtyChilds(bool dirty, detail::TreeFlagPass& pass) {
    const std::size_t made = children_.MadeSize();
    for (std::size_t index = 0; index < made; ++index) {
        children_.PrefetchNear(index);
        EDataTreeNode* child = children_.At(index);
        child->dirty_ = dirty;
        if (!pass.Count(1) || !child->SetDirtyChilds(dirty, pass)) {
            return false;
        }
    }
    if (made == children_.Size()) {
        return true;
    }
    detail::TreeUnmadeLeaves& unmade = children_.Siblings()->Unmade();
    unmade.SetAllDirty(dirty);
    return pass.Count(unmade.Size());
}

void EDataTreeNode::ReleaseDirtyChilds() {
    const std::size_t size = children_.Size();
    const std::size_t made = children_.MadeSize();
    bool anyDirty = made < size && children_.Siblings()->Unmade().HasDirty();
    for (std::size_t index = made; index-- > 0;) {
        EDataTreeNode* child = children_.At(index);
        if (child->dirty_) {
            anyDirty = true;
        } else {
            child->ReleaseDirtyChilds();
        }
    }
    if (!anyDirty) {
        return;
    }
    if (detail::TreeWalks* const walks = Walks(); walks != nullptr) {
        walks->ForgetNodesBelow(*this);
    }
    const std::vector<EDataTreeNode*> dropped = children_.TakeDirty();
    IncLeafCount(-static_cast<std::int32_t>(size - children_.Size() - dropped.size()));
    for (auto child = dropped.rbegin(); child != dropped.rend(); ++child) {
        Drop(*child);
    }
}

}  // namespace etabulon
