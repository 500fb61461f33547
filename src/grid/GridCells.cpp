#include "grid/GridCells.h"

#include "etabulon/grid/ETabulonGridCumuls.h"

namespace etabulon::detail {

namespace {

std::vector<unsigned int> DetailLevels(const ETabulonGridCumuls& desc) {
    std::vector<unsigned int> levels;
    for (unsigned int axe = 0; axe < desc.DetailLevelCount(); ++axe) {
        levels.push_back(
            desc.SortDesc()->DetailLevel(desc.Root(), axe, ETabulonSortDesc::HideInCalc).Level());
    }
    return levels;
}

// By a sample of the records.
bool IsSteady(std::span<std::byte* const> rows) {
    constexpr std::size_t kStep = 16;
    constexpr std::size_t kLeastRun = 8;  // records, on average
    std::size_t seen = 0;
    std::size_t changes = 0;
    for (std::size_t at = 1; at < rows.size(); at += kStep) {
        ++seen;
        changes += rows[at] != rows[at - 1] ? 1 : 0;
    }
    return changes * kLeastRun < seen;
}

// Only a grid of two data axes sends the totals of its lines and columns.
bool SendsTotals(const ETabulonGridCumuls& desc) {
    return (desc.AxesMode() == ETabulonGridCumuls::IntrinsicNone ||
            desc.AxesMode() == ETabulonGridCumuls::IntrinsicPriority) &&
           desc.GridAxesCount() >= 2;
}

}  // namespace

GridCells::GridCells(ETabulonGridCumuls& desc)
    : index_(desc.Root(), DetailLevels(desc)),
      cells_(desc.Calculations()),
      totals_(desc.Calculations()),
      calculations_(desc.Calculations()) {
    totalRows_.resize(index_.ColumnCount());
    for (const unsigned int level : DetailLevels(desc)) {
        const auto column = static_cast<std::size_t>(index_.ColumnOf(level));
        axes_.push_back({column, index_.IsInRoot(column), /*keepsTotals=*/false});
    }
    // An axis with the same level as one of the first two adds to the same totals.
    for (Axe& axe : axes_) {
        for (std::size_t first = 0; SendsTotals(desc) && first < 2 && first < axes_.size();
             ++first) {
            axe.keepsTotals = axe.keepsTotals || axe.column == axes_[first].column;
        }
    }
}

void GridCells::Add(const ETabulonTag& position, std::span<const EVariant* const> values,
                    const ETabulonPrimaryKey* context, std::uint64_t generation) {
    cells_.Fold(RowsOf(position, generation), values, context);
}

void GridCells::AddPartial(const ETabulonTag& position, const CumulCells& partial) {
    cells_.MergeAfter(RowsOf(position, /*generation=*/0), partial, 0);
}

std::span<std::byte* const> GridCells::RowsOf(const ETabulonTag& position,
                                              std::uint64_t generation) {
    const std::uint32_t detail = generation != 0 ? index_.FindOrAddLasting(position, generation)
                                                 : index_.FindOrAdd(position);
    std::byte* const grandTotal = GrandTotalRow();
    folded_.clear();
    cells_.AddRows(index_.Size());
    folded_.push_back(cells_.RowAt(detail));
    folded_.push_back(grandTotal);
    for (const Axe& axe : axes_) {
        const std::uint32_t number = index_.LastNumbers()[axe.column];
        // Deliberate: a record without a value at an axis's level is folded into the grand total
        // once more, since its total on that axis has the root's tag. The same holds if the root
        // itself holds the level. RecordWithoutALevelCountsTwiceInTheGrandTotal holds it.
        if (number == TagIndex::kAbsent || axe.isInRoot) {
            folded_.push_back(grandTotal);
        } else if (axe.keepsTotals) {
            folded_.push_back(AccumulatorsOfTotal(totalRows_[axe.column], number));
        }
    }
    return folded_;
}

std::byte* GridCells::GrandTotalRow() {
    if (totals_.Rows() == 0) {
        static_cast<void>(totals_.AddRow());
    }
    return totals_.RowAt(0);
}

bool GridCells::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    if (!cells_.AreOwn()) {
        return false;
    }
    details_.Want(cursor, index_, /*numbers=*/true, request);
    WantValues(cursor, cells_, calculations_.All(), request, valueColumns_);
    pairRows_.Clear();
    FindPlaces();
    return true;
}

// The places of the rows that Add has for each record of a walk by blocks: the cell's, then one of
// each target.
void GridCells::FindPlaces() {
    targets_.clear();
    foldsGrandTotalOnce_ = true;
    for (const Axe& axe : axes_) {
        if (axe.isInRoot || !details_.IsInBlocks(axe.column)) {
            targets_.push_back(kGrandTotal);
            foldsGrandTotalOnce_ = false;
        } else if (axe.keepsTotals) {
            targets_.push_back(axe.column);
        }
    }
    // Two axes with totals of their own: no row takes a record twice.
    hasTables_ = index_.ColumnCount() == 2 && targets_ == std::vector<std::size_t>{0, 1};
    if (!foldsGrandTotalOnce_) {
        targets_.push_back(kGrandTotal);
    }
    rows_.resize(1 + targets_.size());
    places_.clear();
    for (std::vector<std::byte*>& rows : rows_) {
        rows.resize(ERecordBlock::kMostRecords);
        places_.push_back(rows.data());
    }
}

