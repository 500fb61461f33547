#include "score/ScoreCells.h"

#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

std::vector<unsigned int> LabelLevels(const ETabulonScoreCumuls& desc) {
    const auto shown = desc.SortDesc()->VisibleLevels(ETabulonSortDesc::HideInCalc);
    const std::size_t leading = desc.SortDesc()->LeadingLevels(desc.Root());
    const auto labels =
        shown.subspan(std::min(leading, shown.size())).first(desc.DetailLevelCount());
    return {labels.begin(), labels.end()};
}

}  // namespace

ScoreCells::ScoreCells(ETabulonScoreCumuls& desc)
    : labels_(desc.Root(), LabelLevels(desc)), rows_(desc.Calculations()) {
    for (const unsigned int level : LabelLevels(desc)) {
        if (!desc.Root().HasValue(level)) {
            memo_.AddLevel(level);
        }
    }
    for (unsigned int place = 0; place < desc.Calculations().Size(); ++place) {
        calculations_.push_back(
            ERef<ETabulonCumulFuncOnVar>::Adopt(desc.Calculations().Calculation(place)));
    }
}

std::span<const EVariant* const> ScoreCells::ValuesOf(const ETabulonExtractValue& extract) {
    values_.clear();
    for (const ERef<ETabulonCumulFuncOnVar>& calculation : calculations_) {
        values_.push_back(&extract.GetValue(calculation->Variable()));
    }
    return values_;
}

std::uint32_t ScoreCells::LineOf(const ETabulonTag& position) {
    if (!memo_.Read(position)) {
        return labels_.FindOrAdd(position);
    }
    std::uint32_t line = memo_.Find();
    if (line == LabelMemo::kNone) {
        line = labels_.FindOrAdd(position);
        memo_.Add(line);
    }
    return line;
}

void ScoreCells::Add(const ETabulonTag& position, std::span<const EVariant* const> values,
                     const ETabulonPrimaryKey* context) {
    const std::uint32_t line = LineOf(position);
    // As lines are numbered one by one, this adds one, and the total's with the first; after a
    // failure it makes up for what is missing.
    while (rows_.Rows() <= RowOf(line)) {
        rows_.AddRow();
    }
    std::byte* const folded[] = {rows_.RowAt(RowOf(line)), rows_.RowAt(kTotal)};
    rows_.Fold(folded, values, context);
}

std::uint32_t ScoreCells::LineCount() const noexcept {
    return std::min(labels_.Size(), std::max(rows_.Rows(), RowOf(0)) - RowOf(0));
}

ETabulonValue ScoreCells::Total(unsigned int calculation) const {
    return rows_.Rows() == 0 ? ETabulonValue::Null : rows_.Result(kTotal, calculation);
}

}  // namespace etabulon::detail
