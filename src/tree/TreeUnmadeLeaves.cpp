#include "tree/TreeUnmadeLeaves.h"

#include <algorithm>
#include <cstring>

namespace etabulon::detail {

namespace {

constexpr std::size_t kFirst = 4;

// A leaf keeps a number in 63 bits.
bool FitsLeaf(std::int64_t number) noexcept {
    constexpr std::int64_t kEnd = std::int64_t{1} << 62;
    return number >= -kEnd && number < kEnd;
}

}  // namespace

bool ReadWholeNumber(const ETabulonValue& value, std::int64_t& number) noexcept {
    if (!value.IsPlain()) {
        return false;
    }
    const EVariant& data = value.Data();
    if (data.Type() == TYPE_INT64) {
        std::memcpy(&number, data.GetBuffer(), sizeof number);
        return true;
    }
    std::int32_t shorter = 0;
    if (data.Type() != TYPE_LONG) {
        return false;
    }
    std::memcpy(&shorter, data.GetBuffer(), sizeof shorter);
    number = shorter;
    return true;
}

bool TreeUnmadeLeaves::CanBe(const ETabulonValue& value, TreeKeyForm form) noexcept {
    std::int64_t number = 0;
    const bool isKept = ReadWholeNumber(value, number)
                            ? FitsLeaf(number)
                            : value.IsPlain() && value.Data().Type() == TYPE_CHAINE;
    return isKept && form != TreeKeyForm::Whole;
}

bool TreeUnmadeLeaves::CanAdd(const ETabulonValue& value, TreeKeyForm form) const noexcept {
    return CanBe(value, form) &&
           (leaves_.empty() || (value.Data().Type() == type_ && form == keyForm_));
}

void TreeUnmadeLeaves::Add(const ETabulonValue& value, TreeKeyWord key) {
    if (leaves_.capacity() == 0) {
        leaves_.reserve(kFirst);
    }
    Leaf& leaf = leaves_.emplace_back();
    leaf.key = key.word;
    keyForm_ = key.form;
    type_ = value.Data().Type();
    isText_ = type_ == TYPE_CHAINE;
    if (isText_) {
        leaf.word = reinterpret_cast<std::uint64_t>(value.Data().AsChaine().Detach());
        return;
    }
    std::int64_t number = 0;
    static_cast<void>(ReadWholeNumber(value, number));
    leaf.word = static_cast<std::uint64_t>(number) << 1;
}

void TreeUnmadeLeaves::Clear() noexcept {
    for (const Leaf& leaf : leaves_) {
        if (isText_) {
            Chaine::Release(BodyOf(leaf));
        }
    }
    std::vector<Leaf>().swap(leaves_);
}

EVariant TreeUnmadeLeaves::DataOf(std::size_t index) const {
    const Leaf& leaf = leaves_[index];
    if (isText_) {
        return EVariant(Chaine::Share(BodyOf(leaf)));
    }
    const std::int64_t number = NumberOf(leaf);
    return type_ == TYPE_INT64 ? EVariant::FromInt64(number) : EVariant(static_cast<int>(number));
}

bool TreeUnmadeLeaves::IsEqual(std::size_t index, const ETabulonValue& value) const {
    return value.Status() == ETabulonValue::ValNormal && value.Data() == DataOf(index);
}

bool TreeUnmadeLeaves::IsIdentical(std::size_t index, const ETabulonValue& value) const {
    return value.IsPlain() && value.Data().IsIdenticalTo(DataOf(index));
}

std::uint32_t TreeUnmadeLeaves::Hash(std::size_t index) const {
    ETabulonValue value;
    ReadValue(index, value);
    return value.Hash();
}

void TreeUnmadeLeaves::ReadValue(std::size_t index, ETabulonValue& value) const {
    value.Refill(DataOf(index));
}

void TreeUnmadeLeaves::SetAllDirty(bool dirty) noexcept {
    for (Leaf& leaf : leaves_) {
        leaf.word = (leaf.word & ~kDirty) | (dirty ? kDirty : 0);
    }
}

bool TreeUnmadeLeaves::HasDirty() const noexcept {
    return std::any_of(leaves_.begin(), leaves_.end(),
                       [](const Leaf& leaf) { return (leaf.word & kDirty) != 0; });
}

std::size_t TreeUnmadeLeaves::DropDirty() noexcept {
    return std::erase_if(leaves_, [this](const Leaf& leaf) {
        const bool isDirty = (leaf.word & kDirty) != 0;
        if (isDirty && isText_) {
            Chaine::Release(BodyOf(leaf));
        }
        return isDirty;
    });
}

}  // namespace etabulon::detail
