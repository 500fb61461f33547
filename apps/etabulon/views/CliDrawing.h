#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "etabulon/report/EReportChart.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace etabulon {

/// Prints charts below each other as one picture. The output fails if there is nothing to draw.
void DrawCharts(const CliPrinting& printing, const std::vector<EReportChart>& charts);

/// The writer itself, or, where the user wants bars, one that puts those of `values` behind the
/// column at `column`. Without values there are no bars.
[[nodiscard]] std::unique_ptr<EReportWriter> WithBars(
    const CliPrinting& printing, std::unique_ptr<EReportWriter> writer, std::size_t column,
    const std::vector<const ETabulonValue*>& values);

}  // namespace etabulon
