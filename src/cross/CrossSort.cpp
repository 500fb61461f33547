#include "cross/CrossSort.h"

#include "grid/ResultKeys.h"

#include <algorithm>
#include <numeric>

namespace etabulon::detail {

CrossSort::CrossSort(const CrossLookup& lookup, ECrossSide side, std::uint32_t depth,
                     const ECrossAxisOrder& order, std::span<const std::uint32_t> parents)
    : lookup_(lookup),
      side_(side),
      depth_(depth),
      order_(order),
      parents_(parents),
      labels_(lookup.Labels(side, depth)),
      count_(lookup.NodeCount(side, depth)) {
    if (!parents.empty()) {
        keys_.emplace_back(parents.begin(), parents.end());
    }
    for (const ECrossKey& key : order.keys) {
        AddKey(key);
    }
    for (const unsigned int level : lookup.Cells().LevelsAt(side, depth)) {
        const ETabulonSortKey& key = SortDesc().SortLevels()[SortDesc().GetSortLevelPos(level)];
        tiedLevels_.push_back({static_cast<std::size_t>(labels_.ColumnOf(level)),
                               key.IsReverseOrder() != order.areTiesFalling});
    }
}

void CrossSort::AddKey(const ECrossKey& key) {
    if (key.source == ECrossKey::Label) {
        const CrossCells::Levels& own = lookup_.Cells().LevelsAt(side_, depth_);
        if (std::find(own.begin(), own.end(), key.level) == own.end()) {
            return;
        }
        AddLabels(static_cast<std::size_t>(labels_.ColumnOf(key.level)));
    } else {
        AddResults(key);
    }
    if (key.isFalling) {
        for (std::uint64_t& number : keys_.back()) {
            number = ~number;
        }
    }
}

void CrossSort::AddResults(const ECrossKey& key) {
    CrossNode across;
    if (key.source == ECrossKey::Cell) {
        across = CrossLookup::NodeOf(lookup_.Cells(), Opposite(side_), key.across);
    }
    keys_.push_back(ResultKeys::Of(count_, [&](std::uint32_t node, ETabulonValue& result) {
        CrossLookup::Read(lookup_.Find(side_, {depth_, node}, across), key.calculation, result);
    }));
}

// Sorts the distinct values of the level, and gives each label the rank of its value.
void CrossSort::AddLabels(std::size_t column) {
    const ValueNumbers& values = labels_.Values(column);
    std::vector<Chaine> texts;
    for (std::uint32_t number = 0; number < values.Size(); ++number) {
        texts.push_back(SortDesc().ComparisonKey(values.Spelling(values.FirstSpelling(number))));
    }
    std::vector<std::uint32_t> sorted(texts.size());
    std::iota(sorted.begin(), sorted.end(), 0U);
    std::sort(sorted.begin(), sorted.end(), [&texts](std::uint32_t a, std::uint32_t b) {
        return texts[a].ComparePlain(texts[b]) < 0;
    });
    std::vector<std::uint64_t> ranks(texts.size());
    for (std::size_t at = 0; at < sorted.size(); ++at) {
        const bool isNext = at == 0 || texts[sorted[at - 1]].ComparePlain(texts[sorted[at]]) != 0;
        ranks[sorted[at]] = (at == 0 ? 0 : ranks[sorted[at - 1]]) + (isNext ? 1 : 0);
    }
    Keys& keys = keys_.emplace_back(count_);
    for (std::uint32_t node = 0; node < count_; ++node) {
        const std::uint32_t number = labels_.NumberAt(node, column);
        keys[node] = number == TagIndex::kAbsent ? 0 : ranks[number];
    }
}

std::vector<std::uint32_t> CrossSort::Sorted() {
    std::vector<std::uint32_t> nodes(count_);
    std::iota(nodes.begin(), nodes.end(), 0U);
    for (auto keys = keys_.rbegin(); keys != keys_.rend(); ++keys) {
        SortByKeys(*keys, nodes);
    }
    // The order of nodes that aren't shown doesn't matter.
    const std::uint32_t most = order_.MostAt(depth_ - 1);
    NodeIterator siblings = nodes.begin();
    for (NodeIterator first = nodes.begin(); first != nodes.end();) {
        if (!parents_.empty() && parents_[*siblings] != parents_[*first]) {
            siblings = first;
        }
        const NodeIterator last =
            std::find_if(first + 1, nodes.end(),
                         [this, first](std::uint32_t node) { return !AreTied(*first, node); });
        if (last - first > 1 && first - siblings < std::int64_t{most}) {
            SortTies(first, last);
        }
        first = last;
    }
    return nodes;
}

bool CrossSort::AreTied(std::uint32_t a, std::uint32_t b) const {
    return std::all_of(keys_.begin(), keys_.end(),
                       [a, b](const Keys& keys) { return keys[a] == keys[b]; });
}

void CrossSort::SortTies(NodeIterator first, NodeIterator last) {
    texts_.clear();
    tied_.clear();
    for (NodeIterator node = first; node != last; ++node) {
        tied_.push_back({*node, texts_.size()});
        for (const TiedLevel& level : tiedLevels_) {
            const std::uint32_t spelling = labels_.SpellingOf(*node, level.column);
            texts_.push_back(
                spelling == TagIndex::kAbsent
                    ? Chaine()
                    : SortDesc().ComparisonKey(labels_.Values(level.column).Spelling(spelling)));
        }
    }
    std::stable_sort(tied_.begin(), tied_.end(), [this](const Tied& a, const Tied& b) {
        for (std::size_t at = 0; at < tiedLevels_.size(); ++at) {
            const int order = texts_[a.texts + at].ComparePlain(texts_[b.texts + at]);
            if (order != 0) {
                return (order < 0) != tiedLevels_[at].isFalling;
            }
        }
        return false;
    });
    std::transform(tied_.begin(), tied_.end(), first, [](const Tied& tied) { return tied.node; });
}

}  // namespace etabulon::detail
