#pragma once

#include "etabulon/tree/EDataTreeNode.h"

namespace etabulon::detail {

class TreeRefreshMarks;

/// Files a record's tag at or below `start` without a walk: what EDataTreeNode::AddChild does.
/// Returns the node that stands for the tag; null for a tag that has only hidden values, and for
/// one that doesn't belong below `start`.
EDataTreeNode* FileTag(EDataTreeNode& start, const ETabulonTag& tag);

/// The general method, for tags with gaps, levels that have two sort keys, and nodes of levels that
/// have changed since: finds or makes the parent first, which is filed by its own parent tag.
/// `tag` has no hidden value. `marks` are those of a running refresh, null without one.
EDataTreeNode* FileByParents(EDataTreeNode& node, const ETabulonTag& tag,
                             const ETabulonSortDesc& sort, TreeRefreshMarks* marks);

}  // namespace etabulon::detail
