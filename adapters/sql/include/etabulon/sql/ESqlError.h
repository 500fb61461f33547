#pragma once

#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EDataError.h"

#include <cstdint>

namespace etabulon {

/// The status of a walk that Interrupt broke off; a cursor turns it into StatusCancelled.
inline constexpr std::int32_t kDataInterrupted = 1006;

using ESqlError = EDataError;

}  // namespace etabulon
