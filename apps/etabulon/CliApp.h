#pragma once

namespace etabulon {

/// The whole program; the result is what it ends with.
[[nodiscard]] int RunEtabulon(int argc, const char* const* argv);

}  // namespace etabulon
