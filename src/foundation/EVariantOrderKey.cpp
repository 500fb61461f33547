#include "foundation/EVariantOrderKey.h"

#include "foundation/EDates.h"
#include "foundation/EVariantNumber.h"

#include <bit>
#include <cmath>
#include <utility>

namespace etabulon {
namespace {

__extension__ typedef unsigned __int128 EWideBits;

constexpr int kBits = 64;

// The first byte of a key. 0 is left to callers.
enum Head : unsigned char {
    kMissing = 0x01,
    kNaN = 0x10,
    kNegative = 0x11,
    kZero = 0x12,
    kPositive = 0x13,
    kTime = 0x20,
    kMoment = 0x21,
    kText = 0x30,
    kBytes = 0x40,
};

void AppendBytes(std::uint64_t number, unsigned int count, std::string& key) {
    while (count-- != 0) {
        key += static_cast<char>(number >> (8 * count));
    }
}

void AppendSigned(Head head, std::int64_t number, std::string& key) {
    key += static_cast<char>(head);
    AppendBytes(static_cast<std::uint64_t>(number) ^ (std::uint64_t{1} << (kBits - 1)), 8, key);
}

/// 0.mantissa * 2^exponent, the highest bit of the mantissa set. Exact but for quotients by a power
/// of ten, of which 128 bits tell any two numbers of cells apart.
struct Magnitude {
    int exponent = 0;
    EWideBits mantissa = 0;
};

/// Requires 0 < whole < 2^64 and a scale of up to 4.
Magnitude MagnitudeOf(EWideBits whole, unsigned int scale) noexcept {
    const auto power = static_cast<EWideBits>(PowerOfTen(scale));
    EWideBits high = (whole << kBits) / power;  // in units of 2^-64, and at least 2^50 of them
    EWideBits low = (((whole << kBits) % power) << kBits) / power;  // in units of 2^-128
    int exponent = kBits;
    if (high >> kBits == 0) {
        high = high << kBits | low;
        low = 0;
        exponent = 0;
    }
    const int unused = std::countl_zero(static_cast<std::uint64_t>(high >> kBits));
    return {exponent - unused, high << unused | low >> (kBits - unused)};
}

/// Requires a number above 0.
Magnitude MagnitudeOf(double number) noexcept {
    constexpr int kMantissa = 53;
    constexpr int kBeyond = 2048;  // above the exponent of any number
    if (std::isinf(number)) {
        return {kBeyond, 0};
    }
    int exponent = 0;
    const double fraction = std::frexp(number, &exponent);
    return {exponent, static_cast<EWideBits>(std::ldexp(fraction, kMantissa))
                          << (2 * kBits - kMantissa)};
}

void AppendMagnitude(const Magnitude& magnitude, bool isNegative, std::string& key) {
    constexpr int kBias = 4096;
    const std::uint64_t turn = isNegative ? ~std::uint64_t{0} : 0;
    key += static_cast<char>(isNegative ? kNegative : kPositive);
    AppendBytes(static_cast<std::uint64_t>(magnitude.exponent + kBias) ^ turn, 2, key);
    AppendBytes(static_cast<std::uint64_t>(magnitude.mantissa >> kBits) ^ turn, 8, key);
    AppendBytes(static_cast<std::uint64_t>(magnitude.mantissa) ^ turn, 8, key);
}

void AppendNumber(const ENumber& number, std::string& key) {
    if (number.IsNaN()) {
        key += static_cast<char>(kNaN);
    } else if (number.IsFloating() ? number.floating == 0 : number.whole == 0) {
        key += static_cast<char>(kZero);
    } else if (number.IsFloating()) {
        AppendMagnitude(MagnitudeOf(std::fabs(number.floating)), number.floating < 0, key);
    } else {
        const bool isNegative = number.whole < 0;
        const EWide magnitude = isNegative ? -number.whole : number.whole;
        AppendMagnitude(MagnitudeOf(static_cast<EWideBits>(magnitude), number.scale), isNegative,
                        key);
    }
}

/// The bytes, closed by a 0 that is below any byte written.
void AppendClosed(std::string_view bytes, std::string& key) {
    for (const char byte : bytes) {
        if (byte == 0 || byte == 1) {
            key += '\1';
        }
        key += static_cast<char>(byte == 0 ? 1 : byte == 1 ? 2 : byte);
    }
    key += '\0';
}

void AppendLocaleKey(std::string_view text, std::string& key) {
    char onStack[128];
    const std::size_t length = Chaine::LocaleSortKey(text, onStack, sizeof onStack);
    if (length <= sizeof onStack) {
        AppendClosed({onStack, length}, key);
        return;
    }
    std::string longer(length, '\0');
    static_cast<void>(Chaine::LocaleSortKey(text, longer.data(), length));
    AppendClosed(longer, key);
}

void AppendText(std::string_view text, bool folds, std::string& key) {
    key += static_cast<char>(kText);
    AppendLocaleKey(text, key);
    if (!folds) {
        AppendClosed(text, key);
        return;
    }
    std::string folded(text);
    for (char& byte : folded) {
        byte = static_cast<char>(Chaine::Fold(static_cast<unsigned char>(byte)));
    }
    AppendClosed(folded, key);
}

void AppendDate(const EContent& content, std::string& key) {
    switch (content.info->storage) {
        case EStorage::Date:
            AppendSigned(kMoment, DateOrderKey(content.As<std::int32_t>()), key);
            break;
        case EStorage::Time:
            AppendSigned(kTime, content.As<std::int32_t>(), key);
            break;
        default:
            AppendSigned(kMoment, content.As<std::int64_t>(), key);
            break;
    }
}

}  // namespace

void AppendOrderKey(const EVariant& value, std::string& key) {
    const EContent content = EVariantAccess::Read(value);
    if (content.IsMissing()) {
        key += static_cast<char>(kMissing);
        return;
    }
    switch (content.info->valueClass) {
        case EValueClass::Number:
            AppendNumber(ReadNumber(content), key);
            break;
        case EValueClass::Date:
            AppendDate(content, key);
            break;
        case EValueClass::Text:
            AppendText(TextOf(content), content.info->folds, key);
            break;
        default:
            key += static_cast<char>(kBytes);
            AppendClosed(content.Raw(), key);
            break;
    }
}

void AppendOrderKey(std::string_view text, std::string& key) {
    AppendText(text, /*folds=*/false, key);
}

}  // namespace etabulon
