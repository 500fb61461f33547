#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeFiller.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/NodeExtra.h"
#include "tree/TreeFillPath.h"

#include <atomic>
#include <vector>

namespace etabulon {

namespace {

// In the whole process. A listener of a walk may refresh nodes of the same tree, which sets flags
// that the outer refresh has cleared and counted.
std::atomic<std::uint64_t> refreshesBegun{0};

/// Files each record by what the refresh keeps between records.
class PathFiller final : public EDataTreeFiller {
public:
    PathFiller(EDataTreeNode& start, detail::TreeFillPath& path)
        : EDataTreeFiller(&start), path_(path) {}
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        SetOneFound();
        const ETabulonTag& tag = cursor.CurrentTag();
        path_.Look(tag);
        path_.File(tag, cursor.PrimaryKey());
        return StatusOk;
    }

private:
    detail::TreeFillPath& path_;
};

}  // namespace

// ----------------------------------------------------------------------------------------- refresh

CursorStatus EDataTreeNode::Fill(ETabulonCursor* cursor) {
    Reset();
    return Refresh(cursor);
}

CursorStatus EDataTreeNode::Refresh(ETabulonCursor* cursor) {
    SettleLate();
    bool oneFound = false;
    CursorStatus status = StatusOk;
    EDataTreeNode* parent = nullptr;
    {
        // A listener of the walk may drop the node.
        const auto self = ERef<EDataTreeNode>::Retain(this);
        status = RefreshHere(cursor, oneFound);
        parent = parent_;
    }
    if (status == StatusOk && parent != nullptr && !oneFound) {
        // No record is left: the parent walks its own tag, doesn't meet this node and drops it.
        return parent->Refresh(cursor);
    }
    return status;
}

CursorStatus EDataTreeNode::RefreshHere(ETabulonCursor* cursor, bool& oneFound) {
    /// Clears the flags of what an unfinished walk didn't meet.
    struct Dirtied {
        EDataTreeNode* node;
        ~Dirtied() {
            if (node != nullptr) {
                node->SetDirtyChilds(false);
            }
        }
    };
    const std::uint64_t ownNumber = ++refreshesBegun;
    const std::size_t dirty = SetDirtyChilds(true);
    Dirtied dirtied{dirty != 0 ? this : nullptr};  // what a walk adds is clean
    CursorStatus status = StatusOk;
    bool allMet = false;
    {
        detail::TreeFillPath path(*this, dirty);
        PathFiller filler(*this, path);
        const ECursorListening listening(*cursor, filler);
        status = cursor->Browse(Tag());
        path.Settle();
        oneFound = filler.HasOneFound();
        allMet = path.HasMetAll() && refreshesBegun == ownNumber;
        if (status != StatusOk) {
            path.LeaveWaiting();  // whoever cancels a walk isn't to wait for an order
        }
    }
    if (status == StatusOk) {
        if (!allMet) {
            ReleaseDirtyChilds();
        }
        dirtied.node = nullptr;
    }
    return status;
}

/// Returns how many nodes there are below.
std::size_t EDataTreeNode::SetDirtyChilds(bool dirty) noexcept {
    const std::size_t children = children_.Size();
    std::size_t count = children;
    for (std::size_t index = 0; index < children; ++index) {
        children_.PrefetchNear(index);
        EDataTreeNode* child = children_.At(index);
        count += child->SetDirtyChilds(dirty);
        child->dirty_ = dirty;
    }
    return count;
}

void EDataTreeNode::ReleaseDirtyChilds() {
    bool anyDirty = false;
    for (std::size_t index = Size(); index-- > 0;) {
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
    ForgetPaths();
    const std::vector<EDataTreeNode*> dropped = children_.TakeDirty();
    for (auto child = dropped.rbegin(); child != dropped.rend(); ++child) {
        Drop(*child);
    }
}

}  // namespace etabulon
