#include "grid/GridCells.h"

#include "etabulon/grid/ETabulonGridCumuls.h"
#include "etabulon/values/ETabulonExtractValue.h"

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

// Only a grid of two data axes sends the totals of its lines and columns.
bool SendsTotals(const ETabulonGridCumuls& desc) {
    return (desc.AxesMode() == ETabulonGridCumuls::IntrinsicNone ||
            desc.AxesMode() == ETabulonGridCumuls::IntrinsicPriority) &&
           desc.GridAxesCount() >= 2;
}

}  // namespace

GridCells::GridCells(ETabulonGridCumuls& desc)
    : index_(desc.Root(), DetailLevels(desc)), rows_(desc.Calculations()) {
    for (unsigned int place = 0; place < desc.Calculations().Size(); ++place) {
        calculations_.push_back(
            ERef<ETabulonCumulFuncOnVar>::Adopt(desc.Calculations().Calculation(place)));
    }
    keepsTotals_.resize(index_.ColumnCount());
    totalRows_.resize(index_.ColumnCount());
    for (const unsigned int level : DetailLevels(desc)) {
        const int column = index_.ColumnOf(level);
        if (SendsTotals(desc) && axeColumns_.size() < 2) {
            keepsTotals_[static_cast<std::size_t>(column)] = true;
        }
        axeColumns_.push_back(column);
    }
}

std::span<const EVariant* const> GridCells::ValuesOf(const ETabulonExtractValue& extract) {
    values_.clear();
    for (const ERef<ETabulonCumulFuncOnVar>& calculation : calculations_) {
        values_.push_back(&extract.GetValue(calculation->Variable()));
    }
    return values_;
}

void GridCells::Add(const ETabulonTag& position, std::span<const EVariant* const> values,
                    const ETabulonPrimaryKey* context) {
    const std::uint32_t detail = index_.FindOrAdd(position);
    if (grandTotal_ == kNone) {
        grandTotal_ = rows_.AddRow();
    }
    folded_.clear();
    folded_.push_back(RowOf(cellRows_, detail));
    folded_.push_back(grandTotal_);
    for (const int axeColumn : axeColumns_) {
        const auto column = static_cast<std::size_t>(axeColumn);
        const std::uint32_t number = index_.LastNumbers()[column];
        // Deliberate: a record without a value at an axis's level counts once more in the grand
        // total, since the tag of its total there is the root. So it does where the root itself
        // holds the level. RecordWithoutALevelCountsTwiceInTheGrandTotal holds it.
        if (number == TagIndex::kAbsent || index_.IsInRoot(column)) {
            folded_.push_back(grandTotal_);
        } else if (keepsTotals_[column]) {
            folded_.push_back(RowOf(totalRows_[column], number));
        }
    }
    rows_.Fold(folded_, values, context);
}

std::uint32_t GridCells::RowOf(std::vector<std::uint32_t>& rows, std::uint32_t number) {
    // As numbers rise one by one, this adds one; after a failure it makes up for what is missing.
    while (rows.size() <= number) {
        rows.push_back(kNone);
    }
    if (rows[number] == kNone) {
        rows[number] = rows_.AddRow();
    }
    return rows[number];
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
        return grandTotal_;
    }
    return number < totalRows_[column].size() ? totalRows_[column][number] : kNone;
}

ETabulonValue GridCells::Result(std::uint32_t row, unsigned int calculation) const {
    return row == kNone || calculation >= rows_.Size() ? ETabulonValue::Null
                                                       : rows_.Result(row, calculation);
}

}  // namespace etabulon::detail
