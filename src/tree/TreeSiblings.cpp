#include "tree/TreeSiblings.h"

#include "etabulon/foundation/detail/EPrefetch.h"
#include "tree/NodeAccess.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace etabulon::detail {

namespace {

constexpr auto kInTree = ETabulonSortDesc::SortKey::HideInTree;

constexpr std::size_t kFirstWaiting = 4;
// Siblings aren't neighbours in memory: so many are prefetched ahead of the one that is indexed,
// and as many again ahead of its text.
constexpr std::uint32_t kAhead = 8;

std::uint16_t FingerprintOf(std::uint32_t hash) noexcept {
    return static_cast<std::uint16_t>(hash >> 16);
}

}  // namespace

// ------------------------------------------------------------------------------------------- index

std::uint32_t TreeSiblings::Find(const ETabulonValue& value) {
    std::int64_t number = 0;
    if (areNumbers_ && ReadWholeNumber(value, number)) {
        if (number > largest_) {
            return kNone;
        }
        if (IsNextNumber(number)) {
            return static_cast<std::uint32_t>(MadeSize()) + next_++;
        }
    }
    std::uint32_t found = 0;
    if (size_ > kFewChildren) {
        found = FindByIndex(value);
    } else if (size_ > kHandfulOfChildren || indexed_ == size_) {
        found = FindByFingerprint(value);
    } else {
        while (found < size_ && !Is(found, value)) {
            ++found;
        }
        found = found < size_ ? found : kNone;
    }
    if (found != kNone && IsUnmade(found)) {
        next_ = found - static_cast<std::uint32_t>(MadeSize()) + 1;
    }
    return found;
}

EDataTreeNode* TreeSiblings::FindByValue(const ETabulonValue& value) {
    const std::uint32_t found = Find(value);
    if (found == kNone) {
        return nullptr;
    }
    if (IsUnmade(found)) {
        MakeAll();
    }
    return At(found);
}

bool TreeSiblings::Is(std::size_t index, const ETabulonValue& value) const {
    if (IsUnmade(index)) {
        return unmade_.IsEqual(index - MadeSize(), value);
    }
    const EDataTreeNode& node = *At(index);
    return NodeAccess::IsByValue(node) && NodeAccess::Value(node) == value;
}

/// A refresh meets the leaves in the order of the fill, so that most need no lookup.
bool TreeSiblings::IsNextNumber(std::int64_t number) noexcept {
    if (next_ >= unmade_.Size()) {
        next_ = 0;
    }
    return next_ < unmade_.Size() && unmade_.IsNumber(next_, number);
}

std::uint32_t TreeSiblings::FindByFingerprint(const ETabulonValue& value) {
    IndexAll();
    const std::uint16_t fingerprint = FingerprintOf(value.Hash());
    for (std::uint32_t index = 0; index < size_; ++index) {
        if (fingerprints_[index] == fingerprint && Is(index, value)) {
            return index;
        }
    }
    return kNone;
}

std::uint32_t TreeSiblings::FindByIndex(const ETabulonValue& value) {
    IndexAll();
    const auto mask = static_cast<std::uint32_t>(slots_.size() - 1);
    const std::uint32_t hash = value.Hash();
    for (std::uint32_t at = hash & mask; slots_[at] != 0; at = (at + 1) & mask) {
        if (((slots_[at] ^ hash) & ~mask) == 0 && Is((slots_[at] & mask) - 1, value)) {
            return (slots_[at] & mask) - 1;
        }
    }
    return kNone;
}

EDataTreeNode* TreeSiblings::FindIrregular(const ETabulonTag& tag) const {
    for (std::size_t index = 0; irregular_ != 0 && index < MadeSize(); ++index) {
        EDataTreeNode* node = At(index);
        if (!NodeAccess::IsByValue(*node) && node->Tag() == tag) {
            return node;
        }
    }
    return nullptr;
}

/// Makes room for one more child with a node.
void TreeSiblings::MakeRoom() {
    if (waiting_.capacity() == waiting_.size()) {
        waiting_.reserve(std::max(kFirstWaiting, waiting_.size() * 2));
    }
}

void TreeSiblings::ForgetIndex() noexcept {
    indexed_ = 0;
    std::fill(slots_.begin(), slots_.end(), 0U);
}

