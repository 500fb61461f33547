#include "etabulon/sql/ESqlDates.h"

#include <cstdio>

namespace etabulon {

namespace {

constexpr std::int64_t kMillisPerDay = 86'400'000;
constexpr std::int64_t kLastDay = 3'652'058;  // 9999-12-31, days since 0001-01-01

/// Exactly `count` digits; -1 for anything else.
int Digits(const char* text, int count) noexcept {
    int number = 0;
    for (int i = 0; i < count; ++i) {
        const int digit = text[i] - '0';
        if (digit < 0 || digit > 9) {
            return -1;
        }
        number = number * 10 + digit;
    }
    return number;
}

bool IsLeapYear(int year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

bool IsDay(int year, int month, int day) noexcept {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1) {
        return false;
    }
    return day <= kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

// Years begin in March here, so that the leap day is the last of its year.
std::int64_t DaysSinceYearOne(int year, int month, int day) noexcept {
    const int shifted = month > 2 ? year : year - 1;
    const int monthFromMarch = month > 2 ? month - 3 : month + 9;
    const std::int64_t days = std::int64_t{365} * shifted + shifted / 4 - shifted / 100 +
                              shifted / 400 + (153 * monthFromMarch + 2) / 5 + day - 1;
    return days - 306;  // from 0000-03-01 to 0001-01-01
}

void DayOfYearOne(std::int64_t days, int& year, int& month, int& day) noexcept {
    const std::int64_t fromMarch = days + 306;
    const std::int64_t era = fromMarch / 146'097;
    const std::int64_t dayOfEra = fromMarch % 146'097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    year = static_cast<int>(era * 400 + yearOfEra + (month <= 2 ? 1 : 0));
}

bool ParseDay(std::string_view text, int& year, int& month, int& day) noexcept {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return false;
    }
    year = Digits(text.data(), 4);
    month = Digits(text.data() + 5, 2);
    day = Digits(text.data() + 8, 2);
    return IsDay(year, month, day);
}

}  // namespace

bool ParseIsoDate(std::string_view text, std::int32_t& yyyymmdd) noexcept {
    int year = 0;
    int month = 0;
    int day = 0;
    if (!ParseDay(text, year, month, day)) {
        return false;
    }
    yyyymmdd = year * 10'000 + month * 100 + day;
    return true;
}

bool ParseIsoTime(std::string_view text, std::int32_t& millis) noexcept {
    if (!text.empty() && text.back() == 'Z') {
        text.remove_suffix(1);
    }
    if (text.size() < 5 || text[2] != ':') {
        return false;
    }
    const int hour = Digits(text.data(), 2);
    const int minute = Digits(text.data() + 3, 2);
    int second = 0;
    int fraction = 0;
    if (text.size() > 5) {
        if (text.size() < 8 || text[5] != ':') {
            return false;
        }
        second = Digits(text.data() + 6, 2);
    }
    if (text.size() > 8) {
        const std::size_t decimals = text.size() - 9;
        if (text[8] != '.' || decimals < 1 || decimals > 9 ||
            Digits(text.data() + 9, static_cast<int>(decimals)) < 0) {
            return false;
        }
        const int used = decimals < 3 ? static_cast<int>(decimals) : 3;
        fraction = Digits(text.data() + 9, used);
        for (int i = used; i < 3; ++i) {
            fraction *= 10;
        }
    }
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        return false;
    }
    millis = ((hour * 60 + minute) * 60 + second) * 1000 + fraction;
    return true;
}

bool ParseIsoTimestamp(std::string_view text, std::int64_t& millis) noexcept {
    int year = 0;
    int month = 0;
    int day = 0;
    std::int32_t time = 0;
    if (text.size() < 10 || !ParseDay(text.substr(0, 10), year, month, day)) {
        return false;
    }
    if (text.size() > 10) {
        if ((text[10] != ' ' && text[10] != 'T') || !ParseIsoTime(text.substr(11), time)) {
            return false;
        }
    }
    millis = DaysSinceYearOne(year, month, day) * kMillisPerDay + time;
    return true;
}

bool IsFinerThanMillis(std::string_view text) noexcept {
    constexpr std::size_t kToMillis = 4;  // the point and three decimals
    const std::size_t point = text.rfind('.');
    return point != std::string_view::npos && text.size() > point + kToMillis &&
           text.substr(point + kToMillis).find_first_of("123456789") != std::string_view::npos;
}

std::string_view WriteIsoDate(std::int32_t yyyymmdd, char* text) noexcept {
    const int year = yyyymmdd / 10'000;
    const int month = yyyymmdd / 100 % 100;
    const int day = yyyymmdd % 100;
    if (!IsDay(year, month, day)) {
        return {};
    }
    const int length = std::snprintf(text, kIsoCapacity, "%04d-%02d-%02d", year, month, day);
    return {text, static_cast<std::size_t>(length)};
}

std::string_view WriteIsoTime(std::int32_t millis, char* text) noexcept {
    if (millis < 0 || millis >= kMillisPerDay) {
        return {};
    }
    const int seconds = millis / 1000;
    int length = std::snprintf(text, kIsoCapacity, "%02d:%02d:%02d", seconds / 3600,
                               seconds / 60 % 60, seconds % 60);
    if (millis % 1000 != 0) {
        length += std::snprintf(text + length, kIsoCapacity - static_cast<std::size_t>(length),
                                ".%03d", millis % 1000);
    }
    return {text, static_cast<std::size_t>(length)};
}

std::string_view WriteIsoTimestamp(std::int64_t millis, char* text) noexcept {
    if (millis < 0 || millis / kMillisPerDay > kLastDay) {
        return {};
    }
    int year = 0;
    int month = 0;
    int day = 0;
    DayOfYearOne(millis / kMillisPerDay, year, month, day);
    const std::size_t date = WriteIsoDate(year * 10'000 + month * 100 + day, text).size();
    text[date] = ' ';
    char time[kIsoCapacity];
    const std::string_view written =
        WriteIsoTime(static_cast<std::int32_t>(millis % kMillisPerDay), time);
    for (std::size_t i = 0; i < written.size(); ++i) {
        text[date + 1 + i] = written[i];
    }
    return {text, date + 1 + written.size()};
}

}  // namespace etabulon
