#pragma once

#include "etabulon/report/EReportScene.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon::detail {

constexpr double kTitleSize = 15;
constexpr double kTextSize = 12;
constexpr double kSmallSize = 11;
constexpr double kMargin = 16;

/// A scene in the making: shapes with a theme's colours, and texts that fit.
class ChartCanvas {
public:
    ChartCanvas(const EReportTheme& used, const IReportFont& font) : theme(used), font_(font) {
        scene.background = used.background;
    }

    [[nodiscard]] double Width(std::string_view text, double size = kTextSize,
                               bool isBold = false) const {
        return font_.Width(text, size, isBold);
    }
    /// The text, or its beginning with an ellipsis, within `width`.
    [[nodiscard]] std::string Fitted(const std::string& text, double width, double size = kTextSize,
                                     bool isBold = false) const;
    /// The widest of them, but not more than `most`.
    [[nodiscard]] double WidestOf(const std::vector<std::string>& texts, double most,
                                  double size = kTextSize) const;

    void PutText(double x, double y, std::string text, EReportScene::Text::Anchor anchor,
                 EReportColour colour, double size = kTextSize);
    void PutTurned(double x, double y, std::string text, EReportColour colour);
    void PutLine(double fromX, double fromY, double toX, double toY, EReportColour colour,
                 double thickness = 1);
    void PutRect(EReportScene::Rect rect) { scene.shapes.emplace_back(std::move(rect)); }
    void PutPath(EReportScene::Path path) { scene.shapes.emplace_back(std::move(path)); }
    /// The title at the top, and the note below all else; sets the scene's size.
    void Frame(const EReportChart& chart, double width, double bottom);

    /// Where a chart begins, below its title.
    static constexpr double kTop = kMargin + 30;

    const EReportTheme& theme;
    EReportScene scene;

private:
    const IReportFont& font_;
};

// Each draws a chart of its kind.
[[nodiscard]] EReportScene DrawBars(const EReportChart& chart, ChartCanvas canvas);
[[nodiscard]] EReportScene DrawHeat(const EReportChart& chart, ChartCanvas canvas);
[[nodiscard]] EReportScene DrawLines(const EReportChart& chart, ChartCanvas canvas);

}  // namespace etabulon::detail
