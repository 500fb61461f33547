#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstddef>
#include <string_view>

namespace etabulon {

/// A character as a reader sees it: a grapheme cluster of Unicode, such as a letter with its
/// combining marks, or several emoji that joiners make one picture.
struct EReportCluster {
    std::size_t length = 0;  // in bytes
    std::size_t width = 0;   // in columns of a terminal
};

/// The cluster at the front of `text`, whose width is that of an up-to-date terminal: ideographs
/// and emoji take two columns, marks and joiners none. A byte that isn't UTF-8 is a cluster of one
/// column. Requires a text that isn't empty.
[[nodiscard]] ETABULON_API EReportCluster FirstCluster(std::string_view text) noexcept;

/// The columns that a text takes on a terminal.
[[nodiscard]] ETABULON_API std::size_t ReportWidth(std::string_view text) noexcept;

/// The longest front of `text` that takes at most `width` columns, in whole clusters.
[[nodiscard]] ETABULON_API EReportCluster FrontOfWidth(std::string_view text,
                                                       std::size_t width) noexcept;

/// Whether a text has characters that are written from right to left, such as Hebrew and Arabic
/// letters. Between U+2068 and U+2069 such a text leaves its surroundings in their order.
[[nodiscard]] ETABULON_API bool HasRightToLeft(std::string_view text) noexcept;

}  // namespace etabulon
