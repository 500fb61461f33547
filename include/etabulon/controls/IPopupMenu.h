#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/controls/IDrawSurface.h"
#include "etabulon/controls/fwd.h"

#include <memory>

namespace etabulon {

/// Measures and draws the entries of a popup menu.
/// Example    tests/controls/LevelCtrlTest.cpp
class ETABULON_API IPopupMenuEvents {
public:
    enum EntryState : unsigned int { EntrySelected = 1 };

    virtual ~IPopupMenuEvents() = default;
    virtual void MeasureItem(unsigned int command, int& width, int& height) = 0;
    virtual void DrawItem(unsigned int command, unsigned int state, const ERect& rect,
                          IDrawSurface& surface) = 0;
};

/// A menu whose entries an IPopupMenuEvents draws.
/// Example    tests/controls/LevelCtrlTest.cpp
class ETABULON_API IPopupMenu {
public:
    enum TrackFlag : unsigned int { TrackReturnCommand = 0x100 };

    virtual ~IPopupMenu() = default;
    virtual void AppendItem(unsigned int command) = 0;
    /// Shows the menu at a point of the screen, beside `exclude` if it isn't null, until the user
    /// has chosen. Returns the command, 0 for none.
    virtual int Track(unsigned int flags, EPoint at, ITreeView* owner, const ERect* exclude) = 0;
};

/// Makes the windows that the controls need besides those attached to them.
/// Example    tests/controls/LevelCtrlTest.cpp
class ETABULON_API IViewFactory {
public:
    virtual ~IViewFactory() = default;
    [[nodiscard]] virtual IScreen& Screen() = 0;
    /// A tree view that is only printed, never shown: its items are one pixel higher than a small
    /// icon and joined by lines; it has no scroll bars, tips or dragging.
    [[nodiscard]] virtual std::unique_ptr<ITreeView> NewHiddenTreeView() = 0;
    /// `events` isn't owned and must outlive the menu.
    [[nodiscard]] virtual std::unique_ptr<IPopupMenu> NewPopupMenu(IPopupMenuEvents& events) = 0;
};

}  // namespace etabulon
