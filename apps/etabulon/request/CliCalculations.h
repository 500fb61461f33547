#pragma once

#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/request/CliTable.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/values/ETabulonValue.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A calculation that the user asked for.
struct CliCalculation {
    std::string function;  // the function's code
    CliVariable variable;
    std::string shown;      // SUM(cost_total)
    bool isNumber = false;  // the result is a number

    /// What it gives of no records, as SQL's functions do: a count 0, and all others nothing.
    [[nodiscard]] ETabulonValue OfNoRecords() const;
};

struct CliCalculations {
    std::vector<CliCalculation> all;
    ETabulonCumulFuncOnVarCollection collection;  // the same calculations in the same order

    /// The variables that the calculations read.
    [[nodiscard]] std::vector<CliVariable> Variables() const;
    /// Every calculation gives numbers.
    [[nodiscard]] bool AreNumbers() const;
    [[nodiscard]] std::vector<ETabulonValue> OfNoRecords() const;
};

/// Reads the calculations of `text`: FUNCTION:column, separated by commas. Averages are computed in
/// double, sums of whole numbers in 64 bits.
[[nodiscard]] CliResult<CliCalculations> MakeCalculations(const CliTable& table,
                                                          std::string_view text);

}  // namespace etabulon
