#include "tree/TreeReFiling.h"

#include <algorithm>

namespace etabulon::detail {

TreeReFiling::TreeReFiling(const EDataTreeNode& from, EDataTreeNode& to)
    : old_(from), new_(to), filing_(to) {}

bool TreeReFiling::Run() {
    // A root that was a leaf once may have children: it is one record.
    if (old_.IsTreeLeaf() || !FindDepths() || !FileBelow(old_, 0)) {
        return false;
    }
    filing_.Flush();
    return true;
}

/// The levels that the new tree shows are those of the first path of the old one.
bool TreeReFiling::FindDepths() {
    const EDataTreeNode* node = &old_;
    while (NodeAccess::Children(*node).MadeSize() != 0) {
        node = NodeAccess::Children(*node).At(0);
        if (!NodeAccess::IsByValue(*node)) {
            return false;
        }
        levels_.push_back(NodeAccess::Level(*node));
    }
    if (!NodeAccess::Children(*node).IsEmpty()) {
        levels_.push_back(NodeAccess::Children(*node).Level());  // of leaves without nodes
    }
    if (levels_.empty() || !filing_.CanFileBlocks() || filing_.Depth() != levels_.size()) {
        return false;
    }
    for (std::size_t depth = 0; depth < levels_.size(); ++depth) {
        const auto level = std::find(levels_.begin(), levels_.end(), filing_.LevelAt(depth));
        if (level == levels_.end()) {
            return false;
        }
        oldDepths_.push_back(static_cast<std::size_t>(level - levels_.begin()));
    }
    at_.resize(levels_.size());
    path_.resize(levels_.size() - 1);
    return true;
}

bool TreeReFiling::FileBelow(const EDataTreeNode& node, std::size_t depth) {
    const bool areLeaves = depth + 1 == levels_.size();
    if (!NodeAccess::Children(node).IsOnlyOf(levels_[depth])) {
        return false;
    }
    if (areLeaves && CopyLeaves(node)) {
        return true;
    }
    TreeChildren& children = NodeAccess::Children(node);
    children.OrderWaiting();
    for (std::size_t index = 0; index < children.Size(); ++index) {
        children.PrefetchNear(index);
        const EDataTreeNode& child = *children.At(index);
        at_[depth] = &child;
        if (NodeAccess::OwnsTag(child) || child.IsTreeLeaf() != areLeaves ||
            !(areLeaves ? FileLeaf(child) : FileBelow(child, depth + 1))) {
            return false;
        }
    }
    return true;
}

/// Files the leaves below a node as a whole. False if they must be filed one by one.
bool TreeReFiling::CopyLeaves(const EDataTreeNode& node) {
    const TreeSiblings* const from = NodeAccess::Children(node).Siblings();
    if (oldDepths_.back() + 1 != levels_.size() || from == nullptr || !from->CanBeCopied()) {
        return false;
    }
    EDataTreeNode* const parent = FindParent();
    if (parent == nullptr || !NodeAccess::Children(*parent).IsEmpty()) {
        return false;
    }
    NodeAccess::Children(*parent).CopyUnmade(*parent, *from);
    NodeAccess::CountLeaves(*parent, from->Size());
    return true;
}

/// The new parent of the leaf at hand, made if it isn't there. Null where a node has the value in
/// another spelling.
EDataTreeNode* TreeReFiling::FindParent() {
    EDataTreeNode* node = &new_;
    bool isShared = true;
    for (std::size_t depth = 0; depth < path_.size(); ++depth) {
        Step& step = path_[depth];
        const EDataTreeNode* const source = at_[oldDepths_[depth]];
        isShared = isShared && step.source == source;
        if (!isShared) {
            const ETabulonValue& value = NodeAccess::Value(*source);
            EDataTreeNode* const child = filing_.Step(*node, depth, value, /*mayMake=*/true);
            if (child == nullptr || !NodeAccess::Value(*child).IsIdenticalTo(value)) {
                return nullptr;
            }
            step = {source, child};
        }
        node = step.node;
    }
    return node;
}

bool TreeReFiling::FileLeaf(const EDataTreeNode& leaf) {
    EDataTreeNode* const parent = FindParent();
    if (parent == nullptr) {
        return false;
    }
    const EDataTreeNode& source = *at_[oldDepths_.back()];
    const TreeKeyWord key = NodeAccess::KeyWord(leaf);
    const TreeLeafFiling::Result filed =
        filing_.Leaves().File(*parent, NodeAccess::Level(source), NodeAccess::Value(source), key);
    if (filed.leaf.node == nullptr || !filed.isIdentical) {
        return false;
    }
    if (key.form == TreeKeyForm::Whole) {
        NodeAccess::SetKey(TreeLeafFiling::NodeOf(filed.leaf), NodeAccess::WholeKey(leaf));
    }
    return true;
}

}  // namespace etabulon::detail
