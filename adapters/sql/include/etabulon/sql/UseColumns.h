#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/values/ETabulonLevels.h"

#include <span>
#include <vector>

namespace etabulon {

/// The columns of `rubric` that a screen reads, for ESqlTableOptions: those of the levels' data and
/// labels, of `others` (calculations, shown variables), the columns at which links among these
/// start, and the key. Ascending, each once. Variables of other rubrics are ignored.
[[nodiscard]] ETABULON_API std::vector<unsigned int> UseColumns(
    const ETabulonLevels& levels, std::span<const ETabulonVariableID> others,
    const DRubric& rubric);

}  // namespace etabulon
