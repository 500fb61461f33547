#pragma once

#include "tree/NodeAccess.h"
#include "tree/TreeFiling.h"

#include <cstddef>
#include <vector>

namespace etabulon::detail {

/// Files the leaves of one tree in another whose levels are the same ones in another order: each
/// value comes from a node, so that a path whose upper nodes are the last leaf's is found without a
/// lookup, and a list of leaves below one node goes over as a whole.
///
/// Ownership  neither tree. The leaves' texts are shared.
/// Failure    std::bad_alloc passes through; the new tree has a part of the leaves then.
class TreeReFiling {
public:
    /// `to` is the root of a tree without nodes, which has its sort description already.
    TreeReFiling(const EDataTreeNode& from, EDataTreeNode& to);

    /// False where only a replay of the leaves gives the right tree: levels that aren't the same
    /// ones, nodes with tags of their own, or two spellings of one value. The new tree may have a
    /// part of the leaves then.
    [[nodiscard]] bool Run();

private:
    struct Step {
        const EDataTreeNode* source = nullptr;  // the old node that the value comes from
        EDataTreeNode* node = nullptr;
    };
    [[nodiscard]] bool FindDepths();
    [[nodiscard]] bool FileBelow(const EDataTreeNode& node, std::size_t depth);
    [[nodiscard]] bool CopyLeaves(const EDataTreeNode& node);
    [[nodiscard]] bool FileLeaf(const EDataTreeNode& leaf);
    [[nodiscard]] EDataTreeNode* FindParent();

    const EDataTreeNode& old_;
    EDataTreeNode& new_;
    TreeFiling filing_;
    std::vector<unsigned> levels_;          // of the old tree
    std::vector<std::size_t> oldDepths_;    // by depth in the new tree
    std::vector<const EDataTreeNode*> at_;  // the old path
    std::vector<Step> path_;                // the new one, without the leaf
};

}  // namespace etabulon::detail
