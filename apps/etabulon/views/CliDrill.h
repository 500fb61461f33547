#pragma once

#include "apps/etabulon/request/CliPath.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/views/CliCross.h"
#include "etabulon/cross/ECrossTable.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace etabulon {

/// The position of a cell in a grid; the index behind the last label is the total's.
struct CliCellPlace {
    unsigned int line = 0;
    unsigned int column = 0;
};

/// Finds the cell that `text` names by the labels of its line and, if there are columns, of its
/// column. NULL without quotes means a missing label, total without quotes the total.
[[nodiscard]] CliResult<CliCellPlace> FindCell(const CliCross& cross, std::string_view text);

/// The entry of an axis that words name by its labels, one for each of the axis's levels: in place
/// of a label `total` without quotes means all that lie there, and `others` those that aren't
/// shown. ECrossTable::kTotal for the total. `limit` is the option that leaves lines out; empty
/// without one.
[[nodiscard]] CliResult<std::uint32_t> FindEntry(const ECrossTable& table, ECrossSide side,
                                                 const CliLevels& levels,
                                                 std::span<const unsigned int> axis,
                                                 std::span<const CliWordChoice> words,
                                                 std::string_view limit);

}  // namespace etabulon
