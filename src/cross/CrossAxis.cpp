#include "cross/CrossAxis.h"

#include "cross/CrossSort.h"

#include <algorithm>

namespace etabulon::detail {

CrossAxis::CrossAxis(const CrossLookup& lookup, ECrossSide side, const ECrossAxisOrder& order) {
    const std::uint32_t depthCount = lookup.Cells().Depth(side);
    for (std::uint32_t depth = 1; depth <= depthCount; ++depth) {
        std::vector<std::uint32_t> parents;
        if (depth > 1) {
            parents = lookup.Parents(side, depth);
        }
        Depth& added = depths_.emplace_back();
        added.nodes = CrossSort(lookup, side, depth, order, parents).Sorted();
        added.starts.resize(depth == 1 ? 2 : lookup.NodeCount(side, depth - 1) + std::size_t{1});
        for (const std::uint32_t node : added.nodes) {
            ++added.starts[parents.empty() ? 1 : parents[node] + std::size_t{1}];
        }
        for (std::size_t parent = 1; parent < added.starts.size(); ++parent) {
            added.starts[parent] += added.starts[parent - 1];
        }
    }
    if (depthCount != 0) {
        AddEntries({}, order);
    }
}

// Its depth of recursion is the number of the axis's levels.
void CrossAxis::AddEntries(CrossNode parent, const ECrossAxisOrder& order) {
    const Depth& own = depths_[parent.depth];
    const std::uint32_t first = own.starts[parent.index];
    const std::uint32_t count = own.starts[parent.index + 1] - first;
    const std::uint32_t shown = std::min(count, order.MostAt(parent.depth));
    for (std::uint32_t at = first; at < first + shown; ++at) {
        const CrossNode node{parent.depth + 1, own.nodes[at]};
        if (node.depth == depths_.size()) {
            entries_.push_back({Part::Detail, node});
            continue;
        }
        AddEntries(node, order);
        if (order.hasSubtotals) {
            entries_.push_back({Part::Subtotal, node});
        }
    }
    if (shown < count && !order.others.IsEmpty()) {
        entries_.push_back({Part::Others, parent, first + shown, count - shown});
    }
}

}  // namespace etabulon::detail
