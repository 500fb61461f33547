#pragma once

#include "foundation/EVariantAccess.h"

#include <cstdint>
#include <string_view>

namespace etabulon {

constexpr std::int64_t kMillisecondsPerDay = 86400000;
/// 214748-12-31, the last day whose yyyymmdd fits in a DATE, as the days since 0001-01-01.
constexpr std::int64_t kLastDateDay = 78435095;

/// A day of the calendar, the Gregorian one throughout.
struct ECivil {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};
/// Of the days since 0001-01-01, and back. Requires a month from 1 to 12.
[[nodiscard]] ECivil CivilOfDay(std::int64_t day) noexcept;
[[nodiscard]] std::int64_t DayOfCivil(const ECivil& civil) noexcept;

/// The day that a DATE's yyyymmdd means; false if there is no such day.
[[nodiscard]] bool CivilOfDate(std::int32_t date, ECivil& civil) noexcept;
/// The same as the days since 0001-01-01.
[[nodiscard]] bool DayOfDate(std::int32_t date, std::int64_t& day) noexcept;
/// The yyyymmdd of a day since 0001-01-01; false before it, and after kLastDateDay.
[[nodiscard]] bool DateOfDay(std::int64_t day, std::int32_t& date) noexcept;
/// The days since 0001-01-01 that have passed at a timestamp.
[[nodiscard]] std::int64_t DayOfTimestamp(std::int64_t timestamp) noexcept;
/// The sort key of a DATE among timestamps: its midnight. A number that is no day sorts a few
/// milliseconds after the last day below it, so that dates keep the order of their numbers.
[[nodiscard]] std::int64_t DateOrderKey(std::int32_t date) noexcept;

/// ISO: "2024-02-29", "08:15:00", "2024-02-29 08:15:00.250"; milliseconds only where there are any.
/// Returns the length; `text` has room for 64 characters. Requires the class Date.
[[nodiscard]] std::size_t PrintDate(const EContent& content, char* text) noexcept;

/// Read what PrintDate writes, without blanks around it; the days must exist. A timestamp may also
/// have a "T" before its time, lack the time or its seconds, or have up to 9 decimals, which are
/// cut to 3.
[[nodiscard]] bool ParseDate(std::string_view text, std::int32_t& date) noexcept;
[[nodiscard]] bool ParseTime(std::string_view text, std::int64_t& time) noexcept;
[[nodiscard]] bool ParseTimestamp(std::string_view text, std::int64_t& timestamp) noexcept;

}  // namespace etabulon
