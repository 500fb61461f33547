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
        CrossPlace place;  // of others: the place whose last children they are
        std::uint32_t firstOther = 0;
        std::uint32_t otherCount = 0;
    };

    CrossAxis(const CrossLookup& lookup, ECrossSide side, const ECrossAxisOrder& order);

    [[nodiscard]] std::span<const Entry> Entries() const noexcept { return entries_; }
    /// The nodes of an entry of others, one level below its place.
    [[nodiscard]] std::span<const std::uint32_t> Others(const Entry& entry) const noexcept {
        return std::span(depths_[entry.place.depth].nodes)
            .subspan(entry.firstOther, entry.otherCount);
    }

private:
    /// The nodes of a depth in order, those of one parent together.
    struct Depth {
        std::vector<std::uint32_t> nodes;
        std::vector<std::uint32_t> starts;  // in `nodes`, of each parent's children, and the end
    };
    void AddEntries(CrossPlace parent, const ECrossAxisOrder& order);

    std::vector<Depth> depths_;  // that of depth 1 first
    std::vector<Entry> entries_;
};

}  // namespace etabulon::detail
