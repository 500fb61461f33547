#pragma once

#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/foundation/PUnique.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/score/ETabulonScoreCumuls.h"
#include "etabulon/score/ITabulonResScoreUI.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "grid/LiteralGrid.h"

#include <utility>
#include <vector>

namespace etabulon::test {

/// A line as it stands in the set that ranks: compared by asking the buffers each time.
struct LiteralLine {
    ETabulonTag label;
    ITabulonCumulFuncOnVarCollection* calculations = nullptr;
    ETabulonCumulBufferOnVarCollection* buffers = nullptr;
    const ETabulonSortDesc* sortDesc = nullptr;

    [[nodiscard]] ETabulonValue Result(unsigned int place) const {
        const auto calculation =
            ERef<ETabulonCumulFuncOnVar>::Adopt(calculations->Calculation(place));
        return ERef<ETabulonCumulBufferOnVar>::Adopt(buffers->Calculation(calculation.Get()))
            ->Result();
    }
    [[nodiscard]] int CompareLabel(const LiteralLine& other) const {
        return sortDesc->Compare(label, other.label, ETabulonSortDesc::HideInCalc);
    }
    friend bool operator<(const LiteralLine& a, const LiteralLine& b) {
        for (unsigned int place = 0; place < a.calculations->Size(); ++place) {
            const int order = a.Result(place).Compare(b.Result(place), /*byDisplay=*/false);
            if (order != 0) {
                return order < 0;
            }
        }
        return a.CompareLabel(b) < 0;
    }
    friend bool operator==(const LiteralLine& a, const LiteralLine& b) {
        bool equal = a.CompareLabel(b) == 0;
        for (unsigned int place = 0; place < a.calculations->Size(); ++place) {
            equal = equal && a.Result(place).Compare(b.Result(place), /*byDisplay=*/false) == 0;
        }
        return equal;
    }
};

/// A score as plainly as it can be: labels as keys, found by a linear search, a collection of
/// running buffers for each, and a set into which the lines are put one by one. Slow, and what the
/// score's own way is compared with.
class LiteralScore : LiteralResults<ETabulonScoreCumuls> {
public:
    explicit LiteralScore(ERef<ETabulonScoreCumuls> desc) : LiteralResults(std::move(desc)) {}

    void AddValue(const ETabulonExtractValue& extract) {
        if (IsBelowRoot(extract.Position())) {
            Fold(result_,
                 desc_->SortDesc()->ExtractDetails(extract.Position(), desc_->Root(),
                                                   desc_->LevelCount(),
                                                   ETabulonSortDesc::HideInCalc),
                 extract);
            Fold(total_, ETabulonTag::Null, extract);
        }
    }

    [[nodiscard]] unsigned int LineCount() const {
        return static_cast<unsigned int>(result_.size());
    }
    /// Requires that a record was added.
    void SendTo(ITabulonResScoreUI& view) {
        view.StartRefresh();
        view.Reset();
        view.SetScoreAxe(desc_->SortDesc(), desc_->Root().KnownLevelsCount() + desc_->LevelCount(),
                         ERef<ETabulonGridAxe>::Adopt(desc_->BuildAxeDesc()).Get());
        PUniqueT<LiteralLine> set;
        for (const auto& [label, buffers] : result_) {
            const LiteralLine line{label, &desc_->Calculations(), buffers.Get(), desc_->SortDesc()};
            set[static_cast<unsigned int>(set.Find(line, FindOrInsert))] = line;
        }
        for (unsigned int place = 0; place < set.Size(); ++place) {
            const LiteralLine& line =
                set[desc_->IncreasingOrder() ? place : set.Size() - 1 - place];
            view.SetScoreLine(line.label, Values(line));
        }
        view.SetScoreTotal(Values(
            {ETabulonTag(), &desc_->Calculations(), total_[0].second.Get(), desc_->SortDesc()}));
        view.EndRefresh();
    }

private:
    [[nodiscard]] static PTableau<ETabulonValue> Values(const LiteralLine& line) {
        PTableau<ETabulonValue> values;
        for (unsigned int place = 0; place < line.calculations->Size(); ++place) {
            values.Add(line.Result(place));
        }
        return values;
    }

    Map result_, total_;
};

}  // namespace etabulon::test
