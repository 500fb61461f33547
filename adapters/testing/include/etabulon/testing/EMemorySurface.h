#pragma once

#include "etabulon/controls/IDrawSurface.h"

#include <string>

namespace etabulon {

/// A surface that logs what is drawn on it. A text measures as one line of height 10.
/// Example    tests/controls/TreeCtrlDisplayTest.cpp
class ETABULON_API EMemorySurface : public IDrawSurface {
public:
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
    void SetOrigin(EPoint origin) override;

    /// Sets the description of the font; SelectFont doesn't change it.
    void SetFont(const ELogFont& font) { font_ = font; }
    /// Returns the log and empties it: "fill 0,0,200,100 ffffff; text 'Nothing' 0,45,200,100 811;
    /// ".
    std::string TakeLog();

private:
    std::string log_;
    ELogFont font_;
    EColour textColour_ = 0;
    EPoint origin_;
};

}  // namespace etabulon
