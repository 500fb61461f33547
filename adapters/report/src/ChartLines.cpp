#include "ChartCanvas.h"
#include "ChartNumbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace etabulon::detail {
namespace {

using Text = EReportScene::Text;

constexpr double kPlotWidth = 620;
constexpr double kPlotHeight = 300;
constexpr double kGap = 8;
constexpr double kMostName = 180;
constexpr double kMark = 3.5;           // half the size of a point's mark
constexpr std::size_t kMostMarks = 60;  // points of a line that are marked

/// The room that the lines are drawn in, and what its edges stand for.
struct Plot {
    double left = 0;
    double top = 0;
    double firstX = 0;
    double lastX = 1;
    double lowY = 0;
    double highY = 1;
    [[nodiscard]] double X(double position) const {
        return left + (lastX > firstX ? (position - firstX) / (lastX - firstX) : 0.5) * kPlotWidth;
    }
    [[nodiscard]] double Y(double value) const {
        return top + (highY - value) / (highY - lowY) * kPlotHeight;
    }
};

bool ArePlaced(const EReportChart& chart) {
    return !chart.labels.empty() &&
           std::all_of(chart.labels.begin(), chart.labels.end(),
                       [](const EReportChart::Label& label) { return label.position.has_value(); });
}

double PlaceOf(const EReportChart& chart, std::size_t label, bool arePlaced) {
    return arePlaced ? *chart.labels[label].position : static_cast<double>(label);
}

NiceTicks TicksOf(const EReportChart& chart) {
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const EReportChart::Series& series : chart.series) {
        for (const std::optional<double>& value : series.values) {
            if (value) {
                low = std::min(low, *value);
                high = std::max(high, *value);
            }
        }
    }
    if (low > high) {
        low = 0;
        high = 1;
    }
    // An axis that begins far from zero shows more; one near it would mislead without it.
    constexpr double kNear = 0.6;
    if (low > 0 && low < kNear * high) {
        low = 0;
    } else if (high < 0 && high > kNear * low) {
        high = 0;
    }
    constexpr unsigned int kTicks = 6;
    return {low, high, kTicks};
}

/// A mark that tells a line from the others without its colour.
void PutMark(std::size_t line, double x, double y, EReportColour colour, std::string hint,
             ChartCanvas& canvas) {
    EReportScene::Path path;
    path.colour = colour;
    path.isFilled = true;
    path.hint = std::move(hint);
    constexpr unsigned int kShapes = 4;
    constexpr std::array<unsigned int, kShapes> kCorners = {12, 4, 3, 4};
    constexpr std::array<double, kShapes> kTurns = {0, 0.125, -0.25, 0};
    const unsigned int shape = static_cast<unsigned int>(line) % kShapes;
    for (unsigned int corner = 0; corner < kCorners[shape]; ++corner) {
        const double turn =
            (static_cast<double>(corner) / kCorners[shape] + kTurns[shape]) * 2 * 3.141592653589793;
        const double size = shape == 1 ? kMark * 1.25 : kMark * 1.15;
        path.points.emplace_back(x + std::cos(turn) * size, y + std::sin(turn) * size);
    }
    canvas.PutPath(std::move(path));
}

void PutSeries(const EReportChart& chart, std::size_t line, const Plot& plot, bool arePlaced,
               ChartCanvas& canvas) {
    static const std::array<std::vector<double>, 4> kDashes = {{{}, {7, 3}, {2, 3}, {9, 3, 2, 3}}};
    const EReportChart::Series& series = chart.series[line];
    const EReportColour colour = canvas.theme.lines[line % canvas.theme.lines.size()];
    const unsigned int decimals = DecimalsOf(series.values);
    const bool areMarked = chart.labels.size() <= kMostMarks;
    EReportScene::Path path;
    const auto end = [&] {
        if (path.points.size() > 1) {
            path.colour = colour;
            path.dashes = kDashes[line % kDashes.size()];
            path.hint = series.name;
            canvas.PutPath(path);
        }
        path.points.clear();
    };
    for (std::size_t label = 0; label < chart.labels.size(); ++label) {
        const std::optional<double>& value = series.values[label];
        if (!value) {
            end();  // a missing value is a gap
            continue;
        }
        path.points.emplace_back(plot.X(PlaceOf(chart, label, arePlaced)), plot.Y(*value));
    }
    end();
    for (std::size_t label = 0; label < chart.labels.size(); ++label) {
        const std::optional<double>& value = series.values[label];
        const bool isAlone = value && (label == 0 || !series.values[label - 1]) &&
                             (label + 1 == chart.labels.size() || !series.values[label + 1]);
        if (value && (areMarked || isAlone)) {
            PutMark(line, plot.X(PlaceOf(chart, label, arePlaced)), plot.Y(*value), colour,
                    series.name + ", " + chart.labels[label].text + ": " +
                        ShownNumber(*value, decimals),
                    canvas);
        }
    }
}

