#include "ECsvTypes.h"

#include "etabulon/sql/ESqlDates.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace etabulon {

namespace {

constexpr std::int64_t kExactWhole = std::int64_t{1}
                                     << 53;  // reals hold all whole numbers up to it

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

bool EqualsWord(std::string_view text, std::string_view word) noexcept {
    if (text.size() != word.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c =
            text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
        if (c != word[i]) {
            return false;
        }
    }
    return true;
}

ECsvType NumberType(std::string_view text) noexcept {
    const std::string_view digits = text.front() == '-' ? text.substr(1) : text;
    // Deliberate: numbers with leading zeros, a plus or a bare point stay text, since a number
    // doesn't reproduce that spelling: codes, phone numbers and averages such as .097 are shown as
    // they are in the file. GivesEachColumnTheTypeOfAllItsCells holds it.
    if (digits.empty() || !IsDigit(digits[0]) ||
        (digits[0] == '0' && digits.size() > 1 && IsDigit(digits[1]))) {
        return ECsvType::Text;
    }
    const char* const end = text.data() + text.size();
    std::int64_t whole = 0;
    const auto asWhole = std::from_chars(text.data(), end, whole);
    if (asWhole.ptr == end) {
        // Deliberate: whole numbers beyond 64 bits stay text; as reals they would lose digits.
        // GivesEachColumnTheTypeOfAllItsCells holds it.
        if (asWhole.ec != std::errc() || text == "-0") {
            return ECsvType::Text;
        }
        return whole > kExactWhole || whole < -kExactWhole ? ECsvType::Large : ECsvType::Whole;
    }
    double real = 0;
    const auto asReal = std::from_chars(text.data(), end, real);
    const bool isReal = asReal.ec == std::errc() && asReal.ptr == end && std::isfinite(real);
    return isReal ? ECsvType::Real : ECsvType::Text;
}

}  // namespace

ECsvType CsvTypeOf(const std::string& text) noexcept {
    std::int32_t number = 0;
    std::int64_t wide = 0;
    if (text.empty()) {
        return ECsvType::Unknown;
    }
    if (ParseIsoDate(text, number)) {
        return ECsvType::Date;
    }
    if (ParseIsoTimestamp(text, wide)) {
        return ECsvType::Timestamp;
    }
    if (ParseIsoTime(text, number)) {
        return ECsvType::Time;
    }
    if (EqualsWord(text, "true") || EqualsWord(text, "false")) {
        return ECsvType::Bool;
    }
    return NumberType(text);
}

ECsvType CsvTypeOfBoth(ECsvType a, ECsvType b) noexcept {
    if (a == b || b == ECsvType::Unknown) {
        return a;
    }
    if (a == ECsvType::Unknown) {
        return b;
    }
    const auto areOf = [a, b](ECsvType one, ECsvType other) {
        return (a == one && b == other) || (a == other && b == one);
    };
    if (areOf(ECsvType::Whole, ECsvType::Large)) {
        return ECsvType::Large;
    }
    return areOf(ECsvType::Whole, ECsvType::Real) ? ECsvType::Real : ECsvType::Text;
}

const char* CsvDeclaredType(ECsvType type) noexcept {
    constexpr const char* kDeclared[] = {"TEXT",      "INTEGER", "REAL", "DATE",   "TIME",
                                         "TIMESTAMP", "BOOLEAN", "TEXT", "INTEGER"};
    return kDeclared[static_cast<std::size_t>(type)];
}

}  // namespace etabulon
