#pragma once

#include "etabulon/controls/ETabulonSelectLevelCtrl.h"
#include "etabulon/controls/IPopupMenu.h"
#include "etabulon/controls/ITreeView.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/sort/ETabulonSortKey.h"

#include <cstdint>
#include <memory>

namespace etabulon {

/// Offers each order of the first levels, at most three, as an entry of a popup menu that shows the
/// resulting chain.
///
/// Use        build, Init once, TrackPopupMenu, and if that returned a command, LastSelected. The
///            caller applies the order: the menu works on a copy of the description.
/// Ownership  belongs to its owner. The factory isn't owned; factory, screen and the description's
///            levels must outlive the menu. Don't destroy it while it is shown.
/// Threads    the screen's.
/// Cost       each drawing of an entry fills and prints its chain; there are at most six entries.
/// Example    tests/controls/LevelCtrlTest.cpp
class ETABULON_API ETabulonSelectLevelMenu : private IPopupMenuEvents {
public:
    using SortKeyArray = ETabulonSortDesc::SortKeyArray;

    explicit ETabulonSelectLevelMenu(IViewFactory& factory);
    ETabulonSelectLevelMenu(const ETabulonSelectLevelMenu&) = delete;
    ETabulonSelectLevelMenu& operator=(const ETabulonSelectLevelMenu&) = delete;
    ~ETabulonSelectLevelMenu() override;

    /// Requires at least one level that HideInTree doesn't hide.
    void Init(const ETabulonSortDesc* sortDesc);
    /// Shows the menu at a point of the screen, beside `rect` if it isn't null, until the user has
    /// chosen. Returns the command, 0 for none. Requires Init.
    int TrackPopupMenu(unsigned int flags, int x, int y, ITreeView* window, const ERect* rect);
    /// Requires that the last TrackPopupMenu returned a command. Valid as long as the menu.
    [[nodiscard]] const SortKeyArray& LastSelected() const;

protected:
    void MeasureItem(unsigned int command, int& width, int& height) override;
    void DrawItem(unsigned int command, unsigned int state, const ERect& rect,
                  IDrawSurface& surface) override;

private:
    void InsertLevel(const SortKeyArray& keys, unsigned int position);
    void PrintPreview(const ERect& rect, IDrawSurface& surface);

    IViewFactory& factory_;
    ERef<ETabulonSortDesc> sortDesc_;  // a copy; the preview is its only listener
    unsigned int levelCount_ = 0;      // of the levels whose order varies
    std::unique_ptr<ITreeView> window_;
    ETabulonSelectLevelCtrl preview_;  // in window_
    PTableau<SortKeyArray> arrangements_;
    std::int32_t lastSelected_ = 0;
    std::unique_ptr<IPopupMenu> menu_;  // destroyed first: it calls DrawItem
};

}  // namespace etabulon
