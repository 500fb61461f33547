#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/controls/IDrawSurface.h"

#include <memory>

namespace etabulon {

class ITreeView;
class IScreen;

/// Who draws the entries of a popup menu.
class ETABULON_API IPopupMenuEvents {
public:
    enum EntryState : unsigned { EntrySelected = 1 };

    virtual ~IPopupMenuEvents() = default;
    virtual void MeasureItem(unsigned command, int& width, int& height) = 0;
    virtual void DrawItem(unsigned command, unsigned state, const ERect& rect,
                          IDrawSurface& surface) = 0;
};

/// A menu whose entries the program draws.
class ETABULON_API IPopupMenu {
public:
    enum TrackFlag : unsigned { TrackReturnCommand = 0x100 };

    virtual ~IPopupMenu() = default;
    virtual void AppendItem(unsigned command) = 0;
    /// Shows it at a point of the screen until the user has chosen. Returns the command, 0 for
    /// none.
    virtual int Track(unsigned flags, EPoint at, ITreeView* owner, const ERect* exclude) = 0;
};

/// Makes the windows that the controls need themselves.
class ETABULON_API IViewFactory {
public:
    virtual ~IViewFactory() = default;
    [[nodiscard]] virtual IScreen& Screen() = 0;
    /// A tree view that isn't shown, to be printed: its items as high as a small icon and one, with
    /// lines between them, without scroll bars, tips or dragging.
    [[nodiscard]] virtual std::unique_ptr<ITreeView> NewHiddenTreeView() = 0;
    /// `events` isn't owned and must outlive it.
    [[nodiscard]] virtual std::unique_ptr<IPopupMenu> NewPopupMenu(IPopupMenuEvents& events) = 0;
};

}  // namespace etabulon
