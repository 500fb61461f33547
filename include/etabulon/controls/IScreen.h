#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/foundation/Chaine.h"

#include <cstdint>
#include <memory>

namespace etabulon {

/// The pictures of a view's items, by index. Owned by the caller of NewImageList; a view borrows it
/// until AttachImages replaces it.
/// Example    apps/etabulon/browse/BrowseTreeView.h
class ETABULON_API IImageList {
public:
    virtual ~IImageList() = default;
    /// Returns the new image's index.
    virtual int Add(HICON icon) = 0;
};

/// What a window system offers beside windows: pointer, pictures, fonts, colours, texts.
///
/// Ownership  not owned by the controls; must outlive every control.
/// Threads    the screen's.
/// Example    examples/screen.cpp
class ETABULON_API IScreen {
public:
    /// In the platform's numbers.
    enum SystemCursor : unsigned int {
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
    /// Flags of image lists; a front end may ignore them.
    enum ImageListFlag : unsigned int {
        ImagesMasked = 0x1,
        ImagesColour32 = 0x20,
        ImagesColourDevice = 0xFE,
    };

    virtual ~IScreen() = default;

    virtual void SetPointer(HCURSOR cursor) = 0;
    [[nodiscard]] virtual HCURSOR Pointer() const = 0;
    [[nodiscard]] virtual EPoint PointerPosition() const = 0;
    [[nodiscard]] virtual HCURSOR LoadCursor(SystemCursor cursor) = 0;
    /// The wait cursor of the whole application, from a Begin to its End; the pairs nest.
    virtual void BeginWaitCursor() = 0;
    virtual void EndWaitCursor() = 0;

    /// Loads an icon of the library; null if there is none. The caller destroys it.
    [[nodiscard]] virtual HICON LoadIcon(unsigned int iconID, int width, int height) = 0;
    [[nodiscard]] virtual std::unique_ptr<IImageList> NewImageList(int width, int height,
                                                                   unsigned int flags, int initial,
                                                                   int growth) = 0;
    [[nodiscard]] virtual EColour Colour(SystemColour which) const = 0;
    [[nodiscard]] virtual int Measure(Metric which) const = 0;
    /// In milliseconds; the period of all blinking.
    [[nodiscard]] virtual unsigned int CaretBlinkTime() const = 0;
    /// Null if the font can't be made. The caller deletes it.
    [[nodiscard]] virtual HFONT NewFont(const ELogFont& font) = 0;
    virtual void DeleteFont(HFONT font) = 0;
    [[nodiscard]] virtual Chaine String(unsigned int stringID) const = 0;

    /// The screen of controls built without one: the installed screen, otherwise an EPlainScreen.
    [[nodiscard]] static IScreen& Installed() noexcept;
    /// Null removes the installed screen. To be called before the first control is built.
    static void Install(IScreen* screen) noexcept;
};

/// The application's wait cursor for a scope.
/// Example    src/controls/EDataTreeCtrlLevels.cpp
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
