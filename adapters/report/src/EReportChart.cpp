#include "etabulon/report/EReportChart.h"

#include "ChartNumbers.h"

#include <algorithm>
#include <cmath>

namespace etabulon {
namespace {

using Kind = EReportChart::Kind;

std::optional<double> NumberOf(const ETabulonValue& value) {
    if (value.IsNull() || value.IsSpecial() || value.Data().IsMissing() ||
        TypeInfo(value.Data().Type()).valueClass != EValueClass::Number) {
        return {};
    }
    const double number = value.Data().AsDouble();
    return std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (&text == &texts.front() ? "" : ", ") + text;
    }
    return joined;
}

void AddNote(std::string& note, const std::string& sentence) {
    note += (note.empty() ? "" : "; ") + sentence;
}

std::string Count(std::size_t count, const char* one, const char* many) {
    return detail::ShownNumber(static_cast<double>(count), 0) + ' ' + (count == 1 ? one : many);
}

/// Keeps the first labels of a chart, and says how many it leaves out.
void LimitLabels(EReportChart& chart, std::size_t most, const char* one, const char* many) {
    if (chart.labels.size() <= most) {
        return;
    }
    AddNote(chart.note, Count(chart.labels.size() - most, one, many) + " left out");
    chart.labels.resize(most);
    for (EReportChart::Series& series : chart.series) {
        series.values.resize(most);
    }
}

void LimitSeries(EReportChart& chart, std::size_t most, const char* one, const char* many) {
    if (chart.series.size() > most) {
        AddNote(chart.note, Count(chart.series.size() - most, one, many) + " left out");
        chart.series.resize(most);
    }
}

/// A label's place on an axis of time.
EReportChart::Label LabelOf(const EReportCrossLabel& label) {
    EReportChart::Label shown{LabelText(label), {}, label.part == ECrossEntry::Others};
    if (label.values.size() == 1 && !label.values.front().IsMissing()) {
        const EVariant& value = label.values.front();
        shown.position = TypeInfo(value.Type()).valueClass == EValueClass::Date
                             ? detail::DaysOf(value.AsChaine().View())
                         : TypeInfo(value.Type()).valueClass == EValueClass::Number
                             ? std::optional<double>(value.AsDouble())
                             : std::nullopt;
    }
    return shown;
}

/// A direction of a cross table without its subtotals.
struct Direction {
    explicit Direction(const EReportCrossAxis& axis) {
        for (std::size_t index = 0; index < axis.labels.size(); ++index) {
            if (axis.labels[index].part != ECrossEntry::Subtotal) {
                places.push_back(index);
                labels.push_back(LabelOf(axis.labels[index]));
            }
        }
    }
    std::vector<std::size_t> places;
    std::vector<EReportChart::Label> labels;
};

/// Labels with missing dates, and others, have no place on an axis of time: they are taken out.
void KeepPlaced(EReportChart& chart, bool isNested) {
    const bool isPlaced = std::any_of(chart.labels.begin(), chart.labels.end(),
                                      [](const auto& label) { return label.position.has_value(); });
    std::size_t kept = 0;
    for (std::size_t index = 0; index < chart.labels.size(); ++index) {
        const EReportChart::Label& label = chart.labels[index];
        if (label.isOthers || (isPlaced && !isNested && !label.position)) {
            continue;
        }
        chart.labels[kept] = label;
        for (EReportChart::Series& series : chart.series) {
            series.values[kept] = series.values[index];
        }
        ++kept;
    }
    if (kept != chart.labels.size()) {
        AddNote(chart.note, Count(chart.labels.size() - kept, "label", "labels") +
                                " without a place in time left out");
        chart.labels.resize(kept);
        for (EReportChart::Series& series : chart.series) {
            series.values.resize(kept);
        }
    }
}

/// Sorts the points of lines by their places.
void SortPlaced(EReportChart& chart) {
    std::vector<std::size_t> order(chart.labels.size());
    for (std::size_t index = 0; index < order.size(); ++index) {
        order[index] = index;
    }
    std::stable_sort(order.begin(), order.end(), [&chart](std::size_t a, std::size_t b) {
        return chart.labels[a].position < chart.labels[b].position;
    });
    const EReportChart unsorted = chart;
    for (std::size_t index = 0; index < order.size(); ++index) {
        chart.labels[index] = unsorted.labels[order[index]];
        for (std::size_t line = 0; line < chart.series.size(); ++line) {
            chart.series[line].values[index] = unsorted.series[line].values[order[index]];
        }
    }
}

void Limit(EReportChart& chart) {
    switch (chart.kind) {
        case Kind::Bars:
            LimitLabels(chart, EReportChart::kMostBars, "more line", "more lines");
            LimitSeries(chart, EReportChart::kMostPanels, "more calculation", "more calculations");
            break;
        case Kind::Heat:
            LimitLabels(chart, EReportChart::kMostHeatLines, "more line", "more lines");
            LimitSeries(chart, EReportChart::kMostHeatColumns, "more column", "more columns");
            break;
        case Kind::Lines:
            LimitLabels(chart, EReportChart::kMostPoints, "more point", "more points");
            LimitSeries(chart, EReportChart::kMostLines, "more line", "more lines");
            break;
    }
}

/// Of many lines those with the largest values are drawn, in their order.
void KeepLargest(EReportChart& chart) {
    if (chart.series.size() <= EReportChart::kMostLines) {
        return;
    }
    const auto sizeOf = [](const EReportChart::Series& series) {
        double size = 0;
        for (const std::optional<double>& value : series.values) {
            size += std::abs(value.value_or(0));
        }
        return size;
    };
    std::stable_sort(chart.series.begin(), chart.series.end(),
                     [&sizeOf](const auto& a, const auto& b) { return sizeOf(a) > sizeOf(b); });
}

/// A series for each column, or for each line where the chart is turned.
void TakeValues(EReportChart& chart, const EReportCross& cross, const Direction& lines,
                const Direction& columns, bool isTurned) {
    const Direction& across = isTurned ? lines : columns;
    for (std::size_t place = 0; place < across.places.size(); ++place) {
        EReportChart::Series& series = chart.series.emplace_back();
        series.name = across.labels[place].text;
        series.isOthers = across.labels[place].isOthers;
        for (const std::size_t other : (isTurned ? columns : lines).places) {
            const std::size_t line = isTurned ? across.places[place] : other;
            const std::size_t column = isTurned ? other : across.places[place];
            series.values.push_back(cross.IsEmpty() ? std::nullopt
                                                    : NumberOf(cross.Value(line, column)));
        }
    }
}

void LayAlongTime(EReportChart& chart, const EReportCrossAxis& time) {
    const bool isNested = time.titles.size() != 1;
    chart.hasDates =
        !isNested && std::any_of(time.labels.begin(), time.labels.end(), [](const auto& label) {
            return !label.values.empty() && !label.values.front().IsMissing() &&
                   TypeInfo(label.values.front().Type()).valueClass == EValueClass::Date;
        });
    KeepPlaced(chart, isNested);
    if (!isNested) {
        SortPlaced(chart);
    }
    KeepLargest(chart);
}

}  // namespace

