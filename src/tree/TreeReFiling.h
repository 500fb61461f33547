#pragma once

#include "tree/NodeAccess.h"
#include "tree/TreeFiling.h"
#include "tree/TreeNodeSlabs.h"

#include <cstddef>
#include <cstdint>
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
    /// A value of the old path.
    struct Source {
        const ETabulonValue* value = nullptr;
        std::uint64_t number = 0;  // counts the sources of the old tree
    };
    struct Step {
        std::uint64_t source = 0;  // the number of the value's source
        EDataTreeNode* node = nullptr;
    };
    [[nodiscard]] bool FindDepths();
    [[nodiscard]] bool FileAll();
    [[nodiscard]] bool IsByArrival(const EDataTreeNode& node, std::size_t depth);
    [[nodiscard]] bool FileBelow(const EDataTreeNode& node, std::size_t depth);
    [[nodiscard]] bool CopyLeaves(const EDataTreeNode& node);
    [[nodiscard]] bool FileLeaves(const EDataTreeNode& node);
    [[nodiscard]] bool FileInOrder(const TreeSiblings& siblings);
    [[nodiscard]] bool FileUnmade(const TreeSiblings& siblings, std::size_t index);
    [[nodiscard]] bool FileNode(const EDataTreeNode& leaf);
    [[nodiscard]] TreeLeafFiling::Result FileLeaf(TreeKeyWord key);
    void StandAt(std::size_t depth, const ETabulonValue& value) noexcept {
        at_[depth] = {&value, ++sources_};
    }
    [[nodiscard]] EDataTreeNode* FindParent();

    const EDataTreeNode& old_;
    EDataTreeNode& new_;
    TreeNodeSlabs slabs_;
    TreeFiling filing_;
    std::vector<unsigned int> levels_;    // of the old tree
    std::vector<std::size_t> oldDepths_;  // by depth in the new tree
    std::vector<Source> at_;              // the old path
    std::vector<Step> path_;              // the new one, without the leaf
    std::uint64_t sources_ = 0;
    bool sortsLeaves_ = true;           // leaves below one old node are filed in their order
    ETabulonValue leafValue_;           // of an old leaf without a node
    std::vector<std::uint32_t> order_;  // of the leaves below one old node
};

}  // namespace etabulon::detail
