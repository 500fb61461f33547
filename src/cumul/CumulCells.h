#pragma once

#include "cumul/BlockRows.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonCumulFuncOnVar;
class ETabulonPrimaryKey;
class ITabulonCumulFuncOnVarCollection;

namespace detail {

/// The running calculations of many cells, packed: what grids and scores keep instead of an
/// ETabulonCumulBufferOnVarCollection for each cell, with the same results.
///
/// A row is one cell: an accumulator for each calculation, 16 bytes for a number, a date or a
/// count, 40 for a text, 72 for the code of an extreme record. Calculations of one content, such as
/// the sum and the average of a variable, share one. A function that isn't one of the library's own
/// classes runs in a buffer from its Start, one for each row.
///
/// Ownership  holds a reference for each calculation.
/// Threads    as buffers: one walk writes; readers hold the owner's lock.
/// Cost       rows never move. Folding numbers allocates nothing.
class CumulCells {
public:
    explicit CumulCells(const ITabulonCumulFuncOnVarCollection& calculations);
    CumulCells(CumulCells&& other) noexcept;
    CumulCells& operator=(CumulCells&& other) noexcept;
    ~CumulCells();

    /// How many calculations a row holds.
    [[nodiscard]] unsigned int Size() const noexcept;
    [[nodiscard]] const ETabulonCumulFuncOnVar& Calculation(
        unsigned int calculation) const noexcept;
    [[nodiscard]] std::uint32_t Rows() const noexcept { return rows_; }
    /// Adds a row over no records; rows are numbered from 0.
    std::uint32_t AddRow();
    /// Adds rows until there are `rows`, as AddRow does.
    void AddRows(std::uint32_t rows);
    /// A function of the calculations needs the records' keys.
    [[nodiscard]] bool NeedsContext() const noexcept { return needsContext_; }

    /// The bytes of a row, for Fold. Valid as long as the row.
    [[nodiscard]] std::byte* RowAt(std::uint32_t row) const noexcept {
        E_EXPECTS(row < rows_);
        return chunks_[row >> kChunkBits].get() + std::size_t{row % kChunkRows} * rowBytes_;
    }
    /// The row, with its first and its last cache line on their way to be written.
    [[nodiscard]] std::byte* PrefetchRow(std::uint32_t row) const noexcept {
        std::byte* const first = RowAt(row);
        detail::PrefetchToWrite(first);
        detail::PrefetchToWrite(first + rowBytes_ - 1);
        return first;
    }
    /// Folds a record into rows, of this object and of others over the same calculations; twice
    /// into a row that is named twice. `values` holds one value for each calculation, in order;
    /// `context` is the record's key, read only if NeedsContext().
    void Fold(std::span<std::byte* const> rows, std::span<const EVariant* const> values,
              const ETabulonPrimaryKey* context);
    /// The same for the records of a block, one after the other. `columns` has the values' column
    /// of each calculation. Requires keys in the block if NeedsContext().
    void FoldBlock(BlockRows rows, std::span<const unsigned int> columns);
    /// How many records were folded.
    [[nodiscard]] std::uint32_t Records() const noexcept { return records_; }
    /// Merges a row of cells over the same calculations into rows, as if the records of that row
    /// were folded into them: MergeFold.h tells what differs. Records come in the order in which
    /// they were folded, those of `other` with the numbers from `after` on. Requires AreOwn().
    void Merge(std::span<std::byte* const> rows, const CumulCells& other, std::uint32_t row,
               std::uint32_t after = 0) const;
    /// Counts records that were merged as if they had been folded.
    void CountRecords(std::uint32_t records) noexcept;
    /// The row is as one over no records.
    void ResetRow(std::uint32_t row);
    /// Merge for records that come after all that were folded.
    void MergeAfter(std::span<std::byte* const> rows, const CumulCells& other, std::uint32_t row);
    /// Every calculation is one of the library's own, which have no side effects.
    [[nodiscard]] bool AreOwn() const noexcept { return areOwn_; }
    /// Whether folding the calculation reads its variable's values.
    [[nodiscard]] bool ReadsValues(unsigned int calculation) const noexcept;
    /// The result that the calculation's buffer would give.
    [[nodiscard]] ETabulonValue Result(std::uint32_t row, unsigned int calculation) const {
        ETabulonValue result;
        ReadResult(row, calculation, result);
        return result;
    }
    /// The same into a value, whose storage is reused.
    void ReadResult(std::uint32_t row, unsigned int calculation, ETabulonValue& result) const;

private:
    struct Plan;  // how a calculation runs in the rows
    static constexpr unsigned int kChunkBits = 8;
    static constexpr std::uint32_t kChunkRows = 1U << kChunkBits;

    void PlaceStates();
    void BeginStates(std::uint32_t row);
    void DropLastRow() noexcept;
    void Free() noexcept;

    std::vector<Plan> plans_;
    std::vector<std::unique_ptr<std::byte[]>> chunks_;
    std::uint32_t rows_ = 0;
    std::uint32_t records_ = 0;
    std::uint32_t rowBytes_ = 0;
    bool needsContext_ = false;
    bool areOwn_ = true;
    bool areNumbers_ = true;  // every state is a NumberState, which begins as zeros
};

}  // namespace detail
}  // namespace etabulon
