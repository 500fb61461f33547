#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <algorithm>

// The short road to the node of a tag: from the top down, one lookup by value for each level. The
// general road of AddVChild and Get climbs from the tag to its parents, each a tag of its own,
// which costs the square of the number of levels. Both come to the same node.

namespace etabulon {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

using Levels = std::span<const unsigned>;

}  // namespace

/// The levels shown that the tag holds, where they are an unbroken run from the top; none
/// otherwise, and where the levels shown aren't told apart by one key each.
Levels EDataTreeNode::RunOf(const ETabulonTag& tag, const ETabulonSortDesc& sort) {
    if (!sort.HasLevelsOnce(kInTree)) {
        return {};
    }
    const auto holds = [&tag](unsigned level) { return tag.HasValue(level); };
    const Levels shown = sort.VisibleLevels(kInTree);
    const auto gap = std::find_if_not(shown.begin(), shown.end(), holds);
    return std::none_of(gap, shown.end(), holds)
               ? shown.first(static_cast<std::size_t>(gap - shown.begin()))
               : Levels();
}

/// The nodes from the root down to this one stand for the first of `levels`, by the tag's values.
bool EDataTreeNode::LeadsTo(const ETabulonTag& tag, Levels levels) const {
    if (!byValue_ || depth_ > levels.size()) {
        return false;
    }
    for (const EDataTreeNode* node = this; node->parent_ != nullptr; node = node->parent_) {
        if (node->level_ != levels[node->depth_ - 1] ||
            !(*tag.Find(node->level_) == node->value_)) {
            return false;
        }
    }
    return true;
}

/// The lowest node that stands for the tag's values of the first of `levels`. Null where this node
/// doesn't, or where a child on the way can't be found by value alone.
EDataTreeNode* EDataTreeNode::Descend(const ETabulonTag& tag, Levels levels) {
    if (!LeadsTo(tag, levels)) {
        return nullptr;
    }
    EDataTreeNode* node = this;
    while (node->depth_ < levels.size()) {
        const unsigned level = levels[node->depth_];
        if (!node->children_.IsOnlyOf(level)) {
            return nullptr;
        }
        EDataTreeNode* const child = node->children_.FindByValue(*tag.Find(level));
        if (child == nullptr) {
            break;
        }
        node = child;
    }
    return node;
}

EDataTreeNode* EDataTreeNode::AddChild(const ETabulonTag& tag) {
    SettleLate();
    const ETabulonSortDesc& sort = SortDesc();
    const Levels levels = RunOf(tag, sort);
    EDataTreeNode* const met = levels.empty() ? nullptr : Descend(tag, levels);
    if (met == nullptr) {
        return AddVChild(sort.RemoveHiddenValues(tag, kInTree), nullptr);
    }
    for (EDataTreeNode* node = met; node != this; node = node->parent_) {
        node->dirty_ = false;
    }
    return met->depth_ == levels.size() ? met : met->NewBranch(tag, levels, sort);
}

/// Makes the nodes below this one that stand for the tag's values, down to the last of `levels`.
EDataTreeNode* EDataTreeNode::NewBranch(const ETabulonTag& tag, Levels levels,
                                        const ETabulonSortDesc& sort) {
    EDataTreeNode* node = this;
    if (!node->SamePathAs(tag) && node->MakesPlainNodes()) {
        // Equal values in another spelling above: the first new node keeps the tag as it is
        // written, and those below do without.
        ETabulonTag part;
        for (const unsigned level : levels.first(depth_ + 1)) {
            part.Slot(level) = *tag.Find(level);
        }
        node = node->NewChild(part, nullptr);
    }
    const std::size_t all = sort.SortLevelCount(kInTree);
    while (node->depth_ < levels.size()) {
        if (!node->byValue_ || !node->MakesPlainNodes()) {
            return node->AddVChild(sort.RemoveHiddenValues(tag, kInTree), nullptr);
        }
        const unsigned level = levels[node->depth_];
        const bool isLeaf = std::size_t{node->depth_} + 1 == all;
        node = node->NewChild(level, *tag.Find(level), isLeaf, nullptr);
    }
    return node;
}

EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) {
    SettleLate();
    if (HasTag(tag)) {
        return this;
    }
    const Levels levels = RunOf(tag, SortDesc());
    if (!levels.empty() && levels.size() == tag.KnownLevelsCount()) {
        if (EDataTreeNode* const met = Descend(tag, levels); met != nullptr) {
            return met->depth_ == levels.size() ? met : nullptr;
        }
    }
    return GetByParents(tag);
}

const EDataTreeNode* EDataTreeNode::Get(const ETabulonTag& tag) const {
    return const_cast<EDataTreeNode*>(this)->Get(tag);
}

}  // namespace etabulon
