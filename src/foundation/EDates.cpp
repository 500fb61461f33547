#include "foundation/EDates.h"

#include "foundation/EVariantNumber.h"

#include <array>
#include <charconv>

namespace etabulon {
namespace {

constexpr std::int64_t kDaysPerEra = 146097;  // 400 years
constexpr std::int64_t kYearsPerEra = 400;
constexpr std::int64_t kDaysFromMarchOfYear0 = 306;  // from 0000-03-01 to 0001-01-01

struct ECivil {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

constexpr std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor) noexcept {
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

bool IsLeap(std::int64_t year) noexcept {
    return year % 4 == 0 && (year % 100 != 0 || year % kYearsPerEra == 0);
}

std::int64_t DaysInMonth(std::int64_t year, std::int64_t month) noexcept {
    constexpr std::array<std::int64_t, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeap(year) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

bool IsCivil(const ECivil& civil) noexcept {
    return civil.month >= 1 && civil.month <= 12 && civil.day >= 1 &&
           civil.day <= DaysInMonth(civil.year, civil.month);
}

// Years begin in March here, so that the leap day is the last.
std::int64_t DayOf(const ECivil& civil) noexcept {
    const std::int64_t year = civil.year - (civil.month <= 2 ? 1 : 0);
    const std::int64_t era = FloorDivide(year, kYearsPerEra);
    const std::int64_t yearOfEra = year - era * kYearsPerEra;
    const std::int64_t month = (civil.month + 9) % 12;
    const std::int64_t dayOfYear = (153 * month + 2) / 5 + civil.day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPerEra + dayOfEra - kDaysFromMarchOfYear0;
}

ECivil CivilOf(std::int64_t day) noexcept {
    const std::int64_t shifted = day + kDaysFromMarchOfYear0;
    const std::int64_t era = FloorDivide(shifted, kDaysPerEra);
    const std::int64_t dayOfEra = shifted - era * kDaysPerEra;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t month = (5 * dayOfYear + 2) / 153;
    const std::int64_t civilMonth = month < 10 ? month + 3 : month - 9;
    return {yearOfEra + era * kYearsPerEra + (civilMonth <= 2 ? 1 : 0), civilMonth,
            dayOfYear - (153 * month + 2) / 5 + 1};
}

ECivil CivilOfDate(std::int32_t date) noexcept {
    return {date / 10000, date / 100 % 100, date % 100};
}

// --- To text ---------------------------------------------------------------------------------

char* PutDigits(char* place, std::uint64_t number, int width) noexcept {
    char digits[20];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    for (auto missing = width - (end - digits); missing > 0; --missing) {
        *place++ = '0';
    }
    std::memcpy(place, digits, static_cast<std::size_t>(end - digits));
    return place + (end - digits);
}

std::uint64_t Magnitude(std::int64_t number) noexcept {
    return number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
}

char* PutCivil(char* place, const ECivil& civil) noexcept {
    if (civil.year < 0 || civil.month < 0 || civil.day < 0) {
        *place++ = '-';
    }
    place = PutDigits(place, Magnitude(civil.year), 4);
    *place++ = '-';
    place = PutDigits(place, Magnitude(civil.month), 2);
    *place++ = '-';
    return PutDigits(place, Magnitude(civil.day), 2);
}

char* PutTime(char* place, std::int64_t time) noexcept {
    if (time < 0) {
        *place++ = '-';
    }
    const std::uint64_t magnitude = Magnitude(time);
    place = PutDigits(place, magnitude / 3600000, 2);
    *place++ = ':';
    place = PutDigits(place, magnitude / 60000 % 60, 2);
    *place++ = ':';
    place = PutDigits(place, magnitude / 1000 % 60, 2);
    if (magnitude % 1000 != 0) {
        *place++ = '.';
        place = PutDigits(place, magnitude % 1000, 3);
    }
    return place;
}

// --- From text -------------------------------------------------------------------------------

// Takes digits off the front: at least `least`, at most `most`.
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

bool DayOfDate(std::int32_t date, std::int64_t& day) noexcept {
    const ECivil civil = CivilOfDate(date);
    if (date <= 0 || civil.year < 1 || !IsCivil(civil)) {
        return false;
    }
    day = DayOf(civil);
    return true;
}

bool DateOfDay(std::int64_t day, std::int32_t& date) noexcept {
    if (day < 0 || day > kLastDateDay) {
        return false;
    }
    const ECivil civil = CivilOf(day);
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
    ECivil below = CivilOfDate(date);
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
    return DayOf(below) * kMillisecondsPerDay + (date - dateBelow);
}

std::size_t PrintDate(const EContent& content, char* text) noexcept {
    char* end = text;
    switch (content.info->storage) {
        case EStorage::Date:
            end = PutCivil(text, CivilOfDate(content.As<std::int32_t>()));
            break;
        case EStorage::Time:
            end = PutTime(text, content.As<std::int32_t>());
            break;
        default: {
            const auto timestamp = content.As<std::int64_t>();
            const std::int64_t day = DayOfTimestamp(timestamp);
            const std::int64_t rest =
                (timestamp % kMillisecondsPerDay + kMillisecondsPerDay) % kMillisecondsPerDay;
            end = PutCivil(text, CivilOf(day));
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
    // Wide: the midnight before the first timestamp of all is none itself.
    const EWide wide = EWide{DayOf(civil)} * kMillisecondsPerDay + time;
    timestamp = ClampTo<std::int64_t>(wide);
    return time < kMillisecondsPerDay && timestamp == wide;
}

}  // namespace etabulon
