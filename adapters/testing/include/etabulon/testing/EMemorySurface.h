#pragma once

#include "etabulon/controls/IDrawSurface.h"

#include <string>

namespace etabulon {

/// A surface that writes down what is drawn on it. A text is measured as one line of 10.
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

    /// What the present font is taken to be; selecting another doesn't change it.
    void SetFont(const ELogFont& font) { font_ = font; }
    /// "fill 0,0,200,100 ffffff; text 'Nothing' 0,45,200,100 811; ", and begins anew.
    std::string TakeLog();

private:
    std::string log_;
    ELogFont font_;
    EColour textColour_ = 0;
    EPoint origin_;
};

}  // namespace etabulon
