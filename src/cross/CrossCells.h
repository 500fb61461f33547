#pragma once

#include "etabulon/cross/ECrossOrder.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "score/ScoreCells.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

[[nodiscard]] constexpr ECrossSide Opposite(ECrossSide side) noexcept {
    return side == ECrossSide::Lines ? ECrossSide::Columns : ECrossSide::Lines;
}

/// A node of an axis: a label of the first `depth` levels.
struct CrossNode {
    std::uint32_t depth = 0;  // 0: the whole axis
    std::uint32_t index = 0;  // the label's line in the group of this depth alone
};

/// The cells, totals and subtotals of a cross table whose axes may have several levels each: a
/// group for each depth of the lines with each depth of the columns. Each group folds the records
/// itself, so that a subtotal is exact for every function.
///
/// Ownership  counted: tables that are arranged from the cells share them.
class CrossCells : public virtual ECountedUnknown {
public:
    using Levels = std::vector<unsigned int>;

    /// Levels that the root holds make no depth. Requires that no level is named twice.
    CrossCells(const ETabulonTag& root, const ETabulonSortDesc& sortDesc,
               const ITabulonCumulFuncOnVarCollection& calculations, const Levels& lines,
               const Levels& columns);
    /// The cells of a score: its label is the one depth of the lines.
    CrossCells(ERef<ETabulonScoreCumuls> desc, ERef<ScoreCells> cells);

    [[nodiscard]] bool IsComputeTag(const ETabulonTag& tag) const {
        return desc_->IsComputeTag(tag);
    }
    void Add(const ETabulonTag& position, std::span<const EVariant* const> values,
             const ETabulonPrimaryKey* context);
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] bool NeedsContext() const noexcept { return Any().NeedsContext(); }

    /// The description of one group, which has the calculations.
    [[nodiscard]] ETabulonScoreCumuls& Desc() const noexcept { return *desc_; }
    [[nodiscard]] std::uint32_t Depth(ECrossSide side) const noexcept {
        return depth_[static_cast<std::size_t>(side)];
    }
    /// The levels that a depth adds to the label, for depths from 1 on.
    [[nodiscard]] const Levels& LevelsAt(ECrossSide side, std::uint32_t depth) const noexcept {
        return levels_[static_cast<std::size_t>(side)][depth - 1];
    }
    /// The group of these depths. Requires that one of them isn't 0.
    [[nodiscard]] ScoreCells& Group(std::uint32_t lineDepth,
                                    std::uint32_t columnDepth) const noexcept {
        return *groups_[IndexOf(lineDepth, columnDepth)];
    }
    /// The group of the labels of one axis.
    [[nodiscard]] ScoreCells& Labels(ECrossSide side, std::uint32_t depth) const noexcept {
        return side == ECrossSide::Lines ? Group(depth, 0) : Group(0, depth);
    }
    /// Some group: there is always one.
    [[nodiscard]] ScoreCells& Any() const noexcept { return *groups_.back(); }
    [[nodiscard]] std::size_t IndexOf(std::uint32_t lineDepth,
                                      std::uint32_t columnDepth) const noexcept {
        return std::size_t{lineDepth} * (depth_[1] + 1) + columnDepth;
    }

private:
    ~CrossCells() override = default;

    ERef<ETabulonScoreCumuls> desc_;
    std::uint32_t depth_[2] = {0, 0};
    std::vector<Levels> levels_[2];
    /// At IndexOf. The first, of no level, is null unless no axis has a level.
    std::vector<ERef<ScoreCells>> groups_;
};

}  // namespace etabulon::detail
