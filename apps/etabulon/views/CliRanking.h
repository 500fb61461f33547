#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/score/EScoreView.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace etabulon {

class ECrossTable;

/// A ranking as it is printed.
struct CliRanking {
    /// The labels are the shown values, one for each level: missing for NULL.
    struct Line {
        std::vector<EVariant> labels;
        std::vector<ETabulonValue> values;
    };
    /// Sets the columns: one for each of the first `depth` details, whose values are the labels,
    /// then one for each calculation, and two for each of `shares`, calculations by their places.
    void SetColumns(const CliResultLevels& levels, std::size_t depth,
                    const CliCalculations& calculations,
                    const std::vector<unsigned int>& shares = {});
    /// Takes the lines and the totals of a result in its order, with those shares.
    void Take(const ECrossTable& table, const CliResultLevels& levels, std::size_t depth,
              const std::vector<unsigned int>& shares);
    /// Gives the totals of no records their values.
    void CompleteTotals(const CliCalculations& calculations);

    std::vector<CliColumn> columns;
    std::vector<Line> lines;
    std::optional<std::vector<ETabulonValue>> others;  // of the lines left out
    std::vector<ETabulonValue> totals;
};

/// Copies the first lines of a score, and its total, into a ranking. The score's axis isn't read:
/// the columns are named after the calculations that the user asked for.
///
/// Ownership  nothing is owned, and no part of the score is kept.
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

/// The formats that consist of lines have the total last. JSON is one object with the lines and the
/// total, NDJSON has an object for each line and one for the total.
void PrintRanking(const CliPrinting& printing, const CliRanking& ranking);

}  // namespace etabulon
