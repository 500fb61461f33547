#pragma once

#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "foundation/PairNumbers.h"
#include "grid/BlockDetails.h"
#include "grid/ResultParts.h"
#include "grid/TagIndex.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// The states of a tree's leaves, in rows of accumulators by the leaf's number, and of the nodes
/// above them.
///
/// A leaf is a value for each level, whatever the order of these. The nodes above are groups of
/// leaves under one order of the levels: a group of a depth is numbered by the group above it and
/// its value's number.
class TreeTotals {
public:
    TreeTotals(const ITabulonCumulFuncOnVarCollection& calculations,
               std::span<const unsigned int> levels);

    /// Whether the leaves have just these levels, in any order.
    [[nodiscard]] bool HasLevels(std::span<const unsigned int> levels) const;

    /// Begins a walk below the tag and clears the leaves there. If the tag has values at levels
    /// that the leaves lack, and they differ from the first walk's, the walk is ignored: it meets
    /// only a part of its leaves' records.
    void Begin(const ETabulonTag& below);
    void Add(const ETabulonExtractValue& extract);
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);
    /// The walk failed: restores the previous states of the leaves that had records.
    void TakeBack();

    /// `order` has the levels as the tree has them.
    void ReadResult(const ETabulonTag& node, std::span<const unsigned int> order,
                    unsigned int calculation, ETabulonValue& result);

private:
    /// Rows by leaf, and which of them have records.
    struct Leaves {
        explicit Leaves(const ITabulonCumulFuncOnVarCollection& calculations)
            : rows(calculations) {}
        [[nodiscard]] bool Has(std::uint32_t leaf) const noexcept {
            return leaf < hasRecords.size() && hasRecords[leaf];
        }
        [[nodiscard]] bool HasAny() const {
            return std::ranges::find(hasRecords, true) != hasRecords.end();
        }
        void Grow(std::uint32_t size) {
            rows.AddRows(size);
            hasRecords.resize(size);
        }
        void Forget(std::uint32_t leaf) {
            rows.ResetRow(leaf);
            hasRecords[leaf] = false;
        }
        /// Requires that the leaf has no records here.
        void CopyFrom(const Leaves& other, std::uint32_t leaf) {
            std::byte* const row[] = {rows.RowAt(leaf)};
            rows.Merge(row, other.rows, leaf);
            hasRecords[leaf] = true;
        }

        CumulCells rows;
        std::vector<bool> hasRecords;
    };
    /// The groups of one depth.
    struct Depth {
        std::size_t column;  // in the index
        PairNumbers groups;  // of the group above and the value's number
        CumulCells rows;
    };

    /// For each leaf, whether it is at or below the tag.
    [[nodiscard]] std::vector<bool> FindBelow(const ETabulonTag& tag) const;
    void Arrange(std::span<const unsigned int> order);
    void AddToGroups(std::uint32_t leaf);
    /// The numbers of the tag's values by column, and how many of the depths lead to it.
    [[nodiscard]] std::size_t ReadNumbers(const ETabulonTag& node);

    ETabulonCumulFuncOnVarCollection description_;
    TagIndex index_;
    CalculationList calculations_;
    Leaves leaves_;
    Leaves before_;      // those below the last walk's tag, as they were
    ETabulonTag scope_;  // the walks' values at levels that the leaves don't have
    bool skips_ = false;
    BlockDetails details_;
    std::vector<unsigned int> valueColumns_;  // in the block, of each calculation
    std::vector<std::byte*> folded_;          // scratch: the rows of a block's leaves

    // Computed when results are read.
    std::vector<unsigned int> order_;
    std::vector<Depth> depths_;
    bool isArranged_ = false;
    std::vector<std::uint32_t> numbers_;  // scratch
    std::vector<std::byte*> rows_;        // scratch
};

}  // namespace etabulon::detail
