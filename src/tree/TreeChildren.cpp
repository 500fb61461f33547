#include "etabulon/tree/detail/TreeChildren.h"

#include "etabulon/foundation/detail/EPrefetch.h"
#include "tree/NodeAccess.h"
#include "tree/TreeSiblings.h"

#include <algorithm>
#include <memory>

namespace etabulon::detail {

TreeChildren::~TreeChildren() {
    if (!IsOne()) {
        delete Many();
    }
}

EDataTreeNode* TreeChildren::One() const noexcept {
    return reinterpret_cast<EDataTreeNode*>(word_ - kOne);
}

TreeSiblings* TreeChildren::Many() const noexcept { return reinterpret_cast<TreeSiblings*>(word_); }

std::size_t TreeChildren::Size() const noexcept {
    if (word_ == 0) {
        return 0;
    }
    return IsOne() ? 1 : Many()->Size();
}

std::size_t TreeChildren::MadeSize() const noexcept {
    return word_ == 0 || IsOne() ? Size() : Many()->MadeSize();
}

EDataTreeNode* TreeChildren::At(std::size_t index) const noexcept {
    return IsOne() ? One() : Many()->At(index);
}

bool TreeChildren::HasByValue() const noexcept {
    if (word_ == 0) {
        return false;
    }
    return IsOne() ? NodeAccess::IsByValue(*One()) : Many()->HasByValue();
}

unsigned int TreeChildren::Level() const noexcept {
    return IsOne() ? NodeAccess::Level(*One()) : Many()->Level();
}

bool TreeChildren::IsOnlyOf(unsigned int level) const noexcept {
    if (IsOne()) {
        return NodeAccess::IsByValue(*One()) && NodeAccess::Level(*One()) == level;
    }
    return word_ == 0 || Many()->IsOnlyOf(level);
}

bool TreeChildren::HasWaiting() const noexcept {
    return word_ != 0 && !IsOne() && Many()->HasWaiting();
}

void TreeChildren::PrefetchList() const noexcept {
    if (word_ != 0 && !IsOne()) {
        Many()->Prefetch();
    }
}

void TreeChildren::PrefetchNear(std::size_t index) const noexcept {
    constexpr std::size_t kAhead = 16;  // so many nodes are on their way at a time
    const std::size_t end = std::min(MadeSize(), index + kAhead + 1);
    for (std::size_t near = index == 0 ? 0 : index + kAhead; near < end; ++near) {
        PrefetchToWrite(At(near));
    }
}

void TreeChildren::PrefetchListEnd() const noexcept {
    if (word_ != 0 && !IsOne()) {
        Many()->PrefetchEnd();
    }
}

EDataTreeNode* TreeChildren::FindByValue(const ETabulonValue& value) const {
    if (word_ == 0) {
        return nullptr;
    }
    if (IsOne()) {
        return NodeAccess::IsByValue(*One()) && NodeAccess::Value(*One()) == value ? One()
                                                                                   : nullptr;
    }
    return Many()->FindByValue(value);
}

EDataTreeNode* TreeChildren::FindIrregular(const ETabulonTag& tag) const {
    if (word_ == 0) {
        return nullptr;
    }
    if (IsOne()) {
        return !NodeAccess::IsByValue(*One()) && One()->Tag() == tag ? One() : nullptr;
    }
    return Many()->FindIrregular(tag);
}

void TreeChildren::Add(EDataTreeNode& owner, EDataTreeNode* child) {
    if (word_ == 0) {
        word_ = reinterpret_cast<std::uintptr_t>(child) + kOne;
        return;
    }
    if (IsOne()) {
        auto siblings = MakeSiblings(owner);
        siblings->Add(child);
        word_ = reinterpret_cast<std::uintptr_t>(siblings.release());
        return;
    }
    Many()->Add(child);
}

std::uint32_t TreeChildren::AddUnmade(EDataTreeNode& owner, const ETabulonSortDesc& sort,
                                      unsigned int level, const ETabulonValue& value,
                                      TreeKeyWord key) {
    if (!IsOne()) {
        return Many()->AddUnmade(sort, level, value, key);
    }
    auto siblings = MakeSiblings(owner);
    const std::uint32_t index = siblings->AddUnmade(sort, level, value, key);
    word_ = reinterpret_cast<std::uintptr_t>(siblings.release());
    return index;
}

void TreeChildren::AddNumbers(EDataTreeNode& owner, const TreeOrder& order,
                              const TreeNumberLeaves& numbers) {
    if (word_ == 0 && numbers.leaves.size() == 1) {
        // An only child takes less memory than a list.
        const TreeLeafWords& leaf = numbers.leaves.front();
        ETabulonValue value;
        value.Refill(TreeUnmadeLeaves::NumberData(numbers.type, leaf));
        EDataTreeNode* const node =
            NodeAccess::MakeChild(owner, numbers.level, value, /*isLeaf=*/true).Detach();
        NodeAccess::SetKeyWord(*node, {leaf.key, numbers.keyForm});
        word_ = reinterpret_cast<std::uintptr_t>(node) + kOne;
        return;
    }
    if (word_ != 0 && !IsOne()) {
        Many()->AddNumbers(order, numbers);
        return;
    }
    auto siblings = std::make_unique<TreeSiblings>(owner, IsOne() ? One() : nullptr, order);
    siblings->AddNumbers(order, numbers);
    word_ = reinterpret_cast<std::uintptr_t>(siblings.release());
}

void TreeChildren::CopyUnmade(EDataTreeNode& owner, const TreeSiblings& from) {
    auto siblings = std::make_unique<TreeSiblings>(
        owner, nullptr, TreeOrder(NodeAccess::SortDesc(owner), owner.Depth()));
    siblings->CopyUnmade(from);
    word_ = reinterpret_cast<std::uintptr_t>(siblings.release());
}

/// A list of the only child.
std::unique_ptr<TreeSiblings> TreeChildren::MakeSiblings(EDataTreeNode& owner) const {
    return std::make_unique<TreeSiblings>(owner, One(),
                                          TreeOrder(NodeAccess::SortDesc(owner), owner.Depth()));
}

void TreeChildren::OrderWaiting() {
    if (HasWaiting()) {
        Many()->OrderWaiting();
    }
}

std::vector<EDataTreeNode*> TreeChildren::TakeDirty() {
    std::vector<EDataTreeNode*> taken;
    if (word_ == 0) {
        return taken;
    }
    if (!IsOne()) {
        taken = Many()->TakeDirty();
        if (Many()->Size() == 0) {
            delete Many();
            word_ = 0;
        }
    } else if (NodeAccess::IsDirty(*One())) {
        taken.push_back(One());
        word_ = 0;
    }
    return taken;
}

}  // namespace etabulon::detail
