#include "foundation/EVariantNumber.h"

#include "foundation/EDates.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace etabulon {
namespace {

constexpr unsigned int kMaxPower = 36;
constexpr EWide kFar = EWide{1} << 120;

constexpr std::array<EWide, kMaxPower + 1> BuildPowers() {
    std::array<EWide, kMaxPower + 1> powers{};
    EWide power = 1;
    for (EWide& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}
constexpr std::array<EWide, kMaxPower + 1> kPowers = BuildPowers();

// number * 10^scale in whole numbers, rounded once: a floating product would be rounded twice.
EWide ScaleFloating(double number, unsigned int scale) noexcept {
    constexpr double kBeyond = 18446744073709551616.0;  // 2^64
    if (number >= kBeyond || number <= -kBeyond) {
        return number > 0 ? kFar : -kFar;
    }
    constexpr int kMantissa = 53;
    int exponent = 0;
    const double fraction = std::frexp(number, &exponent);
    const auto mantissa = static_cast<std::int64_t>(std::ldexp(fraction, kMantissa));
    const EWide scaled = EWide{mantissa} * PowerOfTen(scale);
    exponent -= kMantissa;
    if (exponent >= 0) {
        return scaled * (EWide{1} << exponent);
    }
    constexpr int kNothingLeft = 120;
    return exponent < -kNothingLeft ? 0 : DivideHalfEven(scaled, EWide{1} << -exponent);
}

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// [-]digits[.digits], up to kMaxPower digits, which are exact.
ENumber ParseExact(std::string_view text) noexcept {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) {
        text.remove_prefix(1);
    }
    EWide whole = 0;
    unsigned int digits = 0;
    unsigned int scale = 0;
    bool point = false;
    for (const char c : text) {
        if (c == '.' && !point && digits != 0) {
            point = true;
            continue;
        }
        if (!IsDigit(c) || ++digits > kMaxPower) {
            return {};
        }
        whole = whole * 10 + (c - '0');
        scale += point ? 1 : 0;
    }
    if (digits == 0 || (point && scale == 0)) {
        return {};
    }
    return ENumber::Exact(negative ? -whole : whole, scale);
}

}  // namespace

EWide PowerOfTen(unsigned int exponent) noexcept { return kPowers[exponent]; }

EWide DivideHalfEven(EWide number, EWide divisor) noexcept {
    EWide quotient = number / divisor;
    EWide rest = number % divisor;
    const EWide away = number < 0 ? -1 : 1;
    rest = rest < 0 ? -rest : rest;
    const EWide missing = divisor - rest;
    if (rest > missing || (rest == missing && quotient % 2 != 0)) {
        quotient += away;
    }
    return quotient;
}

EWide ENumber::AtScale(unsigned int wanted) const noexcept {
    if (IsFloating()) {
        return ScaleFloating(floating, wanted);
    }
    if (wanted == scale) {
        return whole;
    }
    if (wanted < scale) {
        return DivideHalfEven(whole, PowerOfTen(scale - wanted));
    }
    const EWide factor = PowerOfTen(wanted - scale);
    const EWide most = kFar / factor;
    return whole > most ? kFar : whole < -most ? -kFar : whole * factor;
}

double ENumber::ToDouble() const noexcept {
    if (IsFloating()) {
        return floating;
    }
    const auto nearest = static_cast<double>(whole);
    return scale == 0 ? nearest : nearest / static_cast<double>(PowerOfTen(scale));
}

std::string_view TrimBlanks(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

ENumber ParseNumber(std::string_view text, bool floating) noexcept {
    text = TrimBlanks(text);
    if (!floating) {
        const ENumber exact = ParseExact(text);
        if (!exact.IsNone()) {
            return exact;
        }
    }
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? ENumber::Floating(number) : ENumber();
}

ENumber ReadNumber(const EContent& content) noexcept {
    switch (content.info->storage) {
        case EStorage::Int8:
            return ENumber::Exact(content.As<std::int8_t>());
        case EStorage::Int16:
            return ENumber::Exact(content.As<std::int16_t>());
        case EStorage::Int32:
        case EStorage::Scaled32:
        case EStorage::Date:
        case EStorage::Time:
            return ENumber::Exact(content.As<std::int32_t>(), content.info->scale);
        case EStorage::Int64:
        case EStorage::Scaled64:
        case EStorage::Timestamp:
            return ENumber::Exact(content.As<std::int64_t>(), content.info->scale);
        case EStorage::UInt8:
        case EStorage::Bool:
            return ENumber::Exact(content.As<std::uint8_t>());
        case EStorage::UInt16:
            return ENumber::Exact(content.As<std::uint16_t>());
        case EStorage::UInt32:
            return ENumber::Exact(content.As<std::uint32_t>());
        case EStorage::UInt64:
            return ENumber::Exact(content.As<std::uint64_t>());
        case EStorage::Double:
            return ENumber::Floating(content.As<double>());
        case EStorage::Float:
            return ENumber::Floating(content.As<float>());
        default:
            return {};
    }
}

ENumber NumberOf(const EContent& content) noexcept {
    if (content.IsMissing()) {
        return {};
    }
    return content.info->valueClass == EValueClass::Text
               ? ParseNumber(TextOf(content), /*floating=*/false)
               : ReadNumber(content);
}

// ----------------------------------------------------------------------------------------- To text

EPrinter::EPrinter(const EContent& content) noexcept {
    switch (content.info->valueClass) {
        case EValueClass::Number:
            PutNumber(content);
            break;
        case EValueClass::Date:
            length_ = PrintDate(content, text_);
            break;
        case EValueClass::Bytes:
            if (content.info->IsFixedSize()) {
                PutGuid(content.bytes);
            }
            break;
        default:
            break;
    }
}

void EPrinter::PutNumber(const EContent& content) noexcept {
    switch (content.info->storage) {
        case EStorage::Double:
            PutFloating(content.As<double>());
            break;
        case EStorage::Float:
            PutFloating(content.As<float>());
            break;
        default:
            PutExact(ReadNumber(content));
            break;
    }
}

template <class T>
void EPrinter::PutFloating(T number) noexcept {
    // The sign of a NaN is dropped: it has no meaning.
    const T shown = number != number ? std::numeric_limits<T>::quiet_NaN() : number;
    const char* end = std::to_chars(text_, text_ + sizeof text_, shown).ptr;
    length_ = static_cast<std::size_t>(end - text_);
}

void EPrinter::PutExact(const ENumber& number) noexcept {
    const bool negative = number.whole < 0;
    const auto magnitude = static_cast<std::uint64_t>(negative ? -number.whole : number.whole);
    char* out = text_;
    if (negative) {
        *out++ = '-';
    }
    const auto power = static_cast<std::uint64_t>(PowerOfTen(number.scale));
    out = std::to_chars(out, text_ + sizeof text_, magnitude / power).ptr;
    if (number.scale != 0) {
        *out++ = '.';
        std::uint64_t decimals = magnitude % power;
        for (unsigned int i = number.scale; i-- > 0; decimals /= 10) {
            out[i] = static_cast<char>('0' + decimals % 10);
        }
        out += number.scale;
    }
    length_ = static_cast<std::size_t>(out - text_);
}

void EPrinter::PutGuid(const unsigned char* bytes) noexcept {
    constexpr std::string_view kDigits = "0123456789abcdef";
    constexpr std::size_t kBytes = 16;
    for (std::size_t i = 0; i < kBytes; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text_[length_++] = '-';
        }
        text_[length_++] = kDigits[bytes[i] >> 4];
        text_[length_++] = kDigits[bytes[i] & 0xF];
    }
}

}  // namespace etabulon
