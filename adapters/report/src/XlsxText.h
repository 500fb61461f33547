#pragma once

#include "etabulon/report/EReportCell.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace etabulon::detail {

/// Appends a text as XLSX stores it: characters that XML can't hold, and what looks like their
/// notation, become _xHHHH_; a byte that isn't UTF-8 becomes \xNN. Returns the length that the
/// format counts, in units of UTF-16.
std::size_t AppendXlsxText(std::string& stored, std::string_view text);

/// The number that stands for a date, a time or both: days since the end of 1899. None before 1900,
/// and for what is no date.
[[nodiscard]] std::optional<double> XlsxMoment(std::string_view text, EReportForm form);

/// The number, if a double holds exactly what the text says. A real number is what the shortest
/// text of its double says.
[[nodiscard]] std::optional<double> XlsxNumber(std::string_view text, EReportForm form);

}  // namespace etabulon::detail
