#pragma once

#include "cross/CrossLookup.h"
#include "etabulon/cross/ECrossOrder.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// An axis as it is arranged: its entries in order. Keeps indexes only.
class CrossAxis {
public:
    enum class Part : std::uint8_t { Detail = 0, Subtotal = 1, Others = 2 };
    struct Entry {
        Part part = Part::Detail;
        CrossNode node;  // for others: the parent node
        std::uint32_t firstOther = 0;
        std::uint32_t otherCount = 0;
    };

    CrossAxis(const CrossLookup& lookup, ECrossSide side, const ECrossAxisOrder& order);

    [[nodiscard]] std::span<const Entry> Entries() const noexcept { return entries_; }
    /// The nodes that an entry of others stands for: children of its parent node.
    [[nodiscard]] std::span<const std::uint32_t> Others(const Entry& entry) const noexcept {
        return std::span(depths_[entry.node.depth].nodes)
            .subspan(entry.firstOther, entry.otherCount);
    }

private:
    /// The nodes of a depth in order, those of one parent together.
    struct Depth {
        std::vector<std::uint32_t> nodes;
        std::vector<std::uint32_t> starts;  // in `nodes`, of each parent's children, and the end
    };
    void AddEntries(CrossNode parent, const ECrossAxisOrder& order);

    std::vector<Depth> depths_;  // from depth 1 on
    std::vector<Entry> entries_;
};

}  // namespace etabulon::detail
