#pragma once

#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliLevels.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/report/EReportCross.h"
#include "etabulon/values/ETabulonValue.h"

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace etabulon {

using CliCrossLabel = EReportCrossLabel;
using CliCrossAxis = EReportCrossAxis;
using CliCross = EReportCross;

/// What reports call the levels and calculations that the user asked for.
[[nodiscard]] EReportNames NamesOf(const CliLevels& levels, const CliCalculations& calculations);

/// The shown value of a label: its own label, or its data; missing for NULL and for none.
[[nodiscard]] EVariant ShownLabel(const CliLevel& level, const ETabulonValue* value);

/// How a result is shown that was arranged.
struct CliCrossShown {
    std::optional<ECrossBase> percent;  // of what all values are shares
    bool hasLineTotals = true;
    bool hasColumnTotals = true;
};
/// Copies one calculation of an arranged result into a cross table. Without columns it has one, the
/// calculation. `lines` and `columns` are the levels of the axes.
[[nodiscard]] CliCross TakeCross(const ECrossTable& table, const CliLevels& levels,
                                 std::span<const unsigned int> lines,
                                 std::span<const unsigned int> columns,
                                 const CliCalculations& calculations, unsigned int calculation,
                                 const CliCrossShown& shown);

/// Joins cross tables of the same lines and one column each into one table. Requires at least one.
[[nodiscard]] CliCross SideBySide(std::vector<CliCross> parts);

}  // namespace etabulon
