#include "etabulon/controls/ETreeViewItems.h"

#include "etabulon/foundation/EExpects.h"

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

/// One counter serves all views, so that an item of a former view is unknown to the next one.
_TREEITEM* NewHandle() noexcept {
    static constinit std::atomic<std::intptr_t> last{0};
    return reinterpret_cast<_TREEITEM*>(last.fetch_add(1, std::memory_order_relaxed) + 1);
}

template <class Item>
_TREEITEM* HandleOf(const Item* item) noexcept {
    return item != nullptr ? item->handle : nullptr;
}

template <class Item>
Item* FirstLeaf(Item* item) noexcept {
    while (item->firstChild != nullptr) {
        item = item->firstChild;
    }
    return item;
}

/// The items of an unlinked branch, each after its descendants, chained by `previous`: destructors
/// of controls delete items, which therefore allocates nothing.
template <class Item>
class Branch {
public:
    explicit Branch(Item& top) noexcept : first_(FirstLeaf(&top)) {
        Item* item = first_;
        while (item != &top) {
            Item* const following = item->next != nullptr ? FirstLeaf(item->next) : item->parent;
            item->previous = following;
            item = following;
        }
        top.previous = nullptr;
    }
    Branch(const Branch&) = delete;
    Branch& operator=(const Branch&) = delete;
    ~Branch() {
        while (Take() != nullptr) {
        }
    }
    [[nodiscard]] Item* First() const noexcept { return first_; }
    /// Removes the first item and hands it over; null at the end.
    std::unique_ptr<Item> Take() noexcept {
        std::unique_ptr<Item> item(first_);
        first_ = first_ != nullptr ? first_->previous : nullptr;
        return item;
    }

private:
    Item* first_;
};

template <class Item>
bool IsWithin(const Item* item, const Item& above) noexcept {
    while (item != nullptr && item != &above) {
        item = item->parent;
    }
    return item != nullptr;
}

}  // namespace

ETreeViewItems::ETreeViewItems() { top_.state = StateExpanded; }

ETreeViewItems::~ETreeViewItems() { E_EXPECTS(events_ == nullptr); }

void ETreeViewItems::Close() {
    DeleteItem(kTreeRoot);
    if (ITreeViewEvents* events = std::exchange(events_, nullptr)) {
        events->OnViewDestroyed();
    }
}

ETreeViewItems::Item* ETreeViewItems::Find(_TREEITEM* item) const {
    const auto found = items_.find(item);
    return found != items_.end() ? found->second.get() : nullptr;
}

_TREEITEM* ETreeViewItems::FirstItem() const { return HandleOf(top_.firstChild); }

_TREEITEM* ETreeViewItems::NextItem(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? HandleOf(found->next) : nullptr;
}

_TREEITEM* ETreeViewItems::PreviousItem(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? HandleOf(found->previous) : nullptr;
}

_TREEITEM* ETreeViewItems::ParentItem(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? found->parent->handle : nullptr;
}

_TREEITEM* ETreeViewItems::FirstChild(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? HandleOf(found->firstChild) : nullptr;
}

_TREEITEM* ETreeViewItems::NextVisibleItem(_TREEITEM* item) const {
    const Item* at = Find(item);
    if (at == nullptr) {
        return nullptr;
    }
    if (at->IsOpen() && at->firstChild != nullptr) {
        return at->firstChild->handle;
    }
    while (at != nullptr && at->next == nullptr) {
        at = at->parent;
    }
    return at != nullptr ? at->next->handle : nullptr;
}

_TREEITEM* ETreeViewItems::PreviousVisibleItem(_TREEITEM* item) const {
    const Item* found = Find(item);
    if (found == nullptr || found->previous == nullptr) {
        return found != nullptr ? found->parent->handle : nullptr;
    }
    const Item* at = found->previous;
    while (at->IsOpen() && at->lastChild != nullptr) {
        at = at->lastChild;
    }
    return at->handle;
}

void ETreeViewItems::Link(Item& item, Item& parent, Item* previous) noexcept {
    item.parent = &parent;
    item.previous = previous;
    item.next = previous != nullptr ? previous->next : parent.firstChild;
    (previous != nullptr ? previous->next : parent.firstChild) = &item;
    (item.next != nullptr ? item.next->previous : parent.lastChild) = &item;
}

void ETreeViewItems::Unlink(Item& item) noexcept {
    (item.previous != nullptr ? item.previous->next : item.parent->firstChild) = item.next;
    (item.next != nullptr ? item.next->previous : item.parent->lastChild) = item.previous;
}

_TREEITEM* ETreeViewItems::InsertItem(const Chaine& text, int image, int selectedImage,
                                      _TREEITEM* parent, _TREEITEM* after) {
    Item* above = parent == kTreeRoot || parent == nullptr ? &top_ : Find(parent);
    if (above == nullptr) {
        return nullptr;
    }
    Item* previous = after == kTreeFirst ? nullptr : Find(after);
    if (after != kTreeFirst && (previous == nullptr || previous->parent != above)) {
        previous = above->lastChild;
    }
    auto item = std::make_unique<Item>();
    Item& inserted = *item;
    inserted.handle = NewHandle();
    inserted.text = text;
    inserted.image = image;
    inserted.selectedImage = selectedImage;
    items_.emplace(inserted.handle, std::move(item));
    InsertingItem(*above, previous);
    Link(inserted, *above, previous);
    InsertedItem(inserted);
    return inserted.handle;
}

