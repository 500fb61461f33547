#pragma once

#include "etabulon/controls/ITreeView.h"

namespace etabulon {

/// A control over a tree view whose items can be dragged: the view raises events, the control
/// answers them by its handlers.
///
/// Ownership  neither owns the other, and either may go first. A derived class that keeps something
///            in its items calls Detach in its destructor, while it can still be told of them.
/// Threads    the screen's.
class ETABULON_API EDragTreeCtrl : public ITreeViewEvents {
public:
    using DropData = EDropData;

    EDragTreeCtrl() = default;
    EDragTreeCtrl(const EDragTreeCtrl&) = delete;
    EDragTreeCtrl& operator=(const EDragTreeCtrl&) = delete;
    ~EDragTreeCtrl() override;

    /// The control's window from here on; one that it had is detached.
    void Attach(ITreeView* view);
    /// Deletes the items and leaves the view.
    void Detach();
    /// The window exists.
    [[nodiscard]] bool HasView() const noexcept { return view_ != nullptr; }
    /// One that does nothing where there is none.
    [[nodiscard]] ITreeView& View() const noexcept;

    void OnSelchanged() override {}
    [[nodiscard]] bool OnItemexpanding(_TREEITEM*, ETreeExpand) override { return true; }
    void OnDeleteitem(_TREEITEM*, std::intptr_t) override {}
    void OnTimer(unsigned) override {}
    [[nodiscard]] std::uint32_t OnCustomdraw(ETreeDraw&) override { return ETreeDraw::DoDefault; }
    void OnGetinfotip(_TREEITEM*, std::span<char>) override {}
    [[nodiscard]] bool OnEraseBkgnd(IDrawSurface&) override { return false; }
    [[nodiscard]] bool OnSetCursor() override { return false; }
    void OnSize(unsigned, int, int) override {}
    [[nodiscard]] bool CanBeginDrag(_TREEITEM*) override { return false; }
    [[nodiscard]] bool CanDrop(const DropData*) const override { return false; }
    void OnDrop(const DropData*) override {}
    void OnViewDestroyed() override;

protected:
    /// There is a window, without items.
    virtual void OnAttached() {}
    /// The window is about to be left; its items are still there.
    virtual void OnDetaching() {}
    /// There is no window any more, and no item.
    virtual void OnDetached() {}

private:
    ITreeView* view_ = nullptr;  // not owned; null: the window doesn't exist
};

}  // namespace etabulon
