#pragma once

#include <cstdint>

namespace etabulon {

/// What a lookup answers when the key isn't there.
enum FindMode : std::int32_t {
    FindExact = 0,      // -1
    FindNext = 1,       // the first element above it; -1 beyond the end
    FindPrevious = 2,   // the last element below it; -1 before the start
    FindOrInsert = 3,   // its index, after it was inserted with a default value
    FindInsertPos = 4,  // the place where it would go
};

}  // namespace etabulon
