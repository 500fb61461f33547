#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EData.h"

#include <cstdint>

namespace etabulon {

/// The status of a walk that Interrupt broke off; a cursor turns it into StatusCancelled.
inline constexpr std::int32_t kDataInterrupted = 1006;

/// What went wrong, and where: for a status line or a log. Never holds a password.
struct ESqlError {
    std::int32_t status = DataOk;  // an EDataStatus; 0 = nothing went wrong
    int engineCode = 0;            // the engine's own (extended) code
    Chaine text;                   // one sentence that names the file or table
};

}  // namespace etabulon
