#include "etabulon/tree/detail/TreeChildren.h"

#include "tree/TreeSiblings.h"

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

EDataTreeNode* TreeChildren::At(std::size_t index) const noexcept {
    return IsOne() ? One() : Many()->At(index);
}

bool TreeChildren::HasByValue() const noexcept {
    if (word_ == 0) {
        return false;
    }
    return IsOne() ? One()->byValue_ : Many()->HasByValue();
}

unsigned TreeChildren::Level() const noexcept { return IsOne() ? One()->level_ : Many()->Level(); }

bool TreeChildren::IsOnlyOf(unsigned level) const noexcept {
    if (IsOne()) {
        return One()->byValue_ && One()->level_ == level;
    }
    return word_ == 0 || Many()->IsOnlyOf(level);
}

bool TreeChildren::HasWaiting() const noexcept {
    return word_ != 0 && !IsOne() && Many()->HasWaiting();
}

void TreeChildren::LookAhead() const noexcept {
    if (word_ != 0 && !IsOne()) {
        __builtin_prefetch(Many());
    }
}

void TreeChildren::LookAhead(std::size_t index) const noexcept {
    constexpr std::size_t kAhead = 16;
    const std::size_t size = Size();
    for (std::size_t near = index == 0 ? 0 : index + kAhead; near <= index + kAhead; ++near) {
        if (near < size) {
            __builtin_prefetch(At(near), /*rw=*/1);
        }
    }
}

void TreeChildren::LookAtEnd() const noexcept {
    if (word_ != 0 && !IsOne()) {
        Many()->LookAtEnd();
    }
}

EDataTreeNode* TreeChildren::FindByValue(const ETabulonValue& value) const {
    if (word_ == 0) {
        return nullptr;
    }
    if (IsOne()) {
        return One()->byValue_ && One()->value_ == value ? One() : nullptr;
    }
    return Many()->FindByValue(value);
}

EDataTreeNode* TreeChildren::FindIrregular(const ETabulonTag& tag) const {
    if (word_ == 0) {
        return nullptr;
    }
    if (IsOne()) {
        return !One()->byValue_ && One()->Tag() == tag ? One() : nullptr;
    }
    return Many()->FindIrregular(tag);
}

void TreeChildren::Add(const EDataTreeNode& owner, EDataTreeNode* child) {
    if (word_ == 0) {
        word_ = reinterpret_cast<std::uintptr_t>(child) + kOne;
        return;
    }
    if (IsOne()) {
        auto siblings = std::make_unique<TreeSiblings>(owner, One());
        siblings->Add(child);
        word_ = reinterpret_cast<std::uintptr_t>(siblings.release());
        return;
    }
    Many()->Add(child);
}

void TreeChildren::Place() {
    if (HasWaiting()) {
        Many()->Place();
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
    } else if (One()->dirty_) {
        taken.push_back(One());
        word_ = 0;
    }
    return taken;
}

}  // namespace etabulon::detail
