#include "ChartNumbers.h"

#include "XlsxText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace etabulon::detail {
namespace {

namespace chrono = std::chrono;

constexpr unsigned int kMostDecimals = 9;

/// The number 1, 2, 5 or 10 times a power of ten that is next to `range`, or not below it.
double NiceNumber(double range, bool isRounded) {
    const double power = std::pow(10.0, std::floor(std::log10(range)));
    const double part = range / power;
    const double nice = isRounded ? (part < 1.5 ? 1
                                     : part < 3 ? 2
                                     : part < 7 ? 5
                                                : 10)
                                  : (part <= 1   ? 1
                                     : part <= 2 ? 2
                                     : part <= 5 ? 5
                                                 : 10);
    return nice * power;
}

chrono::sys_days DayAt(double position) {
    return chrono::sys_days(chrono::days(static_cast<int>(std::floor(position))));
}

double PositionOf(chrono::year_month_day date) {
    return static_cast<double>(chrono::sys_days(date).time_since_epoch().count());
}

std::string TextOfDate(chrono::year_month_day date, bool hasMonth, bool hasDay) {
    std::array<char, 32> text{};
    const int year = static_cast<int>(date.year());
    const auto month = static_cast<unsigned int>(date.month());
    const auto day = static_cast<unsigned int>(date.day());
    hasDay     ? std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", year, month, day)
    : hasMonth ? std::snprintf(text.data(), text.size(), "%04d-%02u", year, month)
               : std::snprintf(text.data(), text.size(), "%04d", year);
    return text.data();
}

}  // namespace

NiceTicks::NiceTicks(double low, double high, unsigned int count) {
    if (!(high > low)) {
        const double margin = low == 0 ? 1 : std::abs(low) / 2;
        low -= low > 0 ? margin : 0;
        high += margin;
    }
    step =
        NiceNumber(NiceNumber(high - low, /*isRounded=*/false) / (count - 1), /*isRounded=*/true);
    first = std::floor(low / step) * step;
    last = std::ceil(high / step) * step;
}

std::vector<double> NiceTicks::All() const {
    std::vector<double> ticks;
    const auto count = static_cast<int>(std::round((last - first) / step));
    for (int index = 0; index <= count; ++index) {
        const double tick = first + index * step;
        ticks.push_back(std::abs(tick) < step / 2 ? 0 : tick);
    }
    return ticks;
}

unsigned int DecimalsOf(const std::vector<std::optional<double>>& values) {
    double largest = 0;
    bool isWhole = true;
    for (const std::optional<double>& value : values) {
        if (value) {
            largest = std::max(largest, std::abs(*value));
            isWhole = isWhole && std::floor(*value) == *value;
        }
    }
    if (isWhole || largest == 0) {
        return 0;
    }
    constexpr int kDigits = 6;       // of numbers from one on, of which two are decimals at most
    constexpr int kSmallDigits = 3;  // of those below one
    const int before = static_cast<int>(std::floor(std::log10(largest))) + 1;
    return static_cast<unsigned int>(before > 0 ? std::clamp(kDigits - before, 0, 2)
                                                : std::min(kSmallDigits - before, 9));
}

unsigned int DecimalsOfStep(double step) {
    const double digits = -std::floor(std::log10(step) + 1e-9);
    return static_cast<unsigned int>(std::clamp(digits, 0.0, static_cast<double>(kMostDecimals)));
}

std::string ShownNumber(double value, unsigned int decimals) {
    constexpr double kLargest = 1e15;
    std::array<char, 64> digits{};
    if (std::abs(value) >= kLargest) {
        std::snprintf(digits.data(), digits.size(), "%.3g", value);
        return digits.data();
    }
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                   std::chars_format::fixed, static_cast<int>(decimals));
    std::string text(digits.data(), end.ptr);
    const bool isBelow = text.front() == '-';
    std::size_t at = std::min(text.find('.'), text.size());
    constexpr std::size_t kGroup = 3;
    while (at > kGroup + (isBelow ? 1 : 0)) {
        at -= kGroup;
        text.insert(at, 1, ',');
    }
    if (isBelow) {
        const bool isZero = text.find_first_of("123456789") == std::string::npos;
        text.replace(0, 1, isZero ? "" : "\xE2\x88\x92");  // the minus sign
    }
    return text;
}

