#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/views/CliCross.h"

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

}  // namespace etabulon
