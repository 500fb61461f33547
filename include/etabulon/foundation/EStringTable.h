#pragma once

#include "etabulon/foundation/EExport.h"

#include <string_view>

namespace etabulon {

/// The texts that the library shows, by number. Constant: exists before any other code runs.
/// Returns "" for an unknown number.
[[nodiscard]] ETABULON_API std::string_view StringTableText(unsigned int stringID) noexcept;

}  // namespace etabulon
