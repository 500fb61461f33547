#pragma once

#include <cstdint>

namespace etabulon {

/// How many values of a column a record doesn't show as they are stored.
/// Example    apps/etabulon/walk/CliWalk.cpp
struct ESqlMisreads {
    std::uint64_t mismatches = 0;  // of another type, read as missing
    std::uint64_t cuts = 0;        // times and timestamps, cut to milliseconds

    ESqlMisreads& operator+=(const ESqlMisreads& other) noexcept {
        mismatches += other.mismatches;
        cuts += other.cuts;
        return *this;
    }
};

}  // namespace etabulon
