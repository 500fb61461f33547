#pragma once

#include "etabulon/report/EReportChart.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace etabulon::detail {

/// Round numbers for the ticks of an axis from `low` to `high`, about `count` of them: Heckbert's
/// "Nice numbers for graph labels" (Graphics Gems, 1990), labels loose at both ends.
struct NiceTicks {
    NiceTicks(double low, double high, unsigned int count);
    double first = 0;
    double last = 1;
    double step = 1;
    [[nodiscard]] std::vector<double> All() const;
};

/// The decimals that tell numbers of this size apart.
[[nodiscard]] unsigned int DecimalsOf(const std::vector<std::optional<double>>& values);
[[nodiscard]] unsigned int DecimalsOfStep(double step);
/// With commas between groups of three digits; in scientific notation where there are too many.
[[nodiscard]] std::string ShownNumber(double value, unsigned int decimals);

/// What the numbers of an axis are divided by, and its word: millions.
struct AxisUnit {
    double factor = 1;
    const char* word = "";
    [[nodiscard]] static AxisUnit Of(double largest);
    /// A title with the word behind it.
    [[nodiscard]] std::string In(const std::string& title) const;
};

/// Ticks at the beginnings of years, months or days, about `count` of them, each with its text.
/// Positions are days since 1970.
[[nodiscard]] std::vector<std::pair<double, std::string>> DateTicks(double first, double last,
                                                                    unsigned int count);
/// Days since 1970 of a date, or of a date with a time; none for another text.
[[nodiscard]] std::optional<double> DaysOf(std::string_view text);

}  // namespace etabulon::detail
