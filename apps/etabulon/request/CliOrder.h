#pragma once

#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "etabulon/cross/ECrossOrder.h"

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace etabulon {

/// What the keys of an order may name: levels of the axis that it sorts, levels of the other axis,
/// and calculations.
struct CliOrderScope {
    std::string_view option;  // for messages
    const CliResultLevels& levels;
    const CliCalculations& calculations;
    std::span<const unsigned int> own;
    std::span<const unsigned int> across = {};
    /// The calculation that a key means which names none.
    std::size_t shown = 0;
};

/// Reads keys of an order. Without a direction a calculation falls, and a level goes as --reverse
/// says. `total` means the totals, and `level=value` the cells under that label of the other axis.
[[nodiscard]] CliResult<std::vector<ECrossKey>> ReadOrder(std::string_view text,
                                                          const CliOrderScope& scope);

/// A calculation that something is sorted by.
struct CliResultOrder {
    unsigned int calculation = 0;  // its place
    bool isFalling = true;
};
/// Reads the one calculation that `text` sorts by, with or without a direction.
[[nodiscard]] CliResult<CliResultOrder> ReadResultOrder(std::string_view text,
                                                        std::string_view option,
                                                        const CliTable& table,
                                                        const CliCalculations& calculations);

/// Reads the calculations that `text` names, as their places in `calculations`. Each must have
/// shares: those of COUNT, COUNTVAL and SUM do.
[[nodiscard]] CliResult<std::vector<unsigned int>> ReadShares(std::string_view text,
                                                              std::string_view option,
                                                              const CliTable& table,
                                                              const CliCalculations& calculations);
/// Fails with a clear message for a calculation whose results make no shares.
[[nodiscard]] CliResult<> CheckShares(const CliCalculations& calculations, unsigned int index,
                                      std::string_view option);

/// Fails for a calculation whose results of others wouldn't be sure to be exact.
[[nodiscard]] CliResult<> CheckOthers(const CliCalculations& calculations);

}  // namespace etabulon
