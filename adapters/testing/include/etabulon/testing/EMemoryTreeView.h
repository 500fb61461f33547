#pragma once

#include "etabulon/controls/ETreeViewItems.h"
#include "etabulon/testing/EMemoryScreen.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace etabulon {

/// A tree view without a window. A test reads its items as text, reads a log of the calls that it
/// got, and performs a user's actions.
/// Example    examples/screen.cpp
class ETABULON_API EMemoryTreeView : public ETreeViewItems {
public:
    explicit EMemoryTreeView(EMemoryScreen& screen) : screen_(screen) {}
    ~EMemoryTreeView() override;

    // -------------------------------------------------------------------------- for a test to read
    /// "-all{+FR -DE{*Berlin}}": each item with "-" before it if it is open, "+" if it can be
    /// opened, and "*" if it is selected. The children of closed items are shown too.
    [[nodiscard]] std::string Items() const;
    /// The calls since the last TakeLog: "redraw off; insert FR; image all 13000:16x16; ...". Their
    /// kinds are redraw, insert, text, image, delete, select, open, close, show, invalidate,
    /// update, timer, owner, images and print.
    std::string TakeLog();
    /// Only the calls of some kinds: TakeLog("owner timer").
    std::string TakeLog(std::string_view kinds);
    /// The first item with these texts from the root down, separated by "/"; null if there is none.
    [[nodiscard]] _TREEITEM* At(std::string_view path) const;
    /// The image's icon; "-" for none.
    [[nodiscard]] std::string ImageOf(_TREEITEM* item) const;
    [[nodiscard]] std::string Tip(_TREEITEM* item, std::size_t size = 256) const;
    /// How often the owner got this notification.
    [[nodiscard]] int Notified(std::uint32_t number) const;
    [[nodiscard]] bool IsRedrawOn() const noexcept { return isRedrawOn_; }

    // ---------------------------------------------------------------------------- a user's actions
    bool Click(std::string_view path) { return SelectItem(At(path)); }
    bool Open(std::string_view path) { return Expand(At(path), TreeExpand); }
    bool Fold(std::string_view path) { return Expand(At(path), TreeCollapse); }
    /// The whole gesture. Returns whether the control accepted the drop.
    bool Drag(std::string_view from, std::string_view to);
    void Resize(unsigned int sizeType, int width, int height);
    /// Paints the background, then each visible item's colour, font and text.
    void Print(IDrawSurface& surface) override;

    /// The owner window.
    std::function<void(std::uint32_t number, std::intptr_t wParam)> owner;

    // ------------------------------------------------------------------------------------ the view
    _TREEITEM* InsertItem(const Chaine& text, int image, int selectedImage, _TREEITEM* parent,
                          _TREEITEM* after) override;
    void SetItem(_TREEITEM* item, const ETreeItemChange& change) override;
    void DeleteItem(_TREEITEM* item) override;
    void EnsureVisible(_TREEITEM* item) override;
    void SetRedraw(bool on) override;
    void AttachImages(IImageList* images) override;
    void Invalidate() override { Log("invalidate"); }
    void InvalidateItem(_TREEITEM* item) override { Log("invalidate", item); }
    void UpdateNow() override { Log("update"); }
    [[nodiscard]] ERect WindowRect() const override { return rect_; }
    [[nodiscard]] ERect ClientRect() const override;
    [[nodiscard]] EColour BackgroundColour() const override { return background_; }
    void SetBackgroundColour(EColour colour) override { background_ = colour; }
    void SetTextColour(EColour colour) override { textColour_ = colour; }
    void MoveWindow(const ERect& rect) override { rect_ = rect; }
    [[nodiscard]] unsigned int SetTimer(unsigned int timerID, unsigned int milliseconds) override;
    void KillTimer(unsigned int timerID) override;
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) override;
    std::intptr_t SendToOwner(std::uint32_t number, std::intptr_t wParam,
                              std::intptr_t lParam) override;

protected:
    void OpenedItem(const Item& item) override { Log("open", item.handle); }
    void ClosedItem(const Item& item) override { Log("close", item.handle); }
    void MovedSelection() override { Log("select", SelectedItem()); }

private:
    friend class EMemoryScreen;
    void Log(const std::string& what);
    void Log(const std::string& what, _TREEITEM* item);
    void Ring(unsigned int timerID);
    [[nodiscard]] std::string NameOfImage(int image) const;
    void AddText(std::string& text, const Item& item) const;

    EMemoryScreen& screen_;
    std::string log_;
    std::map<std::uint32_t, int> notified_;
    const IImageList* images_ = nullptr;  // not owned
    bool isRedrawOn_ = true;
    ERect rect_{0, 0, 200, 100};
    EColour background_ = kDefaultColour;
    EColour textColour_ = 0;
};

}  // namespace etabulon