AxisUnit AxisUnit::Of(double largest) {
    constexpr std::array kUnits = {AxisUnit{1e12, "trillions"}, AxisUnit{1e9, "billions"},
                                   AxisUnit{1e6, "millions"}};
    constexpr double kMost = 1e15;
    for (const AxisUnit& unit : kUnits) {
        if (largest >= 2 * unit.factor && largest < kMost) {
            return unit;
        }
    }
    return {};
}

std::string AxisUnit::In(const std::string& title) const {
    return factor == 1 ? title : title.empty() ? word : title + ", " + word;
}

std::vector<std::pair<double, std::string>> DateTicks(double first, double last,
                                                      unsigned int count) {
    constexpr std::array kMonths = {1, 3, 6};
    constexpr std::array kDays = {1, 2, 7, 14};
    constexpr double kDaysPerMonth = 30.4;
    constexpr double kDaysPerYear = 365.25;
    const double span = std::max(last - first, 1.0);
    std::vector<std::pair<double, std::string>> ticks;
    for (const int step : kDays) {
        if (span / step <= count) {
            const auto end = static_cast<std::int64_t>(std::floor(last));
            for (auto at = static_cast<std::int64_t>(std::ceil(first)); at <= end; at += step) {
                const auto day = static_cast<double>(at);
                ticks.emplace_back(day, TextOfDate(DayAt(day), /*hasMonth=*/true, /*hasDay=*/true));
            }
            return ticks;
        }
    }
    int months = 0;
    for (const int step : kMonths) {
        if (months == 0 && span / (step * kDaysPerMonth) <= count) {
            months = step;
        }
    }
    if (months == 0) {
        const double years = NiceNumber(span / kDaysPerYear / count, /*isRounded=*/false);
        months = 12 * std::max(1, static_cast<int>(std::ceil(years)));
    }
    const chrono::year_month_day begin(DayAt(first));
    const int all = static_cast<int>(begin.year()) * 12 +
                    static_cast<int>(static_cast<unsigned int>(begin.month())) - 1;
    for (int month = all / months * months;; month += months) {
        const chrono::year_month_day date(chrono::year(month / 12),
                                          chrono::month(static_cast<unsigned int>(month % 12) + 1),
                                          chrono::day(1));
        const double at = PositionOf(date);
        if (at > last) {
            return ticks;
        }
        if (at >= first) {
            ticks.emplace_back(at, TextOfDate(date, months < 12, /*hasDay=*/false));
        }
    }
}

std::optional<double> DaysOf(std::string_view text) {
    const auto number = [&text](std::size_t at, std::size_t count) {
        int read = -1;
        const auto [end, error] = std::from_chars(text.data() + at, text.data() + at + count, read);
        return error == std::errc() && end == text.data() + at + count ? read : -1;
    };
    constexpr std::size_t kDate = 10;
    if (text.size() < kDate || text[4] != '-' || text[7] != '-') {
        return {};
    }
    const int year = number(0, 4);
    const int month = number(5, 2);
    const int day = number(8, 2);
    const chrono::year_month_day date(chrono::year(year),
                                      chrono::month(static_cast<unsigned int>(month)),
                                      chrono::day(static_cast<unsigned int>(day)));
    if (year < 0 || month < 0 || day < 0 || !date.ok()) {
        return {};
    }
    double days = PositionOf(date);
    if (text.size() > kDate + 1) {
        if (const auto time = XlsxMoment(text.substr(kDate + 1), EReportForm::Time)) {
            days += *time;
        }
    }
    return days;
}

}  // namespace etabulon::detail
