#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/foundation/Chaine.h"

#include <cstdint>
#include <memory>

namespace etabulon {

/// The pictures of a view's items, by index. Owned by whoever had it made; a view only borrows it,
/// until it is attached another.
class ETABULON_API IImageList {
public:
    virtual ~IImageList() = default;
    /// Returns the new image's index.
    virtual int Add(HICON icon) = 0;
};

/// What a window system offers beside windows: pointer, pictures, fonts, colours, texts.
///
/// Ownership  not owned by what uses it; outlives every control.
/// Threads    the screen's.
class ETABULON_API IScreen {
public:
    /// By the platform's numbers.
    enum SystemCursor : unsigned {
        CursorArrow = 32512,
        CursorWait = 32514,
        CursorAppStarting = 32650,
    };
    enum SystemColour : int {
        ColourWindow = 5,
        ColourMenuText = 7,
        ColourHighlight = 13,
        ColourHighlightText = 14,
        ColourButtonFace = 15,
        ColourGrayText = 17,
    };
    enum Metric : int {
        MetricHorizontalScrollHeight = 3,
        MetricSmallIconWidth = 49,
        MetricSmallIconHeight = 50,
    };
    /// Of image lists; a front end may ignore them.
    enum ImageListFlag : unsigned {
        ImagesMasked = 0x1,
        ImagesColour32 = 0x20,
        ImagesColourDevice = 0xFE,
    };

    virtual ~IScreen() = default;

    virtual void SetPointer(HCURSOR cursor) = 0;
    [[nodiscard]] virtual HCURSOR Pointer() const = 0;
    [[nodiscard]] virtual EPoint PointerPosition() const = 0;
    [[nodiscard]] virtual HCURSOR LoadCursor(SystemCursor cursor) = 0;
    /// The wait cursor of the whole application, from a Begin to its End; they nest.
    virtual void BeginWaitCursor() = 0;
    virtual void EndWaitCursor() = 0;

    /// A new icon of the library's, for the caller to destroy; may be null.
    [[nodiscard]] virtual HICON LoadIcon(unsigned iconID, int width, int height) = 0;
    [[nodiscard]] virtual std::unique_ptr<IImageList> NewImageList(int width, int height,
                                                                   unsigned flags, int initial,
                                                                   int growth) = 0;
    [[nodiscard]] virtual EColour Colour(SystemColour which) const = 0;
    [[nodiscard]] virtual int Measure(Metric which) const = 0;
    /// In milliseconds; what blinks follows it.
    [[nodiscard]] virtual unsigned CaretBlinkTime() const = 0;
    /// A new font for the caller to delete; null where it can't be made.
    [[nodiscard]] virtual HFONT NewFont(const ELogFont& font) = 0;
    virtual void DeleteFont(HFONT font) = 0;
    [[nodiscard]] virtual Chaine String(unsigned stringID) const = 0;

    /// The screen of controls that are given none: the one installed, else one that shows nothing.
    [[nodiscard]] static IScreen& Installed() noexcept;
    /// Null takes it away. Belongs before the first control.
    static void Install(IScreen* screen) noexcept;
};

/// The application's wait cursor for a scope.
class [[nodiscard]] EWaitCursor {
public:
    explicit EWaitCursor(IScreen& screen) : screen_(screen) { screen_.BeginWaitCursor(); }
    ~EWaitCursor() { screen_.EndWaitCursor(); }
    EWaitCursor(const EWaitCursor&) = delete;
    EWaitCursor& operator=(const EWaitCursor&) = delete;

private:
    IScreen& screen_;
};

}  // namespace etabulon
