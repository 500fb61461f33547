#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/views/CliCross.h"

#include <vector>

namespace etabulon {

/// Prints cross tables that have the same axes, one for each calculation.
///
/// The formats that consist of lines have a column for each label and one for the lines' totals;
/// the columns' totals come last. Several tables follow each other, with a column for the
/// calculation. JSON is an array of tables, NDJSON has an object for each cell and total.
void PrintCrosses(const CliPrinting& printing, const std::vector<CliCross>& crosses, bool isNumber);

inline constexpr const char* kTotal = EReportCross::kTotal;
inline constexpr const char* kOthers = EReportCross::kOthers;

}  // namespace etabulon
