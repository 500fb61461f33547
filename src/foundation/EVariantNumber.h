#pragma once

#include "foundation/EVariantAccess.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

namespace etabulon {

/// Wide enough for any sum, product by a scale, or difference of two 64-bit numbers.
__extension__ typedef __int128 EWide;

/// The number of a cell: whole / 10^scale exactly, or floating.
struct ENumber {
    enum class Form : std::uint8_t { None, Exact, Floating };
    Form form = Form::None;
    unsigned int scale = 0;
    EWide whole = 0;
    double floating = 0;

    [[nodiscard]] static ENumber Exact(EWide whole, unsigned int scale = 0) noexcept {
        return {Form::Exact, scale, whole, 0};
    }
    [[nodiscard]] static ENumber Floating(double number) noexcept {
        return {Form::Floating, 0, 0, number};
    }
    [[nodiscard]] bool IsNone() const noexcept { return form == Form::None; }
    [[nodiscard]] bool IsExact() const noexcept { return form == Form::Exact; }
    [[nodiscard]] bool IsFloating() const noexcept { return form == Form::Floating; }
    [[nodiscard]] bool IsNaN() const noexcept { return IsFloating() && floating != floating; }

    /// Requires a number that isn't NaN. As a count of 10^-scale, rounded half to even; what lies
    /// far beyond any cell is cut to +-2^120.
    [[nodiscard]] EWide AtScale(unsigned int wanted) const noexcept;
    /// The nearest floating number.
    [[nodiscard]] double ToDouble() const noexcept;
};

/// 10^exponent, up to 36.
[[nodiscard]] EWide PowerOfTen(unsigned int exponent) noexcept;
/// Rounded half to even; `divisor` is above 0.
[[nodiscard]] EWide DivideHalfEven(EWide number, EWide divisor) noexcept;

template <class T>
[[nodiscard]] T ClampTo(EWide number) noexcept {
    return static_cast<T>(
        std::clamp<EWide>(number, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

/// The number in a cell of class Number, or in a text; for dates the number that they are stored
/// as. None for bytes, for a text that isn't a number, and for a missing value.
[[nodiscard]] ENumber NumberOf(const EContent& content) noexcept;
/// Requires the class Number.
[[nodiscard]] ENumber ReadNumber(const EContent& content) noexcept;
/// Reads a number as AsChaine writes it, blanks around it allowed. `floating`: to the nearest
/// floating number, otherwise exactly if possible.
[[nodiscard]] ENumber ParseNumber(std::string_view text, bool floating) noexcept;
/// The text without spaces and tabs around it.
[[nodiscard]] std::string_view TrimBlanks(std::string_view text) noexcept;

/// A number, date or GUID as text, without allocation; "" for any other value.
class EPrinter {
public:
    explicit EPrinter(const EContent& content) noexcept;
    [[nodiscard]] std::string_view View() const noexcept { return {text_, length_}; }

private:
    void PutNumber(const EContent& content) noexcept;
    void PutExact(const ENumber& number) noexcept;
    template <class T>
    void PutFloating(T number) noexcept;
    void PutGuid(const unsigned char* bytes) noexcept;

    char text_[64];
    std::size_t length_ = 0;
};

}  // namespace etabulon
