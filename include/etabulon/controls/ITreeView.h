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

// Places for InsertItem, and for DeleteItem: no items.
inline _TREEITEM* const kTreeRoot = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0x10000});
inline _TREEITEM* const kTreeFirst = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0xFFFF});
inline _TREEITEM* const kTreeLast = reinterpret_cast<_TREEITEM*>(std::intptr_t{-0xFFFE});

/// What is to be changed of an item; what isn't set stays.
struct ETreeItemChange {
    std::optional<Chaine> text;
    std::optional<int> image;
    std::optional<int> selectedImage;
    std::optional<std::intptr_t> data;
    std::optional<bool> hasChildren;  // offers to be opened, whether it has items below or not
};

/// A tree view of a window system: items, selection, expansion, timers, drawing.
///
/// Items      a handle that is null or isn't known answers null, 0 or "", or does nothing.
/// Ownership  item data is the control's: a view neither reads nor frees it.
/// Threads    the screen's.
/// Derive     from ETreeViewItems, which does all that concerns items.
class ETABULON_API ITreeView {
public:
    /// The three bits of an item's state that concern expansion.
    enum ItemStateBit : std::uint32_t {
        StateExpanded = 0x20,
        StateExpandedOnce = 0x40,  // stays when it is closed
        StateExpandPartial = 0x80,
        StateExpansionMask = 0xE0,
    };

    virtual ~ITreeView() = default;

    /// Whom it tells; not owned. Null: nobody.
    virtual void SetEvents(ITreeViewEvents* events) = 0;

    // --- items, in the order of display ---
    [[nodiscard]] virtual _TREEITEM* FirstItem() const = 0;
    [[nodiscard]] virtual _TREEITEM* NextItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* PreviousItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* ParentItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* FirstChild(_TREEITEM* item) const = 0;
    /// Visible: all ancestors are open.
    [[nodiscard]] virtual _TREEITEM* NextVisibleItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual _TREEITEM* PreviousVisibleItem(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual unsigned ItemCount() const = 0;

    /// Behind `after`, a child of `parent`, or kTreeFirst or kTreeLast; kTreeRoot for the top.
    virtual _TREEITEM* InsertItem(const Chaine& text, int image, int selectedImage,
                                  _TREEITEM* parent, _TREEITEM* after) = 0;
    virtual void SetItem(_TREEITEM* item, const ETreeItemChange& change) = 0;
    [[nodiscard]] virtual Chaine ItemText(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual std::intptr_t ItemData(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual bool ItemHasChildren(_TREEITEM* item) const = 0;
    [[nodiscard]] virtual std::uint32_t ItemState(_TREEITEM* item, std::uint32_t mask) const = 0;
    /// With its descendants; kTreeRoot for all. Tells of each, children first. No selection event:
    /// if the selected item goes, none is selected.
    virtual void DeleteItem(_TREEITEM* item) = 0;

    // --- selection and expansion ---
    [[nodiscard]] virtual _TREEITEM* SelectedItem() const = 0;
    /// Tells of it, if another item than before. Null selects none.
    virtual bool SelectItem(_TREEITEM* item) = 0;
    /// Asks first. An item without items below doesn't open. Returns whether it was done.
    virtual bool Expand(_TREEITEM* item, ETreeExpand action) = 0;
    /// Opens the ancestors and scrolls.
    virtual void EnsureVisible(_TREEITEM* item) = 0;

    // --- drawing ---
    virtual void SetRedraw(bool on) = 0;
    /// Not owned.
    virtual void AttachImages(IImageList* images) = 0;
    /// All of it is to be drawn anew, with its background.
    virtual void Invalidate() = 0;
    /// The whole line of the item.
    virtual void InvalidateItem(_TREEITEM* item) = 0;
    /// Draws what is invalid before it returns.
    virtual void UpdateNow() = 0;
    /// On the screen.
    [[nodiscard]] virtual ERect WindowRect() const = 0;
    /// In the window's own coordinates.
    [[nodiscard]] virtual ERect ClientRect() const = 0;
    /// kDefaultColour for the system's.
    [[nodiscard]] virtual EColour BackgroundColour() const = 0;
    virtual void SetBackgroundColour(EColour colour) = 0;
    virtual void SetTextColour(EColour colour) = 0;
    virtual void MoveWindow(const ERect& rect) = 0;
    /// Draws its contents on another surface.
    virtual void Print(IDrawSurface& surface) = 0;

    // --- time, messages, the window around it ---
    /// Calls OnTimer each `milliseconds`; set again, it begins anew. Returns the timer's id.
    [[nodiscard]] virtual unsigned SetTimer(unsigned timerID, unsigned milliseconds) = 0;
    virtual void KillTimer(unsigned timerID) = 0;
    /// What calls Dispatch of the port once on the screen's thread, soon, for each time that it is
    /// called, if the port still exists then. Callable from any thread, also when the view is gone.
    [[nodiscard]] virtual EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port) = 0;
    /// The owner, or the parent window without one, has answered when this returns.
    virtual std::intptr_t SendToOwner(std::uint32_t number, std::intptr_t wParam,
                                      std::intptr_t lParam) = 0;
};

}  // namespace etabulon
