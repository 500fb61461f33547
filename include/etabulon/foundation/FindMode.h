#pragma once

#include <cstdint>

namespace etabulon {

/// What a lookup returns for a missing key.
enum FindMode : std::int32_t {
    FindExact = 0,      // -1
    FindNext = 1,       // the first element above it; -1 beyond the end
    FindPrevious = 2,   // the last element below it; -1 before the start
    FindOrInsert = 3,   // its index, once inserted with a default value
    FindInsertPos = 4,  // the index at which it would be inserted
};

}  // namespace etabulon
