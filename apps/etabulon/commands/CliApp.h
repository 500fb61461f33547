#pragma once

#include "apps/etabulon/request/CliEnvironment.h"

namespace etabulon {

/// The whole program; the result is what it ends with. `installLocale` is null without ICU.
[[nodiscard]] int RunEtabulon(int argc, const char* const* argv, CliInstallLocale installLocale);

}  // namespace etabulon
