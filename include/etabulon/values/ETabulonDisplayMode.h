#pragma once

#include <cstdint>

namespace etabulon {

/// What a view shows of a value.
enum ETabulonDisplayMode : std::int32_t {
    DisplayRawValue = 0,  // the data
    DisplayText = 1,      // the display text
};

}  // namespace etabulon
