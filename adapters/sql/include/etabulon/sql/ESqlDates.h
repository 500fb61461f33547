#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstdint>
#include <string_view>

namespace etabulon {

// Dates and times as ISO texts, to and from the cells of TYPE_DATE, TYPE_TIME and TYPE_TIMESTAMP.
// Only what these functions write is accepted, and a few forms that mean the same: "T" for the
// blank, times without seconds, up to nine decimals of them (cut to three), a final "Z".

// Only days of the years 1 to 9999 have a text here, so that the order of texts is that of days,
// and the engine's own functions of dates read them. A TYPE_DATE may hold later days: they can't be
// written, and no row has them.

/// YYYY-MM-DD, ten bytes, a real day.
[[nodiscard]] ETABULON_API bool ParseIsoDate(std::string_view text,
                                             std::int32_t& yyyymmdd) noexcept;
[[nodiscard]] ETABULON_API bool ParseIsoTime(std::string_view text, std::int32_t& millis) noexcept;
/// A date alone is its midnight. Milliseconds since 0001-01-01.
[[nodiscard]] ETABULON_API bool ParseIsoTimestamp(std::string_view text,
                                                  std::int64_t& millis) noexcept;

inline constexpr std::size_t kIsoCapacity = 32;
/// Write into `text` of kIsoCapacity bytes; an empty view for what is no date or time.
[[nodiscard]] ETABULON_API std::string_view WriteIsoDate(std::int32_t yyyymmdd,
                                                         char* text) noexcept;
[[nodiscard]] ETABULON_API std::string_view WriteIsoTime(std::int32_t millis, char* text) noexcept;
[[nodiscard]] ETABULON_API std::string_view WriteIsoTimestamp(std::int64_t millis,
                                                              char* text) noexcept;

}  // namespace etabulon
