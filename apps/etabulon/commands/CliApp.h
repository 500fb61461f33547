#pragma once

#include "apps/etabulon/request/CliEnvironment.h"

namespace etabulon {

/// Runs the program and returns its exit status. `installLocale` is null without ICU.
[[nodiscard]] int RunEtabulon(int argc, const char* const* argv, CliInstallLocale installLocale);

}  // namespace etabulon
