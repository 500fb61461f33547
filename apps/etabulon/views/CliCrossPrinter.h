#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/views/CliCross.h"

#include <vector>

namespace etabulon {

/// Prints cross tables that have the same axes, one for each calculation.
///
/// Formats of lines have a column for each label and one for the totals of lines, and below each
/// table the totals of columns; more than one table makes one with a column for the calculation.
/// JSON is an array of tables, NDJSON an object for each cell and total.
void PrintCrosses(const CliPrinting& printing, const std::vector<CliCross>& crosses, bool isNumber);

/// A label where there is only room for text: NULL, and what could be taken for it, or for
/// nothing, in quotes.
[[nodiscard]] std::string LabelText(const EVariant& label);

inline constexpr const char* kTotal = "total";

}  // namespace etabulon
