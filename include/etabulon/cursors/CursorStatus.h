#pragma once

#include <cstdint>

namespace etabulon {

/// The result of every step. Any other value is a status of the table, which the cursor passes
/// through unread.
enum CursorStatus : std::int32_t {
    StatusRefused = -3,    // the filter refused the record; the walk goes on
    StatusCancelled = -2,  // the cancel flag was set, or a step reported a cancellation
    StatusOk = 0,          // an accepted record is under the cursor
    StatusEnd = 9,         // end of the records
};

}  // namespace etabulon
