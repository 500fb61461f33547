#include "tree/TreeLookup.h"

#include "tree/NodeAccess.h"

#include <algorithm>
#include <cstddef>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

/// The nodes from the root down to this one stand for the first of `levels`, by the tag's values.
bool LeadsTo(const EDataTreeNode& start, const ETabulonTag& tag, TreeLevels levels) {
    if (!NodeAccess::IsByValue(start) || start.Depth() > levels.size()) {
        return false;
    }
    for (const EDataTreeNode* node = &start; node->Parent() != nullptr; node = node->Parent()) {
        const unsigned int level = NodeAccess::Level(*node);
        if (level != levels[node->Depth() - 1] || !(*tag.Find(level) == NodeAccess::Value(*node))) {
            return false;
        }
    }
    return true;
}

}  // namespace

TreeLevels LeadingLevels(const ETabulonTag& tag, const ETabulonSortDesc& sort) {
    if (!sort.HasLevelsOnce(kInTree)) {
        return {};
    }
    const auto holds = [&tag](unsigned int level) { return tag.HasValue(level); };
    const TreeLevels shown = sort.VisibleLevels(kInTree);
    const auto gap = std::find_if_not(shown.begin(), shown.end(), holds);
    return std::none_of(gap, shown.end(), holds)
               ? shown.first(static_cast<std::size_t>(gap - shown.begin()))
               : TreeLevels();
}

EDataTreeNode* Descend(EDataTreeNode& node, const ETabulonTag& tag, TreeLevels levels) {
    if (!LeadsTo(node, tag, levels)) {
        return nullptr;
    }
    EDataTreeNode* lowest = &node;
    while (lowest->Depth() < levels.size()) {
        const unsigned int level = levels[lowest->Depth()];
        const TreeChildren& children = NodeAccess::Children(*lowest);
        if (!children.IsOnlyOf(level)) {
            return nullptr;
        }
        EDataTreeNode* const child = children.FindByValue(*tag.Find(level));
        if (child == nullptr) {
            break;
        }
        lowest = child;
    }
    return lowest;
}

}  // namespace etabulon::detail
