#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <algorithm>
#include <span>
#include <vector>

namespace etabulon::detail {

// The parts that grids and scores have in common.

/// Calls `visit(variable, function)` for each calculation in order.
template <class Visit>
void ForEachCalculation(const ITabulonCumulFuncOnVarCollection& calculations, const Visit& visit) {
    for (unsigned int index = 0; index < calculations.Size(); ++index) {
        const auto calculation =
            ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index));
        visit(*calculation->Variable(), *calculation->Function());
    }
}

/// The number of levels that the sort description shows in calculations below `root`. A level with
/// two keys counts twice.
[[nodiscard]] inline unsigned int LevelsBelow(const ETabulonTag& root,
                                              const ETabulonSortDesc& sortDesc) {
    const unsigned int visible = sortDesc.SortLevelCount(ETabulonSortDesc::HideInCalc);
    return visible - std::min(sortDesc.LeadingLevels(root), visible);
}

/// The calculations of running results. Holds a reference to each.
class CalculationList {
public:
    explicit CalculationList(const ITabulonCumulFuncOnVarCollection& calculations) {
        for (unsigned int index = 0; index < calculations.Size(); ++index) {
            calculations_.push_back(
                ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index)));
        }
    }
    [[nodiscard]] std::span<const ERef<ETabulonCumulFuncOnVar>> All() const noexcept {
        return calculations_;
    }
    /// The extract's value for each calculation, in their order. Valid until the next call.
    [[nodiscard]] std::span<const EVariant* const> ValuesOf(const ETabulonExtractValue& extract) {
        values_.clear();
        for (const ERef<ETabulonCumulFuncOnVar>& calculation : calculations_) {
            values_.push_back(&extract.GetValue(calculation->Variable()));
        }
        return values_;
    }

private:
    std::vector<ERef<ETabulonCumulFuncOnVar>> calculations_;
    std::vector<const EVariant*> values_;
};

}  // namespace etabulon::detail
