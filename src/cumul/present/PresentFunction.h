#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"

#include <cstdint>
#include <string_view>

namespace etabulon::detail {

/// What a function over the values that are there consists of. Each has a source of its own, and a
/// line in PresentFunctions.cpp.
struct PresentKind {
    /// `argument` is that of a function which has one: the percent of a quantile.
    using Start = ETabulonCumulBuffer* (*)(ETabulonCumulFunc* function, int type, unsigned int size,
                                           double argument);

    enum class Result : std::uint8_t { Count, Real, Code, Value };
    enum class For : std::uint8_t { Numbers, NumbersAndDates, All };

    std::string_view code;
    std::string_view displayName;
    For variables;
    Result result;
    Start start;
};

extern const PresentKind kCountValues;
extern const PresentKind kDistinct;
extern const PresentKind kFirst;
extern const PresentKind kLowest;
extern const PresentKind kHighest;
extern const PresentKind kCodeLowest;
extern const PresentKind kCodeHighest;
extern const PresentKind kMean;
extern const PresentKind kStdDev;
extern const PresentKind kStdDevP;
extern const PresentKind kMedian;
extern const PresentKind kPercentile;

}  // namespace etabulon::detail
