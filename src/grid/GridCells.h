#pragma once

#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/foundation/ERef.h"
#include "grid/TagIndex.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonExtractValue;
class ETabulonGridCumuls;

namespace detail {

/// The cells and totals of a grid, in rows of accumulators. A cell's row bears the number of its
/// detail, so that finding the one is finding the other.
///
/// A cell is the root and one value for each data axis. Totals are the root alone, and for each
/// data axis the root and one value of it.
class GridCells {
public:
    static constexpr std::uint32_t kNone = TagIndex::kNone;

    explicit GridCells(ETabulonGridCumuls& desc);

    /// Folds a record that lies at or below the root. The generation is that of the position: see
    /// ETabulonCursor::TagGeneration.
    void Add(const ETabulonTag& position, std::span<const EVariant* const> values,
             const ETabulonPrimaryKey* context, std::uint64_t generation = 0);
    [[nodiscard]] bool NeedsContext() const noexcept { return cells_.NeedsContext(); }
    /// The extract's value for each calculation, in their order. Good until the next call.
    [[nodiscard]] std::span<const EVariant* const> ValuesOf(const ETabulonExtractValue& extract);

    [[nodiscard]] bool IsEmpty() const noexcept { return cells_.Rows() == 0; }
    [[nodiscard]] const TagIndex& Index() const noexcept { return index_; }
    [[nodiscard]] std::span<const ERef<ETabulonCumulFuncOnVar>> Calculations() const noexcept {
        return calculations_;
    }
    /// The column of a data axis in the index; -1 for what isn't one.
    [[nodiscard]] int ColumnOfAxe(unsigned int axe) const noexcept {
        return axe < axes_.size() ? static_cast<int>(axes_[axe].column) : -1;
    }

    // --- rows, for Result; kNone where no record fell ---
    [[nodiscard]] std::uint32_t FirstCell() const noexcept { return CellOfDetail(0); }
    [[nodiscard]] std::uint32_t Cell(std::span<const std::uint32_t> numbers) const;
    [[nodiscard]] std::uint32_t CellOfDetail(std::uint32_t detail) const noexcept {
        return detail < cells_.Rows() ? detail : kNone;
    }
    [[nodiscard]] std::uint32_t GrandTotal() const noexcept {
        return totals_.Rows() == 0 ? kNone : kTotals;
    }
    /// Of a number of an axis. Kept for the two axes of a grid that sends such totals only.
    [[nodiscard]] std::uint32_t Total(unsigned int axe, std::uint32_t number) const noexcept;
    /// Says that the row of a cell is soon to be read.
    void Prefetch(std::uint32_t cell) const noexcept {
        if (cell != kNone) {
            __builtin_prefetch(cells_.RowAt(cell));
        }
    }
    /// ValNull for kNone, and for a calculation that there isn't.
    [[nodiscard]] ETabulonValue Result(std::uint32_t row, unsigned int calculation) const;

private:
    struct Axe {
        std::size_t column;
        bool isInRoot;
        bool keepsTotals;
    };
    // Added to the number of a row of totals_, where cells and totals are spoken of alike.
    static constexpr std::uint32_t kTotals = 0x80000000;

    [[nodiscard]] std::byte* PlaceOfCell(std::uint32_t detail);
    [[nodiscard]] std::byte* PlaceOfTotal(std::vector<std::uint32_t>& rows, std::uint32_t number);
    void AddTotal(std::vector<std::uint32_t>& rows, std::uint32_t number);

    TagIndex index_;
    CumulCells cells_;  // by detail
    CumulCells totals_;
    std::vector<ERef<ETabulonCumulFuncOnVar>> calculations_;
    std::vector<Axe> axes_;
    std::vector<std::vector<std::uint32_t>> totalRows_;  // in totals_, by column and number
    std::vector<std::byte*> folded_;                     // the places of one record
    std::vector<const EVariant*> values_;
};

}  // namespace detail
}  // namespace etabulon
