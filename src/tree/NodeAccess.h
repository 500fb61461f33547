#pragma once

#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeKey.h"

namespace etabulon::detail {

/// The one door to what a node keeps private, for the classes that find and order nodes.
struct NodeAccess {
    using Node = EDataTreeNode;

    [[nodiscard]] static bool IsByValue(const Node& node) noexcept { return node.byValue_; }
    /// The level and the value that name the node. The level requires IsByValue; the value is Null
    /// without it.
    [[nodiscard]] static unsigned Level(const Node& node) noexcept { return node.level_; }
    [[nodiscard]] static const ETabulonValue& Value(const Node& node) noexcept {
        return node.value_;
    }
    static void SetKeyWord(Node& node, TreeKeyWord key) noexcept {
        node.keyWord_ = key.word;
        node.keyForm_ = key.form;
    }
    [[nodiscard]] static const ETabulonSortDesc& SortDesc(const Node& node) noexcept {
        return node.SortDesc();
    }
    [[nodiscard]] static bool IsDirty(const Node& node) noexcept { return node.dirty_; }
};

}  // namespace etabulon::detail
