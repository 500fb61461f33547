#include "apps/etabulon/browse/BrowseTreeView.h"

#include "apps/etabulon/browse/BrowseSurface.h"
#include "apps/etabulon/browse/BrowseWake.h"

#include <algorithm>
#include <utility>

namespace etabulon {
namespace {

constexpr int kIndent = 2;

}  // namespace

BrowseTreeView::~BrowseTreeView() { Close(); }

// ------------------------------------------------------------------- which items are on the screen

bool BrowseTreeView::IsShown(const Item& item) const {
    for (const Item* above = item.parent; above != nullptr; above = above->parent) {
        if (!above->IsOpen()) {
            return false;
        }
    }
    return true;
}

bool BrowseTreeView::IsTopWithin(const Item& item) const {
    const Item* at = Find(top_);
    while (at != nullptr && at != &item) {
        at = at->parent;
    }
    return at != nullptr;
}

void BrowseTreeView::RemovingItem(const Item& item) {
    if (!IsTopWithin(item)) {
        return;
    }
    top_ = item.next != nullptr ? item.next->handle : PreviousVisibleItem(item.handle);
}

void BrowseTreeView::ClosedItem(const Item& item) {
    isDirty_ = true;
    if (IsTopWithin(item)) {
        top_ = item.handle;
    }
}

/// The item that many lines further up, or the first one.
_TREEITEM* BrowseTreeView::Back(_TREEITEM* item, int lines) const {
    for (; lines > 0; --lines) {
        _TREEITEM* const previous = PreviousVisibleItem(item);
        if (previous == nullptr) {
            break;
        }
        item = previous;
    }
    return item;
}

std::vector<_TREEITEM*> BrowseTreeView::RowsFrom(_TREEITEM* top) const {
    std::vector<_TREEITEM*> rows;
    for (_TREEITEM* item = top; item != nullptr && static_cast<int>(rows.size()) < Height();
         item = NextVisibleItem(item)) {
        rows.push_back(item);
    }
    return rows;
}

/// Scrolls by as few lines as possible; an item far away is scrolled to the middle.
void BrowseTreeView::ScrollTo(_TREEITEM* item, const std::vector<_TREEITEM*>& rows) {
    if (rows.empty() || std::find(rows.begin(), rows.end(), item) != rows.end()) {
        return;
    }
    const int height = Height();
    _TREEITEM* above = item;
    _TREEITEM* below = item;
    for (int lines = 1; lines <= height; ++lines) {
        above = PreviousVisibleItem(above);
        below = NextVisibleItem(below);
        if (below == rows.front()) {
            top_ = item;
            return;
        }
        if (above == rows.back()) {
            top_ = Back(item, height - 1);
            return;
        }
    }
    top_ = Back(item, height / 2);
}

std::vector<_TREEITEM*> BrowseTreeView::Rows() {
    if (Find(top_) == nullptr) {
        top_ = FirstItem();
    }
    std::vector<_TREEITEM*> rows = RowsFrom(top_);
    const Item* const wanted = Find(std::exchange(wanted_, nullptr));
    if (wanted != nullptr && IsShown(*wanted)) {
        ScrollTo(wanted->handle, rows);
        rows = RowsFrom(top_);
    }
    if (const int free = Height() - static_cast<int>(rows.size()); free > 0 && !rows.empty()) {
        top_ = Back(top_, free);  // a tree longer than the screen leaves no blank lines
        rows = RowsFrom(top_);
    }
    return rows;
}

// ----------------------------------------------------------------------------------------- drawing

void BrowseTreeView::Paint() {
    if (!isRedrawOn_ || !isDirty_) {
        return;
    }
    isDirty_ = false;
    BrowseSurface surface(terminal_, rect_);
    Print(surface);
}

void BrowseTreeView::UpdateNow() {
    Paint();
    terminal_.Show();
}

void BrowseTreeView::Print(IDrawSurface& surface) {
    if (Events() == nullptr || !Events()->OnEraseBkgnd(surface)) {
        surface.FillRect(ClientRect(), background_);
    }
    const std::vector<_TREEITEM*> rows = Rows();
    if (rows_ != nullptr) {
        rows_->OnPaint(rows);
    }
    ETreeDraw draw;
    draw.surface = &surface;
    const bool isStyled =
        Events() != nullptr && (Events()->OnCustomdraw(draw) & ETreeDraw::NotifyItems) != 0;
    int line = rect_.top;
    for (_TREEITEM* const item : rows) {
        BrowseSurface row(terminal_, rect_);
        DrawRow(item, line++, isStyled, row);
    }
}

void BrowseTreeView::DrawRow(_TREEITEM* item, int line, bool isStyled, BrowseSurface& surface) {
    const Item& found = *Find(item);
    ETreeDraw draw;
    draw.stage = ETreeDraw::ItemPrePaint;
    draw.item = item;
    draw.itemData = found.data;
    draw.textColour = textColour_;
    draw.surface = &surface;
    if (isStyled) {
        static_cast<void>(Events()->OnCustomdraw(draw));
    }
    int indent = 0;
    for (const Item* above = found.parent; above->parent != nullptr; above = above->parent) {
        indent += kIndent;
    }
    int at = rect_.left + indent;
    const auto put = [&](std::string_view text, const BrowseStyle& style) {
        at += terminal_.Put({at, line}, text, std::max(rect_.right - at, 0), style);
    };
    // The item may be opened; whether it has children isn't known yet.
    const bool offers = found.hasChildren || found.firstChild != nullptr;
    put(found.IsOpen() && found.firstChild != nullptr ? "- " : offers ? "+ " : "  ", {});
    if (images_ != nullptr && found.image >= 0) {
        put("* ", {});  // the waiting mark is the screen's only picture
    }
    BrowseStyle style = surface.Style(draw.textColour);
    style.reverse = item == SelectedItem();
    if (rows_ == nullptr) {
        put(found.text.View(), style);
        return;
    }
    const BrowseLabel label = rows_->Label(item, found.text.View());
    style.dim = label.isNull;
    put(label.text, style);
    put(rows_->Note(item), {});
}

// ------------------------------------------------------------------------------ the user's actions

void BrowseTreeView::Step(int lines) {
    _TREEITEM* item = SelectedItem() != nullptr ? SelectedItem() : FirstItem();
    if (lines < 0) {
        item = Back(item, -lines);
    }
    for (; lines > 0; --lines) {
        _TREEITEM* const next = NextVisibleItem(item);
        if (next == nullptr) {
            break;
        }
        item = next;
    }
    GoTo(item);
}

void BrowseTreeView::Page(int pages) { Step(pages * std::max(Height() - 1, 1)); }

void BrowseTreeView::GoTo(_TREEITEM* item) {
    if (item != nullptr) {
        SelectItem(item);
        EnsureVisible(item);
        static_cast<void>(Rows());  // scrolls now, as more steps may come before the painting
    }
}

unsigned int BrowseTreeView::DepthOf(_TREEITEM* item) const {
    unsigned int depth = 0;
    for (item = ParentItem(item); item != nullptr; item = ParentItem(item)) {
        ++depth;
    }
    return depth;
}

void BrowseTreeView::OpenTo(unsigned int depth) {
    for (_TREEITEM* item = FirstItem(); item != nullptr; item = NextVisibleItem(item)) {
        const bool opens = DepthOf(item) < depth;
        if (opens != IsExpanded(item)) {
            Expand(item, opens ? TreeExpand : TreeCollapse);
        }
    }
}

unsigned int BrowseTreeView::OpenDepth() const {
    unsigned int depth = 0;
    for (_TREEITEM* item = FirstItem(); item != nullptr; item = NextVisibleItem(item)) {
        depth = std::max(depth, DepthOf(item));
    }
    return depth;
}

void BrowseTreeView::GoToStart() { GoTo(FirstItem()); }

void BrowseTreeView::GoToEnd() {
    const Item* last = Top().lastChild;
    while (last != nullptr && last->IsOpen() && last->lastChild != nullptr) {
        last = last->lastChild;
    }
    GoTo(last != nullptr ? last->handle : nullptr);
}

void BrowseTreeView::Resize(const ERect& rect) {
    MoveWindow(rect);
    wanted_ = SelectedItem();
    if (Events() != nullptr) {
        Events()->OnSize(ITreeViewEvents::SizeRestored, rect.right - rect.left,
                         rect.bottom - rect.top);
    }
}

// ---------------------------------------------------------------------------------------- the view

void BrowseTreeView::SetItem(_TREEITEM* item, const ETreeItemChange& change) {
    ETreeViewItems::SetItem(item, change);
    if (change.data && rows_ != nullptr) {
        rows_->OnNewItem(item);
    }
}

void BrowseTreeView::EnsureVisible(_TREEITEM* item) {
    ETreeViewItems::EnsureVisible(item);
    wanted_ = item;
    isDirty_ = true;
}

ERect BrowseTreeView::ClientRect() const {
    return {0, 0, rect_.right - rect_.left, rect_.bottom - rect_.top};
}

void BrowseTreeView::MoveWindow(const ERect& rect) {
    rect_ = rect;
    isDirty_ = true;
}

unsigned int BrowseTreeView::SetTimer(unsigned int timerID, unsigned int milliseconds) {
    timers_.Start(timerID, milliseconds);
    return timerID;
}

void BrowseTreeView::OnTimers() {
    timers_.RingDue([this](unsigned int timerID) {
        if (Events() != nullptr) {
            Events()->OnTimer(timerID);
        }
    });
}

EMessagePort::Waker BrowseTreeView::MakeWaker(std::weak_ptr<EMessagePort> port) {
    return wake_.MakeWaker(std::move(port));
}

}  // namespace etabulon
