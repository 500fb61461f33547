#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/foundation/Chaine.h"

#include <cstdint>

namespace etabulon {

/// What a control draws on: borrowed for one drawing event.
/// Example    apps/etabulon/browse/BrowseSurface.h
class ETABULON_API IDrawSurface {
public:
    /// The flags of the two text operations, in the numbers of the platform.
    enum TextFlag : std::uint32_t {
        TextCenter = 0x1,
        TextWordBreak = 0x10,
        TextMeasure = 0x400,
        TextNoPrefix = 0x800,  // "&" is a letter like others
    };

    virtual ~IDrawSurface() = default;

    virtual void FillRect(const ERect& rect, EColour colour) = 0;
    virtual void DrawText(const Chaine& text, const ERect& rect, std::uint32_t flags) = 0;
    /// `rect` with the height that the text takes, and with its width if that is less.
    [[nodiscard]] virtual ERect MeasureText(const Chaine& text, const ERect& rect,
                                            std::uint32_t flags) = 0;
    virtual void DrawLine(EPoint from, EPoint to, EColour colour) = 0;
    /// Returns the former colour.
    virtual EColour SetTextColour(EColour colour) = 0;

    /// What the selected font looks like.
    [[nodiscard]] virtual ELogFont Font() const = 0;
    virtual void SelectFont(HFONT font) = 0;

    /// Drawing outside `rect` has no effect until the event ends. `rect` counts from the surface's
    /// top left, without regard to the origin.
    virtual void SetClip(const ERect& rect) = 0;
    /// The point of the drawing's own coordinates that lies at the surface's top left.
    [[nodiscard]] virtual EPoint Origin() const = 0;
    virtual void SetOrigin(EPoint origin) = 0;
};

}  // namespace etabulon
