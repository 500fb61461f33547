#pragma once

#include <cstdint>

namespace etabulon {

/// Where a walk over rising positions stands: on a record, or between two records once its record
/// was deleted or the walk met an end. The walk can go on from there in both directions.
struct EWalkState {
    bool known = false;
    std::int64_t next = 0;       // the lowest position the next step may reach
    std::int64_t previous = -1;  // the highest position the step back may reach

    void StandOn(std::int64_t position) noexcept {
        known = true;
        next = position + 1;
        previous = position - 1;
    }
    /// Between the records below `position` and the others.
    void StandBefore(std::int64_t position) noexcept {
        known = true;
        next = position;
        previous = position - 1;
    }
    void Lose() noexcept { known = false; }
};

}  // namespace etabulon
