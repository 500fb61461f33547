#pragma once

#include "cumul/CumulCells.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "grid/BlockDetails.h"
#include "grid/ResultParts.h"
#include "grid/TagIndex.h"
#include "score/LabelCache.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

class ETabulonCursor;
class ETabulonScoreCumuls;
struct EBlockRequest;

namespace detail {

/// The lines and the total of a score, in rows of accumulators.
///
/// A line is a label: the root and the values of the label levels. Lines are numbered from 0 in the
/// order in which their labels are met.
/// Ownership  counted, since copies of the buffers share one object.
class ScoreCells : public virtual ECountedUnknown {
public:
    explicit ScoreCells(ETabulonScoreCumuls& desc);
    ScoreCells(const ScoreCells&) = delete;
    ScoreCells& operator=(const ScoreCells&) = delete;

    /// Folds a record that lies at or below the root.
    void Add(const ETabulonTag& position, std::span<const EVariant* const> values,
             const ETabulonPrimaryKey* context);
    /// The same for a group of records, by the one row of their cells.
    void AddPartial(const ETabulonTag& position, const CumulCells& partial);
    /// Asks for what AddBlock reads. False for calculations whose records must come one by one.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    /// Adds records that lie at or below the root, in their order. The same as Add for each.
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] bool NeedsContext() const noexcept { return rows_.NeedsContext(); }
    /// The extract's value for each calculation, in their order. Valid until the next call.
    [[nodiscard]] std::span<const EVariant* const> ValuesOf(const ETabulonExtractValue& extract) {
        return calculations_.ValuesOf(extract);
    }

    [[nodiscard]] std::uint32_t LineCount() const noexcept;
    [[nodiscard]] unsigned int CalculationCount() const noexcept { return rows_.Size(); }
    /// The line's label, spelled as in its first record.
    [[nodiscard]] ETabulonTag Label(std::uint32_t line) const { return labels_.Tag(line); }
    /// The same into a tag, whose memory is reused.
    void ReadLabel(std::uint32_t line, ETabulonTag& label) const { labels_.ReadTag(line, label); }
    /// The index of the labels.
    [[nodiscard]] const TagIndex& Labels() const noexcept { return labels_; }
    [[nodiscard]] ETabulonValue Result(std::uint32_t line, unsigned int calculation) const {
        return rows_.Result(RowOf(line), calculation);
    }
    /// The same into a value, whose storage is reused.
    void ReadResult(std::uint32_t line, unsigned int calculation, ETabulonValue& result) const {
        rows_.ReadResult(RowOf(line), calculation, result);
    }
    /// Merges the line into rows of other cells over the same calculations: see CumulCells::Merge.
    void MergeLine(std::uint32_t line, const CumulCells& into,
                   std::span<std::byte* const> rows) const {
        into.Merge(rows, rows_, RowOf(line));
    }
    /// Prefetches what ReadResult reads.
    void Prefetch(std::uint32_t line) const noexcept { PrefetchToRead(rows_.RowAt(RowOf(line))); }
    /// ValNull without records.
    [[nodiscard]] ETabulonValue Total(unsigned int calculation) const;

private:
    static constexpr std::uint32_t kTotal = 0;  // the first row
    [[nodiscard]] static std::uint32_t RowOf(std::uint32_t line) noexcept { return line + 1; }

    ~ScoreCells() override = default;
    [[nodiscard]] std::uint32_t LineOf(const ETabulonTag& position);
    /// The rows that a record at this position is folded into.
    [[nodiscard]] std::array<std::byte*, 2> RowsOf(const ETabulonTag& position);

    TagIndex labels_;
    LabelCache labelCache_;
    CumulCells rows_;
    CalculationList calculations_;
    BlockDetails details_;
    std::vector<unsigned int> valueColumns_;  // in the block, of each calculation
    std::vector<std::byte*> folded_;          // scratch: the rows of a block's lines
};

}  // namespace detail
}  // namespace etabulon
