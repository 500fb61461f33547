#include "score/ScoreRanking.h"

#include "etabulon/foundation/PUnique.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/sort/ETabulonSortKeyCache.h"
#include "grid/ResultKeys.h"
#include "score/ScoreCells.h"

#include <algorithm>
#include <numeric>

namespace etabulon::detail {

namespace {

constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

}  // namespace

ScoreRanking::ScoreRanking(const ETabulonScoreCumuls& desc, const ScoreCells& cells)
    : desc_(desc), cells_(cells), calculations_(cells.CalculationCount()) {
    if (cells.LineCount() == 0) {
        return;
    }
    MakeKeys();
    if (keys_.empty() || calculations_ > 1) {
        ReadResults();
    }
    if (LabelsHoldTheSameLevels()) {
        Sort();
    } else {
        InsertOneByOne();
    }
}

void ScoreRanking::ReadResults() {
    const std::uint32_t count = cells_.LineCount();
    results_.reserve(std::size_t{count} * calculations_);
    for (std::uint32_t line = 0; line < count; ++line) {
        for (unsigned int calculation = 0; calculation < calculations_; ++calculation) {
            results_.push_back(cells_.Result(line, calculation));
        }
    }
}

void ScoreRanking::ReadValues(std::uint32_t line, PTableau<ETabulonValue>& values) const {
    while (values.Size() < calculations_) {
        values.Add(ETabulonValue());
    }
    for (unsigned int calculation = 0; calculation < calculations_; ++calculation) {
        cells_.ReadResult(line, calculation, values.At(calculation));
    }
}

void ScoreRanking::Prefetch(std::uint32_t line) const noexcept {
    cells_.Prefetch(line);
    cells_.Labels().PrefetchValues(line);
}

void ScoreRanking::MakeKeys() {
    if (calculations_ == 0) {
        return;
    }
    keys_.resize(cells_.LineCount());
    ETabulonValue result;
    std::int32_t type = 0;
    for (std::uint32_t line = 0; line < keys_.size(); ++line) {
        cells_.ReadResult(line, 0, result);
        type = line == 0 ? result.Data().Type() : type;
        const bool isLikeFirst = result.Status() == ETabulonValue::ValNormal &&
                                 result.Data().Type() == type && !result.Data().IsMissing();
        if (!isLikeFirst || !NumberKey(result.Data(), keys_[line])) {
            keys_.clear();
            return;
        }
    }
}

int ScoreRanking::CompareResults(std::uint32_t a, std::uint32_t b) const {
    if (!keys_.empty() && keys_[a] != keys_[b]) {
        return keys_[a] < keys_[b] ? -1 : 1;
    }
    for (unsigned int calculation = keys_.empty() ? 0 : 1; calculation < calculations_;
         ++calculation) {
        const std::size_t left = std::size_t{a} * calculations_ + calculation;
        const std::size_t right = std::size_t{b} * calculations_ + calculation;
        const int order = results_[left].Compare(results_[right], /*byDisplay=*/false);
        if (order != 0) {
            return order;
        }
    }
    return 0;
}

bool ScoreRanking::LabelsHoldTheSameLevels() const {
    const TagIndex& labels = cells_.Labels();
    if (labels.IsStraight()) {
        return true;
    }
    std::vector<std::uint32_t> first(labels.ColumnCount());
    labels.NumbersOf(0, first);
    std::vector<std::uint32_t> numbers(labels.ColumnCount());
    for (std::uint32_t line = 1; line < cells_.LineCount(); ++line) {
        labels.NumbersOf(line, numbers);
        const bool areSame = std::equal(
            first.begin(), first.end(), numbers.begin(), [](std::uint32_t a, std::uint32_t b) {
                return (a == TagIndex::kAbsent) == (b == TagIndex::kAbsent);
            });
        if (!areSame) {
            return false;
        }
    }
    return true;
}

// ----------------------------------------------------------------------------------------- sorting

/// Sorts lines of equal results by their labels, one group after the other. Makes the comparison
/// keys of texts once, and only for lines in such a group.
class ScoreRanking::TieBreaker {
public:
    TieBreaker(const ETabulonSortDesc& sortDesc, const ScoreCells& cells)
        : sortDesc_(sortDesc), cells_(cells) {
        std::vector<std::uint32_t> first(cells.Labels().ColumnCount());
        cells.Labels().NumbersOf(0, first);
        for (unsigned int index = 0; index < sortDesc.SortLevelCount(kCalc); ++index) {
            const ETabulonSortKey& key = sortDesc.SortLevel(index, kCalc);
            const int column = cells.Labels().ColumnOf(key.Level());
            if (column >= 0 && first[static_cast<std::size_t>(column)] != TagIndex::kAbsent) {
                keys_.push_back(key);
            }
        }
    }

