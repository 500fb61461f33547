#include "tree/TreeNewLeaves.h"

#include <span>

namespace etabulon::detail {

namespace {

// Parents aren't neighbours in memory: so many are prefetched ahead of the one that gets leaves.
constexpr std::size_t kAhead = 16;

}  // namespace

void TreeNewLeaves::SetForm(unsigned int level, unsigned int depth, std::uint16_t type,
                            TreeKeyForm keyForm) {
    if (level == level_ && type == type_ && keyForm == keyForm_ &&
        order_.stamp == sort_.OrderStamp()) {
        return;
    }
    Flush();
    Clear();
    level_ = level;
    type_ = type;
    keyForm_ = keyForm;
    order_ = TreeOrder(sort_, depth);
}

void TreeNewLeaves::Learn(std::uint32_t parent, EDataTreeNode& node) {
    if (parent >= largest_.size()) {
        parents_.resize(parent + 1, nullptr);
        largest_.resize(parent + 1, kNoNumber);
    }
    parents_[parent] = &node;
    largest_[parent] = kNoNumber;
    const TreeChildren& children = NodeAccess::Children(node);
    if (!children.IsOnlyOf(level_)) {
        return;
    }
    if (TreeSiblings* const siblings = children.Siblings(); siblings != nullptr) {
        siblings->OrderOlder(sort_);
        std::int64_t largest = 0;
        if (siblings->CanAddNumbers(type_, keyForm_, largest)) {
            largest_[parent] = largest;
        }
        return;
    }
    std::int64_t only = TreeUnmadeLeaves::kLeast - 1;
    if (children.IsEmpty() || ReadWholeNumber(NodeAccess::Value(*children.At(0)), only)) {
        largest_[parent] = only;
    }
}

/// A counting sort by parents, which keeps the order of each parent's leaves.
void TreeNewLeaves::Flush() {
    if (leaves_.empty()) {
        return;
    }
    ends_.assign(parents_.size() + 1, 0);
    for (const NewLeaf& leaf : leaves_) {
        ++ends_[leaf.parent + 1];
    }
    for (std::size_t parent = 1; parent < ends_.size(); ++parent) {
        ends_[parent] += ends_[parent - 1];
    }
    sorted_.resize(leaves_.size());
    for (const NewLeaf& leaf : leaves_) {
        sorted_[ends_[leaf.parent]++] = leaf.words;
    }
    leaves_.clear();
    // Each parent's end is where the next one began.
    std::size_t begin = 0;
    for (std::size_t parent = 0; parent < parents_.size(); ++parent) {
        if (parent + kAhead < parents_.size() && parents_[parent + kAhead] != nullptr) {
            NodeAccess::Prefetch(*parents_[parent + kAhead]);
        }
        const std::span<const TreeLeafWords> own =
            std::span(sorted_).subspan(begin, ends_[parent] - begin);
        begin = ends_[parent];
        if (!own.empty()) {
            EDataTreeNode& node = *parents_[parent];
            NodeAccess::Children(node).AddNumbers(node, order_, {level_, type_, keyForm_, own});
            NodeAccess::CountLeaves(node, own.size());
        }
    }
}

void TreeNewLeaves::Clear() noexcept {
    leaves_.clear();
    parents_.clear();
    largest_.clear();
}

}  // namespace etabulon::detail
