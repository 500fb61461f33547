#pragma once

#include "etabulon/sort/ETabulonSortDesc.h"

#include <iterator>

namespace etabulon::test {

inline constexpr ETabulonSortDesc::SortCompareSource kSources[] = {
    ETabulonSortDesc::CompareOnDisplay, ETabulonSortDesc::CompareOnData,
    ETabulonSortDesc::CompareOnValue};

}  // namespace etabulon::test
