#include "tree/TreeTotals.h"

#include <algorithm>
#include <utility>

namespace etabulon::detail {

TreeTotals::TreeTotals(const ITabulonCumulFuncOnVarCollection& calculations,
                       std::span<const unsigned int> levels)
    : description_(&calculations),
      index_(ETabulonTag::Null, levels),
      calculations_(calculations),
      leaves_(calculations),
      before_(calculations),
      numbers_(index_.ColumnCount()) {}

bool TreeTotals::HasLevels(std::span<const unsigned int> levels) const {
    return levels.size() == index_.ColumnCount() &&
           std::ranges::all_of(levels,
                               [this](unsigned int level) { return index_.ColumnOf(level) >= 0; });
}

void TreeTotals::Begin(const ETabulonTag& below) {
    ETabulonTag scope;
    ETabulonTag branch;
    for (unsigned int index = 0; index < below.KnownLevelsCount(); ++index) {
        const unsigned int level = below.LevelAt(index);
        (index_.ColumnOf(level) < 0 ? scope : branch).SetValue(level, below.ValueAt(index));
    }
    before_ = Leaves(description_);
    skips_ = scope != scope_ && leaves_.HasAny() && !below.IsRoot();
    if (skips_) {
        return;
    }
    scope_ = scope;
    isArranged_ = false;
    if (branch.IsRoot()) {
        return std::swap(leaves_, before_);
    }
    const std::vector<bool> isBelow = FindBelow(branch);
    before_.Grow(index_.Size());
    for (std::uint32_t leaf = 0; leaf < index_.Size(); ++leaf) {
        if (isBelow[leaf] && leaves_.Has(leaf)) {
            before_.CopyFrom(leaves_, leaf);
            leaves_.Forget(leaf);
        }
    }
}

void TreeTotals::Add(const ETabulonExtractValue& extract) {
    if (skips_) {
        return;
    }
    isArranged_ = false;
    const ETabulonTag& position = extract.Position();
    const std::uint64_t generation = extract.PositionGeneration();
    const std::uint32_t leaf = generation != 0 ? index_.FindOrAddLasting(position, generation)
                                               : index_.FindOrAdd(position);
    leaves_.Grow(index_.Size());
    leaves_.hasRecords[leaf] = true;
    std::byte* const row[] = {leaves_.rows.RowAt(leaf)};
    leaves_.rows.Fold(row, extract.CalculationValues(),
                      leaves_.rows.NeedsContext() ? &extract.Context() : nullptr);
}

bool TreeTotals::WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) {
    details_.Want(cursor, index_, /*numbers=*/false, request);
    folded_.resize(ERecordBlock::kMostRecords);
    WantValues(cursor, leaves_.rows, calculations_.All(), request, valueColumns_);
    return true;
}

void TreeTotals::AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    if (skips_) {
        return;
    }
    isArranged_ = false;
    details_.Read(block, records, index_);
    leaves_.Grow(index_.Size());
    std::byte** row = folded_.data();
    for (const std::uint32_t leaf : details_.Details()) {
        leaves_.hasRecords[leaf] = true;
        *row++ = leaves_.rows.PrefetchRow(leaf);
    }
    const BlockRows::RowsOfTarget leaves = folded_.data();
    leaves_.rows.FoldBlock({&block, records, std::span(&leaves, 1)}, valueColumns_);
}

void TreeTotals::TakeBack() {
    isArranged_ = false;
    leaves_.Grow(index_.Size());
    for (std::uint32_t leaf = 0; leaf < index_.Size(); ++leaf) {
        if (before_.Has(leaf)) {
            leaves_.Forget(leaf);
            leaves_.CopyFrom(before_, leaf);
        }
    }
    before_ = Leaves(description_);
}

std::vector<bool> TreeTotals::FindBelow(const ETabulonTag& tag) const {
    std::vector<bool> isBelow(index_.Size(), true);
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        const auto column = static_cast<std::size_t>(index_.ColumnOf(tag.LevelAt(index)));
        const std::uint32_t number = index_.Values(column).Find(tag.ValueAt(index));
        for (std::uint32_t leaf = 0; leaf < index_.Size(); ++leaf) {
            isBelow[leaf] = isBelow[leaf] && number != TagIndex::kAbsent &&
                            index_.NumberAt(leaf, column) == number;
        }
    }
    return isBelow;
}

void TreeTotals::Arrange(std::span<const unsigned int> order) {
    if (isArranged_ && std::ranges::equal(order, order_)) {
        return;
    }
    order_.assign(order.begin(), order.end());
    depths_.clear();
    // The root, and below it a depth for each level but the last, whose groups are the leaves.
    for (std::size_t depth = 0; depth == 0 || depth < order.size(); ++depth) {
        const std::size_t column =
            depth == 0 ? 0 : static_cast<std::size_t>(index_.ColumnOf(order[depth - 1]));
        depths_.push_back({column, {}, CumulCells(description_)});
    }
    depths_.front().rows.AddRows(1);
    rows_.resize(depths_.size());
    for (std::uint32_t leaf = 0; leaf < index_.Size(); ++leaf) {
        AddToGroups(leaf);
    }
    isArranged_ = true;
}

void TreeTotals::AddToGroups(std::uint32_t leaf) {
    if (!leaves_.Has(leaf)) {
        return;
    }
    index_.NumbersOf(leaf, numbers_);
    std::uint32_t group = 0;
    rows_[0] = depths_[0].rows.RowAt(0);
    for (std::size_t depth = 1; depth < depths_.size(); ++depth) {
        Depth& at = depths_[depth];
        group = at.groups.FindOrAdd(group, numbers_[at.column]);
        at.rows.AddRows(at.groups.Size());
        rows_[depth] = at.rows.RowAt(group);
    }
    depths_[0].rows.Merge(rows_, leaves_.rows, leaf);
}

std::size_t TreeTotals::ReadNumbers(const ETabulonTag& node) {
    std::size_t depth = 0;
    for (std::size_t index = 0; index < order_.size(); ++index) {
        const auto column = static_cast<std::size_t>(index_.ColumnOf(order_[index]));
        const ETabulonValue* const value = node.Find(order_[index]);
        numbers_[column] =
            value == nullptr ? TagIndex::kAbsent : index_.Values(column).Find(*value);
        depth = value == nullptr ? depth : index + 1;
    }
    return depth;
}

void TreeTotals::ReadResult(const ETabulonTag& node, std::span<const unsigned int> order,
                            unsigned int calculation, ETabulonValue& result) {
    result = ETabulonValue::Null;
    if (!HasLevels(order)) {
        return;
    }
    Arrange(order);
    const std::size_t depth = ReadNumbers(node);
    if (depth != 0 && depth == order.size()) {
        const std::uint32_t leaf = index_.Find(numbers_);
        if (leaf != TagIndex::kNone && leaves_.Has(leaf)) {
            leaves_.rows.ReadResult(leaf, calculation, result);
        }
        return;
    }
    std::uint32_t group = 0;
    for (std::size_t at = 1; at <= depth && group != PairNumbers::kNone; ++at) {
        group = depths_[at].groups.Find(group, numbers_[depths_[at].column]);
    }
    if (group != PairNumbers::kNone) {
        depths_[depth].rows.ReadResult(group, calculation, result);
    }
}

}  // namespace etabulon::detail
