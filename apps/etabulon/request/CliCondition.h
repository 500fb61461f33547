#pragma once

#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/cursors/EFilter.h"

#include <string_view>
#include <vector>

namespace etabulon {

/// A condition on the values of a record.
struct CliCondition {
    std::vector<CliVariable> variables;  // of the filter, each once
    EFilter filter;
    bool isOfPlaces = false;  // of --at alone, not of --where
};

/// Reads the text of --where. A blank text accepts every record. A failure names the place in the
/// text.
[[nodiscard]] CliResult<CliCondition> ParseCondition(const CliTable& table, std::string_view text);
/// The condition of --where and of the levels to which --at gives several values: such a level has
/// one of them.
[[nodiscard]] CliResult<CliCondition> ReadCondition(const CliTable& table,
                                                    const CliLevelOptions& options);

}  // namespace etabulon
