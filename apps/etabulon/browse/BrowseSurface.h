#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "etabulon/controls/IDrawSurface.h"

#include <string>
#include <vector>

namespace etabulon {

/// A part of the terminal to draw on, in cells. Lines of fewer than all cells aren't drawn.
///
/// Ownership  the terminal isn't owned.
class BrowseSurface final : public IDrawSurface {
public:
    BrowseSurface(BrowseTerminal& terminal, const ERect& rect)
        : terminal_(terminal), rect_(rect), clip_(rect) {}

    void FillRect(const ERect& rect, EColour colour) override;
    void DrawText(const Chaine& text, const ERect& rect, std::uint32_t flags) override;
    [[nodiscard]] ERect MeasureText(const Chaine& text, const ERect& rect,
                                    std::uint32_t flags) override;
    void DrawLine(EPoint from, EPoint to, EColour colour) override;
    EColour SetTextColour(EColour colour) override;
    [[nodiscard]] ELogFont Font() const override { return font_; }
    void SelectFont(HFONT font) override;
    void SetClip(const ERect& rect) override;
    [[nodiscard]] EPoint Origin() const override { return origin_; }
    void SetOrigin(EPoint origin) override { origin_ = origin; }

    /// The style of a text in the current font.
    [[nodiscard]] BrowseStyle Style(EColour colour) const;

private:
    [[nodiscard]] std::vector<std::string> Lines(const Chaine& text, int width,
                                                 std::uint32_t flags) const;
    [[nodiscard]] ERect OnTerminal(const ERect& rect) const;

    BrowseTerminal& terminal_;
    ERect rect_;
    ERect clip_;
    EPoint origin_;
    ELogFont font_;
    EColour colour_ = kDefaultColour;
};

}  // namespace etabulon
