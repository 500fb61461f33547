#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EDataError.h"

#include <cstdint>

namespace etabulon {

/// The status of a walk that Interrupt broke off; a cursor turns it into StatusCancelled.
inline constexpr std::int32_t kDataInterrupted = 1006;
/// The status of a write whose commit failed at a point where it may have been carried out.
inline constexpr std::int32_t kDataUnknown = 1007;

/// What became of a transaction.
enum class ESqlOutcome : std::uint8_t {
    Committed = 0,
    RolledBack = 1,
    Unknown = 2,  // the line was lost in the commit, or the file failed at a point of no return
};

using ESqlError = EDataError;

}  // namespace etabulon
