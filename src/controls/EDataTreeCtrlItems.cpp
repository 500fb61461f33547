#include "controls/EDataTreeCtrlItems.h"

#include "controls/EDataTreeCtrlParts.h"
#include "etabulon/foundation/EExpects.h"

#include <memory>

namespace etabulon::detail {

_TREEITEM* EDataTreeCtrlItems::Find(const ETabulonTag& tag) const {
    const auto found = items_.find(tag);
    return found != items_.end() ? found->second : nullptr;
}

_TREEITEM* EDataTreeCtrlItems::FindOrAdd(const ETabulonTag& tag) {
    return items_.try_emplace(tag, nullptr).first->second;
}

void EDataTreeCtrlItems::DeleteAllItems() {
    items_.clear();
    View().DeleteItem(kTreeRoot);
}

void EDataTreeCtrlItems::OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) {
    const std::unique_ptr<EDataTreeItemData> data(reinterpret_cast<EDataTreeItemData*>(itemData));
    // Deliberate: the root's entry stays, with an item that is deleted, until all items are deleted
    // or the entry gets a new root item. RootEntryOutlivesItsItem holds it.
    if (data == nullptr || data->tag.IsRoot()) {
        return;
    }
    const auto found = items_.find(data->tag);
    if (found != items_.end() && found->second == item) {
        items_.erase(found);
    }
}

_TREEITEM* EDataTreeCtrlItems::Get(const ETabulonTag& tag) const {
    return tag.IsRoot() ? View().FirstItem() : Find(tag);
}

const EDataTreeItemData* EDataTreeCtrlItems::DataOf(_TREEITEM* item) const {
    return reinterpret_cast<const EDataTreeItemData*>(View().ItemData(item));
}

ETabulonTag EDataTreeCtrlItems::Tag(_TREEITEM* item) const {
    const EDataTreeItemData* data = DataOf(item);
    E_EXPECTS(data != nullptr);
    return data != nullptr ? data->tag : ETabulonTag();
}

unsigned int EDataTreeCtrlItems::GetDepth(_TREEITEM* item) const {
    if (item == nullptr) {
        return static_cast<unsigned int>(-1);
    }
    unsigned int depth = 0;
    for (_TREEITEM* const first = View().FirstItem();
         item != nullptr && item != kTreeRoot && item != first; ++depth) {
        item = View().ParentItem(item);
    }
    return depth;
}

bool EDataTreeCtrlItems::IsAlone(_TREEITEM* item) const {
    return View().PreviousItem(item) == nullptr && View().NextItem(item) == nullptr;
}

bool EDataTreeCtrlItems::IsWithin(_TREEITEM* item, _TREEITEM* branch) const {
    _TREEITEM* const first = View().FirstItem();
    while (item != nullptr && item != first && item != branch) {
        item = View().ParentItem(item);
    }
    return item == branch;
}

}  // namespace etabulon::detail
