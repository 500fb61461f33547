#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace etabulon {

/// A printable character of ASCII.
[[nodiscard]] ETABULON_API bool IsPlainByte(char c) noexcept;
[[nodiscard]] ETABULON_API bool IsUtf8(std::string_view text) noexcept;
/// The character could move the cursor, turn the writing direction or otherwise harm a terminal.
[[nodiscard]] ETABULON_API bool IsControl(char32_t code) noexcept;

/// Appends `text` in a form that is safe to show: a control character, or a byte that isn't UTF-8,
/// becomes \n, \t or \xNN. Returns the columns that the appended text takes on a terminal.
ETABULON_API std::size_t AppendShown(std::string& shown, std::string_view text);
/// The same between double quotes, with \" and \\.
ETABULON_API std::size_t AppendInQuotes(std::string& shown, std::string_view text);

}  // namespace etabulon
