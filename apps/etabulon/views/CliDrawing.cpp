#include "apps/etabulon/views/CliDrawing.h"

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/report/EReportScene.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace etabulon {

void DrawCharts(const CliPrinting& printing, const std::vector<EReportChart>& charts) {
    const auto hasNumbers = [](const EReportChart& chart) {
        return chart.labels.empty() ||
               std::any_of(chart.series.begin(), chart.series.end(), [](const auto& series) {
                   return std::any_of(series.values.begin(), series.values.end(),
                                      [](const auto& value) { return value.has_value(); });
               });
    };
    if (std::none_of(charts.begin(), charts.end(), hasNumbers)) {
        printing.output.Fail("a picture shows numbers, and no calculation gives any");
        return;
    }
    const EReportTheme& theme = printing.isDark ? EReportTheme::Dark() : EReportTheme::Light();
    EReportScene scene = DrawChart(charts.front(), theme);
    for (std::size_t index = 1; index < charts.size(); ++index) {
        scene.PutBelow(DrawChart(charts[index], theme));
    }
    WriteSvg(scene, printing.output);
}

std::unique_ptr<EReportWriter> WithBars(const CliPrinting& printing,
                                        std::unique_ptr<EReportWriter> writer, std::size_t column,
                                        const std::vector<const ETabulonValue*>& values) {
    if (printing.bars == CliBarStyle::None || values.empty()) {
        return writer;
    }
    CliBarScale scale;
    for (const ETabulonValue* const value : values) {
        const double number = value->IsSpecial() ? 0 : value->Data().AsDouble();
        scale.Add(std::isfinite(number) ? number : 0);
    }
    return std::make_unique<CliBarsWriter>(std::move(writer), printing.bars, column, scale);
}

}  // namespace etabulon
