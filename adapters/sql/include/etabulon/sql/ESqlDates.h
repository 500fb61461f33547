#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstdint>
#include <string_view>

namespace etabulon {

// Dates and times as ISO texts, to and from the cells of TYPE_DATE, TYPE_TIME and TYPE_TIMESTAMP.
// The parsers accept what the writers write, and a few forms with the same meaning: "T" for the
// blank, times without seconds, seconds with up to nine decimals (cut to three), a final "Z".

// Only days of the years 1 to 9999 have a text, so that texts sort as their days do and the
// engine's own date functions read them. A TYPE_DATE may hold later days, which can't be written.

/// Accepts YYYY-MM-DD, ten bytes, of an existing day.
[[nodiscard]] ETABULON_API bool ParseIsoDate(std::string_view text,
                                             std::int32_t& yyyymmdd) noexcept;
[[nodiscard]] ETABULON_API bool ParseIsoTime(std::string_view text, std::int32_t& millis) noexcept;
/// `millis` counts from 0001-01-01. A date alone means its midnight.
[[nodiscard]] ETABULON_API bool ParseIsoTimestamp(std::string_view text,
                                                  std::int64_t& millis) noexcept;
/// Whether a text that one of these two accepts has decimals beyond the milliseconds, other than
/// zeros, which a cell can't hold.
[[nodiscard]] ETABULON_API bool IsFinerThanMillis(std::string_view text) noexcept;

inline constexpr std::size_t kIsoCapacity = 32;
/// Write into `text`, which has kIsoCapacity bytes. An empty view if the number is no date or time.
[[nodiscard]] ETABULON_API std::string_view WriteIsoDate(std::int32_t yyyymmdd,
                                                         char* text) noexcept;
[[nodiscard]] ETABULON_API std::string_view WriteIsoTime(std::int32_t millis, char* text) noexcept;
[[nodiscard]] ETABULON_API std::string_view WriteIsoTimestamp(std::int64_t millis,
                                                              char* text) noexcept;

}  // namespace etabulon
