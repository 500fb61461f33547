#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/report/EReportChart.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace etabulon {

struct EReportColour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    friend bool operator==(const EReportColour&, const EReportColour&) = default;
};

/// A drawing as shapes in their order, later ones above earlier ones. Lengths are in pixels of a
/// screen, from the upper left corner. A caller draws it with any toolkit; WriteSvg writes it.
struct ETABULON_API EReportScene {
    struct Rect {
        double x = 0;
        double y = 0;
        double width = 0;
        double height = 0;
        EReportColour fill;
        bool isHatched = false;  // stripes of the fill
        std::string hint;        // shown where the pointer rests; may be empty
    };
    struct Line {
        double fromX = 0;
        double fromY = 0;
        double toX = 0;
        double toY = 0;
        EReportColour colour;
        double thickness = 1;
    };
    struct Text {
        enum Anchor : std::uint8_t { Start = 0, Middle = 1, End = 2 };
        double x = 0;
        double y = 0;  // of the base line
        std::string text;
        double size = 0;
        EReportColour colour;
        Anchor anchor = Start;
        bool isBold = false;
        bool isTurned = false;  // reads upwards
    };
    struct Path {
        std::vector<std::pair<double, double>> points;
        EReportColour colour;
        double thickness = 2;
        std::vector<double> dashes;  // empty: a solid line
        bool isFilled = false;       // an area instead of a line
        std::string hint;
    };

    double width = 0;
    double height = 0;
    EReportColour background;
    std::string title;
    std::vector<std::variant<Rect, Line, Text, Path>> shapes;

    /// Puts another scene below this one.
    void PutBelow(const EReportScene& other);
};

struct ETABULON_API EReportTheme {
    EReportColour background;
    EReportColour text;
    EReportColour faint;  // text beside the data
    EReportColour grid;
    EReportColour bar;
    EReportColour below;              // bars below zero
    EReportColour low, middle, high;  // of a heat map, in the order of their luminance
    EReportColour lowBelow, highBelow;
    std::vector<EReportColour> lines;

    [[nodiscard]] static const EReportTheme& Light();
    [[nodiscard]] static const EReportTheme& Dark();
};

/// Measures texts. A toolkit that draws the scene gives its own.
/// Example    adapters/report/src/ChartCanvas.h
class ETABULON_API IReportFont {
public:
    virtual ~IReportFont() = default;
    [[nodiscard]] virtual double Width(std::string_view text, double size, bool isBold) const = 0;
};

/// The widths of a wide font without serifs: what fits by them fits in most fonts.
[[nodiscard]] ETABULON_API const IReportFont& PlainReportFont();

[[nodiscard]] ETABULON_API EReportScene DrawChart(const EReportChart& chart,
                                                  const EReportTheme& theme,
                                                  const IReportFont& font = PlainReportFont());

/// Writes a scene as an SVG document.
ETABULON_API void WriteSvg(const EReportScene& scene, EReportSink& sink);

}  // namespace etabulon
