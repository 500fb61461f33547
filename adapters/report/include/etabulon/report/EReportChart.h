#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportCross.h"
#include "etabulon/report/EReportRanking.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// A chart apart from its drawing: labels along one axis, and series of values over them. What a
/// chart leaves out of its result stands in `note`.
///
/// Ownership  a value type.
struct ETABULON_API EReportChart {
    enum class Kind : std::uint8_t {
        Bars = 0,   // a panel for each series, labels from the top down
        Heat = 1,   // a line for each label, a column for each series
        Lines = 2,  // labels from left to right, a line for each series
    };
    struct Label {
        std::string text;
        std::optional<double> position;  // along the axis: a number, or days since 1970
        bool isOthers = false;           // what its label doesn't name
    };
    struct Series {
        std::string name;
        std::vector<std::optional<double>> values;  // one for each label; none: nothing is drawn
        bool isOthers = false;
    };
    static constexpr std::size_t kMostBars = 40;
    static constexpr std::size_t kMostPanels = 4;
    static constexpr std::size_t kMostHeatLines = 60;
    static constexpr std::size_t kMostHeatColumns = 30;
    static constexpr std::size_t kMostLines = 8;
    static constexpr std::size_t kMostPoints = 5000;

    Kind kind = Kind::Bars;
    std::string title;
    std::string labelTitle;
    std::string seriesTitle;
    std::string valueTitle;  // of all series; empty where each has its own
    bool hasDates = false;   // positions are days
    std::vector<Label> labels;
    std::vector<Series> series;
    std::string note;
};

/// Bars: a panel for each calculation that gives numbers. The total isn't drawn.
[[nodiscard]] ETABULON_API EReportChart MakeChart(const EReportRanking& ranking);

/// Lines if one axis alone follows time, a heat map for two other axes, bars for one. Totals and
/// subtotals aren't drawn.
[[nodiscard]] ETABULON_API EReportChart MakeChart(const EReportCross& cross);

}  // namespace etabulon
