#include "tree/TreeReFiling.h"

#include <algorithm>

namespace etabulon::detail {

TreeReFiling::TreeReFiling(const EDataTreeNode& from, EDataTreeNode& to)
    : old_(from), new_(to), filing_(to) {
    filing_.Leaves().UseSlabs(slabs_);
}

bool TreeReFiling::Run() {
    // A root that was a leaf once may have children: it is one record.
    if (old_.IsTreeLeaf() || !FindDepths()) {
        return false;
    }
    // Of the new lists only those of the old leaf level can depend on the order of the leaves below
    // one old parent. Few do, so that these leaves needn't be sorted first.
    sortsLeaves_ = oldDepths_.back() + 1 == levels_.size();
    if (!FileAll()) {
        return false;
    }
    if (!sortsLeaves_ && IsByArrival(new_, 0)) {
        sortsLeaves_ = true;
        new_.Reset();
        std::fill(path_.begin(), path_.end(), Step());
        return FileAll();
    }
    return true;
}

bool TreeReFiling::FileAll() {
    if (!FileBelow(old_, 0)) {
        return false;
    }
    filing_.Flush();
    return true;
}

/// Sorts the new children down to those of the old leaf level. True where the order of the latter
/// depends on that in which they came.
bool TreeReFiling::IsByArrival(const EDataTreeNode& node, std::size_t depth) {
    TreeChildren& children = NodeAccess::Children(node);
    children.OrderWaiting();
    if (oldDepths_[depth] + 1 == levels_.size()) {
        return children.Siblings() != nullptr && children.Siblings()->IsByArrival();
    }
    for (std::size_t index = 0; index < children.Size(); ++index) {
        children.PrefetchNear(index);
        if (IsByArrival(*children.At(index), depth + 1)) {
            return true;
        }
    }
    return false;
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
    TreeChildren& children = NodeAccess::Children(node);
    if (!children.IsOnlyOf(levels_[depth])) {
        return false;
    }
    if (depth + 1 == levels_.size()) {
        return CopyLeaves(node) || FileLeaves(node);
    }
    children.OrderWaiting();
    for (std::size_t index = 0; index < children.Size(); ++index) {
        children.PrefetchNear(index);
        const EDataTreeNode& child = *children.At(index);
        StandAt(depth, NodeAccess::Value(child));
        if (NodeAccess::OwnsTag(child) || child.IsTreeLeaf() || !FileBelow(child, depth + 1)) {
            return false;
        }
    }
    return true;
}

/// Files the leaves below a node one by one, in their order. Those without a node get none.
bool TreeReFiling::FileLeaves(const EDataTreeNode& node) {
    TreeChildren& children = NodeAccess::Children(node);
    const TreeSiblings* const siblings = children.Siblings();
    if (siblings != nullptr && siblings->HasWaiting() && siblings->CanFindOrder()) {
        siblings->FindOrder(order_, sortsLeaves_);
        return FileInOrder(*siblings);
    }
    children.OrderWaiting();
    for (std::size_t index = 0; index < children.Size(); ++index) {
        children.PrefetchNear(index);
        if (!FileNode(*children.At(index))) {
            return false;
        }
    }
    return true;
}

bool TreeReFiling::FileInOrder(const TreeSiblings& siblings) {
    for (std::size_t at = 0; at < order_.size(); ++at) {
        if (!sortsLeaves_) {
            siblings.Unmade().PrefetchTextsNear(at);  // the sort has read them otherwise
        }
        const std::uint32_t index = order_[at];
        if (siblings.IsUnmade(index) ? !FileUnmade(siblings, index)
                                     : !FileNode(*siblings.At(index))) {
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
        const Source& source = at_[oldDepths_[depth]];
        isShared = isShared && step.source == source.number;
        if (!isShared) {
            const ETabulonValue& value = *source.value;
            EDataTreeNode* const child = filing_.Step(*node, depth, value, /*mayMake=*/true);
            if (child == nullptr || !NodeAccess::Value(*child).IsIdenticalTo(value)) {
                return nullptr;
            }
            step = {source.number, child};
        }
        node = step.node;
    }
    return node;
}

bool TreeReFiling::FileUnmade(const TreeSiblings& siblings, std::size_t index) {
    const std::size_t at = index - siblings.MadeSize();
    siblings.Unmade().ReadValue(at, leafValue_);
    StandAt(levels_.size() - 1, leafValue_);
    return FileLeaf(siblings.Unmade().Key(at)).isIdentical;
}

bool TreeReFiling::FileNode(const EDataTreeNode& leaf) {
    if (NodeAccess::OwnsTag(leaf) || !leaf.IsTreeLeaf()) {
        return false;
    }
    StandAt(levels_.size() - 1, NodeAccess::Value(leaf));
    const TreeKeyWord key = NodeAccess::KeyWord(leaf);
    const TreeLeafFiling::Result filed = FileLeaf(key);
    if (filed.isIdentical && key.form == TreeKeyForm::Whole) {
        NodeAccess::SetKey(TreeLeafFiling::NodeOf(filed.leaf), NodeAccess::WholeKey(leaf));
    }
    return filed.isIdentical;
}

/// Files the leaf at hand. No leaf with an identical value: only a replay gives the right tree.
TreeLeafFiling::Result TreeReFiling::FileLeaf(TreeKeyWord key) {
    EDataTreeNode* const parent = FindParent();
    if (parent == nullptr) {
        return {};
    }
    const std::size_t oldDepth = oldDepths_.back();
    return filing_.Leaves().File(*parent, levels_[oldDepth], *at_[oldDepth].value, key);
}

}  // namespace etabulon::detail