    /// Sorts the lines from `first` to `last`, which come in order of arrival, and writes those to
    /// keep from `kept` on, which isn't after `first`. Returns the end of the kept lines.
    ///
    /// Deliberate: of lines whose labels compare as equal, such as two cases of one text, only the
    /// last is kept, though the lines are of different records and the total includes them all: a
    /// reader couldn't tell lines with equal results and labels apart. AreOneAndShowTheLast holds
    /// it.
    LineIterator Keep(LineIterator first, LineIterator last, LineIterator kept) {
        texts_.clear();
        tied_.clear();
        for (LineIterator line = first; line != last; ++line) {
            tied_.push_back({*line, texts_.size()});
            const ETabulonTag label = cells_.Label(*line);
            for (const ETabulonSortKey& key : keys_) {
                texts_.push_back(sortDesc_.ComparisonKey(label, key, cache_));
            }
        }
        std::stable_sort(tied_.begin(), tied_.end(),
                         [this](const Tied& a, const Tied& b) { return Compare(a, b) < 0; });
        for (auto line = tied_.begin(); line != tied_.end(); ++line) {
            if (line + 1 == tied_.end() || Compare(*line, *(line + 1)) != 0) {
                *kept++ = line->line;
            }
        }
        return kept;
    }

private:
    struct Tied {
        std::uint32_t line;
        std::size_t texts;  // the index of its first comparison key
    };
    [[nodiscard]] int Compare(const Tied& a, const Tied& b) const {
        for (std::size_t at = 0; at < keys_.size(); ++at) {
            const int order = texts_[a.texts + at].ComparePlain(texts_[b.texts + at]);
            if (order != 0) {
                return keys_[at].IsReverseOrder() ? -order : order;
            }
        }
        return 0;
    }

    const ETabulonSortDesc& sortDesc_;
    const ScoreCells& cells_;
    std::vector<ETabulonSortKey> keys_;  // of the levels that the labels hold
    ETabulonSortKeyCache cache_;
    std::vector<Chaine> texts_;
    std::vector<Tied> tied_;
};

void ScoreRanking::Sort() {
    lines_.resize(cells_.LineCount());
    std::iota(lines_.begin(), lines_.end(), 0U);
    if (results_.empty() && !keys_.empty()) {
        SortByKeys(keys_, lines_);
    } else {
        std::stable_sort(lines_.begin(), lines_.end(), [this](std::uint32_t a, std::uint32_t b) {
            return CompareResults(a, b) < 0;
        });
    }
    TieBreaker ties(*desc_.SortDesc(), cells_);
    LineIterator kept = lines_.begin();
    for (LineIterator first = lines_.begin(); first != lines_.end();) {
        const LineIterator last = std::find_if(
            first + 1, lines_.end(),
            [this, first](std::uint32_t line) { return CompareResults(*first, line) != 0; });
        if (last - first == 1) {
            *kept++ = *first;
        } else {
            kept = ties.Keep(first, last, kept);
        }
        first = last;
    }
    lines_.erase(kept, lines_.end());
}

// --------------------------------------------------------------------------------------- inserting

class ScoreRanking::Inserted {
public:
    Inserted(const ScoreRanking& ranking, std::uint32_t line)
        : ranking_(&ranking), line_(line), label_(ranking.cells_.Label(line)) {}
    [[nodiscard]] std::uint32_t Line() const noexcept { return line_; }

    friend bool operator==(const Inserted& a, const Inserted& b) { return a.Compare(b) == 0; }
    friend bool operator<(const Inserted& a, const Inserted& b) { return a.Compare(b) < 0; }

private:
    [[nodiscard]] int Compare(const Inserted& other) const {
        const int order = ranking_->CompareResults(line_, other.line_);
        return order != 0 ? order
                          : ranking_->desc_.SortDesc()->Compare(label_, other.label_, kCalc);
    }

    const ScoreRanking* ranking_;
    std::uint32_t line_;
    ETabulonTag label_;
};

// Deliberate: a level that only one of two labels holds isn't compared. So equality isn't
// transitive: a label may equal two others that differ. Which labels are merged, and their order,
// then depends on the binary search in the set, and no sort gives the same result.
// LabelsWithGapsCollapseAsTheyAreMet holds it.
void ScoreRanking::InsertOneByOne() {
    PUniqueT<Inserted> set;
    for (std::uint32_t line = 0; line < cells_.LineCount(); ++line) {
        const Inserted inserted(*this, line);
        set[static_cast<std::uint32_t>(set.Find(inserted, FindOrInsert))] = inserted;
    }
    for (const Inserted& inserted : set) {
        lines_.push_back(inserted.Line());
    }
}

}  // namespace etabulon::detail
