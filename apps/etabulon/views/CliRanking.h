#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "etabulon/report/EReportRanking.h"

#include <cstddef>
#include <vector>

namespace etabulon {

class ECrossTable;

/// A ranking as it is printed.
struct CliRanking : EReportRanking {
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
};

/// The formats that consist of lines have the total last. JSON is one object with the lines and the
/// total, NDJSON has an object for each line and one for the total.
void PrintRanking(const CliPrinting& printing, const CliRanking& ranking);

}  // namespace etabulon
