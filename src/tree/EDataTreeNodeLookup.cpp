#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeLookup.h"

namespace etabulon {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

}  // namespace

EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) {
    FlushWalks();
    if (HasTag(tag)) {
        return this;
    }
    const detail::TreeLevels levels = detail::LeadingLevels(tag, SortDesc());
    if (!levels.empty() && levels.size() == tag.KnownLevelsCount()) {
        if (EDataTreeNode* const met = detail::Descend(*this, tag, levels); met != nullptr) {
            return met->depth_ == levels.size() ? met : nullptr;
        }
    }
    return GetByParents(tag);
}

const EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) const {
    return const_cast<EDataTreeNode*>(this)->Get(tag);
}

EDataTreeNode* EDataTreeNode::GetByParents(const ETabulonTag& tag) {
    if (HasTag(tag)) {
        return this;
    }
    if (EDataTreeNode* const child = FindChild(tag)) {
        return child;
    }
    if (tag.IsRoot()) {
        return nullptr;
    }
    const ETabulonTag parentTag = SortDesc().GetParentTag(tag, kInTree);
    if (HasTag(parentTag) || parentTag == tag) {
        // It would be a direct child; or a level has two sort keys, and there is no way up.
        return nullptr;
    }
    EDataTreeNode* const parent = GetByParents(parentTag);
    return parent != nullptr ? parent->GetByParents(tag) : nullptr;
}

EDataTreeNode* EDataTreeNode::FindChild(const ETabulonTag& tag) const {
    if (byValue_ && tag.KnownLevelsCount() == depth_ + 1 && children_.HasByValue() &&
        IsOnPathOf(tag)) {
        const ETabulonValue* value = tag.Find(children_.Level());
        EDataTreeNode* child = value != nullptr ? children_.FindByValue(*value) : nullptr;
        if (child != nullptr) {
            return child;
        }
    }
    return children_.FindIrregular(tag);
}

}  // namespace etabulon
