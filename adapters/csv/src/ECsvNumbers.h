#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace etabulon {

// Fast paths for the spellings that most numbers have. Each is false for any other spelling, which
// may be a number all the same, and otherwise gives what std::from_chars gives.

/// Digits that a real and a 64-bit number hold exactly.
inline constexpr std::size_t kFewDigits = 15;

/// Appends the digits at the front of `text`, up to a limit, to `number`, and removes them.
inline std::size_t TakeDigits(std::string_view& text, std::int64_t& number) noexcept {
    std::size_t count = 0;
    while (count < text.size() && count <= kFewDigits) {
        const unsigned int digit =
            static_cast<unsigned char>(text[count]) - static_cast<unsigned char>('0');
        if (digit > 9) {
            break;
        }
        number = number * 10 + static_cast<std::int64_t>(digit);
        ++count;
    }
    text.remove_prefix(count);
    return count;
}

/// Removes a minus.
inline bool TakeMinus(std::string_view& text) noexcept {
    const bool isNegative = !text.empty() && text[0] == '-';
    text.remove_prefix(isNegative ? 1 : 0);
    return isNegative;
}

/// 12, -7, 0, -0; not 007 or more than 15 digits.
inline bool ParseFewDigits(std::string_view text, std::int64_t& number) noexcept {
    const bool isNegative = TakeMinus(text);
    const bool hasZero = !text.empty() && text[0] == '0';
    std::int64_t whole = 0;
    const std::size_t count = TakeDigits(text, whole);
    if (count == 0 || count > kFewDigits || !text.empty() || (hasZero && count > 1)) {
        return false;
    }
    number = isNegative ? -whole : whole;
    return true;
}

/// The same, and 1.25, -0.5, .5, with this decimal character. Both the digits and the power of ten
/// are exact, so that their quotient is rounded once (Clinger, "How to Read Floating Point Numbers
/// Accurately", PLDI 1990).
inline bool ParseFewDecimals(std::string_view text, char decimal, double& number) noexcept {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const bool isNegative = TakeMinus(text);
    const bool hasZero = !text.empty() && text[0] == '0';
    std::int64_t digits = 0;
    const std::size_t before = TakeDigits(text, digits);
    if (before > kFewDigits || (hasZero && before > 1)) {
        return false;
    }
    std::size_t decimals = 0;
    if (!text.empty()) {
        if (text[0] != decimal) {
            return false;
        }
        text.remove_prefix(1);
        decimals = TakeDigits(text, digits);
        if (decimals == 0 || !text.empty() || before + decimals > kFewDigits) {
            return false;
        }
    } else if (before == 0) {
        return false;
    }
    const double real = static_cast<double>(digits) / kPowers[decimals];
    number = isNegative && digits != 0 ? -real : real;
    return true;
}

}  // namespace etabulon
