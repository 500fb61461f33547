#include "etabulon/sql/ESqlDates.h"

#include <chrono>
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

using Days = std::chrono::days;
using Civil = std::chrono::year_month_day;
constexpr std::chrono::sys_days kYearOne = std::chrono::year{1} / std::chrono::January / 1;

/// A day from 0001-01-01 to 9999-12-31.
bool IsDay(const Civil& civil) noexcept {
    return civil.ok() && civil.year() >= std::chrono::year{1} &&
           civil.year() <= std::chrono::year{9999};
}

Civil CivilOf(int year, int month, int day) noexcept {
    return std::chrono::year{year} / month / day;
}

int DateOf(const Civil& civil) noexcept {
    return static_cast<int>(civil.year()) * 10'000 +
           static_cast<int>(static_cast<unsigned int>(civil.month())) * 100 +
           static_cast<int>(static_cast<unsigned int>(civil.day()));
}

bool ParseDay(std::string_view text, Civil& civil) noexcept {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
        return false;
    }
    const int year = Digits(text.data(), 4);
    const int month = Digits(text.data() + 5, 2);
    const int day = Digits(text.data() + 8, 2);
    if (year < 0 || month < 0 || day < 0) {
        return false;
    }
    civil = CivilOf(year, month, day);
    return IsDay(civil);
}

}  // namespace

bool ParseIsoDate(std::string_view text, std::int32_t& yyyymmdd) noexcept {
    Civil civil;
    if (!ParseDay(text, civil)) {
        return false;
    }
    yyyymmdd = DateOf(civil);
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
    Civil civil;
    std::int32_t time = 0;
    if (text.size() < 10 || !ParseDay(text.substr(0, 10), civil)) {
        return false;
    }
    if (text.size() > 10) {
        if ((text[10] != ' ' && text[10] != 'T') || !ParseIsoTime(text.substr(11), time)) {
            return false;
        }
    }
    millis = (std::chrono::sys_days(civil) - kYearOne).count() * kMillisPerDay + time;
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
    // The calendar's years end before those of a number do.
    if (yyyymmdd < 0 || year > 9999 || !IsDay(CivilOf(year, month, day))) {
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
    const Civil civil(kYearOne + Days(millis / kMillisPerDay));
    const std::size_t date = WriteIsoDate(DateOf(civil), text).size();
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
