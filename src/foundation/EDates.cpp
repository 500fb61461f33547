#include "foundation/EDates.h"

#include "foundation/EVariantNumber.h"

#include <charconv>
#include <chrono>

namespace etabulon {
namespace {

// std::chrono's years end at 32767, those of a DATE at 214748: dates are mapped into one era, the
// calendar's period of 400 years.
constexpr std::int64_t kYearsPerEra = 400;
constexpr std::int64_t kDaysPerEra = 146097;
constexpr std::chrono::sys_days kYear0 = std::chrono::year{0} / std::chrono::January / 1;
constexpr std::chrono::sys_days kYear1 = std::chrono::year{1} / std::chrono::January / 1;
constexpr std::int64_t kDaysOfYear0 = (kYear1 - kYear0).count();

constexpr std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor) noexcept {
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

/// Requires a month from 1 to 12 and a day from 0 to 99.
std::chrono::year_month_day WithinEra(const ECivil& civil) noexcept {
    const std::int64_t era = FloorDivide(civil.year, kYearsPerEra);
    return std::chrono::year{static_cast<int>(civil.year - era * kYearsPerEra)} /
           std::chrono::month{static_cast<unsigned int>(civil.month)} /
           std::chrono::day{static_cast<unsigned int>(civil.day)};
}

std::int64_t DaysInMonth(std::int64_t year, std::int64_t month) noexcept {
    const std::chrono::year_month_day first = WithinEra({year, month, 1});
    return static_cast<unsigned int>((first.year() / first.month() / std::chrono::last).day());
}

bool IsCivil(const ECivil& civil) noexcept {
    constexpr std::int64_t kDaysOfAllMonths = 28;
    return civil.month >= 1 && civil.month <= 12 && civil.day >= 1 && civil.day <= 99 &&
           (civil.day <= kDaysOfAllMonths || WithinEra(civil).ok());
}

ECivil SplitDate(std::int32_t date) noexcept {
    const std::int32_t year = date / 10000;
    const std::int32_t ofYear = date - year * 10000;
    return {year, ofYear / 100, ofYear % 100};
}

// ----------------------------------------------------------------------------------------- To text

char* PutDigits(char* out, std::uint64_t number, int width) noexcept {
    char digits[20];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    for (auto missing = width - (end - digits); missing > 0; --missing) {
        *out++ = '0';
    }
    std::memcpy(out, digits, static_cast<std::size_t>(end - digits));
    return out + (end - digits);
}

std::uint64_t Magnitude(std::int64_t number) noexcept {
    return number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
}

char* PutCivil(char* out, const ECivil& civil) noexcept {
    if (civil.year < 0 || civil.month < 0 || civil.day < 0) {
        *out++ = '-';
    }
    out = PutDigits(out, Magnitude(civil.year), 4);
    *out++ = '-';
    out = PutDigits(out, Magnitude(civil.month), 2);
    *out++ = '-';
    return PutDigits(out, Magnitude(civil.day), 2);
}

char* PutTime(char* out, std::int64_t time) noexcept {
    if (time < 0) {
        *out++ = '-';
    }
    const std::uint64_t magnitude = Magnitude(time);
    out = PutDigits(out, magnitude / 3600000, 2);
    *out++ = ':';
    out = PutDigits(out, magnitude / 60000 % 60, 2);
    *out++ = ':';
    out = PutDigits(out, magnitude / 1000 % 60, 2);
    if (magnitude % 1000 != 0) {
        *out++ = '.';
        out = PutDigits(out, magnitude % 1000, 3);
    }
    return out;
}

// --------------------------------------------------------------------------------------- From text

// Takes `least` to `most` digits off the front.
bool TakeDigits(std::string_view& text, std::size_t least, std::size_t most,
                std::int64_t& number) noexcept {
    std::size_t count = 0;
    number = 0;
    while (count < text.size() && text[count] >= '0' && text[count] <= '9') {
        if (++count > most) {
            return false;
        }
        number = number * 10 + (text[count - 1] - '0');
    }
    text.remove_prefix(count);
    return count >= least;
}

bool Take(std::string_view& text, char c) noexcept {
    if (text.empty() || text.front() != c) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool TakeCivil(std::string_view& text, ECivil& civil) noexcept {
    constexpr std::size_t kYearDigits = 9;
    const bool negative = Take(text, '-');
    if (!TakeDigits(text, 4, kYearDigits, civil.year) || !Take(text, '-') ||
        !TakeDigits(text, 2, 2, civil.month) || !Take(text, '-') ||
        !TakeDigits(text, 2, 2, civil.day)) {
        return false;
    }
    civil.year = negative ? -civil.year : civil.year;
    return IsCivil(civil);
}

bool TakeTime(std::string_view& text, std::int64_t& time) noexcept {
    constexpr std::size_t kHourDigits = 4;
    const bool negative = Take(text, '-');
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    std::int64_t seconds = 0;
    std::int64_t milliseconds = 0;
    if (!TakeDigits(text, 2, kHourDigits, hours) || !Take(text, ':') ||
        !TakeDigits(text, 2, 2, minutes)) {
        return false;
    }
    if (Take(text, ':')) {
        if (!TakeDigits(text, 2, 2, seconds)) {
            return false;
        }
        if (Take(text, '.')) {
            const std::size_t before = text.size();
            if (!TakeDigits(text, 1, 9, milliseconds)) {
                return false;
            }
            std::size_t decimals = before - text.size();
            for (; decimals < 3; ++decimals) {
                milliseconds *= 10;
            }
            for (; decimals > 3; --decimals) {
                milliseconds /= 10;
            }
        }
    }
    if (minutes > 59 || seconds > 59) {
        return false;
    }
    time = ((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds;
    time = negative ? -time : time;
    return true;
}

}  // namespace

std::int64_t DayOfCivil(const ECivil& civil) noexcept {
    const std::chrono::sys_days day = WithinEra(civil);
    return FloorDivide(civil.year, kYearsPerEra) * kDaysPerEra + (day - kYear1).count();
}

ECivil CivilOfDay(std::int64_t day) noexcept {
    const std::int64_t fromYear0 = day + kDaysOfYear0;
    constexpr std::int64_t kYears = 30000;  // that std::chrono has for certain
    const bool isNear = fromYear0 >= 0 && fromYear0 < kYears / kYearsPerEra * kDaysPerEra;
    const std::int64_t era = isNear ? 0 : FloorDivide(fromYear0, kDaysPerEra);
    const std::chrono::days withinEra{fromYear0 - era * kDaysPerEra};
    const std::chrono::year_month_day civil{kYear0 + withinEra};
    return {static_cast<int>(civil.year()) + era * kYearsPerEra,
            static_cast<unsigned int>(civil.month()), static_cast<unsigned int>(civil.day())};
}

bool CivilOfDate(std::int32_t date, ECivil& civil) noexcept {
    civil = SplitDate(date);
    return date > 0 && civil.year >= 1 && IsCivil(civil);
}

bool DayOfDate(std::int32_t date, std::int64_t& day) noexcept {
    ECivil civil{};
    if (!CivilOfDate(date, civil)) {
        return false;
    }
    day = DayOfCivil(civil);
    return true;
}

bool DateOfDay(std::int64_t day, std::int32_t& date) noexcept {
    if (day < 0 || day > kLastDateDay) {
        return false;
    }
    const ECivil civil = CivilOfDay(day);
    date = static_cast<std::int32_t>(civil.year * 10000 + civil.month * 100 + civil.day);
    return true;
}

std::int64_t DayOfTimestamp(std::int64_t timestamp) noexcept {
    return FloorDivide(timestamp, kMillisecondsPerDay);
}

std::int64_t DateOrderKey(std::int32_t date) noexcept {
    constexpr std::int32_t kFirstDate = 10101;
    if (date < kFirstDate) {
        return std::int64_t{date} - kFirstDate;
    }
    ECivil below = SplitDate(date);
    if (below.month < 1) {
        below = {below.year - 1, 12, 31};
    } else if (below.month > 12) {
        below = {below.year, 12, 31};
    } else if (below.day < 1) {
        below.month == 1
            ? below = {below.year - 1, 12, 31}
            : below = {below.year, below.month - 1, DaysInMonth(below.year, below.month - 1)};
    } else if (below.day > DaysInMonth(below.year, below.month)) {
        below.day = DaysInMonth(below.year, below.month);
    }
    const std::int64_t dateBelow = below.year * 10000 + below.month * 100 + below.day;
    return DayOfCivil(below) * kMillisecondsPerDay + (date - dateBelow);
}

std::size_t PrintDate(const EContent& content, char* text) noexcept {
    char* end = text;
    switch (content.info->storage) {
        case EStorage::Date:
            end = PutCivil(text, SplitDate(content.As<std::int32_t>()));
            break;
        case EStorage::Time:
            end = PutTime(text, content.As<std::int32_t>());
            break;
        default: {
            const auto timestamp = content.As<std::int64_t>();
            const std::int64_t day = DayOfTimestamp(timestamp);
            const std::int64_t rest =
                (timestamp % kMillisecondsPerDay + kMillisecondsPerDay) % kMillisecondsPerDay;
            end = PutCivil(text, CivilOfDay(day));
            *end++ = ' ';
            end = PutTime(end, rest);
            break;
        }
    }
    return static_cast<std::size_t>(end - text);
}

bool ParseDate(std::string_view text, std::int32_t& date) noexcept {
    std::int64_t timestamp = 0;
    return ParseTimestamp(text, timestamp) && DateOfDay(DayOfTimestamp(timestamp), date);
}

bool ParseTime(std::string_view text, std::int64_t& time) noexcept {
    return TakeTime(text, time) && text.empty();
}

bool ParseTimestamp(std::string_view text, std::int64_t& timestamp) noexcept {
    ECivil civil{};
    std::int64_t time = 0;
    if (!TakeCivil(text, civil)) {
        return false;
    }
    if (!text.empty() && ((!Take(text, ' ') && !Take(text, 'T')) || text.empty() ||
                          text.front() == '-' || !TakeTime(text, time) || !text.empty())) {
        return false;
    }
    // Wide: the midnight of the first representable timestamp lies below all timestamps.
    const EWide wide = EWide{DayOfCivil(civil)} * kMillisecondsPerDay + time;
    timestamp = ClampTo<std::int64_t>(wide);
    return time < kMillisecondsPerDay && timestamp == wide;
}

}  // namespace etabulon
