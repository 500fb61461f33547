#pragma once

#include "etabulon/foundation/detail/Utf8.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace etabulon {

using detail::FirstCharacter;

/// A printable character of ASCII.
[[nodiscard]] bool IsPlainByte(char c) noexcept;
[[nodiscard]] bool IsUtf8(std::string_view text) noexcept;
/// The character could move the cursor, turn the writing direction or otherwise harm a terminal.
[[nodiscard]] bool IsControl(char32_t code) noexcept;

/// Appends `text` in a form that is safe to show: a control character, or a byte that isn't UTF-8,
/// becomes \n, \t or \xNN. Returns the columns that the appended text takes on a terminal.
std::size_t AppendShown(std::string& shown, std::string_view text);
/// The same between double quotes, with \" and \\.
std::size_t AppendInQuotes(std::string& shown, std::string_view text);
/// A name for a sentence: in single quotes, in the form of AppendShown.
[[nodiscard]] std::string Quoted(std::string_view name);

}  // namespace etabulon
