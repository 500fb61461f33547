#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/report/EReportCross.h"
#include "etabulon/report/EReportWriter.h"
#include "etabulon/score/EScoreView.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// A ranking as it is reported.
struct ETABULON_API EReportRanking {
    /// The labels are the shown values, one for each level: missing for NULL.
    struct Line {
        std::vector<EVariant> labels;
        std::vector<ETabulonValue> values;
    };

    /// What is ranked by what: SUM(cost), COUNT(id): city.
    [[nodiscard]] std::string Title() const;

    std::vector<EReportColumn> columns;  // first those of the labels
    std::vector<Line> lines;
    std::optional<std::vector<ETabulonValue>> others;  // of the lines left out
    std::vector<ETabulonValue> totals;
    std::uint64_t count = 0;  // of lines, with those left out
};

/// Copies the first lines of a score, and its total, into a ranking. The score's axis isn't read:
/// the columns are named after the calculations in `names`, unless the ranking has columns.
///
/// Ownership  nothing is owned, and no part of the score is kept.
/// Example    adapters/report/src/EReportRanking.cpp
class ETABULON_API EReportScoreView final : public EScoreView {
public:
    static constexpr auto kAll = static_cast<std::uint64_t>(-1);

    /// The labels are of these levels.
    EReportScoreView(const EReportNames& names, std::vector<unsigned int> levels,
                     EReportRanking& ranking, std::uint64_t mostLines = kAll);

    void Reset() override;
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override;
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override;

private:
    const EReportNames& names_;
    std::vector<unsigned int> levels_;
    std::uint64_t mostLines_;
    EReportRanking& ranking_;
};

/// Writes the lines, the others and the total.
ETABULON_API void WriteRanking(EReportWriter& writer, const EReportRanking& ranking);

}  // namespace etabulon
