#include "tree/TreeRefreshMarks.h"

#include <new>
#include <utility>

namespace etabulon::detail {

EDataTreeNode* TreeRefreshMarks::Take(EDataTreeNode& parent, ERef<EDataTreeNode> child) {
    const TreeChildren& children = NodeAccess::Children(parent);
    if (!children.IsEmpty() && !children.HasWaiting()) {
        parents_.push_back(ERef<EDataTreeNode>::Retain(&parent));
    }
    return NodeAccess::TakeChild(parent, std::move(child));
}

void TreeRefreshMarks::OrderNewChildren() noexcept {
    std::vector<ERef<EDataTreeNode>> parents;
    parents.swap(parents_);
    for (const ERef<EDataTreeNode>& parent : parents) {
        try {
            NodeAccess::Children(*parent).OrderWaiting();
        } catch (const std::bad_alloc&) {
            // The children go on waiting.
        }
    }
}

}  // namespace etabulon::detail
