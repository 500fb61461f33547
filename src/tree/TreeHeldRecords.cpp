#include "tree/TreeHeldRecords.h"

#include "etabulon/foundation/detail/EPrefetch.h"
#include "tree/TreeChildCache.h"

#include <utility>

namespace etabulon::detail {

void TreeHeldRecords::Hold(EDataTreeNode& parent, unsigned int level, const ETabulonValue& value,
                           TreeKeyWord key) {
    records_.reserve(kMost);
    PrefetchToRead(&parent);
    records_.push_back({&parent, value, key});
    level_ = level;
}

std::size_t TreeHeldRecords::File() {
    Prefetch();
    std::size_t known = 0;
    while (filed_ < records_.size()) {
        // Counted first: a reader in between files the rest.
        const std::size_t next = filed_++;
        try {
            known += FileOne(records_[next]) ? 1U : 0U;
        } catch (...) {
            Clear();
            throw;
        }
    }
    Clear();
    return known;
}

/// The parents themselves have been under way since Hold.
void TreeHeldRecords::Prefetch() const noexcept {
    for (const Record& record : records_) {
        NodeAccess::Children(*record.parent).PrefetchList();
    }
    for (const Record& record : records_) {
        NodeAccess::Children(*record.parent).PrefetchListEnd();
    }
}

void TreeHeldRecords::Clear() noexcept {
    records_.clear();
    filed_ = 0;
}

/// True if the walk had met the record's node already.
bool TreeHeldRecords::FileOne(const Record& record) {
    const TreeKeyWord key = record.key;  // a reader may end the record while its node is made
    EDataTreeNode& parent = *record.parent;
    if (NodeAccess::MakesPlainNodes(parent)) {
        const TreeLeafFiling::Result filed = leaves_.File(parent, level_, record.value, key);
        if (filed.leaf.node != nullptr) {
            cache_.WriteKeys();  // it may hold an older key of the same node
            TreeLeafFiling::SetKey(filed.leaf, key);
            return filed.wasMet;
        }
    }
    const TreeChildren& children = NodeAccess::Children(parent);
    EDataTreeNode* node = children.IsOnlyOf(level_) ? children.FindByValue(record.value) : nullptr;
    const bool isKnown = node != nullptr && !NodeAccess::IsDirty(*node);
    if (node == nullptr) {
        ETabulonTag tag;
        parent.ExtractTag(tag);
        tag.Slot(level_) = record.value;
        node = NodeAccess::FindChild(parent, tag);
        if (node == nullptr) {
            node = marks_.Take(parent, NodeAccess::MakeChild(parent, tag, sort_));
        }
    }
    marks_.Meet(*node);
    cache_.WriteKeys();
    NodeAccess::SetKeyWord(*node, key);
    return isKnown;
}

}  // namespace etabulon::detail
