#pragma once

#include "cross/CrossCells.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// Finds the cells of a cross table by the nodes of its axes. Each group numbers the values of its
/// labels itself; the lookup translates the numbers of the axes' groups into those of the cells'.
///
/// Ownership  `cells` isn't owned and must outlive this.
/// Threads    one at a time, const operations included. Valid until a record is added.
/// Cost       a lookup allocates nothing once the group's numbers are translated.
class CrossLookup {
public:
    static constexpr std::uint32_t kNone = TagIndex::kNone;

    explicit CrossLookup(const CrossCells& cells) : cells_(cells) {}

    /// A cell in its group. `line` is kTotal for the total of all, and kNone without records.
    struct Row {
        static constexpr std::uint32_t kTotal = 0xFFFFFFFE;
        const ScoreCells* group;
        std::uint32_t line;
    };
    [[nodiscard]] Row Find(CrossNode line, CrossNode column) const;
    [[nodiscard]] Row Find(ECrossSide side, CrossNode own, CrossNode across) const {
        return side == ECrossSide::Lines ? Find(own, across) : Find(across, own);
    }
    /// Reads a cell's result; ValNull without records.
    static void Read(const Row& row, unsigned int calculation, ETabulonValue& result);

    [[nodiscard]] const CrossCells& Cells() const noexcept { return cells_; }
    [[nodiscard]] const TagIndex& Labels(ECrossSide side, std::uint32_t depth) const noexcept {
        return cells_.Labels(side, depth).Labels();
    }
    [[nodiscard]] std::uint32_t NodeCount(ECrossSide side, std::uint32_t depth) const noexcept {
        return cells_.Labels(side, depth).LineCount();
    }
    /// For a depth from 2 on: the parent of each node, by their indexes.
    [[nodiscard]] std::vector<std::uint32_t> Parents(ECrossSide side, std::uint32_t depth) const;
    /// The node of the tag's values at as many of the side's levels as it has without a gap, from
    /// the first on. Its index is kNone if there is no such label.
    [[nodiscard]] static CrossNode NodeOf(const CrossCells& cells, ECrossSide side,
                                          const ETabulonTag& tag);
    /// The node of this depth for the tag's values; a level without one counts as missing there.
    /// `numbers` is scratch.
    using Numbers = std::vector<std::uint32_t>;
    [[nodiscard]] static CrossNode NodeOf(const CrossCells& cells, ECrossSide side,
                                          std::uint32_t depth, const ETabulonTag& tag,
                                          Numbers& numbers);

private:
    /// For each column of an axis's group, the cells' number for each of the axis's numbers.
    using Translation = std::vector<Numbers>;
    struct Group {
        bool isReady = false;
        Numbers numbers;                 // scratch: of the last line and the last column
        std::uint32_t lastLine = kNone;  // whose numbers these are
        Translation lines;
        Translation columns;
    };
    [[nodiscard]] static Translation Translate(const TagIndex& from, const TagIndex& into,
                                               std::size_t firstColumn, std::size_t columns);
    static void Append(const TagIndex& labels, std::uint32_t node, const Translation& translation,
                       std::uint32_t* numbers);

    const CrossCells& cells_;
    mutable std::vector<Group> groups_;  // at CrossCells::IndexOf
};

}  // namespace etabulon::detail
