#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstdint>

namespace etabulon {

/// What went wrong with data, and where: for a status line or a log. Never holds a password.
/// Example    adapters/csv/src/ECsvScanner.h
struct EDataError {
    std::int32_t status = 0;  // an EDataStatus; 0 = nothing went wrong
    int engineCode = 0;       // the engine's own (extended) code
    Chaine text;              // one sentence that names the file or table
};

}  // namespace etabulon
