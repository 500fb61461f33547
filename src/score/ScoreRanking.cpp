#include "score/ScoreRanking.h"

#include "etabulon/foundation/PUnique.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/sort/ETabulonSortKeyCache.h"
#include "score/ScoreCells.h"

#include <algorithm>
#include <numeric>

namespace etabulon::detail {

namespace {

constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

}  // namespace

ScoreRanking::ScoreRanking(const ETabulonScoreCumuls& desc, const ScoreCells& cells)
    : desc_(desc), cells_(cells), calculations_(cells.CalculationCount()) {
    const std::uint32_t count = cells.LineCount();
    results_.reserve(std::size_t{count} * calculations_);
    for (std::uint32_t line = 0; line < count; ++line) {
        for (unsigned int calculation = 0; calculation < calculations_; ++calculation) {
            results_.push_back(cells.Result(line, calculation));
        }
    }
    if (count == 0) {
        return;
    }
    if (LabelsHoldTheSameLevels()) {
        Sort();
    } else {
        InsertOneByOne();
    }
}

PTableau<ETabulonValue> ScoreRanking::Values(std::uint32_t line) const {
    PTableau<ETabulonValue> values;
    for (unsigned int calculation = 0; calculation < calculations_; ++calculation) {
        values.Add(results_[std::size_t{line} * calculations_ + calculation]);
    }
    return values;
}

int ScoreRanking::CompareResults(std::uint32_t a, std::uint32_t b) const {
    const ETabulonValue* const left = results_.data() + std::size_t{a} * calculations_;
    const ETabulonValue* const right = results_.data() + std::size_t{b} * calculations_;
    for (unsigned int calculation = 0; calculation < calculations_; ++calculation) {
        const int order = left[calculation].Compare(right[calculation], /*byDisplay=*/false);
        if (order != 0) {
            return order;
        }
    }
    return 0;
}

bool ScoreRanking::LabelsHoldTheSameLevels() const {
    const TagIndex& labels = cells_.Labels();
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

/// Sorts lines of equal results by their labels, one group after the other. Comparison keys of
/// texts are made once, and only for lines that are in such a group.
class ScoreRanking::TieBreaker {
public:
    TieBreaker(const ETabulonSortDesc& sortDesc, const ScoreCells& cells)
        : sortDesc_(sortDesc), cells_(cells) {
        std::vector<std::uint32_t> first(cells.Labels().ColumnCount());
        cells.Labels().NumbersOf(0, first);
        for (unsigned int place = 0; place < sortDesc.SortLevelCount(kCalc); ++place) {
            const ETabulonSortKey& key = sortDesc.SortLevel(place, kCalc);
            const int column = cells.Labels().ColumnOf(key.Level());
            if (column >= 0 && first[static_cast<std::size_t>(column)] != TagIndex::kAbsent) {
                keys_.push_back(key);
            }
        }
    }

    /// The lines come in the order in which they were met. Writes what is kept of them from `kept`
    /// on, which isn't behind `first`, and returns its end.
    ///
    /// Deliberate: of lines whose labels compare as equal, such as two cases of one text, only the
    /// last is kept, though they are of different records and the total has them all: where results
    /// and labels read alike, nobody could tell two lines apart. AreOneAndShowTheLast holds it.
    Place Keep(Place first, Place last, Place kept) {
        texts_.clear();
        tied_.clear();
        for (Place place = first; place != last; ++place) {
            tied_.push_back({*place, texts_.size()});
            const ETabulonTag label = cells_.Label(*place);
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
        std::size_t texts;  // where its comparison keys begin
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
    std::vector<ETabulonSortKey> keys_;  // those that may tell two labels apart
    ETabulonSortKeyCache cache_;
    std::vector<Chaine> texts_;
    std::vector<Tied> tied_;
};

void ScoreRanking::Sort() {
    lines_.resize(cells_.LineCount());
    std::iota(lines_.begin(), lines_.end(), 0U);
    std::stable_sort(lines_.begin(), lines_.end(),
                     [this](std::uint32_t a, std::uint32_t b) { return CompareResults(a, b) < 0; });
    TieBreaker ties(*desc_.SortDesc(), cells_);
    Place kept = lines_.begin();
    for (Place first = lines_.begin(); first != lines_.end();) {
        const Place last = std::find_if(first + 1, lines_.end(), [this, first](std::uint32_t line) {
            return CompareResults(*first, line) != 0;
        });
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

// Deliberate: labels of which one lacks a level of the other's are compared without that level, so
// that three of them may be equal in turn and yet two of them in order. Which of them are one, and
// where they stand, then depends on the walk through the set, and no sort gives the same.
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
