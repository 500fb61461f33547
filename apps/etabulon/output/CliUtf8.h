#pragma once

#include "etabulon/foundation/detail/Utf8.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace etabulon {

using detail::FirstCharacter;

[[nodiscard]] bool IsUtf8(std::string_view text) noexcept;
/// The cells that a character takes on a terminal: 0, 1 or 2.
[[nodiscard]] std::size_t WidthOf(char32_t code) noexcept;
/// Moves the cursor, changes the order of what is shown, or otherwise isn't to reach a terminal.
[[nodiscard]] bool IsControl(char32_t code) noexcept;

/// Appends `text` as it may be shown: what is no character, or a control one, as \n, \t or \xNN.
/// Returns the width of what was appended.
std::size_t AppendShown(std::string& shown, std::string_view text);
/// The same between double quotes, with \" and \\.
std::size_t AppendInQuotes(std::string& shown, std::string_view text);
/// A name in a sentence: between quotes, as it may be shown.
[[nodiscard]] std::string Quoted(std::string_view name);

}  // namespace etabulon