/// At least a quarter of the slots stays free.
void TreeSiblings::IndexAll() {
    if (const std::size_t needed = std::size_t{size_} * 4 / 3 + 1;
        size_ > kFewChildren && needed > slots_.size()) {
        std::vector<std::uint32_t> larger(std::bit_ceil(needed), 0);
        slots_.swap(larger);
        indexed_ = 0;
    }
    for (std::uint32_t index = indexed_; index < std::min(indexed_ + 2 * kAhead, size_ - 1);
         ++index) {
        PrefetchChild(index);
    }
    while (indexed_ < size_) {
        if (indexed_ + 2 * kAhead < size_) {
            PrefetchChild(indexed_ + 2 * kAhead);
        }
        if (indexed_ + kAhead < MadeSize() && !HasHash(indexed_ + kAhead)) {
            PrefetchToRead(NodeAccess::Value(*At(indexed_ + kAhead)).Data().GetBuffer());
        }
        Index(indexed_);
        ++indexed_;
    }
}

/// Prefetches what HashOf reads: the text of a leaf, or else the node.
void TreeSiblings::PrefetchChild(std::size_t index) const noexcept {
    if (IsUnmade(index)) {
        unmade_.PrefetchText(index - MadeSize());
    } else if (!HasHash(index)) {
        PrefetchToRead(&NodeAccess::Value(*At(index)));
    }
}

/// A new child's hash is at hand, so that a growing index reads neither its node nor its text.
std::uint32_t TreeSiblings::HashOf(std::size_t index) const {
    if (IsUnmade(index)) {
        return unmade_.Hash(index - MadeSize());
    }
    return HasHash(index) ? static_cast<std::uint32_t>(waiting_[index - ordered_.size()].word)
                          : NodeAccess::Value(*At(index)).Hash();
}

void TreeSiblings::Index(std::uint32_t index) {
    if (irregular_ != 0 && !IsUnmade(index) && !NodeAccess::IsByValue(*At(index)) &&
        size_ > kFewChildren) {
        return;
    }
    const std::uint32_t hash = HashOf(index);
    if (size_ <= kFewChildren) {
        fingerprints_[index] = FingerprintOf(hash);
        return;
    }
    const auto mask = static_cast<std::uint32_t>(slots_.size() - 1);
    std::uint32_t at = hash & mask;
    while (slots_[at] != 0) {
        at = (at + 1) & mask;
    }
    slots_[at] = (hash & ~mask) | (index + 1);
}

// ------------------------------------------------------------------------------------------ change

TreeOrder::TreeOrder(const ETabulonSortDesc& sort, unsigned int depth)
    : stamp(sort.OrderStamp()),
      isOrdered(depth < sort.SortLevelCount(kInTree)),
      source(sort.CompareSource()) {
    const ETabulonSortDesc::SortKey key =
        isOrdered ? sort.SortLevel(depth, kInTree) : ETabulonSortDesc::SortKey();
    level = key.Level();
    isReverse = key.IsReverseOrder();
}

TreeSiblings::TreeSiblings(EDataTreeNode& owner, EDataTreeNode* first, const TreeOrder& order)
    : orderStamp_(order.stamp), owner_(owner), order_(order) {
    if (first != nullptr) {
        ordered_.push_back(first);
        Note(*first);
    }
}

void TreeSiblings::Add(EDataTreeNode* child) {
    PrepareFor(NodeAccess::SortDesc(owner_));
    MakeAll();
    MakeRoom();
    Note(*child);
    waiting_.push_back({child, WordOf(NodeAccess::Value(*child))});
}

std::uint32_t TreeSiblings::AddUnmade(const ETabulonSortDesc& sort, unsigned int level,
                                      const ETabulonValue& value, TreeKeyWord key) {
    PrepareFor(sort);
    unmade_.Add(value, key);
    level_ = level;
    std::int64_t number = 0;
    const bool isNumber = areNumbers_ && ReadWholeNumber(value, number);
    Count(isNumber, number);
    next_ = static_cast<std::uint32_t>(unmade_.Size());
    if (!isNumber && size_ <= kFewChildren) {
        IndexAll();  // while the text is in the cache
    }
    return size_ - 1;
}

void TreeSiblings::OrderOlder(const ETabulonSortDesc& sort) {
    if (size_ != 0 && orderStamp_ != sort.OrderStamp()) {
        OrderWaiting();
    }
}

bool TreeSiblings::CanAddNumbers(std::uint16_t type, TreeKeyForm form,
                                 std::int64_t& largest) const noexcept {
    largest = largest_;
    return areNumbers_ && irregular_ == 0 && unmade_.CanAddNumbers(type, form);
}

