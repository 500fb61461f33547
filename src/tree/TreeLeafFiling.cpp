#include "tree/TreeLeafFiling.h"

namespace etabulon::detail {

TreeLeafFiling::Result TreeLeafFiling::File(EDataTreeNode& parent, unsigned int level,
                                            const ETabulonValue& value, TreeKeyWord key) {
    TreeChildren& children = NodeAccess::Children(parent);
    if (!children.IsOnlyOf(level)) {
        return {};
    }
    bool canBeUnmade = false;
    if (TreeSiblings* const siblings = children.Siblings(); siblings != nullptr) {
        siblings->OrderOlder(sort_);
        const std::uint32_t found = siblings->Find(value);
        if (found != TreeSiblings::kNone) {
            return Found(parent, *siblings, found, value);
        }
        canBeUnmade = siblings->CanAddUnmade(value, key.form);
    } else {
        if (EDataTreeNode* const only = children.FindByValue(value); only != nullptr) {
            return Found(*only, value);
        }
        // An only child takes less memory than a list.
        canBeUnmade = !children.IsEmpty() && TreeUnmadeLeaves::CanBe(value, key.form);
    }
    if (!canBeUnmade || makesNodes_) {
        return Make(parent, level, value, key);
    }
    const std::uint32_t index = children.AddUnmade(parent, sort_, level, value, key);
    NodeAccess::CountLeaves(parent, 1);
    return {{&parent, index}, /*wasMet=*/false, /*isIdentical=*/true};
}

TreeLeafFiling::Result TreeLeafFiling::Found(EDataTreeNode& parent, TreeSiblings& siblings,
                                             std::uint32_t index, const ETabulonValue& value) {
    if (makesNodes_) {
        siblings.MakeAll();
    }
    if (!siblings.IsUnmade(index)) {
        return Found(*siblings.At(index), value);
    }
    TreeUnmadeLeaves& leaves = siblings.Unmade();
    const std::size_t at = index - siblings.MadeSize();
    const bool wasMet = !leaves.IsDirty(at);
    marks_.Meet(leaves, at);
    return {{&parent, index}, wasMet, leaves.IsIdentical(at, value)};
}

TreeLeafFiling::Result TreeLeafFiling::Found(EDataTreeNode& node, const ETabulonValue& value) {
    const bool wasMet = !NodeAccess::IsDirty(node);
    marks_.Meet(node);
    return {{&node}, wasMet, NodeAccess::Value(node).IsIdenticalTo(value)};
}

EDataTreeNode* TreeLeafFiling::MakeNode(EDataTreeNode& parent, unsigned int level,
                                        const ETabulonValue& value, bool isLeaf) {
    return marks_.Take(parent, slabs_ != nullptr
                                   ? NodeAccess::MakeChild(parent, level, value, isLeaf, *slabs_)
                                   : NodeAccess::MakeChild(parent, level, value, isLeaf));
}

TreeLeafFiling::Result TreeLeafFiling::Make(EDataTreeNode& parent, unsigned int level,
                                            const ETabulonValue& value, TreeKeyWord key) {
    EDataTreeNode* const node = MakeNode(parent, level, value, /*isLeaf=*/true);
    if (key.form != TreeKeyForm::Whole) {
        NodeAccess::SetKeyWord(*node, key);
    }
    return {{node}, /*wasMet=*/false, /*isIdentical=*/true};
}

void TreeLeafFiling::SetKey(const TreeLeaf& leaf, TreeKeyWord key) {
    if (!leaf.IsNode()) {
        TreeSiblings& siblings = *NodeAccess::Children(*leaf.node).Siblings();
        if (siblings.IsUnmade(leaf.index) &&
            siblings.Unmade().SetKey(leaf.index - siblings.MadeSize(), key)) {
            return;
        }
    }
    NodeAccess::SetKey(NodeOf(leaf), key);
}

EDataTreeNode& TreeLeafFiling::NodeOf(const TreeLeaf& leaf) {
    if (leaf.IsNode()) {
        return *leaf.node;
    }
    TreeSiblings& siblings = *NodeAccess::Children(*leaf.node).Siblings();
    siblings.MakeAll();
    return *siblings.At(leaf.index);
}

}  // namespace etabulon::detail
