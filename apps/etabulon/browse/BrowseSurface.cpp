#include "apps/etabulon/browse/BrowseSurface.h"

#include "apps/etabulon/browse/BrowseScreen.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace etabulon {

/// The rectangle on the terminal, cut to the part that may be drawn on.
ERect BrowseSurface::OnTerminal(const ERect& rect) const {
    const int right = rect_.left - origin_.x;
    const int down = rect_.top - origin_.y;
    return {std::max(rect.left + right, clip_.left), std::max(rect.top + down, clip_.top),
            std::min(rect.right + right, clip_.right), std::min(rect.bottom + down, clip_.bottom)};
}

/// The background is always the terminal's own, not the system colour.
void BrowseSurface::FillRect(const ERect& rect, EColour /*colour*/) {
    terminal_.Clear(OnTerminal(rect));
}

std::vector<std::string> BrowseSurface::Lines(const Chaine& text, int width,
                                              std::uint32_t flags) const {
    if ((flags & TextWordBreak) == 0) {
        return {std::string(text.View())};
    }
    std::vector<std::string> lines;
    std::string_view rest = text.View();
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(rest.size(), word.size() + 1));
        std::string longer = lines.empty() ? std::string() : lines.back() + " ";
        longer += word;
        if (lines.empty() || terminal_.WidthOf(longer) > width) {
            lines.emplace_back(word);
        } else {
            lines.back() = std::move(longer);
        }
    }
    return lines;
}

void BrowseSurface::DrawText(const Chaine& text, const ERect& rect, std::uint32_t flags) {
    const ERect cells = OnTerminal(rect);
    int line = rect.top + rect_.top - origin_.y;
    for (const std::string& part : Lines(text, rect.right - rect.left, flags)) {
        if (line >= cells.top && line < cells.bottom) {
            const int free = cells.right - cells.left - terminal_.WidthOf(part);
            const int indent = (flags & TextCenter) != 0 ? std::max(free, 0) / 2 : 0;
            terminal_.Put({cells.left + indent, line}, part, cells.right - cells.left - indent,
                          Style(colour_));
        }
        ++line;
    }
}

ERect BrowseSurface::MeasureText(const Chaine& text, const ERect& rect, std::uint32_t flags) {
    const std::vector<std::string> lines = Lines(text, rect.right - rect.left, flags);
    int width = 0;
    for (const std::string& line : lines) {
        width = std::max(width, terminal_.WidthOf(line));
    }
    return {rect.left, rect.top, std::min(rect.right, rect.left + width),
            rect.top + static_cast<int>(lines.size())};
}

void BrowseSurface::DrawLine(EPoint /*from*/, EPoint /*to*/, EColour /*colour*/) {}

EColour BrowseSurface::SetTextColour(EColour colour) { return std::exchange(colour_, colour); }

void BrowseSurface::SelectFont(HFONT font) { font_ = BrowseScreen::LookOf(font); }

void BrowseSurface::SetClip(const ERect& rect) {
    clip_ = rect_;
    clip_ = OnTerminal(rect);
}

BrowseStyle BrowseSurface::Style(EColour colour) const {
    BrowseStyle style;
    style.bold = font_.weight >= ELogFont::kBold;
    style.italic = font_.italic != 0;
    style.colour = colour;
    return style;
}

}  // namespace etabulon
