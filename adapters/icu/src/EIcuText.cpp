#include "EIcuText.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace etabulon::detail {
namespace {

constexpr UChar32 kInvalidByte = 0xDC00;  // + the byte

}  // namespace

EIcuText::EIcuText(std::string_view text) {
    text = text.substr(0, kLongest);
    units_ = short_.data();
    if (text.size() > kShort) {
        long_.resize(text.size());  // a character never has more units than bytes
        units_ = long_.data();
    }
    const auto size = static_cast<std::int32_t>(text.size());
    std::int32_t at = 0;
    while (at < size) {
        const std::int32_t start = at;
        UChar32 character = 0;
        U8_NEXT(text.data(), at, size, character);
        if (character < 0) {
            at = start + 1;  // skips one byte, where ICU skips several
            character = kInvalidByte + static_cast<unsigned char>(text[start]);
        }
        U16_APPEND_UNSAFE(units_, length_, character);
    }
}

}  // namespace etabulon::detail
