#include "XlsxText.h"

#include "etabulon/foundation/detail/Utf8.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace etabulon::detail {
namespace {

constexpr std::size_t kNotation = 7;  // of _xHHHH_

bool IsHex(char c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool IsNotation(std::string_view text) noexcept {
    return text.size() >= kNotation && text.starts_with("_x") && text[kNotation - 1] == '_' &&
           std::all_of(text.begin() + 2, text.begin() + kNotation - 1, IsHex);
}

bool IsInXml(char32_t code) noexcept {
    return code >= 0x20 ? code != 0xFFFE && code != 0xFFFF : code == '\t' || code == '\n';
}

void AppendNotation(std::string& stored, char32_t code) {
    std::string digits;
    const std::array<char, 2> bytes = {static_cast<char>(code >> 8U), static_cast<char>(code)};
    AppendHex(digits, std::string_view(bytes.data(), bytes.size()));
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    stored += "_x" + digits + "_";
}

std::optional<int> NumberAt(std::string_view& text, std::size_t digits) {
    int number = 0;
    if (text.size() < digits) {
        return {};
    }
    const char* const end = text.data() + digits;
    const auto [at, error] = std::from_chars(text.data(), end, number);
    text.remove_prefix(digits);
    return error == std::errc() && at == end ? std::optional<int>(number) : std::nullopt;
}

bool Skip(std::string_view& text, char c) {
    const bool isThere = text.starts_with(c);
    text.remove_prefix(isThere ? 1 : 0);
    return isThere;
}

/// Days since 1899-12-30, as the format counts them from March 1900 on; before that it counts a
/// 29 February 1900 that wasn't.
std::optional<double> ReadDate(std::string_view& text) {
    namespace chrono = std::chrono;
    const std::optional<int> year = NumberAt(text, 4);
    const bool isYear = Skip(text, '-');
    const std::optional<int> month = NumberAt(text, 2);
    const bool isMonth = Skip(text, '-');
    const std::optional<int> day = NumberAt(text, 2);
    if (!year || !month || !day || !isYear || !isMonth || *year < 1900) {
        return {};
    }
    const chrono::year_month_day date(chrono::year(*year),
                                      chrono::month(static_cast<unsigned int>(*month)),
                                      chrono::day(static_cast<unsigned int>(*day)));
    if (!date.ok()) {
        return {};
    }
    constexpr chrono::sys_days kFirst = chrono::sys_days(chrono::year(1899) / 12 / 30);
    constexpr int kMarch1900 = 61;
    const auto days = (chrono::sys_days(date) - kFirst).count();
    return static_cast<double>(days < kMarch1900 ? days - 1 : days);
}

/// The part of a day.
std::optional<double> ReadTime(std::string_view& text) {
    const std::optional<int> hour = NumberAt(text, 2);
    const bool isHour = Skip(text, ':');
    const std::optional<int> minute = NumberAt(text, 2);
    const bool isMinute = Skip(text, ':');
    const std::optional<int> second = NumberAt(text, 2);
    if (!hour || !minute || !second || !isHour || !isMinute) {
        return {};
    }
    int milliseconds = 0;
    if (Skip(text, '.')) {
        const std::optional<int> part = NumberAt(text, 3);
        if (!part) {
            return {};
        }
        milliseconds = *part;
    }
    constexpr double kDay = 86'400'000;
    return (((*hour * 60 + *minute) * 60 + *second) * 1000.0 + milliseconds) / kDay;
}

}  // namespace

std::size_t AppendXlsxText(std::string& stored, std::string_view text) {
    std::size_t units = 0;
    while (!text.empty()) {
        const Utf8Character character = FirstCharacter(text);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        const std::size_t before = stored.size();
        if (character.length == 0) {
            stored += "\\x";
            AppendHex(stored, text.substr(0, 1));
        } else if (!IsInXml(character.code)) {
            AppendNotation(stored, character.code);
        } else if (IsNotation(text)) {
            AppendNotation(stored, '_');
        } else {
            stored += text.substr(0, length);
            units += character.code >= 0x10000 ? 2 : 1;
            text.remove_prefix(length);
            continue;
        }
        units += stored.size() - before;
        text.remove_prefix(length);
    }
    return units;
}

std::optional<double> XlsxMoment(std::string_view text, EReportForm form) {
    double moment = 0;
    if (form != EReportForm::Time) {
        const std::optional<double> date = ReadDate(text);
        if (!date) {
            return {};
        }
        moment = *date;
    }
    if (form != EReportForm::Date &&
        (form == EReportForm::Time || Skip(text, ' ') || Skip(text, 'T'))) {
        const std::optional<double> time = ReadTime(text);
        if (!time) {
            return {};
        }
        moment += *time;
    }
    return text.empty() ? std::optional<double>(moment) : std::nullopt;
}

std::optional<double> XlsxNumber(std::string_view text, EReportForm form) {
    double number = 0;
    const char* const end = text.data() + text.size();
    if (const auto [at, error] = std::from_chars(text.data(), end, number);
        error != std::errc() || at != end) {
        return {};
    }
    constexpr std::size_t kSafeDigits = 15;  // any number of so many digits is exact
    if (text.size() <= kSafeDigits) {
        return number;
    }
    if (form == EReportForm::Whole) {
        constexpr std::int64_t kLargest = std::int64_t{1} << 53U;
        std::int64_t whole = 0;
        const bool isExact = std::from_chars(text.data(), end, whole).ec == std::errc() &&
                             whole <= kLargest && whole >= -kLargest;
        return isExact ? std::optional<double>(number) : std::nullopt;
    }
    if (text.find('e') != std::string_view::npos) {
        return number;  // a double's own text
    }
    // Numbers with fixed decimals have up to 19 digits.
    std::array<char, 400> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                       std::chars_format::fixed);
    const std::string_view own(digits.data(),
                               static_cast<std::size_t>(written.ptr - digits.data()));
    if (text.find('.') != std::string_view::npos) {
        text = text.substr(0, text.find_last_not_of('0') + 1);
        text.remove_suffix(text.ends_with('.') ? 1 : 0);
    }
    if (text != own) {
        return {};
    }
    return number;
}

}  // namespace etabulon::detail