void GridCells::AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    if (!hasTables_ || !AddByTables(block, records)) {
        details_.Read(block, records, index_);
        FindRows(0, records.size());
    }
    BlockRows rows{&block, records, places_};
    rows.shared = foldsGrandTotalOnce_ ? GrandTotalRow() : nullptr;
    rows.isSteady = hasTables_ && IsSteady(std::span(rows_[1]).first(records.size()));
    cells_.FoldBlock(rows, valueColumns_);
}

bool GridCells::AddByTables(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    const ERecordBlock::Column& first = details_.ColumnIn(block, 0);
    const ERecordBlock::Column& second = details_.ColumnIn(block, 1);
    if (!pairRows_.Reserve(first.dictionary->Size(), second.dictionary->Size())) {
        return false;
    }
    const auto readRows = [&, shift = pairRows_.Shift(), numbers = first.numbers,
                           others = second.numbers](const auto& indexAt) {
        std::byte** const cells = rows_[0].data();
        std::byte** const lines = rows_[1].data();
        std::byte** const columns = rows_[2].data();
        std::byte* const* const pairs = pairRows_.Rows();
        std::byte* const* const lineTotals = pairRows_.Totals(0).data();
        std::byte* const* const columnTotals = pairRows_.Totals(1).data();
        const std::size_t count = records.size();
        for (std::size_t at = 0; at < count; ++at) {
            const std::size_t line = numbers[indexAt(at)];
            const std::size_t column = others[indexAt(at)];
            std::byte* const cell = pairs[(line << shift) + column];
            if (cell == nullptr) [[unlikely]] {
                AddToTables(block, records[at], at);
                continue;
            }
            cells[at] = cell;
            lines[at] = lineTotals[line];
            columns[at] = columnTotals[column];
        }
    };
    if (AreConsecutive(records)) {
        readRows([from = std::size_t{records.front()}](std::size_t at) { return from + at; });
    } else {
        readRows([indexes = records.data()](std::size_t at) { return indexes[at]; });
    }
    return true;
}

void GridCells::AddToTables(const ERecordBlock& block, EBlockIndex record, std::size_t at) {
    details_.Read(block, std::span(&record, 1), index_);
    FindRows(at, 1);
    const std::uint32_t numbers[] = {details_.ColumnIn(block, 0).numbers[record],
                                     details_.ColumnIn(block, 1).numbers[record]};
    pairRows_.Set(numbers[0], numbers[1], rows_[0][at]);
    for (std::size_t column = 0; column < 2; ++column) {
        pairRows_.Totals(column)[numbers[column]] = rows_[1 + column][at];
    }
}

void GridCells::FindRows(std::size_t from, std::size_t count) {
    std::byte* const grandTotal = GrandTotalRow();  // before any other row of a total
    cells_.AddRows(index_.Size());
    const std::span<const std::uint32_t> details = details_.Details();
    std::byte** const cells = rows_[0].data() + from;
    for (std::size_t at = 0; at < count; ++at) {
        cells[at] = cells_.PrefetchRow(details[at]);
    }
    for (std::size_t target = 0; target < targets_.size(); ++target) {
        std::byte** const rows = rows_[1 + target].data() + from;
        if (targets_[target] == kGrandTotal) {
            std::fill_n(rows, count, grandTotal);
            continue;
        }
        std::vector<std::uint32_t>& totals = totalRows_[targets_[target]];
        const std::span<const std::uint32_t> numbers = details_.Numbers(targets_[target]);
        for (std::size_t at = 0; at < count; ++at) {
            rows[at] = AccumulatorsOfTotal(totals, numbers[at]);
        }
    }
}

void GridCells::AddTotal(std::vector<std::uint32_t>& rows, std::uint32_t number) {
    while (rows.size() <= number) {
        rows.push_back(kNone);
    }
    rows[number] = totals_.AddRow();
}

std::uint32_t GridCells::Cell(std::span<const std::uint32_t> numbers) const {
    return CellOfDetail(index_.Find(numbers));
}

std::uint32_t GridCells::Total(unsigned int axe, std::uint32_t number) const noexcept {
    const int axeColumn = ColumnOfAxe(axe);
    if (axeColumn < 0) {
        return kNone;
    }
    const auto column = static_cast<std::size_t>(axeColumn);
    if (index_.IsInRoot(column)) {
        return GrandTotal();
    }
    const std::vector<std::uint32_t>& rows = totalRows_[column];
    return number < rows.size() && rows[number] != kNone ? kTotals + rows[number] : kNone;
}

void GridCells::ReadResult(std::uint32_t row, unsigned int calculation,
                           ETabulonValue& result) const {
    if (row == kNone || calculation >= cells_.Size()) {
        result = ETabulonValue::Null;
    } else if (row < kTotals) {
        cells_.ReadResult(row, calculation, result);
    } else {
        totals_.ReadResult(row - kTotals, calculation, result);
    }
}

}  // namespace etabulon::detail
