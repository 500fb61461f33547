#include "grid/GridCells.h"

#include "etabulon/foundation/detail/EPrefetch.h"
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
bool IsSteady(const std::uint32_t* numbers, std::span<const EBlockIndex> records) {
    constexpr std::size_t kStep = 16;
    constexpr std::size_t kLeastRun = 8;  // records, on average
    std::size_t seen = 0;
    std::size_t changes = 0;
    for (std::size_t place = 1; place < records.size(); place += kStep) {
        ++seen;
        changes += numbers[records[place]] != numbers[records[place - 1]] ? 1 : 0;
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
    const std::uint32_t detail = generation != 0 ? index_.FindOrAddLasting(position, generation)
                                                 : index_.FindOrAdd(position);
    std::byte* const grandTotal = GrandTotalRow();
    folded_.clear();
    folded_.push_back(AccumulatorsOfCell(detail));
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
    cells_.Fold(folded_, values, context);
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
    // Two axes with totals of their own: no row takes a record twice.
    hasTables_ = axes_.size() == 2 && index_.ColumnCount() == 2;
    for (std::size_t column = 0; hasTables_ && column < 2; ++column) {
        hasTables_ = axes_[column].keepsTotals && !axes_[column].isInRoot &&
                     axes_[0].column != axes_[1].column && details_.IsInBlocks(column);
    }
    return true;
}

void GridCells::AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    if (hasTables_ && AddByTables(block, records)) {
        return;
    }
    details_.Read(block, records, index_);
    FindRows(records.size());
    cells_.FoldBlock({&block, records, folded_, folded_.size() / records.size()}, valueColumns_);
}

bool GridCells::AddByTables(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    const ERecordBlock::Column& first = details_.ColumnIn(block, 0);
    const ERecordBlock::Column& second = details_.ColumnIn(block, 1);
    if (!pairRows_.Reserve(first.dictionary->Size(), second.dictionary->Size())) {
        return false;
    }
    for (const EBlockIndex record : records) {
        if (pairRows_.At(first.numbers[record], second.numbers[record]) == nullptr) {
            AddToTables(block, record);
        }
    }
    const RowTables tables{first.numbers,
                           second.numbers,
                           pairRows_.Stride(),
                           pairRows_.Rows(),
                           pairRows_.Totals(0).data(),
                           pairRows_.Totals(1).data(),
                           GrandTotalRow(),
                           IsSteady(first.numbers, records)};
    cells_.FoldBlock({&block, records, {}, 0, &tables}, valueColumns_);
    return true;
}

void GridCells::AddToTables(const ERecordBlock& block, EBlockIndex record) {
    details_.Read(block, std::span(&record, 1), index_);
    FindRows(1);
    const std::uint32_t numbers[] = {details_.ColumnIn(block, 0).numbers[record],
                                     details_.ColumnIn(block, 1).numbers[record]};
    pairRows_.Set(numbers[0], numbers[1], folded_[0]);
    for (std::size_t target = 0; target < targets_.size(); ++target) {
        const std::size_t column = targets_[target];
        pairRows_.Totals(column)[numbers[column]] = folded_[2 + target];
    }
}

// The rows that Add has for each record, in its order. Whether an axis counts in the grand total
// again is the same for all records of a block.
void GridCells::FindRows(std::size_t count) {
    std::byte* const grandTotal = GrandTotalRow();
    targets_.clear();
    for (const Axe& axe : axes_) {
        if (details_.Numbers(axe.column)[0] == TagIndex::kAbsent || axe.isInRoot) {
            targets_.push_back(kGrandTotal);
        } else if (axe.keepsTotals) {
            targets_.push_back(axe.column);
        }
    }
    const std::size_t perRecord = 2 + targets_.size();
    folded_.resize(count * perRecord);
    std::byte** rows = folded_.data();
    const std::span<const std::uint32_t> details = details_.Details();
    for (std::size_t place = 0; place < count; ++place) {
        std::byte* const cell = AccumulatorsOfCell(details[place]);
        PrefetchToWrite(cell);
        rows[place * perRecord] = cell;
        rows[place * perRecord + 1] = grandTotal;
    }
    rows += 2;
    for (const std::size_t column : targets_) {
        FindTotalRows(column, {rows++, count, perRecord}, grandTotal);
    }
}

void GridCells::FindTotalRows(std::size_t column, const Stride& rows, std::byte* grandTotal) {
    if (column == kGrandTotal) {
        for (std::size_t place = 0; place < rows.count; ++place) {
            rows.first[place * rows.step] = grandTotal;
        }
        return;
    }
    std::vector<std::uint32_t>& totals = totalRows_[column];
    const std::span<const std::uint32_t> numbers = details_.Numbers(column);
    for (std::size_t place = 0; place < rows.count; ++place) {
        rows.first[place * rows.step] = AccumulatorsOfTotal(totals, numbers[place]);
    }
}

// Details are numbered one by one, so that this adds one row; after an earlier failure it adds the
// missing rows too.
void GridCells::AddCells(std::uint32_t detail) {
    while (cells_.Rows() <= detail) {
        static_cast<void>(cells_.AddRow());
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

ETabulonValue GridCells::Result(std::uint32_t row, unsigned int calculation) const {
    if (row == kNone || calculation >= cells_.Size()) {
        return ETabulonValue::Null;
    }
    return row < kTotals ? cells_.Result(row, calculation)
                         : totals_.Result(row - kTotals, calculation);
}

}  // namespace etabulon::detail
