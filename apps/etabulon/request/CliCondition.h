#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/foundation/EVariant.h"

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace etabulon {

/// A condition on the values of a record.
struct CliCondition {
    std::vector<CliVariable> variables;
    /// Gets the values of the variables in their order. A missing value makes a comparison neither
    /// true nor false, as in SQL.
    std::function<bool(std::span<const EVariant* const>)> isMet;
};

/// Reads the text of --where. Conditions that `and` joins are separate ones, each with its own
/// variables. A blank text has none. A failure names the place in the text.
[[nodiscard]] CliResult<std::vector<CliCondition>> ParseConditions(const CliTable& table,
                                                                   std::string_view text);

}  // namespace etabulon