void ETreeViewItems::SetItem(_TREEITEM* item, const ETreeItemChange& change) {
    Item* found = Find(item);
    if (found == nullptr) {
        return;
    }
    found->text = change.text.value_or(found->text);
    found->image = change.image.value_or(found->image);
    found->selectedImage = change.selectedImage.value_or(found->selectedImage);
    found->data = change.data.value_or(found->data);
    found->hasChildren = change.hasChildren.value_or(found->hasChildren);
    ChangedItem(*found);
}

Chaine ETreeViewItems::ItemText(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? found->text : Chaine();
}

std::intptr_t ETreeViewItems::ItemData(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr ? found->data : 0;
}

bool ETreeViewItems::ItemHasChildren(_TREEITEM* item) const {
    const Item* found = Find(item);
    return found != nullptr && found->hasChildren;
}

std::uint32_t ETreeViewItems::ItemState(_TREEITEM* item, std::uint32_t mask) const {
    const Item* found = Find(item);
    return found != nullptr ? found->state & mask : 0;
}

void ETreeViewItems::DeleteItem(_TREEITEM* item) {
    if (item == kTreeRoot) {
        while (top_.firstChild != nullptr) {
            ETreeViewItems::DeleteItem(top_.firstChild->handle);
        }
        return;
    }
    Item* found = Find(item);
    if (found == nullptr) {
        return;
    }
    Item& parent = *found->parent;
    const bool losesSelection = selected_ != nullptr && IsWithin(Find(selected_), *found);
    RemovingItem(*found);
    Unlink(*found);
    // All items are unknown before the first event, so that no handler finds half a branch.
    Branch<Item> branch(*found);
    for (const Item* below = branch.First(); below != nullptr; below = below->previous) {
        static_cast<void>(items_.extract(below->handle).mapped().release());
    }
    if (losesSelection) {
        selected_ = nullptr;
    }
    RemovedItem(parent);
    if (losesSelection) {
        MovedSelection();
    }
    while (const std::unique_ptr<Item> deleted = branch.Take()) {
        if (events_ != nullptr) {
            events_->OnDeleteitem(deleted->handle, deleted->data);
        }
    }
}

bool ETreeViewItems::SelectItem(_TREEITEM* item) {
    if (item != nullptr && Find(item) == nullptr) {
        return false;
    }
    if (selected_ != item) {
        selected_ = item;
        MovedSelection();
        if (events_ != nullptr) {
            events_->OnSelchanged();
        }
    }
    return true;
}

bool ETreeViewItems::Expand(_TREEITEM* item, ETreeExpand action) {
    Item* found = Find(item);
    if (found == nullptr) {
        return false;
    }
    if (action == TreeExpand || (action == TreeToggle && !found->IsOpen())) {
        return Open(*found);
    }
    return Fold(*found, action == TreeCollapseReset);
}

bool ETreeViewItems::Open(Item& item) {
    if (item.IsOpen()) {
        return true;
    }
    _TREEITEM* const handle = item.handle;
    if (events_ != nullptr && !events_->OnItemexpanding(handle, TreeExpand)) {
        return false;
    }
    Item* found = Find(handle);  // the handler may have deleted it
    if (found == nullptr || found->firstChild == nullptr) {
        return false;
    }
    if (!found->IsOpen()) {
        found->state |= StateExpanded | StateExpandedOnce;
        OpenedItem(*found);
    }
    return true;
}

bool ETreeViewItems::Fold(Item& item, bool reset) {
    _TREEITEM* const handle = item.handle;
    const ETreeExpand action = reset ? TreeCollapseReset : TreeCollapse;
    if (events_ != nullptr && !events_->OnItemexpanding(handle, action)) {
        return false;
    }
    Item* found = Find(handle);
    if (found == nullptr) {
        return false;
    }
    found->state &= ~StateExpanded;
    ClosedItem(*found);
    if (selected_ != handle && selected_ != nullptr && IsWithin(Find(selected_), *found)) {
        SelectItem(handle);
    }
    for (found = Find(handle); reset && found != nullptr; found = Find(handle)) {
        if (found->firstChild == nullptr) {
            found->state &= ~StateExpansionMask;
            break;
        }
        DeleteItem(found->firstChild->handle);
    }
    return true;
}

void ETreeViewItems::EnsureVisible(_TREEITEM* item) {
    std::vector<_TREEITEM*> closed;
    for (const Item* at = Find(item); at != nullptr && at->parent != nullptr; at = at->parent) {
        if (!at->parent->IsOpen()) {
            closed.push_back(at->parent->handle);
        }
    }
    for (auto above = closed.rbegin(); above != closed.rend(); ++above) {
        Expand(*above, TreeExpand);
    }
}

}  // namespace etabulon