void TreeSiblings::AddNumbers(const TreeOrder& order, const TreeNumberLeaves& numbers) {
    PrepareFor(order);
    unmade_.AddNumbers(numbers);
    level_ = numbers.level;
    largest_ = TreeUnmadeLeaves::NumberOf(numbers.leaves.back());
    const std::size_t size = size_ + numbers.leaves.size();
    if (size_ <= kFewChildren && size > kFewChildren) {
        indexed_ = 0;
    }
    size_ = static_cast<std::uint32_t>(size);
    next_ = static_cast<std::uint32_t>(unmade_.Size());
}

void TreeSiblings::CopyUnmade(const TreeSiblings& from) {
    unmade_.CopyNumbers(from.unmade_);
    size_ = from.size_;
    level_ = from.level_;
    largest_ = from.largest_;
}

void TreeSiblings::PrepareFor(const ETabulonSortDesc& sort) {
    if (size_ == 0 || orderStamp_ != sort.OrderStamp()) {
        PrepareFor(TreeOrder(sort, owner_.Depth()));
    }
}

/// New children are sorted in by `order` from here on.
void TreeSiblings::PrepareFor(const TreeOrder& order) {
    if (size_ != 0 && orderStamp_ == order.stamp) {
        return;
    }
    OrderWaiting();
    isMixed_ = isMixed_ || order.isOrdered != order_.isOrdered || order.level != order_.level ||
               order.isReverse != order_.isReverse || order.source != order_.source;
    order_ = order;
    orderStamp_ = order.stamp;
}

void TreeSiblings::MakeAll() {
    if (unmade_.IsEmpty()) {
        return;
    }
    const std::size_t before = waiting_.size();
    waiting_.reserve(before + unmade_.Size());
    try {
        ETabulonValue value;
        for (std::size_t index = 0; index < unmade_.Size(); ++index) {
            unmade_.ReadValue(index, value);
            EDataTreeNode* const node =
                NodeAccess::MakeChild(owner_, level_, value, /*isLeaf=*/true).Detach();
            NodeAccess::SetKeyWord(*node, unmade_.Key(index));
            NodeAccess::SetDirty(*node, unmade_.IsDirty(index));
            waiting_.push_back({node, WordOf(value)});
        }
    } catch (...) {
        for (; waiting_.size() > before; waiting_.pop_back()) {
            waiting_.back().node->Release();
        }
        throw;
    }
    unmade_.Clear();
}

/// What NewChild keeps of a child's value.
std::int64_t TreeSiblings::WordOf(const ETabulonValue& value) const noexcept {
    std::int64_t number = 0;
    return areNumbers_ && ReadWholeNumber(value, number) ? number : value.Hash();
}

void TreeSiblings::Note(const EDataTreeNode& child) noexcept {
    if (NodeAccess::IsByValue(child)) {
        level_ = NodeAccess::Level(child);
    } else {
        ++irregular_;
    }
    std::int64_t number = 0;
    const bool isNumber = areNumbers_ && NodeAccess::IsByValue(child) &&
                          ReadWholeNumber(NodeAccess::Value(child), number);
    Count(isNumber, number);
}

/// Counts a child that has been added.
void TreeSiblings::Count(bool isNumber, std::int64_t number) noexcept {
    if (areNumbers_ && !isNumber) {
        areNumbers_ = false;
        for (NewChild& newChild : waiting_) {
            newChild.word = WordOf(NodeAccess::Value(*newChild.node));
        }
    }
    largest_ = size_ == 0 ? number : std::max(largest_, number);
    if (++size_ == kFewChildren + 1) {
        indexed_ = 0;
    }
}

std::vector<EDataTreeNode*> TreeSiblings::TakeDirty() {
    const auto isDirty = [](const EDataTreeNode* node) { return NodeAccess::IsDirty(*node); };
    const std::size_t made = MadeSize();
    std::size_t dirty = 0;
    for (std::size_t index = 0; index < made; ++index) {
        dirty += isDirty(At(index)) ? 1U : 0U;
    }
    std::vector<EDataTreeNode*> taken;
    taken.reserve(dirty);
    for (std::size_t index = 0; index < made; ++index) {
        if (isDirty(At(index))) {
            taken.push_back(At(index));
            irregular_ -= NodeAccess::IsByValue(*At(index)) ? 0U : 1U;
        }
    }
    std::erase_if(ordered_, isDirty);
    std::erase_if(waiting_, [&](const NewChild& newChild) { return isDirty(newChild.node); });
    dirty += unmade_.DropDirty();
    size_ -= static_cast<std::uint32_t>(dirty);
    areNumbers_ = areNumbers_ || size_ == 0;
    ForgetIndex();
    if (size_ <= kFewChildren) {
        std::vector<std::uint32_t>().swap(slots_);
    }
    return taken;
}

}  // namespace etabulon::detail
