#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/NodeExtra.h"
#include "tree/TreeChildren.h"
#include "tree/TreeFillPath.h"

#include <vector>

namespace etabulon {

// ----------------------------------------------------------------------------------------- refresh

CursorStatus EDataTreeNode::Fill(ETabulonCursor* cursor) {
    Reset();
    return Refresh(cursor);
}

CursorStatus EDataTreeNode::Refresh(ETabulonCursor* cursor) {
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
    SetDirtyChilds(true);
    Dirtied dirtied{this};
    CursorStatus status = StatusOk;
    {
        detail::TreeFillPath path(*this);
        EDataTreeFiller filler(this, &path);
        const ECursorListening listening(*cursor, filler);
        status = cursor->Browse(Tag());
        oneFound = filler.HasOneFound();
    }
    if (status == StatusOk) {
        ReleaseDirtyChilds();
        dirtied.node = nullptr;
    }
    return status;
}

void EDataTreeNode::SetDirtyChilds(bool dirty) noexcept {
    for (std::size_t index = 0; children_ != nullptr && index < children_->Size(); ++index) {
        EDataTreeNode* child = children_->At(index);
        child->SetDirtyChilds(dirty);
        child->dirty_ = dirty;
    }
}

void EDataTreeNode::ReleaseDirtyChilds() {
    bool anyDirty = false;
    for (std::size_t index = Size(); index-- > 0;) {
        EDataTreeNode* child = children_->At(index);
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
    const std::vector<EDataTreeNode*> dropped = children_->TakeDirty();
    if (children_->Size() == 0) {
        children_.reset();
    }
    for (auto child = dropped.rbegin(); child != dropped.rend(); ++child) {
        Drop(*child);
    }
}

// ------------------------------------------------------------------------------------------ filler

EDataTreeFiller::EDataTreeFiller(const EDataTreeFiller& other)
    : EUnknown(other),
      ECountedUnknown(other),
      INotifier(other),
      node_(other.node_),
      oneFound_(other.oneFound_) {}

EDataTreeFiller& EDataTreeFiller::operator=(const EDataTreeFiller& other) {
    node_ = other.node_;
    oneFound_ = other.oneFound_;
    path_ = nullptr;
    return *this;
}

EDataTreeFiller::~EDataTreeFiller() = default;

CursorStatus EDataTreeFiller::OnReset(const ETabulonTag& /*tag*/,
                                      const ETabulonCursor& /*cursor*/) {
    oneFound_ = false;
    return StatusOk;
}

CursorStatus EDataTreeFiller::OnMove(const ETabulonCursor& cursor) {
    oneFound_ = true;
    const ETabulonTag& tag = cursor.CurrentTag();
    EDataTreeNode* node = path_ != nullptr ? path_->Add(tag) : node_->AddChild(ETabulonTag(tag));
    if (node != nullptr) {
        node->SetPrimaryKey(cursor.PrimaryKey());
    }
    return StatusOk;
}

}  // namespace etabulon
