#pragma once

#include "etabulon/foundation/ERef.h"
#include "tree/NodeAccess.h"
#include "tree/TreeUnmadeLeaves.h"

#include <cstddef>
#include <vector>

namespace etabulon::detail {

/// What a refresh still has to do for the nodes below its start: which of them the walk hasn't met,
/// and whose new children aren't sorted in.
class TreeRefreshMarks {
public:
    /// So many nodes have their flag set. Without this call none has.
    void SetDirtyCount(std::size_t dirty) noexcept { dirty_ = dirty; }

    /// The walk meets the node. A walk clears flags here alone.
    void Meet(EDataTreeNode& node) noexcept {
        if (dirty_ != 0 && NodeAccess::IsDirty(node)) {
            NodeAccess::SetDirty(node, /*dirty=*/false);
            --dirty_;
        }
    }
    /// The same for a leaf without a node.
    void Meet(TreeUnmadeLeaves& leaves, std::size_t index) noexcept {
        if (dirty_ != 0 && leaves.IsDirty(index)) {
            leaves.SetClean(index);
            --dirty_;
        }
    }
    /// No flag is left to clear. After changes by others it may be false though none is left.
    [[nodiscard]] bool HasMetAll() const noexcept { return dirty_ == 0; }

    /// Gives the parent a child that the walk has made, and notes that it waits to be sorted in.
    EDataTreeNode* Take(EDataTreeNode& parent, ERef<EDataTreeNode> child);
    /// Sorts the new children in. Where memory runs out, they go on waiting.
    void OrderNewChildren() noexcept;
    /// Leaves the sorting to the next reader of each parent: a caller that cancels a walk doesn't
    /// wait for it.
    void LeaveWaiting() noexcept { parents_.clear(); }

private:
    std::size_t dirty_ = 0;  // nodes whose flag is still set, or more
    std::vector<ERef<EDataTreeNode>> parents_;
};

}  // namespace etabulon::detail
