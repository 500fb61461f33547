#include "etabulon/testing/EMemoryTreeView.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

constexpr int kLineHeight = 16;

std::string_view FirstWord(std::string_view text, char end) {
    return text.substr(0, text.find(end));
}

}  // namespace

EMemoryTreeView::~EMemoryTreeView() {
    Close();
    screen_.StopTimers(*this);
}

// ------------------------------------------------------------------------------ for a test to read

void EMemoryTreeView::Log(const std::string& what) { log_ += what + "; "; }

void EMemoryTreeView::Log(const std::string& what, _TREEITEM* item) {
    Log(what + " " + (item != nullptr ? std::string(ItemText(item).View()) : "-"));
}

std::string EMemoryTreeView::TakeLog() { return std::exchange(log_, std::string()); }

std::string EMemoryTreeView::TakeLog(std::string_view kinds) {
    const std::string all = TakeLog();
    const std::string wanted = " " + std::string(kinds) + " ";
    std::string found;
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t end = all.find("; ", at) + 2;
        const std::string line = all.substr(at, end - at);
        const std::string kind(FirstWord(FirstWord(line, ';'), ' '));
        found += wanted.find(" " + kind + " ") != std::string::npos ? line : "";
        at = end;
    }
    return found;
}

void EMemoryTreeView::AddText(std::string& text, const Item& item) const {
    text += item.handle == SelectedItem() ? "*" : "";
    text += item.IsOpen() ? "-" : item.hasChildren ? "+" : "";
    text += item.text.View();
    const char* before = "{";
    for (const Item* child = item.firstChild; child != nullptr; child = child->next) {
        text += std::exchange(before, " ");
        AddText(text, *child);
    }
    text += item.firstChild != nullptr ? "}" : "";
}

std::string EMemoryTreeView::Items() const {
    std::string text;
    for (const Item* item = Top().firstChild; item != nullptr; item = item->next) {
        text += text.empty() ? "" : " ";
        AddText(text, *item);
    }
    return text;
}

_TREEITEM* EMemoryTreeView::At(std::string_view path) const {
    const Item* at = &Top();
    while (at != nullptr && !path.empty()) {
        const std::string_view text = FirstWord(path, '/');
        at = at->firstChild;
        while (at != nullptr && at->text.View() != text) {
            at = at->next;
        }
        path.remove_prefix(std::min(path.size(), text.size() + 1));
    }
    return at != nullptr ? at->handle : nullptr;
}

std::string EMemoryTreeView::NameOfImage(int image) const {
    return screen_.NameOfImage(images_, image);
}

std::string EMemoryTreeView::ImageOf(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? NameOfImage(found->image) : "-";
}

std::string EMemoryTreeView::Tip(_TREEITEM* item, std::size_t size) const {
    std::vector<char> buffer(size + 1, '\0');
    if (Events() != nullptr) {
        Events()->OnGetinfotip(item, std::span(buffer.data(), size));
    }
    return buffer.data();
}

int EMemoryTreeView::Notified(std::uint32_t number) const {
    const auto found = notified_.find(number);
    return found != notified_.end() ? found->second : 0;
}

// -------------------------------------------------------------------------------- a user's actions

bool EMemoryTreeView::Drag(std::string_view from, std::string_view to) {
    const EDropData data{At(from), At(to)};
    if (Events() == nullptr || !Events()->CanBeginDrag(data.dragged) || !Events()->CanDrop(&data)) {
        return false;
    }
    Events()->OnDrop(&data);
    return true;
}

void EMemoryTreeView::Resize(unsigned int sizeType, int width, int height) {
    rect_.right = rect_.left + width;
    rect_.bottom = rect_.top + height;
    if (Events() != nullptr) {
        Events()->OnSize(sizeType, width, height);
    }
}