/// The names of the lines at their ends, apart from each other.
void PutNames(const EReportChart& chart, const Plot& plot, double names, ChartCanvas& canvas) {
    struct Name {
        double y;
        std::size_t line;
    };
    std::vector<Name> placed;
    for (std::size_t line = 0; line < chart.series.size(); ++line) {
        const auto& values = chart.series[line].values;
        const auto last = std::find_if(values.rbegin(), values.rend(),
                                       [](const auto& value) { return value.has_value(); });
        placed.push_back({last == values.rend() ? plot.top + kPlotHeight : plot.Y(**last), line});
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](const Name& a, const Name& b) { return a.y < b.y; });
    constexpr double kLine = 15;
    for (std::size_t index = 1; index < placed.size(); ++index) {
        placed[index].y = std::max(placed[index].y, placed[index - 1].y + kLine);
    }
    double most = plot.top + kPlotHeight;
    for (std::size_t index = placed.size(); index-- > 0;) {
        placed[index].y = std::min(placed[index].y, most);
        most = placed[index].y - kLine;
    }
    const double x = plot.left + kPlotWidth + 2 * kGap;
    for (const Name& name : placed) {
        PutMark(name.line, x, name.y, canvas.theme.lines[name.line % canvas.theme.lines.size()], {},
                canvas);
        canvas.PutText(x + kGap, name.y + kTextSize * 0.36,
                       canvas.Fitted(chart.series[name.line].name, names), Text::Start,
                       canvas.theme.text);
    }
}

void PutTimes(const EReportChart& chart, const Plot& plot, bool arePlaced, ChartCanvas& canvas) {
    const double y = plot.top + kPlotHeight;
    std::vector<std::pair<double, std::string>> ticks;
    constexpr unsigned int kMostDates = 8;
    if (chart.hasDates && arePlaced && plot.lastX > plot.firstX) {
        ticks = DateTicks(plot.firstX, plot.lastX, kMostDates);
    } else {
        for (std::size_t label = 0; label < chart.labels.size(); ++label) {
            ticks.emplace_back(PlaceOf(chart, label, arePlaced), chart.labels[label].text);
        }
    }
    constexpr double kMostTick = 110;
    double widest = 0;
    for (auto& [place, text] : ticks) {
        text = canvas.Fitted(text, kMostTick, kSmallSize);
        widest = std::max(widest, canvas.Width(text, kSmallSize));
    }
    // Every second, fifth, tenth one where all of them don't fit.
    std::size_t every = 1;
    constexpr std::array<std::size_t, 3> kSteps = {2, 5, 10};
    for (std::size_t power = 1, step = 0;
         static_cast<double>(ticks.size()) / static_cast<double>(every) * (widest + 2 * kGap) >
         kPlotWidth;
         ++step) {
        every = kSteps[step % kSteps.size()] * power;
        power *= step % kSteps.size() == 2 ? 10 : 1;
    }
    for (std::size_t index = 0; index < ticks.size(); index += every) {
        const double x = plot.X(ticks[index].first);
        canvas.PutLine(x, y, x, y + 4, canvas.theme.faint);
        // The texts at the ends stay inside the picture.
        const double half = canvas.Width(ticks[index].second, kSmallSize) / 2;
        const double last = plot.left + kPlotWidth + 2 * kGap;
        canvas.PutText(std::clamp(x, kMargin + half, last - half), y + 4 + kSmallSize + 3,
                       ticks[index].second, Text::Middle, canvas.theme.faint, kSmallSize);
    }
}

