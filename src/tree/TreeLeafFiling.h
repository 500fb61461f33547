#pragma once

#include "tree/NodeAccess.h"
#include "tree/TreeKey.h"
#include "tree/TreeRefreshMarks.h"
#include "tree/TreeSiblings.h"

#include <cstdint>

namespace etabulon::detail {

/// A leaf with or without a node. Valid until children of its parent are sorted in or dropped; one
/// that has a node of its own here, until the node is dropped.
struct TreeLeaf {
    EDataTreeNode* node = nullptr;              // the leaf's own, or else its parent
    std::uint32_t index = TreeSiblings::kNone;  // among the parent's children

    [[nodiscard]] bool IsNode() const noexcept { return index == TreeSiblings::kNone; }
};

/// Finds or adds the leaves of a walk's records, without making their nodes where that can be.
///
/// Failure  std::bad_alloc passes through; the tree is sound then.
class TreeLeafFiling {
public:
    TreeLeafFiling(const ETabulonSortDesc& sort, TreeRefreshMarks& marks) noexcept
        : sort_(sort), marks_(marks) {}

    /// From here on File makes the node of each leaf that it adds or finds.
    void MakeNodes() noexcept { makesNodes_ = true; }
    /// From here on File takes the memory of new nodes from there.
    void UseSlabs(TreeNodeSlabs& slabs) noexcept { slabs_ = &slabs; }
    /// A new child of `parent`, sorted in later.
    [[nodiscard]] EDataTreeNode* MakeNode(EDataTreeNode& parent, unsigned int level,
                                          const ETabulonValue& value, bool isLeaf);

    struct Result {
        TreeLeaf leaf;             // no node: it can't be found by value
        bool wasMet = false;       // the walk had met it before
        bool isIdentical = false;  // its value is identical to the record's
    };
    /// The child of `parent` for a record's value at the lowest level. A new one has the key unless
    /// that is Whole; for another the caller sets it. Requires that the parent's path is identical
    /// to the record's, and that MakesPlainNodes holds for it.
    [[nodiscard]] Result File(EDataTreeNode& parent, unsigned int level, const ETabulonValue& value,
                              TreeKeyWord key);
    static void SetKey(const TreeLeaf& leaf, TreeKeyWord key);
    /// The leaf's node, made if need be.
    [[nodiscard]] static EDataTreeNode& NodeOf(const TreeLeaf& leaf);

private:
    [[nodiscard]] Result Found(EDataTreeNode& parent, TreeSiblings& siblings, std::uint32_t index,
                               const ETabulonValue& value);
    [[nodiscard]] Result Found(EDataTreeNode& node, const ETabulonValue& value);
    [[nodiscard]] Result Make(EDataTreeNode& parent, unsigned int level, const ETabulonValue& value,
                              TreeKeyWord key);

    const ETabulonSortDesc& sort_;
    TreeRefreshMarks& marks_;
    TreeNodeSlabs* slabs_ = nullptr;
    bool makesNodes_ = false;
};

}  // namespace etabulon::detail
