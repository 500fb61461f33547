#pragma once

#include "cumul/CumulCells.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "grid/BlockDetails.h"
#include "grid/PairRows.h"
#include "grid/ResultParts.h"
#include "grid/TagIndex.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonCursor;
class ETabulonGridCumuls;
struct EBlockRequest;

namespace detail {

/// The cells and totals of a grid, in rows of accumulators. A cell's row has the number of its
/// detail in the index.
///
/// A cell is the root and one value for each data axis. Totals are the root alone, and for each
/// data axis the root and one value of it.
class GridCells {
public:
    static constexpr std::uint32_t kNone = TagIndex::kNone;

    explicit GridCells(ETabulonGridCumuls& desc);

    /// Folds a record that lies at or below the root. `generation` is ETabulonCursor::TagGeneration
    /// of `position`.
    void Add(const ETabulonTag& position, std::span<const EVariant* const> values,
             const ETabulonPrimaryKey* context, std::uint64_t generation = 0);
    /// The same for a group of records, by the one row of their cells.
    void AddPartial(const ETabulonTag& position, const CumulCells& partial);
    /// Asks for what AddBlock reads. False for calculations whose records must come one by one.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    /// Adds records that lie at or below the root, in their order. The same as Add for each.
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] bool NeedsContext() const noexcept { return cells_.NeedsContext(); }
    /// The extract's value for each calculation, in their order. Valid until the next call.
    [[nodiscard]] std::span<const EVariant* const> ValuesOf(const ETabulonExtractValue& extract) {
        return calculations_.ValuesOf(extract);
    }

    [[nodiscard]] bool IsEmpty() const noexcept { return cells_.Rows() == 0; }
    [[nodiscard]] const TagIndex& Index() const noexcept { return index_; }
    [[nodiscard]] std::span<const ERef<ETabulonCumulFuncOnVar>> Calculations() const noexcept {
        return calculations_.All();
    }
    /// The column of a data axis in the index; -1 for another axis.
    [[nodiscard]] int ColumnOfAxe(unsigned int axe) const noexcept {
        return axe < axes_.size() ? static_cast<int>(axes_[axe].column) : -1;
    }

    // ------------------------------------------------ rows, for ReadResult; kNone without a record
    [[nodiscard]] std::uint32_t FirstCell() const noexcept { return CellOfDetail(0); }
    [[nodiscard]] std::uint32_t Cell(std::span<const std::uint32_t> numbers) const;
    [[nodiscard]] std::uint32_t CellOfDetail(std::uint32_t detail) const noexcept {
        return detail < cells_.Rows() ? detail : kNone;
    }
    [[nodiscard]] std::uint32_t GrandTotal() const noexcept {
        return totals_.Rows() == 0 ? kNone : kTotals;
    }
    /// The total at a value number of an axis. Only a grid that sends such totals keeps them, and
    /// only for its first two axes.
    [[nodiscard]] std::uint32_t Total(unsigned int axe, std::uint32_t number) const noexcept;
    /// Prefetches the row of a cell.
    void Prefetch(std::uint32_t cell) const noexcept {
        if (cell != kNone) {
            PrefetchToRead(cells_.RowAt(cell));
        }
    }
    /// ValNull for kNone, and for an index without a calculation.
    void ReadResult(std::uint32_t row, unsigned int calculation, ETabulonValue& result) const;

private:
    struct Axe {
        std::size_t column;
        bool isInRoot;
        bool keepsTotals;
    };
    // Added to a row number of totals_, so that ReadResult tells totals from cells.
    static constexpr std::uint32_t kTotals = 0x80000000;

    /// The rows that a record at this position is folded into, some more than once.
    [[nodiscard]] std::span<std::byte* const> RowsOf(const ETabulonTag& position,
                                                     std::uint64_t generation);
    void FindPlaces();
    void FindRows(std::size_t from, std::size_t count);
    [[nodiscard]] bool AddByTables(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void AddToTables(const ERecordBlock& block, EBlockIndex record, std::size_t at);
    [[nodiscard]] std::byte* GrandTotalRow();
    [[nodiscard]] std::byte* AccumulatorsOfTotal(std::vector<std::uint32_t>& rows,
                                                 std::uint32_t number) {
        if (number >= rows.size() || rows[number] == kNone) {
            AddTotal(rows, number);
        }
        return totals_.RowAt(rows[number]);
    }
    void AddTotal(std::vector<std::uint32_t>& rows, std::uint32_t number);

    TagIndex index_;
    CumulCells cells_;  // by detail
    CumulCells totals_;
    CalculationList calculations_;
    std::vector<Axe> axes_;
    std::vector<std::vector<std::uint32_t>> totalRows_;  // in totals_, by column and number
    std::vector<std::byte*> folded_;                     // scratch: the rows of a record
    static constexpr std::size_t kGrandTotal = static_cast<std::size_t>(-1);
    // Of a walk by blocks: the columns whose totals fold, or kGrandTotal. The rows of a block's
    // records are first those of the cells, then those of each target.
    std::vector<std::size_t> targets_;
    bool foldsGrandTotalOnce_ = true;  // for each record, so that it is no target
    std::vector<std::vector<std::byte*>> rows_;
    std::vector<BlockRows::RowsOfTarget> places_;
    BlockDetails details_;
    PairRows pairRows_;
    bool hasTables_ = false;                  // the rows of a block may be found in pairRows_
    std::vector<unsigned int> valueColumns_;  // in the block, of each calculation
};

}  // namespace detail
}  // namespace etabulon
