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

/// Offers each order of the first levels, three of them at most, as an entry of a popup menu that
/// shows the resulting chain.
///
/// Use        build, Init once, TrackPopupMenu, and if that returned a command LastSelected. What
///            becomes of the order is the caller's: the description given is left alone.
/// Ownership  its owner's. The factory isn't owned; it, its screen and the description's levels
///            must outlive this. Don't destroy it while it is shown.
/// Threads    the screen's.
/// Cost       an entry is built and painted anew whenever it is drawn; there are six at most.
class ETABULON_API ETabulonSelectLevelMenu : private IPopupMenuEvents {
public:
    using SortKeyArray = ETabulonSortDesc::SortKeyArray;

    explicit ETabulonSelectLevelMenu(IViewFactory& factory);
    ETabulonSelectLevelMenu(const ETabulonSelectLevelMenu&) = delete;
    ETabulonSelectLevelMenu& operator=(const ETabulonSelectLevelMenu&) = delete;
    ~ETabulonSelectLevelMenu() override;

    /// Requires a level that HideInTree doesn't hide.
    void Init(const ETabulonSortDesc* sortDesc);
    /// Shows it at a point of the screen until the user has chosen, beside `rect` if there is one.
    /// Returns the command, 0 for none. Requires Init.
    int TrackPopupMenu(unsigned flags, int x, int y, ITreeView* window, const ERect* rect);
    /// Requires that the last TrackPopupMenu returned a command. Good as long as this is.
    [[nodiscard]] const SortKeyArray& LastSelected() const;

protected:
    void MeasureItem(unsigned command, int& width, int& height) override;
    void DrawItem(unsigned command, unsigned state, const ERect& rect,
                  IDrawSurface& surface) override;

private:
    void InsertLevel(const SortKeyArray& keys, unsigned position);
    void PrintPreview(const ERect& rect, IDrawSurface& surface);

    IViewFactory& factory_;
    ERef<ETabulonSortDesc> sortDesc_;  // a copy; the preview is its only listener
    unsigned levelCount_ = 0;          // that change places
    std::unique_ptr<ITreeView> window_;
    ETabulonSelectLevelCtrl preview_;  // in window_
    PTableau<SortKeyArray> arrangements_;
    std::int32_t lastSelected_ = 0;
    std::unique_ptr<IPopupMenu> menu_;  // goes first: it draws by this
};

}  // namespace etabulon
