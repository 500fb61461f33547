#pragma once

#include "etabulon/controls/EScreenTypes.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstddef>
#include <unordered_map>

namespace etabulon {

/// What an item of a tree control carries. The view holds it as item data, the control owns it.
struct EDataTreeItemData {
    ETabulonTag tag;
    Chaine tip;
};

/// The items of a tree control by tag. An entry may hold no item, or one that has gone.
class ETABULON_API EDataTreeCtrlItems {
public:
    [[nodiscard]] bool Has(const ETabulonTag& tag) const { return items_.contains(tag); }
    [[nodiscard]] _TREEITEM* Find(const ETabulonTag& tag) const {
        const auto found = items_.find(tag);
        return found != items_.end() ? found->second : nullptr;
    }
    /// The item; an entry with none is added for a tag that has no entry.
    [[nodiscard]] _TREEITEM* FindOrAdd(const ETabulonTag& tag) {
        return items_.try_emplace(tag, nullptr).first->second;
    }
    void Set(const ETabulonTag& tag, _TREEITEM* item) { items_.insert_or_assign(tag, item); }
    /// Only an entry that names that item.
    void Remove(const ETabulonTag& tag, _TREEITEM* item) {
        const auto found = items_.find(tag);
        if (found != items_.end() && found->second == item) {
            items_.erase(found);
        }
    }
    void RemoveAll() noexcept { items_.clear(); }

private:
    struct Hash {
        std::size_t operator()(const ETabulonTag& tag) const noexcept { return tag.Hash(); }
    };
    std::unordered_map<ETabulonTag, _TREEITEM*, Hash> items_;
};

}  // namespace etabulon
