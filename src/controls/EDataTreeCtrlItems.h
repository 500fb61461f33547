#pragma once

#include "controls/EDataTreeCtrlPart.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace etabulon::detail {

/// What an item of a tree control carries. The view holds it as item data, the control owns it.
struct EDataTreeItemData {
    ETabulonTag tag;
    Chaine tip;
};

/// The items of a tree control: an index by tag, and each item's position in the view. An entry of
/// the index may hold no item, or one that the view has deleted.
class EDataTreeCtrlItems final : public EDataTreeCtrlPart {
public:
    using EDataTreeCtrlPart::EDataTreeCtrlPart;

    [[nodiscard]] bool Has(const ETabulonTag& tag) const { return items_.contains(tag); }
    [[nodiscard]] _TREEITEM* Find(const ETabulonTag& tag) const;
    /// The tag's item. A tag without an entry gets one that holds no item.
    [[nodiscard]] _TREEITEM* FindOrAdd(const ETabulonTag& tag);
    void Set(const ETabulonTag& tag, _TREEITEM* item) { items_.insert_or_assign(tag, item); }
    void RemoveAll() noexcept { items_.clear(); }
    void DeleteAllItems();
    void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData);

    /// As Find, but the root's item is the view's first.
    [[nodiscard]] _TREEITEM* Get(const ETabulonTag& tag) const;
    /// Null for an item that isn't this control's.
    [[nodiscard]] const EDataTreeItemData* DataOf(_TREEITEM* item) const;
    [[nodiscard]] ETabulonTag Tag(_TREEITEM* item) const;
    /// 0 for the root's item; the greatest number for null.
    [[nodiscard]] unsigned int GetDepth(_TREEITEM* item) const;
    /// The item has no siblings.
    [[nodiscard]] bool IsAlone(_TREEITEM* item) const;
    [[nodiscard]] bool IsWithin(_TREEITEM* item, _TREEITEM* branch) const;

private:
    struct Hash {
        std::size_t operator()(const ETabulonTag& tag) const noexcept { return tag.Hash(); }
    };
    std::unordered_map<ETabulonTag, _TREEITEM*, Hash> items_;
};

}  // namespace etabulon::detail
