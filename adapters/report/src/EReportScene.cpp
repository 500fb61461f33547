#include "etabulon/report/EReportScene.h"

#include "ChartCanvas.h"
#include "etabulon/foundation/detail/Utf8.h"
#include "etabulon/report/EReportWidth.h"

#include <algorithm>
#include <array>

namespace etabulon {
namespace {

void Move(EReportScene::Rect& shape, double down) { shape.y += down; }
void Move(EReportScene::Text& shape, double down) { shape.y += down; }
void Move(EReportScene::Line& shape, double down) {
    shape.fromY += down;
    shape.toY += down;
}
void Move(EReportScene::Path& shape, double down) {
    for (auto& [x, y] : shape.points) {
        y += down;
    }
}

/// DejaVu Sans, in thousandths of the size, from the blank on.
constexpr std::array<std::uint16_t, 95> kWidths = {
    318, 401, 460, 838, 636, 950, 780, 275, 390, 390, 500, 838, 318, 361,  318, 337, 636, 636, 636,
    636, 636, 636, 636, 636, 636, 636, 337, 337, 838, 838, 838, 531, 1000, 684, 686, 698, 770, 632,
    575, 775, 752, 295, 295, 656, 557, 863, 748, 787, 603, 787, 695, 635,  611, 732, 684, 989, 685,
    611, 685, 390, 337, 390, 838, 500, 500, 613, 635, 550, 635, 615, 352,  635, 634, 278, 278, 579,
    278, 974, 634, 612, 635, 635, 411, 521, 392, 634, 592, 818, 592, 592,  525, 636, 337, 636, 838};

/// Other characters: ideographs and the like are as wide as high.
double WidthOf(char32_t code) {
    constexpr double kUsual = 700;
    constexpr double kWide = 1000;
    if (code >= ' ' && code - ' ' < kWidths.size()) {
        return kWidths[code - ' '];
    }
    return code >= 0x1100 ? kWide : kUsual;
}

/// A character with its marks. What takes more than two columns is several letters beside each
/// other.
double WidthOf(const EReportCluster& cluster, std::string_view text) {
    constexpr double kColumn = 500;
    if (cluster.width == 0) {
        return 0;
    }
    const detail::Utf8Character first = detail::FirstCharacter(text);
    const double least = cluster.width > 1 ? static_cast<double>(cluster.width) * kColumn : 0;
    return std::max(WidthOf(first.length == 0 ? 0xFFFD : first.code), least);
}

class PlainFont final : public IReportFont {
public:
    [[nodiscard]] double Width(std::string_view text, double size, bool isBold) const override {
        constexpr double kBold = 1.12;
        double width = 0;
        while (!text.empty()) {
            const EReportCluster cluster = FirstCluster(text);
            width += WidthOf(cluster, text);
            text.remove_prefix(cluster.length);
        }
        return width / 1000 * size * (isBold ? kBold : 1);
    }
};

}  // namespace

const IReportFont& PlainReportFont() {
    static const PlainFont font;
    return font;
}

void EReportScene::PutBelow(const EReportScene& other) {
    for (auto shape : other.shapes) {
        std::visit([this](auto& moved) { Move(moved, height); }, shape);
        shapes.push_back(std::move(shape));
    }
    width = std::max(width, other.width);
    height += other.height;
}

const EReportTheme& EReportTheme::Light() {
    static const EReportTheme theme = {{0xFF, 0xFF, 0xFF},  // background
                                       {0x1F, 0x23, 0x28},  // text
                                       {0x5C, 0x66, 0x70},  // faint
                                       {0xDD, 0xE2, 0xE7},  // grid
                                       {0x2F, 0x6F, 0xB3},  // bar
                                       {0xB3, 0x54, 0x1E},  // below
                                       {0xED, 0xF3, 0xFA},  // low
                                       {0x86, 0xB4, 0xDE},  // middle
                                       {0x16, 0x44, 0x7C},  // high
                                       {0xFB, 0xEF, 0xE6},  // lowBelow
                                       {0x9C, 0x40, 0x0C},  // highBelow
                                       {{0x00, 0x72, 0xB2},
                                        {0xD5, 0x5E, 0x00},
                                        {0x00, 0x8A, 0x66},
                                        {0xB0, 0x4F, 0x86},
                                        {0x7A, 0x6A, 0x00},
                                        {0x2B, 0x9C, 0xD8},
                                        {0x5C, 0x48, 0xA8},
                                        {0x44, 0x4B, 0x52}}};
    return theme;
}

const EReportTheme& EReportTheme::Dark() {
    static const EReportTheme theme = {{0x16, 0x19, 0x1D},  // background
                                       {0xE6, 0xE9, 0xED},  // text
                                       {0xA0, 0xA9, 0xB3},  // faint
                                       {0x34, 0x3B, 0x43},  // grid
                                       {0x5E, 0x9C, 0xE0},  // bar
                                       {0xE5, 0x8F, 0x52},  // below
                                       {0x1F, 0x2A, 0x37},  // low
                                       {0x3B, 0x6F, 0xA6},  // middle
                                       {0xB7, 0xDB, 0xFF},  // high
                                       {0x36, 0x27, 0x1C},  // lowBelow
                                       {0xFF, 0xC0, 0x92},  // highBelow
                                       {{0x5B, 0xB0, 0xEC},
                                        {0xF2, 0x8E, 0x3C},
                                        {0x2F, 0xC4, 0x9A},
                                        {0xE3, 0x92, 0xC2},
                                        {0xE0, 0xCF, 0x4A},
                                        {0x9C, 0xD9, 0xF7},
                                        {0xA9, 0x98, 0xF0},
                                        {0xC5, 0xCB, 0xD2}}};
    return theme;
}

EReportScene DrawChart(const EReportChart& chart, const EReportTheme& theme,
                       const IReportFont& font) {
    const detail::ChartCanvas canvas(theme, font);
    switch (chart.kind) {
        case EReportChart::Kind::Heat:
            return detail::DrawHeat(chart, canvas);
        case EReportChart::Kind::Bars:
            return detail::DrawBars(chart, canvas);
        case EReportChart::Kind::Lines:
            break;
    }
    if (!chart.seriesTitle.empty() || chart.series.size() < 2) {
        return detail::DrawLines(chart, canvas);
    }
    // Calculations have axes of their own.
    EReportScene scene;
    for (const EReportChart::Series& series : chart.series) {
        EReportChart one = chart;
        one.series = {series};
        one.title = series.name + " by " + chart.labelTitle;
        one.note = &series == &chart.series.back() ? chart.note : std::string();
        const EReportScene drawn = DrawChart(one, theme, font);
        &series == &chart.series.front() ? void(scene = drawn) : scene.PutBelow(drawn);
    }
    scene.title = chart.title;
    return scene;
}

}  // namespace etabulon