void EMemoryTreeView::Print(IDrawSurface& surface) {
    Log("print");
    if (Events() == nullptr || !Events()->OnEraseBkgnd(surface)) {
        surface.FillRect(ClientRect(), background_ != kDefaultColour
                                           ? background_
                                           : screen_.Colour(IScreen::ColourWindow));
    }
    int top = 0;
    ETreeDraw draw;
    draw.surface = &surface;
    const std::uint32_t answer =
        Events() != nullptr ? Events()->OnCustomdraw(draw) : std::uint32_t{ETreeDraw::DoDefault};
    for (_TREEITEM* item = FirstItem(); item != nullptr; item = NextVisibleItem(item)) {
        ETreeDraw line;
        line.stage = ETreeDraw::ItemPrePaint;
        line.item = item;
        line.itemData = ItemData(item);
        line.textColour = textColour_;
        line.surface = &surface;
        if ((answer & ETreeDraw::NotifyItems) != 0) {
            static_cast<void>(Events()->OnCustomdraw(line));
        }
        surface.SetTextColour(line.textColour);
        surface.DrawText(ItemText(item), {0, top, ClientRect().right, top + kLineHeight}, 0);
        top += kLineHeight;
    }
}

// ---------------------------------------------------------------------------------------- the view

_TREEITEM* EMemoryTreeView::InsertItem(const Chaine& text, int image, int selectedImage,
                                       _TREEITEM* parent, _TREEITEM* after) {
    _TREEITEM* const item = ETreeViewItems::InsertItem(text, image, selectedImage, parent, after);
    Log("insert", item);
    return item;
}

void EMemoryTreeView::SetItem(_TREEITEM* item, const ETreeItemChange& change) {
    if (change.text) {
        Log("text " + std::string(ItemText(item).View()) + "=" + std::string(change.text->View()));
    }
    ETreeViewItems::SetItem(item, change);
    if (change.image) {
        Log("image " + std::string(ItemText(item).View()) + " " + NameOfImage(*change.image));
    }
}

void EMemoryTreeView::DeleteItem(_TREEITEM* item) {
    if (item == kTreeRoot) {
        Log("delete all");
    } else if (Find(item) != nullptr) {
        Log("delete", item);
    }
    ETreeViewItems::DeleteItem(item);
}

void EMemoryTreeView::EnsureVisible(_TREEITEM* item) {
    Log("show", item);
    ETreeViewItems::EnsureVisible(item);
}

void EMemoryTreeView::SetRedraw(bool on) {
    isRedrawOn_ = on;
    Log(on ? "redraw on" : "redraw off");
}

void EMemoryTreeView::AttachImages(IImageList* images) {
    images_ = images;
    Log("images");
}

ERect EMemoryTreeView::ClientRect() const {
    return {0, 0, rect_.right - rect_.left, rect_.bottom - rect_.top};
}

unsigned int EMemoryTreeView::SetTimer(unsigned int timerID, unsigned int milliseconds) {
    Log("timer " + std::to_string(timerID) + " " + std::to_string(milliseconds));
    screen_.StartTimer(*this, timerID, milliseconds);
    return timerID;
}

void EMemoryTreeView::KillTimer(unsigned int timerID) {
    Log("timer " + std::to_string(timerID) + " off");
    screen_.StopTimer(*this, timerID);
}

void EMemoryTreeView::Ring(unsigned int timerID) {
    if (Events() != nullptr) {
        Events()->OnTimer(timerID);
    }
}

EMessagePort::Waker EMemoryTreeView::MakeWaker(std::weak_ptr<EMessagePort> port) {
    return screen_.MakeWaker(std::move(port));
}

std::intptr_t EMemoryTreeView::SendToOwner(std::uint32_t number, std::intptr_t wParam,
                                           std::intptr_t) {
    Log("owner " + std::to_string(number) + (wParam != 0 ? " " + std::to_string(wParam) : ""));
    ++notified_[number];
    if (owner) {
        owner(number, wParam);
    }
    return 0;
}

}  // namespace etabulon
