#pragma once

#include "etabulon/controls/EMessagePort.h"
#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/controls/IScreen.h"
#include "etabulon/controls/ITreeViewEvents.h"
#include "etabulon/foundation/Chaine.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace etabulon {

// Positions for InsertItem and DeleteItem; they are not items.
inline _TREEITEM* const kTreeRoot = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0x10000});
inline _TREEITEM* const kTreeFirst = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0xFFFF});
inline _TREEITEM* const kTreeLast = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0xFFFE});

/// A change of an item; fields that aren't set stay as they are.
struct ETreeItemChange {
    std::optional<Chaine> text;
    std::optional<int> image;
    std::optional<int> selectedImage;
    std::optional<std::intptr_t> data;
    std::optional<bool> hasChildren;  // offers to open, with or without items below
};

/// A tree view of a window system: items, selection, expansion, timers, drawing.
///
/// Items      for a null or unknown handle, operations return null, 0 or "", or do nothing.
/// Ownership  item data belongs to the control: a view neither reads nor frees it.
/// Threads    the screen's.
/// Derive     from ETreeViewItems, which does all that concerns items.
/// Example    examples/screen.cpp
class ETABULON_API ITreeView {
public:
    /// The three bits of an item's state that concern expansion.
    enum ItemStateBit : std::uint32_t {
        StateExpanded = 0x20,
        StateExpandedOnce = 0x40,  // stays set when the item closes
        StateExpandPartial = 0x80,
        StateExpansionMask = 0xE0,
    };

    virtual ~ITreeView() = default;

    /// The receiver of the view's events; not owned. Null for none.
    virtual void SetEvents(ITreeViewEvents* events) = 0;

    // -------------------------------------------------------------- items, in the order of display
    [[nodiscard]] virtual _TREEITEM* FirstItem() const = 0;
    [[nodiscard]] virtual _TREEITEM* NextItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* PreviousItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* ParentItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* FirstChild(_TREEITEM* item) const = 0;
    /// An item is visible if all its ancestors are open.
    [[nodiscard]] virtual _TREEITEM* NextVisibleItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* PreviousVisibleItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual unsigned int ItemCount() const = 0;

    /// Inserts after the item `after`, which is a child of `parent`, kTreeFirst or kTreeLast.
    /// `parent` is kTreeRoot for the top.
    virtual _TREEITEM* InsertItem(const Chaine& text, int image, int selectedImage,
                                  _TREEITEM* parent, _TREEITEM* after) = 0;
    virtual void SetItem(_TREEITEM* item, const ETreeItemChange& change) = 0;
    [[nodiscard]] virtual Chaine ItemText(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual std::intptr_t ItemData(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual bool ItemHasChildren(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual std::uint32_t ItemState(_TREEITEM* item, std::uint32_t mask) const = 0;
    /// Deletes an item with its descendants, or all for kTreeRoot. Raises OnDeleteitem for each,
    /// children first, and no OnSelchanged: if the selected item goes, none is selected.
    virtual void DeleteItem(_TREEITEM* item) = 0;

    // --------------------------------------------------------------------- selection and expansion
    [[nodiscard]] virtual _TREEITEM* SelectedItem() const = 0;
    /// Raises OnSelchanged if the selection changes. Null selects none.
    virtual bool SelectItem(_TREEITEM* item) = 0;
    /// Raises OnItemexpanding first, which may refuse. An item without items below doesn't open.
    /// Returns whether the item did what `action` asks.
    virtual bool Expand(_TREEITEM* item, ETreeExpand action) = 0;
    /// Opens the ancestors and scrolls.
    virtual void EnsureVisible(_TREEITEM* item) = 0;

    // ------------------------------------------------------------------------------------- drawing
    virtual void SetRedraw(bool on) = 0;
    /// Not owned.
    virtual void AttachImages(IImageList* images) = 0;
    /// The whole view must be drawn again, with its background.
    virtual void Invalidate() = 0;
    /// The whole line of the item.
    virtual void InvalidateItem(_TREEITEM* item) = 0;
    /// Draws what is invalid before it returns.
    virtual void UpdateNow() = 0;
    /// In coordinates of the screen.
    [[nodiscard]] virtual ERect WindowRect() const = 0;
    /// In coordinates of the window.
    [[nodiscard]] virtual ERect ClientRect() const = 0;
    /// kDefaultColour for the system's.
    [[nodiscard]] virtual EColour BackgroundColour() const = 0;
    virtual void SetBackgroundColour(EColour colour) = 0;
    virtual void SetTextColour(EColour colour) = 0;
    virtual void MoveWindow(const ERect& rect) = 0;
    /// Draws the view's contents on another surface.
    virtual void Print(IDrawSurface& surface) = 0;

    // -------------------------------------------------------- time, messages, the window around it
    /// Raises OnTimer every `milliseconds`; a timer that is set again starts over. Returns the
    /// timer's id.
    [[nodiscard]] virtual unsigned int SetTimer(unsigned int timerID,
                                                unsigned int milliseconds) = 0;
    virtual void KillTimer(unsigned int timerID) = 0;
    /// For each call of the waker, the screen's thread calls Dispatch of the port once, soon, if
    /// the port still exists then. The waker may be called on any thread, and outlive the view.
    [[nodiscard]] virtual EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) = 0;
    /// Sends to the owner, or without an owner to the parent window. Returns when it has answered.
    virtual std::intptr_t SendToOwner(std::uint32_t number, std::intptr_t wParam,
                                      std::intptr_t lParam) = 0;
};

}  // namespace etabulon
