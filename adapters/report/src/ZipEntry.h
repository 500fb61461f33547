#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace etabulon::detail {

/// The size that an entry of a zip file has when it is unpacked, as the file's directory says. None
/// where there is no such entry, or no directory.
[[nodiscard]] std::optional<std::uint32_t> ZipEntrySize(int descriptor, std::string_view name);

}  // namespace etabulon::detail
