#pragma once

#include <cstddef>
#include <string_view>

namespace etabulon {

/// The locale order that holds where the application installs none. Deterministic and independent
/// of the platform: UTF-8 texts by base letters without case, then by accents. Latin letters up to
/// U+017F are taken apart by a table; every other character stands by its code point, and a byte
/// that is no UTF-8 stands by itself, above all characters.
[[nodiscard]] int DefaultLocaleCompare(std::string_view left, std::string_view right);
/// The key of the same order, see LocaleKey.
[[nodiscard]] std::size_t DefaultLocaleKey(std::string_view text, char* key, std::size_t capacity);

}  // namespace etabulon
