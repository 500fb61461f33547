#pragma once

#include "cross/CrossLookup.h"
#include "etabulon/cross/ECrossOrder.h"
#include "etabulon/foundation/Chaine.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// Sorts the nodes of one depth of an axis, those of one parent together.
///
/// The keys become numbers, which a radix sort orders. Comparison texts of labels are made only
/// for nodes that are equal in all keys and may be shown.
class CrossSort {
public:
    /// `parents` has the parent of each node; it is empty for the first depth.
    CrossSort(const CrossLookup& lookup, ECrossSide side, std::uint32_t depth,
              const ECrossAxisOrder& order, std::span<const std::uint32_t> parents);
    [[nodiscard]] std::vector<std::uint32_t> Sorted();

private:
    using Keys = std::vector<std::uint64_t>;
    using NodeIterator = std::vector<std::uint32_t>::iterator;

    void AddKey(const ECrossKey& key);
    void AddResults(const ECrossKey& key);
    void AddLabels(std::size_t column);
    [[nodiscard]] bool AreTied(std::uint32_t a, std::uint32_t b) const;
    void SortTies(NodeIterator first, NodeIterator last);
    [[nodiscard]] const ETabulonSortDesc& SortDesc() const noexcept {
        return *lookup_.Cells().Desc().SortDesc();
    }

    const CrossLookup& lookup_;
    ECrossSide side_;
    std::uint32_t depth_;
    const ECrossAxisOrder& order_;
    std::span<const std::uint32_t> parents_;
    const TagIndex& labels_;
    std::uint32_t count_;
    std::vector<Keys> keys_;
    struct TiedLevel {
        std::size_t column;  // in labels_
        bool isFalling;
    };
    std::vector<TiedLevel> tiedLevels_;
    struct Tied {
        std::uint32_t node;
        std::size_t texts;  // the index of its first text
    };
    std::vector<Tied> tied_;
    std::vector<Chaine> texts_;
};

}  // namespace etabulon::detail
