#pragma once

#include "etabulon/tree/EDataTreeNode.h"

#include <span>

// The fast path to the node of a tag: from the top down, one lookup by value for each level. The
// general case climbs from the tag to its parents, each of which is a tag of its own, and so costs
// the square of the number of levels. Both find the same node.

namespace etabulon::detail {

using TreeLevels = std::span<const unsigned int>;

/// The visible levels that the tag holds, if they are an unbroken run from the top. Empty if they
/// aren't, or if some level has more than one sort key.
[[nodiscard]] TreeLevels LeadingLevels(const ETabulonTag& tag, const ETabulonSortDesc& sort);

/// The lowest node at or below `node` that stands for the tag's values of the first of `levels`.
/// Null where `node` doesn't, or where a child on the way can't be found by value alone.
[[nodiscard]] EDataTreeNode* Descend(EDataTreeNode& node, const ETabulonTag& tag,
                                     TreeLevels levels);

}  // namespace etabulon::detail
