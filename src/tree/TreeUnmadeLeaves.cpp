#include "tree/TreeUnmadeLeaves.h"

#include <algorithm>
#include <cstring>

namespace etabulon::detail {

namespace {

constexpr std::size_t kFirst = 4;

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
    TreeLeafWords& leaf = leaves_.emplace_back();
    leaf.key = key.word;
    keyForm_ = key.form;
    type_ = value.Data().Type();
    isText_ = type_ == TYPE_CHAINE;
    if (isText_) {
        leaf.value = reinterpret_cast<std::uint64_t>(value.Data().AsChaine().Detach());
        return;
    }
    std::int64_t number = 0;
    static_cast<void>(ReadWholeNumber(value, number));
    leaf.value = WordOf(number);
}

void TreeUnmadeLeaves::AddNumbers(const TreeNumberLeaves& numbers) {
    leaves_.insert(leaves_.end(), numbers.leaves.begin(), numbers.leaves.end());
    type_ = numbers.type;
    keyForm_ = numbers.keyForm;
    isText_ = false;
}

void TreeUnmadeLeaves::CopyNumbers(const TreeUnmadeLeaves& from) {
    AddNumbers({0, from.type_, from.keyForm_, from.leaves_});
    SetAllDirty(/*dirty=*/false);
}

bool TreeUnmadeLeaves::HasNegative() const noexcept {
    return std::any_of(leaves_.begin(), leaves_.end(),
                       [](const TreeLeafWords& leaf) { return NumberOf(leaf) < 0; });
}

EVariant TreeUnmadeLeaves::NumberData(std::uint16_t type, const TreeLeafWords& leaf) {
    const std::int64_t number = NumberOf(leaf);
    return type == TYPE_INT64 ? EVariant::FromInt64(number) : EVariant(static_cast<int>(number));
}

void TreeUnmadeLeaves::Clear() noexcept {
    for (std::size_t index = 0; isText_ && index < leaves_.size(); ++index) {
        PrefetchTextsNear(index);
        Chaine::Release(BodyOf(leaves_[index]));
    }
    std::vector<TreeLeafWords>().swap(leaves_);
}

void TreeUnmadeLeaves::PrefetchTextsNear(std::size_t index) const noexcept {
    constexpr std::size_t kAhead = 16;
    const std::size_t end = std::min(leaves_.size(), index + kAhead + 1);
    for (std::size_t near = index == 0 ? 0 : index + kAhead; near < end; ++near) {
        PrefetchText(near);
    }
}

EVariant TreeUnmadeLeaves::DataOf(std::size_t index) const {
    const TreeLeafWords& leaf = leaves_[index];
    if (isText_) {
        return EVariant(Chaine::Share(BodyOf(leaf)));
    }
    return NumberData(type_, leaf);
}

/// The leaf's text and the value's are one body, which therefore needn't be read.
bool TreeUnmadeLeaves::IsSameText(std::size_t index, const ETabulonValue& value) const noexcept {
    return isText_ && value.Data().Type() == TYPE_CHAINE &&
           value.Data().GetBuffer() == BodyOf(leaves_[index])->Text();
}

bool TreeUnmadeLeaves::IsEqual(std::size_t index, const ETabulonValue& value) const {
    return value.Status() == ETabulonValue::ValNormal &&
           (IsSameText(index, value) || value.Data() == DataOf(index));
}

bool TreeUnmadeLeaves::IsIdentical(std::size_t index, const ETabulonValue& value) const {
    return value.IsPlain() &&
           (IsSameText(index, value) || value.Data().IsIdenticalTo(DataOf(index)));
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
    for (TreeLeafWords& leaf : leaves_) {
        leaf.value = (leaf.value & ~kDirty) | (dirty ? kDirty : 0);
    }
}

bool TreeUnmadeLeaves::HasDirty() const noexcept {
    return std::any_of(leaves_.begin(), leaves_.end(),
                       [](const TreeLeafWords& leaf) { return (leaf.value & kDirty) != 0; });
}

std::size_t TreeUnmadeLeaves::DropDirty() noexcept {
    return std::erase_if(leaves_, [this](const TreeLeafWords& leaf) {
        const bool isDirty = (leaf.value & kDirty) != 0;
        if (isDirty && isText_) {
            Chaine::Release(BodyOf(leaf));
        }
        return isDirty;
    });
}

}  // namespace etabulon::detail
