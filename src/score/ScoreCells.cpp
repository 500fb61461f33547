#include "score/ScoreCells.h"

#include "etabulon/score/ETabulonScoreCumuls.h"

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
    : labels_(desc.Root(), LabelLevels(desc)),
      rows_(desc.Calculations()),
      calculations_(desc.Calculations()) {
    for (const unsigned int level : LabelLevels(desc)) {
        if (!desc.Root().HasValue(level)) {
            labelCache_.AddLevel(level);
        }
    }
}

std::uint32_t ScoreCells::LineOf(const ETabulonTag& position) {
    if (!labelCache_.Read(position)) {
        return labels_.FindOrAdd(position);
    }
    std::uint32_t line = labelCache_.Find();
    if (line == LabelCache::kNone) {
        line = labels_.FindOrAdd(position);
        labelCache_.Add(line);
    }
    return line;
}

std::array<std::byte*, 2> ScoreCells::RowsOf(const ETabulonTag& position) {
    const std::uint32_t line = LineOf(position);
    rows_.AddRows(RowOf(labels_.Size()));
    return {rows_.RowAt(RowOf(line)), rows_.RowAt(kTotal)};
}

void ScoreCells::Add(const ETabulonTag& position, std::span<const EVariant* const> values,
                     const ETabulonPrimaryKey* context) {
    rows_.Fold(RowsOf(position), values, context);
}

void ScoreCells::AddPartial(const ETabulonTag& position, const CumulCells& partial) {
    rows_.MergeAfter(RowsOf(position), partial, 0);
}

bool ScoreCells::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    if (!rows_.AreOwn()) {
        return false;
    }
    details_.Want(cursor, labels_, /*numbers=*/false, request);
    folded_.resize(ERecordBlock::kMostRecords);
    WantValues(cursor, rows_, calculations_.All(), request, valueColumns_);
    return true;
}

void ScoreCells::AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    details_.Read(block, records, labels_);
    rows_.AddRows(RowOf(labels_.Size()));
    std::byte** row = folded_.data();
    for (const std::uint32_t line : details_.Details()) {
        *row++ = rows_.PrefetchRow(RowOf(line));
    }
    const BlockRows::RowsOfTarget lines = folded_.data();
    BlockRows rows{&block, records, std::span(&lines, 1)};
    rows.shared = rows_.RowAt(kTotal);
    rows_.FoldBlock(rows, valueColumns_);
}

std::uint32_t ScoreCells::LineCount() const noexcept {
    return std::min(labels_.Size(), std::max(rows_.Rows(), RowOf(0)) - RowOf(0));
}

ETabulonValue ScoreCells::Total(unsigned int calculation) const {
    return rows_.Rows() == 0 ? ETabulonValue::Null : rows_.Result(kTotal, calculation);
}

}  // namespace etabulon::detail
