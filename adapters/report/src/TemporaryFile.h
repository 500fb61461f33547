#pragma once

#include <string>

namespace etabulon::detail {

/// Opens a new file in `folder` for reading and writing. It has no name where the file system
/// allows that; otherwise `name` becomes that of a hidden file. Returns -1 with errno on failure.
[[nodiscard]] int OpenTemporary(const std::string& folder, std::string& name) noexcept;

/// The path under which the process itself can open a descriptor's file.
[[nodiscard]] std::string PathOf(int descriptor);

/// A name for a hidden file in `folder` that no other process uses.
[[nodiscard]] std::string HiddenName(const std::string& folder, unsigned int attempt);

}  // namespace etabulon::detail
