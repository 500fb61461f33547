#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EDataError.h"

#include <cstdint>

namespace etabulon {

/// The status of a walk that Interrupt ended; a cursor turns it into StatusCancelled.
inline constexpr std::int32_t kDataInterrupted = 1006;
/// The status of a write whose commit failed without telling whether the write took effect.
inline constexpr std::int32_t kDataUnknown = 1007;

/// The outcome of a transaction.
enum class ESqlOutcome : std::uint8_t {
    Committed = 0,
    RolledBack = 1,
    Unknown = 2,  // lost connection in the commit, or a failure at its point of no return
};

using ESqlError = EDataError;

}  // namespace etabulon
