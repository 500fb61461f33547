#include "etabulon/report/EReportScene.h"
#include "etabulon/report/EReportText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>

namespace etabulon {
namespace {

/// With up to two decimals, and a point in any locale.
std::string Length(double length) {
    std::array<char, 40> digits{};
    const double rounded = std::round(length * 100) / 100;
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), rounded == 0 ? 0.0 : rounded);
    return {digits.data(), end.ptr};
}

std::string Hex(EReportColour colour) {
    const std::array<char, 3> bytes = {static_cast<char>(colour.red),
                                       static_cast<char>(colour.green),
                                       static_cast<char>(colour.blue)};
    std::string text = "#";
    AppendHex(text, std::string_view(bytes.data(), bytes.size()));
    return text;
}

/// A text of the document. Line ends are blanks; what XML can't hold or a reader can't see is
/// written as in a table.
std::string Escaped(std::string_view text) {
    std::string line(text);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
    std::string shown;
    AppendShown(shown, line);
    std::string escaped;
    for (const char c : shown) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
                break;
        }
    }
    return escaped;
}

class SvgWriter {
public:
    SvgWriter(const EReportScene& scene, EReportSink& sink) : scene_(scene), sink_(sink) {}
    void Write() {
        const std::string width = Length(std::ceil(scene_.width));
        const std::string height = Length(std::ceil(scene_.height));
        Put("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" + height +
            "\" viewBox=\"0 0 " + width + ' ' + height +
            "\" role=\"img\" font-family=\"'DejaVu Sans', Verdana, 'Segoe UI', Helvetica, Arial, "
            "sans-serif\">\n<title>" +
            Escaped(scene_.title) + "</title>\n");
        PutStripes();
        Put("<rect width=\"" + width + "\" height=\"" + height + "\" fill=\"" +
            Hex(scene_.background) + "\"/>\n");
        for (const auto& shape : scene_.shapes) {
            std::visit([this](const auto& drawn) { Draw(drawn); }, shape);
        }
        Put("</svg>\n");
    }

private:
    void Put(const std::string& text) { sink_.Append(text); }
    void PutStripes() {
        std::map<std::string, int> used;
        for (const auto& shape : scene_.shapes) {
            if (const auto* const rect = std::get_if<EReportScene::Rect>(&shape);
                rect != nullptr && rect->isHatched && used[Hex(rect->fill)]++ == 0) {
                const std::string fill = Hex(rect->fill);
                Put("<pattern id=\"stripes-" + fill.substr(1) +
                    "\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
                    "patternTransform=\"rotate(45)\"><rect width=\"3.5\" height=\"6\" fill=\"" +
                    fill + "\"/></pattern>\n");
            }
        }
    }
    /// The end of an element, with what the pointer shows there.
    static std::string End(const char* element, const std::string& hint) {
        return hint.empty() ? "/>\n" : "><title>" + Escaped(hint) + "</title></" + element + ">\n";
    }
    void Draw(const EReportScene::Rect& rect) {
        const std::string fill = Hex(rect.fill);
        Put("<rect x=\"" + Length(rect.x) + "\" y=\"" + Length(rect.y) + "\" width=\"" +
            Length(rect.width) + "\" height=\"" + Length(rect.height) + "\" fill=\"" +
            (rect.isHatched ? "url(#stripes-" + fill.substr(1) + ")" : fill) + '"' +
            (rect.isHatched ? " stroke=\"" + fill + '"' : "") + End("rect", rect.hint));
    }
    void Draw(const EReportScene::Line& line) {
        Put("<line x1=\"" + Length(line.fromX) + "\" y1=\"" + Length(line.fromY) + "\" x2=\"" +
            Length(line.toX) + "\" y2=\"" + Length(line.toY) + "\" stroke=\"" + Hex(line.colour) +
            "\" stroke-width=\"" + Length(line.thickness) + "\"/>\n");
    }
    void Draw(const EReportScene::Text& text) {
        static constexpr std::array kAnchors = {"start", "middle", "end"};
        const std::string x = Length(text.x);
        const std::string y = Length(text.y);
        Put("<text x=\"" + x + "\" y=\"" + y + "\" font-size=\"" + Length(text.size) +
            "\" fill=\"" + Hex(text.colour) + '"' +
            (text.anchor == EReportScene::Text::Start
                 ? ""
                 : std::string(" text-anchor=\"") + kAnchors[text.anchor] + '"') +
            (text.isBold ? " font-weight=\"bold\"" : "") +
            (text.isTurned ? " transform=\"rotate(-90 " + x + ' ' + y + ")\"" : "") + '>' +
            Escaped(text.text) + "</text>\n");
    }
    void Draw(const EReportScene::Path& path) {
        std::string points;
        for (const auto& [x, y] : path.points) {
            points += (points.empty() ? "" : " ") + Length(x) + ',' + Length(y);
        }
        std::string dashes;
        for (const double dash : path.dashes) {
            dashes += (dashes.empty() ? "" : " ") + Length(dash);
        }
        const std::string colour = Hex(path.colour);
        const char* const element = path.isFilled ? "polygon" : "polyline";
        Put('<' + std::string(element) + " points=\"" + points + "\" " +
            (path.isFilled ? "fill=\"" + colour + '"'
                           : "fill=\"none\" stroke=\"" + colour + "\" stroke-width=\"" +
                                 Length(path.thickness) + "\" stroke-linejoin=\"round\"") +
            (dashes.empty() ? "" : " stroke-dasharray=\"" + dashes + '"') +
            End(element, path.hint));
    }

    const EReportScene& scene_;
    EReportSink& sink_;
};

}  // namespace

void WriteSvg(const EReportScene& scene, EReportSink& sink) { SvgWriter(scene, sink).Write(); }

}  // namespace etabulon
