#include "tree/TreeFileTag.h"

#include "tree/NodeAccess.h"
#include "tree/TreeLookup.h"
#include "tree/TreeRefreshMarks.h"

#include <cstddef>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

/// Makes the nodes below `node` that stand for the tag's values, down to the last of `levels`.
EDataTreeNode* AddBranch(EDataTreeNode& above, const ETabulonTag& tag, TreeLevels levels,
                         const ETabulonSortDesc& sort) {
    EDataTreeNode* node = &above;
    if (!NodeAccess::SamePathAs(above, tag) && NodeAccess::MakesPlainNodes(above)) {
        // The tag spells values above in another way: the first new node keeps the tag as it is
        // written, and those below need none of their own.
        ETabulonTag part;
        for (const unsigned int level : levels.first(above.Depth() + 1)) {
            part.Slot(level) = *tag.Find(level);
        }
        node = NodeAccess::TakeChild(above, NodeAccess::MakeChild(above, part, sort));
    }
    const std::size_t all = sort.SortLevelCount(kInTree);
    while (node->Depth() < levels.size()) {
        if (!NodeAccess::IsByValue(*node) || !NodeAccess::MakesPlainNodes(*node)) {
            return FileByParents(*node, sort.RemoveHiddenValues(tag, kInTree), sort, nullptr);
        }
        const unsigned int level = levels[node->Depth()];
        const bool isLeaf = std::size_t{node->Depth()} + 1 == all;
        node = NodeAccess::TakeChild(*node,
                                     NodeAccess::MakeChild(*node, level, *tag.Find(level), isLeaf));
    }
    return node;
}

}  // namespace

EDataTreeNode* FileTag(EDataTreeNode& start, const ETabulonTag& tag) {
    const ETabulonSortDesc& sort = NodeAccess::SortDesc(start);
    const TreeLevels levels = LeadingLevels(tag, sort);
    EDataTreeNode* const met = levels.empty() ? nullptr : Descend(start, tag, levels);
    if (met == nullptr) {
        return FileByParents(start, sort.RemoveHiddenValues(tag, kInTree), sort, nullptr);
    }
    for (EDataTreeNode* node = met; node != &start; node = node->Parent()) {
        NodeAccess::SetDirty(*node, /*dirty=*/false);
    }
    return met->Depth() == levels.size() ? met : AddBranch(*met, tag, levels, sort);
}

EDataTreeNode* FileByParents(EDataTreeNode& node, const ETabulonTag& tag,
                             const ETabulonSortDesc& sort, TreeRefreshMarks* marks) {
    if (tag.IsRoot()) {
        return nullptr;
    }
    if (NodeAccess::HasTag(node, tag)) {
        return &node;
    }
    if (EDataTreeNode* const child = NodeAccess::FindChild(node, tag)) {
        if (marks != nullptr) {
            marks->Meet(*child);
        }
        NodeAccess::SetDirty(*child, /*dirty=*/false);
        return child;
    }
    const ETabulonTag parentTag = sort.GetParentTag(tag, kInTree);
    if (!NodeAccess::HasTag(node, parentTag)) {
        // Further down: the nodes between are made from the top. With a level that has two sort
        // keys a tag can be its own parent, which leads nowhere.
        EDataTreeNode* const parent =
            parentTag == tag ? nullptr : FileByParents(node, parentTag, sort, marks);
        return parent != nullptr ? FileByParents(*parent, tag, sort, marks) : nullptr;
    }
    ERef<EDataTreeNode> child = NodeAccess::MakeChild(node, tag, sort);
    return marks != nullptr ? marks->Take(node, std::move(child))
                            : NodeAccess::TakeChild(node, std::move(child));
}

}  // namespace etabulon::detail
