#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/score/EScoreView.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <vector>

namespace etabulon {

/// A ranking as it is printed.
struct CliRanking {
    /// A label is what is shown, one for each level: missing for NULL.
    struct Line {
        std::vector<EVariant> labels;
        std::vector<ETabulonValue> values;
    };
    /// Heads the columns of a ranking: a label for each of the first `depth` details, then a value
    /// for each calculation.
    void SetColumns(const CliResultLevels& levels, std::size_t depth,
                    const CliCalculations& calculations);

    std::vector<CliColumn> columns;
    std::vector<Line> lines;
    std::vector<ETabulonValue> totals;
};

/// Takes the first lines of a score, and its total, over as a ranking. The score's axis isn't read:
/// the columns are named after the calculations that the user asked for.
///
/// Ownership  nothing is owned, and nothing of the score is kept.
class CliScoreView final : public EScoreView {
public:
    /// The labels are of the first `depth` details.
    CliScoreView(const CliResultLevels& levels, std::size_t depth, std::uint64_t mostLines,
                 CliRanking& ranking)
        : levels_(levels), depth_(depth), mostLines_(mostLines), ranking_(ranking) {}

    void Reset() override {
        ranking_.lines.clear();
        ranking_.totals.clear();
    }
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override;
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override;

private:
    const CliResultLevels& levels_;
    std::size_t depth_;
    std::uint64_t mostLines_;
    CliRanking& ranking_;
};

/// Formats of lines have the total last; JSON is an object of lines and total, NDJSON an object for
/// each line, and one for the total.
void PrintRanking(const CliPrinting& printing, const CliRanking& ranking);

}  // namespace etabulon
