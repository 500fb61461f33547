#include "ChartCanvas.h"
#include "ChartNumbers.h"

#include <algorithm>
#include <cmath>

namespace etabulon::detail {
namespace {

using Text = EReportScene::Text;

constexpr double kRow = 26;
constexpr double kMostLabel = 240;
constexpr double kMostHead = 150;  // of a head that is turned
constexpr double kGap = 8;
constexpr double kLeastCell = 34;
constexpr double kMostCell = 130;

EReportColour Between(EReportColour from, EReportColour to, double part) {
    const auto mixed = [part](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(std::lround(a + (b - a) * part));
    };
    return {mixed(from.red, to.red), mixed(from.green, to.green), mixed(from.blue, to.blue)};
}

/// As the eye weighs the colours, 0 to 1.
double LuminanceOf(EReportColour colour) {
    const auto linear = [](std::uint8_t part) {
        const double value = part / 255.0;
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.red) + 0.7152 * linear(colour.green) +
           0.0722 * linear(colour.blue);
}

EReportColour InkOn(EReportColour fill) {
    constexpr double kTurn = 0.18;  // black and white have the same contrast there
    return LuminanceOf(fill) > kTurn ? EReportColour{0x10, 0x14, 0x18}
                                     : EReportColour{0xFF, 0xFF, 0xFF};
}

/// The colours of the values: their luminance goes one way from zero, or the lowest, to the
/// largest.
struct Ramp {
    Ramp(const EReportChart& chart, const EReportTheme& used) : theme(used) {
        bool isFirst = true;
        for (const EReportChart::Series& series : chart.series) {
            for (const std::optional<double>& value : series.values) {
                if (value) {
                    low = isFirst ? *value : std::min(low, *value);
                    high = isFirst ? *value : std::max(high, *value);
                    isFirst = false;
                }
            }
        }
    }
    [[nodiscard]] EReportColour Of(double value) const {
        if (low < 0) {
            const double most = std::max(high, -low);
            const double part = most > 0 ? std::abs(value) / most : 0;
            return value < 0 ? Between(theme.lowBelow, theme.highBelow, part) : Above(part);
        }
        return Above(high > 0 ? value / high : 0);
    }
    [[nodiscard]] EReportColour Above(double part) const {
        return part < 0.5 ? Between(theme.low, theme.middle, part * 2)
                          : Between(theme.middle, theme.high, part * 2 - 1);
    }

    const EReportTheme& theme;
    double low = 0;
    double high = 0;
};

struct Layout {
    double labels = 0;
    double head = 0;  // the height of the columns' heads
    double cell = kLeastCell;
    bool areTurned = false;
};

Layout LayOut(const EReportChart& chart, unsigned int decimals, const ChartCanvas& canvas) {
    Layout layout;
    std::vector<std::string> labels = {chart.labelTitle};
    for (const EReportChart::Label& label : chart.labels) {
        labels.push_back(label.text);
    }
    layout.labels = canvas.WidestOf(labels, kMostLabel);
    std::vector<std::string> values;
    std::vector<std::string> heads;
    for (const EReportChart::Series& series : chart.series) {
        heads.push_back(series.name);
        for (const std::optional<double>& value : series.values) {
            values.push_back(value ? ShownNumber(*value, decimals) : std::string());
        }
    }
    layout.cell = std::max(kLeastCell, canvas.WidestOf(values, 1000) + 2 * kGap);
    const double widest = canvas.WidestOf(heads, 1000) + kGap;
    constexpr std::size_t kFew = 8;  // columns that may be as wide as their heads
    if (widest > layout.cell && chart.series.size() <= kFew && widest <= kMostCell) {
        layout.cell = widest;
    }
    layout.areTurned = widest > layout.cell;
    layout.head = layout.areTurned ? std::min(widest, kMostHead) : kTextSize + kGap;
    return layout;
}

void PutHeads(const EReportChart& chart, const Layout& layout, double left, double top,
              ChartCanvas& canvas) {
    const double base = top + layout.head - kGap / 2;
    for (std::size_t column = 0; column < chart.series.size(); ++column) {
        const double x = left + (static_cast<double>(column) + 0.5) * layout.cell;
        const std::string& name = chart.series[column].name;
        if (layout.areTurned) {
            canvas.PutTurned(x + kTextSize * 0.36, base, canvas.Fitted(name, layout.head - kGap),
                             canvas.theme.text);
        } else {
            canvas.PutText(x, base, canvas.Fitted(name, layout.cell - 4), Text::Middle,
                           canvas.theme.text);
        }
    }
}

}  // namespace

EReportScene DrawHeat(const EReportChart& chart, ChartCanvas canvas) {
    std::vector<std::optional<double>> values;
    for (const EReportChart::Series& series : chart.series) {
        values.insert(values.end(), series.values.begin(), series.values.end());
    }
    const unsigned int decimals = DecimalsOf(values);
    const Layout layout = LayOut(chart, decimals, canvas);
    const Ramp ramp(chart, canvas.theme);
    const double left = kMargin + layout.labels + kGap;
    const double titles = ChartCanvas::kTop;
    const double top = titles + kTextSize + kGap;
    const double across = static_cast<double>(chart.series.size()) * layout.cell;
    canvas.PutText(left, titles + kTextSize,
                   canvas.Fitted(chart.seriesTitle, std::max(across, 160.0)), Text::Start,
                   canvas.theme.faint);
    canvas.PutText(kMargin + layout.labels, top + layout.head - kGap / 2,
                   canvas.Fitted(chart.labelTitle, layout.labels), Text::End, canvas.theme.faint);
    PutHeads(chart, layout, left, top, canvas);
    double y = top + layout.head + 4;
    for (std::size_t line = 0; line < chart.labels.size(); ++line) {
        const double base = y + kRow / 2 + kTextSize * 0.36;
        canvas.PutText(kMargin + layout.labels, base,
                       canvas.Fitted(chart.labels[line].text, layout.labels), Text::End,
                       canvas.theme.text);
        for (std::size_t column = 0; column < chart.series.size(); ++column) {
            const std::optional<double>& value = chart.series[column].values[line];
            if (!value) {
                continue;
            }
            const double x = left + static_cast<double>(column) * layout.cell;
            const EReportColour fill = ramp.Of(*value);
            const std::string shown = ShownNumber(*value, decimals);
            canvas.PutRect(
                {x + 1, y + 1, layout.cell - 2, kRow - 2, fill, false,
                 chart.labels[line].text + ", " + chart.series[column].name + ": " + shown});
            canvas.PutText(x + layout.cell - kGap, base, shown, Text::End, InkOn(fill));
        }
        y += kRow;
    }
    if (chart.labels.empty()) {
        canvas.PutText(kMargin, y + kRow / 2, "no records", Text::Start, canvas.theme.faint);
        y += kRow;
    }
    canvas.Frame(chart, left + std::max(across, canvas.Width(chart.seriesTitle)) + kMargin, y);
    return std::move(canvas.scene);
}

}  // namespace etabulon::detail
