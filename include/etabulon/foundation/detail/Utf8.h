#pragma once

#include <cstddef>
#include <string_view>

namespace etabulon::detail {

/// The character at the front of a text.
struct Utf8Character {
    char32_t code = 0;
    std::size_t length = 0;  // in bytes; 0 where the bytes form no character
};

/// Decodes the character at the front of `text`. Overlong forms, surrogates and what lies above
/// U+10FFFF are no characters. Requires a text that isn't empty.
[[nodiscard]] constexpr Utf8Character FirstCharacter(std::string_view text) noexcept {
    const auto byteAt = [text](std::size_t index) {
        return static_cast<char32_t>(static_cast<unsigned char>(text[index]));
    };
    const char32_t lead = byteAt(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return {};
    }
    char32_t code = lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        if ((byteAt(index) & 0xC0U) != 0x80U) {
            return {};
        }
        code = (code << 6U) | (byteAt(index) & 0x3FU);
    }
    const bool isOverlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return isOverlong || isSurrogate || code > 0x10FFFF ? Utf8Character{}
                                                        : Utf8Character{code, length};
}

}  // namespace etabulon::detail
