#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "foundation/EDates.h"
#include "foundation/EVariantAccess.h"
#include "foundation/EVariantNumber.h"

#include <cmath>
#include <type_traits>

namespace etabulon {
namespace {

template <class T>
int ThreeWay(const T& a, const T& b) noexcept {
    return (a > b) - (a < b);
}

int CompareFloating(double a, double b) noexcept {
    if (a != a || b != b) {
        return ThreeWay(a == a, b == b);  // NaN is equal to itself and below all numbers
    }
    return ThreeWay(a, b);
}

// whole / 10^scale against a floating number, exactly. Requires |whole| < 2^64 and a scale up to 4.
int CompareExactFloating(EWide whole, unsigned int scale, double floating) noexcept {
    constexpr double kBeyond = 18446744073709551616.0;  // 2^64
    if (floating != floating || floating <= -kBeyond) {
        return 1;
    }
    if (floating >= kBeyond) {
        return -1;
    }
    const bool negative = whole < 0 || floating < 0;
    if (negative && (whole >= 0 || floating >= 0)) {
        return whole < 0 ? -1 : 1;
    }
    // Both of one sign: by magnitude, first the whole parts, then the rest in units of 2^-shift.
    const EWide magnitude = whole < 0 ? -whole : whole;
    const EWide power = PowerOfTen(scale);
    double integral = 0;
    const double fraction = std::modf(std::fabs(floating), &integral);
    int result = ThreeWay(magnitude / power, EWide{static_cast<std::uint64_t>(integral)});
    const EWide rest = magnitude % power;
    if (result == 0 && fraction == 0) {
        result = rest == 0 ? 0 : 1;
    } else if (result == 0) {
        constexpr int kMantissa = 53;
        constexpr int kFarBelow = 110;
        int exponent = 0;
        const auto mantissa =
            static_cast<std::int64_t>(std::ldexp(std::frexp(fraction, &exponent), kMantissa));
        const int shift = kMantissa - exponent;
        if (shift > kFarBelow) {
            result = rest == 0 ? -1 : 1;
        } else {
            result = ThreeWay(rest * (EWide{1} << shift), EWide{mantissa} * power);
        }
    }
    return negative ? -result : result;
}

int CompareNumbers(const EContent& a, const EContent& b) noexcept {
    const ENumber left = ReadNumber(a);
    const ENumber right = ReadNumber(b);
    if (left.IsExact() && right.IsExact()) {
        return left.scale == right.scale ? ThreeWay(left.whole, right.whole)
                                         : ThreeWay(left.whole * PowerOfTen(right.scale),
                                                    right.whole * PowerOfTen(left.scale));
    }
    if (left.IsFloating() && right.IsFloating()) {
        return CompareFloating(left.floating, right.floating);
    }
    return left.IsExact() ? CompareExactFloating(left.whole, left.scale, right.floating)
                          : -CompareExactFloating(right.whole, right.scale, left.floating);
}

// Times of day are no moments: they stand below all dates and timestamps.
struct EDateKey {
    bool moment;
    std::int64_t key;
};

EDateKey DateKeyOf(const EContent& content) noexcept {
    switch (content.info->storage) {
        case EStorage::Date:
            return {true, DateOrderKey(content.As<std::int32_t>())};
        case EStorage::Time:
            return {false, content.As<std::int32_t>()};
        default:
            return {true, content.As<std::int64_t>()};
    }
}

int CompareDates(const EContent& a, const EContent& b) noexcept {
    const EDateKey left = DateKeyOf(a);
    const EDateKey right = DateKeyOf(b);
    return left.moment != right.moment ? ThreeWay(left.moment, right.moment)
                                       : ThreeWay(left.key, right.key);
}

int CompareBytes(std::string_view a, std::string_view b) noexcept {
    return ThreeWay(a.compare(b), 0);
}

bool SameBody(const EContent& a, const EContent& b) noexcept {
    return a.body != nullptr && a.body == b.body;
}

int CompareTexts(const EContent& a, const EContent& b) noexcept {
    if (SameBody(a, b)) {
        return 0;
    }
    if (a.info->folds || b.info->folds) {
        return Chaine::CompareFolded(TextOf(a), TextOf(b));
    }
    return CompareBytes(TextOf(a), TextOf(b));
}

template <class T>
int CompareAs(const EContent& a, const EContent& b) noexcept {
    return ThreeWay(a.As<T>(), b.As<T>());
}

// The storages of nearly all comparisons.
bool CompareSameStorage(const EContent& a, const EContent& b, int& result) noexcept {
    switch (a.info->storage) {
        case EStorage::Int64:
        case EStorage::Timestamp:
            result = CompareAs<std::int64_t>(a, b);
            return true;
        case EStorage::Int32:
        case EStorage::Date:
        case EStorage::Time:
            result = CompareAs<std::int32_t>(a, b);
            return true;
        case EStorage::UInt32:
            result = CompareAs<std::uint32_t>(a, b);
            return true;
        case EStorage::Double:
            result = CompareFloating(a.As<double>(), b.As<double>());
            return true;
        default:
            return false;
    }
}

constexpr std::uint64_t kUnit = 10000;  // exact numbers hash as their count of ten-thousandths

// A floating number can equal a whole or scaled number only if it is a multiple of 1/16: 2^4 is the
// highest power of two that divides the 10^4 of the finest scale.
std::uint32_t HashFloating(double number) noexcept {
    constexpr double kSixteenths = 16;
    constexpr double kAllWhole = 4503599627370496.0;    // 2^52: from here on there are no fractions
    constexpr double kBeyond = 18446744073709551616.0;  // 2^64: no exact number of a cell is here
    if (number != number) {
        return detail::HashNumber(~std::uint64_t{0});
    }
    const double magnitude = std::fabs(number);
    if (magnitude < kAllWhole) {
        const double scaled = number * kSixteenths;
        const auto sixteenths = static_cast<std::int64_t>(scaled);
        if (static_cast<double>(sixteenths) == scaled) {
            return detail::HashNumber(static_cast<std::uint64_t>(sixteenths) * (kUnit / 16));
        }
    } else if (magnitude < kBeyond) {
        const auto whole = static_cast<std::uint64_t>(magnitude);
        return detail::HashNumber((number < 0 ? 0 - whole : whole) * kUnit);
    }
    std::uint64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return detail::HashNumber(bits);
}

std::uint32_t HashNumber(const EContent& content) noexcept {
    const ENumber number = ReadNumber(content);
    if (number.IsFloating()) {
        return HashFloating(number.floating);
    }
    // Wraps around, as HashFloating does.
    const auto power = static_cast<std::uint64_t>(PowerOfTen(number.scale));
    return detail::HashNumber(static_cast<std::uint64_t>(number.whole) * (kUnit / power));
}

}  // namespace

int EVariant::Compare(const EVariant& a, const EVariant& b) noexcept {
    const EContent left = EVariantAccess::Read(a);
    const EContent right = EVariantAccess::Read(b);
    if (left.IsMissing() || right.IsMissing()) {
        return ThreeWay(!left.IsMissing(), !right.IsMissing());
    }
    int result = 0;
    if (left.info->storage == right.info->storage && CompareSameStorage(left, right, result)) {
        return result;
    }
    if (left.info->valueClass != right.info->valueClass) {
        return ThreeWay(left.info->valueClass, right.info->valueClass);
    }
    switch (left.info->valueClass) {
        case EValueClass::Number:
            return CompareNumbers(left, right);
        case EValueClass::Date:
            return CompareDates(left, right);
        case EValueClass::Text:
            return CompareTexts(left, right);
        default:
            return SameBody(left, right) ? 0 : CompareBytes(left.Raw(), right.Raw());
    }
}

bool EVariant::Equal(const EVariant& a, const EVariant& b) noexcept {
    const EContent left = EVariantAccess::Read(a);
    const EContent right = EVariantAccess::Read(b);
    const bool texts = !left.IsMissing() && !right.IsMissing() &&
                       left.info->valueClass == EValueClass::Text &&
                       right.info->valueClass == EValueClass::Text;
    if (!texts) {
        return Compare(a, b) == 0;
    }
    if (SameBody(left, right)) {
        return true;
    }
    return left.info->folds || right.info->folds ? Chaine::EqualsFolded(TextOf(left), TextOf(right))
                                                 : TextOf(left) == TextOf(right);
}

std::uint32_t EVariant::HashOther() const noexcept {
    const EContent content = EVariantAccess::Read(*this);
    if (content.IsMissing()) {
        return 0;
    }
    switch (content.info->valueClass) {
        case EValueClass::Number:
            return HashNumber(content);
        case EValueClass::Date: {
            const EDateKey key = DateKeyOf(content);
            return detail::HashNumber(static_cast<std::uint64_t>(key.key) +
                                      (key.moment ? 0 : kUnit));
        }
        default:
            // Folded for every text: a text of a folding type may be equal to one of another type.
            return content.body != nullptr ? Chaine::FoldHashOf(content.body)
                                           : Chaine::FoldHash(TextOf(content));
    }
}

}  // namespace etabulon
