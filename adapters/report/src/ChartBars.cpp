#include "ChartCanvas.h"
#include "ChartNumbers.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::detail {
namespace {

using Text = EReportScene::Text;

constexpr double kRow = 24;
constexpr double kBar = 16;
constexpr double kMostLabel = 260;
constexpr double kGap = 10;
constexpr double kHead = 40;  // a panel's title and its ticks

/// One series with its axis.
struct Panel {
    const EReportChart::Series& series;
    double left;
    double width;
    double low = 0;
    double high = 0;
    unsigned int decimals = 0;
    double before = 0;  // room for the values of bars below zero
    double behind = 0;  // and above it

    [[nodiscard]] double At(double value) const {
        const double room = width - before - behind;
        return left + before + (high > low ? (value - low) / (high - low) * room : 0);
    }
};

Panel MakePanel(const EReportChart::Series& series, double left, double width,
                const ChartCanvas& canvas) {
    Panel panel{series, left, width};
    panel.decimals = DecimalsOf(series.values);
    for (const std::optional<double>& value : series.values) {
        if (value) {
            panel.low = std::min(panel.low, *value);
            panel.high = std::max(panel.high, *value);
            const double text = canvas.Width(ShownNumber(*value, panel.decimals)) + kGap;
            double& room = *value < 0 ? panel.before : panel.behind;
            room = std::max(room, text);
        }
    }
    return panel;
}

/// As many ticks between the lowest and the highest value as have room for their texts.
std::vector<std::pair<double, std::string>> TicksOf(const Panel& panel, const AxisUnit& unit,
                                                    const ChartCanvas& canvas) {
    constexpr unsigned int kMost = 7;
    std::vector<std::pair<double, std::string>> kept;
    for (unsigned int count = kMost; count >= 2; --count) {
        kept.clear();
        const NiceTicks ticks(panel.low, panel.high, count);
        const unsigned int decimals = DecimalsOfStep(ticks.step / unit.factor);
        double widest = 0;
        for (const double tick : ticks.All()) {
            if (tick >= panel.low - ticks.step * 1e-9 && tick <= panel.high + ticks.step * 1e-9) {
                kept.emplace_back(tick, ShownNumber(tick / unit.factor, decimals));
                widest = std::max(widest, canvas.Width(kept.back().second, kSmallSize));
            }
        }
        if (widest + 2 * kGap <= panel.At(ticks.step) - panel.At(0)) {
            break;
        }
    }
    return kept;
}

void PutAxis(const Panel& panel, double top, double bottom, const std::string& title,
             ChartCanvas& canvas) {
    const AxisUnit unit = AxisUnit::Of(std::max(panel.high, -panel.low));
    canvas.PutText(panel.left, top + kTextSize,
                   canvas.Fitted(unit.In(title), panel.width, kTextSize), Text::Start,
                   canvas.theme.text);
    if (!(panel.high > panel.low)) {
        canvas.PutLine(panel.At(0), top + kHead, panel.At(0), bottom, canvas.theme.faint);
        return;
    }
    for (const auto& [tick, text] : TicksOf(panel, unit, canvas)) {
        const double x = panel.At(tick);
        canvas.PutLine(x, top + kHead - 4, x, bottom,
                       tick == 0 ? canvas.theme.faint : canvas.theme.grid);
        canvas.PutText(x, top + kHead - 8, text, Text::Middle, canvas.theme.faint, kSmallSize);
    }
}

void PutBars(const EReportChart& chart, const Panel& panel, double top, ChartCanvas& canvas) {
    for (std::size_t line = 0; line < chart.labels.size(); ++line) {
        const double y = top + kHead + static_cast<double>(line) * kRow;
        const double base = y + kRow / 2 + kTextSize * 0.36;
        const std::optional<double>& value = panel.series.values[line];
        if (!value) {
            canvas.PutText(panel.At(0) + 5, base, "no value", Text::Start, canvas.theme.faint,
                           kSmallSize);
            continue;
        }
        const std::string shown = ShownNumber(*value, panel.decimals);
        const double from = panel.At(std::min(*value, 0.0));
        const double to = panel.At(std::max(*value, 0.0));
        canvas.PutRect({from, y + (kRow - kBar) / 2, to - from, kBar,
                        *value < 0 ? canvas.theme.below : canvas.theme.bar,
                        chart.labels[line].isOthers, chart.labels[line].text + ": " + shown});
        canvas.PutText(*value < 0 ? from - 5 : to + 5, base, shown,
                       *value < 0 ? Text::End : Text::Start, canvas.theme.text);
    }
}

}  // namespace

EReportScene DrawBars(const EReportChart& chart, ChartCanvas canvas) {
    std::vector<std::string> texts = {chart.labelTitle};
    for (const EReportChart::Label& label : chart.labels) {
        texts.push_back(label.text);
    }
    const double labels = canvas.WidestOf(texts, kMostLabel);
    const bool isAlone = chart.series.size() == 1;
    const double width = isAlone ? 460 : 300;
    const double top = ChartCanvas::kTop;
    const double bottom = top + kHead + static_cast<double>(chart.labels.size()) * kRow;
    canvas.PutText(kMargin + labels, top + kTextSize, canvas.Fitted(chart.labelTitle, labels),
                   Text::End, canvas.theme.faint);
    double left = kMargin + labels + kGap;
    for (const EReportChart::Series& series : chart.series) {
        const Panel panel = MakePanel(series, left, width, canvas);
        PutAxis(panel, top, bottom, series.name, canvas);
        PutBars(chart, panel, top, canvas);
        left += width + 2 * kGap;
    }
    for (std::size_t line = 0; line < chart.labels.size(); ++line) {
        const double y = top + kHead + (static_cast<double>(line) + 0.5) * kRow;
        canvas.PutText(kMargin + labels, y + kTextSize * 0.36,
                       canvas.Fitted(chart.labels[line].text, labels), Text::End,
                       canvas.theme.text);
    }
    if (chart.labels.empty()) {
        canvas.PutText(kMargin, bottom + kRow / 2, "no records", Text::Start, canvas.theme.faint);
    }
    canvas.Frame(chart, left - 2 * kGap + kMargin, chart.labels.empty() ? bottom + kRow : bottom);
    return std::move(canvas.scene);
}

}  // namespace etabulon::detail
