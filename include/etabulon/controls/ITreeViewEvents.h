#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/controls/IDrawSurface.h"

#include <cstdint>
#include <span>

namespace etabulon {

/// What is asked of an item, in the platform's numbers.
enum ETreeExpand : std::uint32_t {
    TreeCollapse = 1,
    TreeExpand = 2,
    TreeToggle = 3,
    TreeCollapseReset = 0x8000,
};

/// A dragged item and the item that it is over or was dropped on.
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
    IDrawSurface* surface = nullptr;  // requires one where items are drawn
};

/// What a tree view tells the control that is attached to it, on the screen's thread.
class ETABULON_API ITreeViewEvents {
public:
    enum SizeType : unsigned { SizeRestored = 0, SizeMinimised = 1, SizeMaximised = 2 };

    virtual ~ITreeViewEvents() = default;

    /// Another item is selected, or none.
    virtual void OnSelchanged() = 0;
    /// Returns whether it may be done.
    [[nodiscard]] virtual bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) = 0;
    /// The item goes, after its descendants. It can't be asked anything but its data any more.
    virtual void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) = 0;
    virtual void OnTimer(unsigned timerID) = 0;
    /// Returns a sum of ETreeDraw::Answer.
    [[nodiscard]] virtual std::uint32_t OnCustomdraw(ETreeDraw& draw) = 0;
    /// Writes the tip into `buffer`, terminated and cut to its size; leaves it alone without a tip.
    virtual void OnGetinfotip(_TREEITEM* item, std::span<char> buffer) = 0;
    /// Returns whether the background was drawn; if not, the view does it.
    [[nodiscard]] virtual bool OnEraseBkgnd(IDrawSurface& surface) = 0;
    /// The pointer is over the view. Returns whether it was set.
    [[nodiscard]] virtual bool OnSetCursor() = 0;
    virtual void OnSize(unsigned sizeType, int width, int height) = 0;

    // The drag loop is the view's: it asks, and moves nothing itself.
    [[nodiscard]] virtual bool CanBeginDrag(_TREEITEM* item) = 0;
    [[nodiscard]] virtual bool CanDrop(const EDropData* data) const = 0;
    virtual void OnDrop(const EDropData* data) = 0;

    /// The view goes, its items are gone; it can't be asked anything any more.
    virtual void OnViewDestroyed() = 0;
};

}  // namespace etabulon
