#pragma once

#include "etabulon/controls/ITreeView.h"

#include <memory>
#include <unordered_map>

namespace etabulon {

/// All of a tree view that concerns items, for views that draw and scroll by their own means.
///
/// Cost       each step from an item to its neighbours is one lookup of its handle in a hash table.
/// Ownership  a derived class calls Close in its destructor, while its own overrides can still be
///            called.
/// Example    examples/window.cpp
class ETABULON_API ETreeViewItems : public ITreeView {
public:
    ETreeViewItems();
    ETreeViewItems(const ETreeViewItems&) = delete;
    ETreeViewItems& operator=(const ETreeViewItems&) = delete;
    ~ETreeViewItems() override;

    void SetEvents(ITreeViewEvents* events) override { events_ = events; }
    [[nodiscard]] _TREEITEM* FirstItem() const override;
    [[nodiscard]] _TREEITEM* NextItem(_TREEITEM* item) const override;
    [[nodiscard]] _TREEITEM* PreviousItem(_TREEITEM* item) const override;
    [[nodiscard]] _TREEITEM* ParentItem(_TREEITEM* item) const override;
    [[nodiscard]] _TREEITEM* FirstChild(_TREEITEM* item) const override;
    [[nodiscard]] _TREEITEM* NextVisibleItem(_TREEITEM* item) const override;
    [[nodiscard]] _TREEITEM* PreviousVisibleItem(_TREEITEM* item) const override;
    [[nodiscard]] unsigned int ItemCount() const override {
        return static_cast<unsigned int>(items_.size());
    }
    _TREEITEM* InsertItem(const Chaine& text, int image, int selectedImage, _TREEITEM* parent,
                          _TREEITEM* after) override;
    void SetItem(_TREEITEM* item, const ETreeItemChange& change) override;
    [[nodiscard]] Chaine ItemText(_TREEITEM* item) const override;
    [[nodiscard]] std::intptr_t ItemData(_TREEITEM* item) const override;
    [[nodiscard]] bool ItemHasChildren(_TREEITEM* item) const override;
    [[nodiscard]] std::uint32_t ItemState(_TREEITEM* item, std::uint32_t mask) const override;
    void DeleteItem(_TREEITEM* item) override;
    [[nodiscard]] _TREEITEM* SelectedItem() const override { return selected_; }
    bool SelectItem(_TREEITEM* item) override;
    /// Closing an item above the selected one selects the closed item.
    bool Expand(_TREEITEM* item, ETreeExpand action) override;
    /// Opens the ancestors; a derived class scrolls.
    void EnsureVisible(_TREEITEM* item) override;

protected:
    struct Item {
        _TREEITEM* handle = nullptr;  // null in the invisible top
        Item* parent = nullptr;       // null in the top
        Item* previous = nullptr;
        Item* next = nullptr;
        Item* firstChild = nullptr;
        Item* lastChild = nullptr;
        Chaine text;
        int image = -1;
        int selectedImage = -1;
        std::intptr_t data = 0;
        bool hasChildren = false;
        std::uint32_t state = 0;

        [[nodiscard]] bool IsOpen() const noexcept { return (state & StateExpanded) != 0; }
    };

    /// Null for a null or unknown handle.
    [[nodiscard]] Item* Find(_TREEITEM* item) const;
    [[nodiscard]] const Item& Top() const noexcept { return top_; }
    [[nodiscard]] ITreeViewEvents* Events() const noexcept { return events_; }
    /// Deletes all items, then calls OnViewDestroyed.
    void Close();

    // For views that mirror the items, such as in lines on a screen. Each pair of -ing and -ed is
    // called before and after one change.
    virtual void InsertingItem(const Item& /*parent*/, const Item* /*previous*/) {}
    virtual void InsertedItem(const Item& /*item*/) {}
    virtual void ChangedItem(const Item& /*item*/) {}
    virtual void RemovingItem(const Item& /*item*/) {}
    virtual void RemovedItem(const Item& /*parent*/) {}
    virtual void OpenedItem(const Item& /*item*/) {}
    virtual void ClosedItem(const Item& /*item*/) {}
    virtual void MovedSelection() {}

private:
    void Link(Item& item, Item& parent, Item* previous) noexcept;
    void Unlink(Item& item) noexcept;
    bool Open(Item& item);
    bool Fold(Item& item, bool reset);

    ITreeViewEvents* events_ = nullptr;
    Item top_;
    std::unordered_map<_TREEITEM*, std::unique_ptr<Item>> items_;
    _TREEITEM* selected_ = nullptr;
};

}  // namespace etabulon
