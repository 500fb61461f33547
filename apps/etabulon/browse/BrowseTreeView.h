#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "apps/etabulon/browse/BrowseTimers.h"
#include "etabulon/controls/ETreeViewItems.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

class BrowseSurface;
class BrowseWake;

/// The line of an item on the screen.
struct BrowseLabel {
    std::string text;
    bool isNull = false;
};

/// The tree view of a terminal, with a line for each item. It keeps only the first item on the
/// screen, so that the cost of a step doesn't grow with the number of items.
///
/// Ownership  terminal, wake and rows aren't owned and must outlive the view.
class BrowseTreeView final : public ETreeViewItems {
public:
    /// Gives the texts and styles of lines.
    class IRows {
    public:
        virtual ~IRows() = default;
        /// An item has got its data.
        virtual void OnNewItem(_TREEITEM* item) = 0;
        /// These items are about to be drawn.
        virtual void OnPaint(const std::vector<_TREEITEM*>& rows) = 0;
        /// The item's text, in a form that distinguishes NULL from an empty text.
        [[nodiscard]] virtual BrowseLabel Label(_TREEITEM* item, std::string_view text) const = 0;
        /// The text after the item's own.
        [[nodiscard]] virtual std::string Note(_TREEITEM* item) const = 0;
    };

    BrowseTreeView(BrowseTerminal& terminal, BrowseWake& wake) : terminal_(terminal), wake_(wake) {}
    ~BrowseTreeView() override;

    void SetRows(IRows* rows) noexcept { rows_ = rows; }
    /// Draws the view if it has changed, unless redraw is off.
    void Paint();

    // -------------------------------------------------------------------------- the user's actions
    /// Selects the item `lines` further down, or up if negative, or the last one in that direction.
    void Step(int lines);
    void Page(int pages);
    /// Selects an item and scrolls it onto the screen.
    void GoTo(_TREEITEM* item);
    void GoToStart();
    void GoToEnd();
    void Resize(const ERect& rect);
    /// Opens the items above this depth, and closes the others. The first item has the depth 0.
    void OpenTo(unsigned int depth);
    /// The largest depth of an item that isn't below a closed one.
    [[nodiscard]] unsigned int OpenDepth() const;
    [[nodiscard]] bool IsExpanded(_TREEITEM* item) const {
        return ItemState(item, StateExpanded) != 0;
    }

    // ---------------------------------------------------------------------------------------- time
    /// Milliseconds until OnTimers has work; -1 if there is no timer.
    [[nodiscard]] int Wait() const { return timers_.Wait(); }
    void OnTimers();

    // ------------------------------------------------------------------------------------ the view
    void SetItem(_TREEITEM* item, const ETreeItemChange& change) override;
    void EnsureVisible(_TREEITEM* item) override;
    void SetRedraw(bool on) override { isRedrawOn_ = on; }
    void AttachImages(IImageList* images) override { images_ = images; }
    void Invalidate() override { isDirty_ = true; }
    void InvalidateItem(_TREEITEM*) override { isDirty_ = true; }
    void UpdateNow() override;
    [[nodiscard]] ERect WindowRect() const override { return rect_; }
    [[nodiscard]] ERect ClientRect() const override;
    [[nodiscard]] EColour BackgroundColour() const override { return background_; }
    void SetBackgroundColour(EColour colour) override { background_ = colour; }
    void SetTextColour(EColour colour) override { textColour_ = colour; }
    void MoveWindow(const ERect& rect) override;
    void Print(IDrawSurface& surface) override;
    [[nodiscard]] unsigned int SetTimer(unsigned int timerID, unsigned int milliseconds) override;
    void KillTimer(unsigned int timerID) override { timers_.Stop(timerID); }
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) override;
    /// There is no parent window: the derived control gets the same events from its own operations.
    std::intptr_t SendToOwner(std::uint32_t, std::intptr_t, std::intptr_t) override { return 0; }

protected:
    void InsertedItem(const Item&) override { isDirty_ = true; }
    void ChangedItem(const Item&) override { isDirty_ = true; }
    void RemovingItem(const Item& item) override;
    void RemovedItem(const Item&) override { isDirty_ = true; }
    void OpenedItem(const Item&) override { isDirty_ = true; }
    void ClosedItem(const Item& item) override;
    void MovedSelection() override { isDirty_ = true; }

private:
    [[nodiscard]] unsigned int DepthOf(_TREEITEM* item) const;
    [[nodiscard]] int Height() const noexcept { return rect_.bottom - rect_.top; }
    [[nodiscard]] bool IsShown(const Item& item) const;
    [[nodiscard]] bool IsTopWithin(const Item& item) const;
    [[nodiscard]] _TREEITEM* Back(_TREEITEM* item, int lines) const;
    [[nodiscard]] std::vector<_TREEITEM*> RowsFrom(_TREEITEM* top) const;
    [[nodiscard]] std::vector<_TREEITEM*> Rows();
    void ScrollTo(_TREEITEM* item, const std::vector<_TREEITEM*>& rows);
    void DrawRow(_TREEITEM* item, int line, bool isStyled, BrowseSurface& surface);

    BrowseTerminal& terminal_;
    BrowseWake& wake_;
    IRows* rows_ = nullptr;         // not owned
    IImageList* images_ = nullptr;  // not owned
    _TREEITEM* top_ = nullptr;      // the first line on the screen; null: the first item
    _TREEITEM* wanted_ = nullptr;   // to be scrolled onto the screen at the next painting
    bool isRedrawOn_ = true;
    bool isDirty_ = true;
    ERect rect_;
    EColour background_ = kDefaultColour;
    EColour textColour_ = kDefaultColour;
    BrowseTimers timers_;
};

}  // namespace etabulon