/// Draws the axis of the values with its title, and makes the plot beside it.
Plot PutValueAxis(const EReportChart& chart, bool arePlaced, ChartCanvas& canvas) {
    const NiceTicks ticks = TicksOf(chart);
    const AxisUnit unit = AxisUnit::Of(std::max(std::abs(ticks.first), std::abs(ticks.last)));
    const unsigned int decimals = DecimalsOfStep(ticks.step / unit.factor);
    const std::vector<double> places = ticks.All();
    std::vector<std::string> marks;
    for (const double tick : places) {
        marks.push_back(ShownNumber(tick / unit.factor, decimals));
    }
    Plot plot;
    plot.left = kMargin + std::max(canvas.WidestOf(marks, 200, kSmallSize) + kGap, 24.0);
    plot.top = ChartCanvas::kTop + kTextSize + 2 * kGap;
    plot.lowY = ticks.first;
    plot.highY = ticks.last;
    if (!chart.labels.empty()) {
        plot.firstX = PlaceOf(chart, 0, arePlaced);
        plot.lastX = PlaceOf(chart, chart.labels.size() - 1, arePlaced);
    }
    const std::string title = chart.valueTitle.empty() && chart.series.size() == 1
                                  ? chart.series.front().name
                                  : chart.valueTitle;
    canvas.PutText(kMargin, ChartCanvas::kTop + kTextSize,
                   canvas.Fitted(unit.In(title), kPlotWidth), Text::Start, canvas.theme.text);
    for (std::size_t index = 0; index < marks.size(); ++index) {
        const double y = plot.Y(places[index]);
        canvas.PutLine(plot.left, y, plot.left + kPlotWidth, y,
                       places[index] == 0 ? canvas.theme.faint : canvas.theme.grid);
        canvas.PutText(plot.left - kGap, y + kSmallSize * 0.36, marks[index], Text::End,
                       canvas.theme.faint, kSmallSize);
    }
    return plot;
}

}  // namespace

EReportScene DrawLines(const EReportChart& chart, ChartCanvas canvas) {
    std::vector<std::string> names;
    for (const EReportChart::Series& series : chart.series) {
        names.push_back(series.name);
    }
    const bool isNamed = !chart.seriesTitle.empty();
    const double nameWidth = isNamed ? canvas.WidestOf(names, kMostName) : 0;
    const bool arePlaced = ArePlaced(chart);
    const Plot plot = PutValueAxis(chart, arePlaced, canvas);
    PutTimes(chart, plot, arePlaced, canvas);
    for (std::size_t line = 0; line < chart.series.size(); ++line) {
        PutSeries(chart, line, plot, arePlaced, canvas);
    }
    double bottom = plot.top + kPlotHeight + 4 + kSmallSize + 3;
    if (isNamed) {
        PutNames(chart, plot, nameWidth, canvas);
        canvas.PutText(plot.left + kPlotWidth + kGap, ChartCanvas::kTop + kTextSize,
                       canvas.Fitted(chart.seriesTitle, nameWidth + 2 * kGap), Text::Start,
                       canvas.theme.faint);
    }
    if (chart.labels.empty()) {
        canvas.PutText(plot.left + kPlotWidth / 2, plot.top + kPlotHeight / 2, "no records",
                       Text::Middle, canvas.theme.faint);
    }
    constexpr double kTitleLine = 18;
    bottom += kTitleLine;
    canvas.PutText(plot.left + kPlotWidth / 2, bottom, canvas.Fitted(chart.labelTitle, kPlotWidth),
                   Text::Middle, canvas.theme.text);
    canvas.Frame(chart,
                 plot.left + kPlotWidth + (isNamed ? 3 * kGap + nameWidth : 2 * kGap) + kMargin,
                 bottom);
    return std::move(canvas.scene);
}

}  // namespace etabulon::detail
