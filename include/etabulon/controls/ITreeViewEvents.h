#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/controls/IDrawSurface.h"

#include <cstdint>
#include <span>

namespace etabulon {

/// What an item is to do, in the platform's numbers.
enum ETreeExpand : std::uint32_t {
    TreeCollapse = 1,
    TreeExpand = 2,
    TreeToggle = 3,
    TreeCollapseReset = 0x8000,
};

/// A dragged item, and the item that it is held over or was dropped on.
struct EDropData {
    _TREEITEM* dragged = nullptr;
    _TREEITEM* target = nullptr;
};

/// One step of drawing a view. The handler may change the colour and select a font.
struct ETreeDraw {
    enum Stage : std::uint32_t { PrePaint = 1, ItemPrePaint = 0x10001 };
    enum Answer : std::uint32_t { DoDefault = 0, NewFont = 0x2, NotifyItems = 0x20 };

    std::uint32_t stage = PrePaint;
    _TREEITEM* item = nullptr;
    std::intptr_t itemData = 0;
    EColour textColour = 0;
    IDrawSurface* surface = nullptr;  // not null where items are drawn
};

/// The events of a tree view, handled by the control that is attached to it, on the screen's
/// thread.
/// Example    apps/etabulon/browse/BrowseTreeView.cpp
class ETABULON_API ITreeViewEvents {
public:
    enum SizeType : unsigned int { SizeRestored = 0, SizeMinimised = 1, SizeMaximised = 2 };

    virtual ~ITreeViewEvents() = default;

    /// Another item is selected, or none.
    virtual void OnSelchanged() = 0;
    /// Returns whether the item may do so.
    [[nodiscard]] virtual bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) = 0;
    /// The item is being deleted, after its descendants. The handler uses `itemData`, and asks the
    /// view nothing about the item.
    virtual void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) = 0;
    virtual void OnTimer(unsigned int timerID) = 0;
    /// Returns a sum of ETreeDraw::Answer.
    [[nodiscard]] virtual std::uint32_t OnCustomdraw(ETreeDraw& draw) = 0;
    /// Writes the tip into `buffer`, terminated and cut to its size; without a tip it writes
    /// nothing.
    virtual void OnGetinfotip(_TREEITEM* item, std::span<char> buffer) = 0;
    /// Returns whether the handler drew the background; otherwise the view does.
    [[nodiscard]] virtual bool OnEraseBkgnd(IDrawSurface& surface) = 0;
    /// The pointer is over the view. Returns whether the handler set it.
    [[nodiscard]] virtual bool OnSetCursor() = 0;
    virtual void OnSize(unsigned int sizeType, int width, int height) = 0;

    // The view runs the drag loop: it asks the handlers, and moves no item itself.
    [[nodiscard]] virtual bool CanBeginDrag(_TREEITEM* item) = 0;
    [[nodiscard]] virtual bool CanDrop(const EDropData* data) const = 0;
    virtual void OnDrop(const EDropData* data) = 0;

    /// The view is being destroyed, and its items are gone; it must not be called again.
    virtual void OnViewDestroyed() = 0;
};

}  // namespace etabulon
