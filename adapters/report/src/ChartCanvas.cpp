#include "ChartCanvas.h"

#include "etabulon/report/EReportWidth.h"

#include <algorithm>

namespace etabulon::detail {

std::string ChartCanvas::Fitted(const std::string& text, double width, double size,
                                bool isBold) const {
    if (Width(text, size, isBold) <= width) {
        return text;
    }
    static constexpr const char* kEllipsis = "\xE2\x80\xA6";
    std::string_view rest = text;
    std::string begin;
    const double room = width - Width(kEllipsis, size, isBold);
    while (!rest.empty()) {
        const std::size_t length = FirstCluster(rest).length;
        const std::string longer = begin + std::string(rest.substr(0, length));
        if (Width(longer, size, isBold) > room) {
            break;
        }
        begin = longer;
        rest.remove_prefix(length);
    }
    while (begin.ends_with(' ')) {
        begin.pop_back();
    }
    return begin + kEllipsis;
}

double ChartCanvas::WidestOf(const std::vector<std::string>& texts, double most,
                             double size) const {
    double widest = 0;
    for (const std::string& text : texts) {
        widest = std::max(widest, Width(text, size));
    }
    return std::min(widest, most);
}

void ChartCanvas::PutText(double x, double y, std::string text, EReportScene::Text::Anchor anchor,
                          EReportColour colour, double size) {
    scene.shapes.emplace_back(EReportScene::Text{x, y, std::move(text), size, colour, anchor});
}

void ChartCanvas::PutTurned(double x, double y, std::string text, EReportColour colour) {
    scene.shapes.emplace_back(EReportScene::Text{x, y, std::move(text), kTextSize, colour,
                                                 EReportScene::Text::Start, false, true});
}

void ChartCanvas::PutLine(double fromX, double fromY, double toX, double toY, EReportColour colour,
                          double thickness) {
    scene.shapes.emplace_back(EReportScene::Line{fromX, fromY, toX, toY, colour, thickness});
}

void ChartCanvas::Frame(const EReportChart& chart, double width, double bottom) {
    constexpr double kLeast = 360;
    constexpr double kMostTitle = 640;
    // A title makes a narrow chart wider, up to a limit.
    const double title = Width(chart.title, kTitleSize, /*isBold=*/true) + 2 * kMargin;
    scene.width = std::max({width, kLeast, std::min(title, kMostTitle)});
    scene.title = chart.title;
    scene.shapes.emplace_back(EReportScene::Text{
        kMargin, kMargin + kTitleSize,
        Fitted(chart.title, scene.width - 2 * kMargin, kTitleSize, /*isBold=*/true), kTitleSize,
        theme.text, EReportScene::Text::Start, /*isBold=*/true});
    scene.height = bottom + kMargin;
    if (!chart.note.empty()) {
        constexpr double kLine = 18;
        PutText(kMargin, bottom + kLine, Fitted(chart.note, scene.width - 2 * kMargin, kSmallSize),
                EReportScene::Text::Start, theme.faint, kSmallSize);
        scene.height += kLine;
    }
}

}  // namespace etabulon::detail
