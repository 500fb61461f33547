#pragma once

#include "etabulon/foundation/DDico.h"
#include "etabulon/values/ETabulonLevels.h"

#include <span>
#include <vector>

namespace etabulon {

/// The columns of `rubric` that a screen reads, for ESqlTableOptions: those of the levels' data and
/// description, of `others` (calculations, variables shown), those that links in either start from,
/// and the key. Ascending, each once. What isn't of this rubric is passed over.
[[nodiscard]] ETABULON_API std::vector<unsigned> UseColumns(
    const ETabulonLevels& levels, std::span<const ETabulonVariableID> others,
    const DRubric& rubric);

}  // namespace etabulon
