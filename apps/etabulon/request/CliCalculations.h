#pragma once

#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliFailure.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// A calculation as it was asked for.
struct CliCalculation {
    std::string function;  // its code
    CliVariable variable;
    std::string shown;      // SUM(cost_total)
    bool isNumber = false;  // what it gives
};

struct CliCalculations {
    std::vector<CliCalculation> all;
    ETabulonCumulFuncOnVarCollection collection;  // the same, in the same order
};

/// The calculations that `text` names: FUNCTION:column, separated by commas. Averages are computed
/// in double, sums of whole numbers in 64 bits.
[[nodiscard]] bool MakeCalculations(const CliDictionary& dictionary, const ESqlTableInfo& table,
                                    std::string_view text, CliCalculations& calculations,
                                    CliFailure& failure);

/// The variables that they read.
[[nodiscard]] std::vector<CliVariable> VariablesOf(const CliCalculations& calculations);

}  // namespace etabulon
