#pragma once

#include "etabulon/controls/ITreeView.h"

namespace etabulon::detail {

/// The view of a control without a window: has no items and does nothing.
class NoTreeView final : public ITreeView {
public:
    void SetEvents(ITreeViewEvents*) override {}
    _TREEITEM* FirstItem() const override { return nullptr; }
    _TREEITEM* NextItem(_TREEITEM*) const override { return nullptr; }
    _TREEITEM* PreviousItem(_TREEITEM*) const override { return nullptr; }
    _TREEITEM* ParentItem(_TREEITEM*) const override { return nullptr; }
    _TREEITEM* FirstChild(_TREEITEM*) const override { return nullptr; }
    _TREEITEM* NextVisibleItem(_TREEITEM*) const override { return nullptr; }
    _TREEITEM* PreviousVisibleItem(_TREEITEM*) const override { return nullptr; }
    unsigned int ItemCount() const override { return 0; }
    _TREEITEM* InsertItem(const Chaine&, int, int, _TREEITEM*, _TREEITEM*) override {
        return nullptr;
    }
    void SetItem(_TREEITEM*, const ETreeItemChange&) override {}
    Chaine ItemText(_TREEITEM*) const override { return {}; }
    std::intptr_t ItemData(_TREEITEM*) const override { return 0; }
    bool ItemHasChildren(_TREEITEM*) const override { return false; }
    std::uint32_t ItemState(_TREEITEM*, std::uint32_t) const override { return 0; }
    void DeleteItem(_TREEITEM*) override {}
    _TREEITEM* SelectedItem() const override { return nullptr; }
    bool SelectItem(_TREEITEM*) override { return false; }
    bool Expand(_TREEITEM*, ETreeExpand) override { return false; }
    void EnsureVisible(_TREEITEM*) override {}
    void SetRedraw(bool) override {}
    void AttachImages(IImageList*) override {}
    void Invalidate() override {}
    void InvalidateItem(_TREEITEM*) override {}
    void UpdateNow() override {}
    ERect WindowRect() const override { return {}; }
    ERect ClientRect() const override { return {}; }
    EColour BackgroundColour() const override { return kDefaultColour; }
    void SetBackgroundColour(EColour) override {}
    void SetTextColour(EColour) override {}
    void MoveWindow(const ERect&) override {}
    void Print(IDrawSurface&) override {}
    unsigned int SetTimer(unsigned int, unsigned int) override { return 0; }
    void KillTimer(unsigned int) override {}
    EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort>) override { return {}; }
    std::intptr_t SendToOwner(std::uint32_t, std::intptr_t, std::intptr_t) override { return 0; }
};

}  // namespace etabulon::detail
