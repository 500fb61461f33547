#pragma once

#include "etabulon/controls/ITreeView.h"

namespace etabulon {

/// A control over a tree view whose items can be dragged: the view raises events, the handlers of
/// the control answer them.
///
/// Ownership  neither owns the other, and either may be destroyed first. A derived class that owns
///            item data calls Detach in its destructor, while its OnDeleteitem can still be called.
/// Threads    the screen's.
/// Example    tests/controls/TreeCtrlDisplayTest.cpp
class ETABULON_API EDragTreeCtrl : public ITreeViewEvents {
public:
    using DropData = EDropData;

    EDragTreeCtrl() = default;
    EDragTreeCtrl(const EDragTreeCtrl&) = delete;
    EDragTreeCtrl& operator=(const EDragTreeCtrl&) = delete;
    ~EDragTreeCtrl() override;

    /// Makes `view` the control's window; a former one is detached first. Null for none.
    void Attach(ITreeView* view);
    /// Deletes the items and lets go of the view.
    void Detach();
    /// The control has a window.
    [[nodiscard]] bool HasView() const noexcept { return view_ != nullptr; }
    /// The attached view, otherwise one that has no items and does nothing.
    [[nodiscard]] ITreeView& View() const noexcept;

    void OnSelchanged() override {}
    [[nodiscard]] bool OnItemexpanding(_TREEITEM*, ETreeExpand) override { return true; }
    void OnDeleteitem(_TREEITEM*, std::intptr_t) override {}
    void OnTimer(unsigned int) override {}
    [[nodiscard]] std::uint32_t OnCustomdraw(ETreeDraw&) override { return ETreeDraw::DoDefault; }
    void OnGetinfotip(_TREEITEM*, std::span<char>) override {}
    [[nodiscard]] bool OnEraseBkgnd(IDrawSurface&) override { return false; }
    [[nodiscard]] bool OnSetCursor() override { return false; }
    void OnSize(unsigned int, int, int) override {}
    [[nodiscard]] bool CanBeginDrag(_TREEITEM*) override { return false; }
    [[nodiscard]] bool CanDrop(const DropData*) const override { return false; }
    void OnDrop(const DropData*) override {}
    void OnViewDestroyed() override;

protected:
    /// The control has just got its window, which has no items.
    virtual void OnAttached() {}
    /// The control is about to let go of its window, which still has its items.
    virtual void OnDetaching() {}
    /// The control has lost its window, and all items.
    virtual void OnDetached() {}

private:
    ITreeView* view_ = nullptr;  // not owned; null while there is no window
};

}  // namespace etabulon
