#pragma once

#include <cstdint>

namespace etabulon {

/// The result of every step. Any other value is a status of the table layer, passed through unread.
enum CursorStatus : std::int32_t {
    StatusRefused = -3,    // refused by the filter; the walk goes on
    StatusCancelled = -2,  // the cancel flag was seen set, or a step reported cancellation
    StatusOk = 0,          // an accepted record is under the cursor
    StatusEnd = 9,         // end of the records
};

}  // namespace etabulon