EReportChart MakeChart(const EReportRanking& ranking) {
    EReportChart chart;
    std::vector<std::string> levels;
    std::vector<std::string> names;
    for (const EReportColumn& column : ranking.columns) {
        if (column.isLabel) {
            levels.push_back(column.name);
        } else if (column.isNumber) {
            names.push_back(column.name);
        }
    }
    chart.labelTitle = Joined(levels);
    for (const EReportRanking::Line& line : ranking.lines) {
        chart.labels.push_back({LabelText(EReportCrossLabel{line.labels}), {}, false});
    }
    if (ranking.others) {
        chart.labels.push_back({EReportCross::kOthers, {}, true});
    }
    std::size_t place = 0;
    for (const EReportColumn& column : ranking.columns) {
        if (column.isLabel) {
            continue;
        }
        if (column.isNumber) {
            EReportChart::Series& series = chart.series.emplace_back();
            series.name = column.name;
            for (const EReportRanking::Line& line : ranking.lines) {
                series.values.push_back(NumberOf(line.values[place]));
            }
            if (ranking.others) {
                series.values.push_back(NumberOf((*ranking.others)[place]));
            }
        }
        ++place;
    }
    if (ranking.count > ranking.lines.size() && !ranking.others) {
        AddNote(chart.note, Count(ranking.count - ranking.lines.size(), "more line", "more lines") +
                                " left out");
    }
    Limit(chart);
    if (chart.series.size() < names.size()) {
        names.resize(chart.series.size());
    }
    chart.title = Joined(names) + " by " + chart.labelTitle;
    return chart;
}

EReportChart MakeChart(const EReportCross& cross) {
    EReportChart chart;
    const bool areLinesTime = cross.lines.isData && cross.lines.isTime;
    const bool areColumnsTime = cross.columns.isData && cross.columns.isTime;
    const bool isTurned = areColumnsTime && !areLinesTime;  // time lies along the columns
    const bool hasColumns = cross.columns.isData;
    chart.kind = (areLinesTime != areColumnsTime) ? Kind::Lines
                 : hasColumns                     ? Kind::Heat
                                                  : Kind::Bars;
    const Direction lines(cross.lines);
    const Direction columns(cross.columns);
    chart.labels = isTurned ? columns.labels : lines.labels;
    chart.labelTitle = Joined(isTurned ? cross.columns.titles : cross.lines.titles);
    chart.seriesTitle =
        hasColumns ? Joined(isTurned ? cross.lines.titles : cross.columns.titles) : std::string();
    chart.valueTitle = cross.calculation;
    TakeValues(chart, cross, lines, columns, isTurned);
    if (!hasColumns && chart.series.size() == 1) {
        chart.valueTitle = chart.series.front().name;
    }
    if (chart.kind == Kind::Lines) {
        LayAlongTime(chart, isTurned ? cross.columns : cross.lines);
    }
    Limit(chart);
    std::vector<std::string> names;
    for (const EReportChart::Series& series : chart.series) {
        names.push_back(series.name);
    }
    chart.title = (chart.valueTitle.empty() ? Joined(names) : chart.valueTitle) + " by " +
                  chart.labelTitle + (chart.seriesTitle.empty() ? "" : " and " + chart.seriesTitle);
    return chart;
}

}  // namespace etabulon
