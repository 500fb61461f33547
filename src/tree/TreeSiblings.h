#pragma once

#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeUnmadeLeaves.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// How children of a depth are sorted in, as a sort description tells at one time.
struct TreeOrder {
    TreeOrder() = default;
    /// `depth` is that of the children's parent.
    TreeOrder(const ETabulonSortDesc& sort, unsigned int depth);

    std::uint64_t stamp = 0;  // of the sort description
    std::uint32_t level = 0;
    bool isOrdered = false;  // there is such an order
    bool isReverse = false;
    ETabulonSortDesc::SortCompareSource source = ETabulonSortDesc::CompareOnDisplay;
};

/// The children of a node that has had more than one: those in sort order, after them the new ones
/// that wait to be sorted in, and, where they are many, an index by value. The last of the new ones
/// may be leaves without a node: MakeAll makes their nodes, which takes no child from its index.
///
/// The order is that of filing one child after the other, each in front of the first sibling that
/// isn't below it. A new child therefore stands before its equals, and of equal new children the
/// last stands first. Filing many at once gives the same order by one sort and one merge. New
/// children are sorted in by the order that held when they came.
///
/// Ownership  none: TreeChildren tells who releases the references.
/// Failure    std::bad_alloc leaves all as it was.
class TreeSiblings {
public:
    /// `first` may be null: then children are added at once.
    TreeSiblings(EDataTreeNode& owner, EDataTreeNode* first, const TreeOrder& order);
    TreeSiblings(const TreeSiblings&) = delete;
    TreeSiblings& operator=(const TreeSiblings&) = delete;

    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    /// The children that have a node come first.
    [[nodiscard]] std::size_t MadeSize() const noexcept { return size_ - unmade_.Size(); }
    /// Requires index < MadeSize().
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept {
        return index < ordered_.size() ? ordered_[index] : waiting_[index - ordered_.size()].node;
    }
    [[nodiscard]] bool HasByValue() const noexcept { return irregular_ != size_; }
    [[nodiscard]] unsigned int Level() const noexcept { return level_; }
    [[nodiscard]] bool IsOnlyOf(unsigned int level) const noexcept {
        return size_ == 0 || (irregular_ == 0 && level_ == level);
    }
    [[nodiscard]] bool HasWaiting() const noexcept {
        return !waiting_.empty() || !unmade_.IsEmpty();
    }

    /// The child of that value, or kNone. Makes no node.
    [[nodiscard]] std::uint32_t Find(const ETabulonValue& value);
    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value);
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    /// Prefetches what a new leaf touches, and then, once it has arrived, the lists' ends.
    void Prefetch() const noexcept {
        PrefetchToWrite(this);
        PrefetchToWrite(reinterpret_cast<const char*>(this) + kLine - 1);
    }
    void PrefetchEnd() const noexcept {
        PrefetchToRead(waiting_.data() + waiting_.size());
        unmade_.PrefetchEnd();
    }

    void Add(EDataTreeNode* child);
    /// Makes the nodes that are missing.
    void MakeAll();
    /// Makes the nodes that are missing, and sorts the new children in.
    void OrderWaiting();
    /// FindOrder needs no further nodes.
    [[nodiscard]] bool CanFindOrder() const noexcept {
        return ordered_.size() <= 1 && waiting_.empty() && irregular_ == 0 &&
               level_ == order_.level;
    }
    /// Finds the order that OrderWaiting would put the children in, by their indexes, without
    /// making nodes; or, unless `isSorted`, the order in which they came. Requires CanFindOrder.
    void FindOrder(std::vector<std::uint32_t>& order, bool isSorted) const;
    /// The order may depend on that in which the children came: two of them compared as equal, or
    /// it wasn't found out. Requires that none waits.
    [[nodiscard]] bool IsByArrival() const noexcept { return isByArrival_; }
    /// Takes the dirty children out: their nodes, with their references, and those without a node.
    [[nodiscard]] std::vector<EDataTreeNode*> TakeDirty();

    // Leaves without a node. Indexes stay valid until children are sorted in or taken out.

    /// Sorts in new children that came by an older order, so that Add and AddUnmade take no child
    /// from its index.
    void OrderOlder(const ETabulonSortDesc& sort);
    /// A leaf of that value can be added without a node. Requires that Find is kNone for it.
    [[nodiscard]] bool CanAddUnmade(const ETabulonValue& value, TreeKeyForm form) const noexcept {
        return irregular_ == 0 && unmade_.CanAdd(value, form);
    }
    /// Returns its index. Requires CanAddUnmade, and IsOnlyOf(level).
    std::uint32_t AddUnmade(const ETabulonSortDesc& sort, unsigned int level,
                            const ETabulonValue& value, TreeKeyWord key);
    /// Whole numbers above `largest` are new, and can be added without a node.
    [[nodiscard]] bool CanAddNumbers(std::uint16_t type, TreeKeyForm form,
                                     std::int64_t& largest) const noexcept;
    /// Adds rising ones above the largest. Requires CanAddNumbers, and IsOnlyOf their level.
    void AddNumbers(const TreeOrder& order, const TreeNumberLeaves& numbers);
    /// No child has a node, and their order is by their values alone: no two whole numbers without
    /// a sign are sorted alike.
    [[nodiscard]] bool CanBeCopied() const noexcept {
        return MadeSize() == 0 && areNumbers_ && !unmade_.HasNegative();
    }
    /// Adds the children of `from` to none. Requires from.CanBeCopied().
    void CopyUnmade(const TreeSiblings& from);
    [[nodiscard]] bool IsUnmade(std::size_t index) const noexcept { return index >= MadeSize(); }
    /// By index from MadeSize() on. Indexes of its own, from 0.
    [[nodiscard]] TreeUnmadeLeaves& Unmade() noexcept { return unmade_; }
    [[nodiscard]] const TreeUnmadeLeaves& Unmade() const noexcept { return unmade_; }

    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

private:
    // Lookup by the number of children: up to 3 compare values; up to 32 compare fingerprints, 16
    // bits of the hash each, which are 64 bytes; more use a hash index.
    static constexpr std::size_t kLine = 64;
    static constexpr std::uint32_t kHandfulOfChildren = 3;
    static constexpr std::uint32_t kFewChildren = 32;

    struct NewChild {
        EDataTreeNode* node;
        std::int64_t word;  // its value, where all are whole numbers, or else the value's hash
    };
    struct SortItem;
    class SortTexts;

    [[nodiscard]] std::int64_t WordOf(const ETabulonValue& value) const noexcept;
    [[nodiscard]] bool HasHash(std::size_t index) const noexcept {
        return !areNumbers_ && index >= ordered_.size() && !IsUnmade(index);
    }
    [[nodiscard]] std::uint32_t HashOf(std::size_t index) const;
    void Note(const EDataTreeNode& child) noexcept;
    void Count(bool isNumber, std::int64_t number) noexcept;
    void PrepareFor(const TreeOrder& order);
    void PrepareFor(const ETabulonSortDesc& sort);
    [[nodiscard]] static bool IsInFront(const SortTexts& texts, const SortItem& a,
                                        const SortItem& b) noexcept;
    [[nodiscard]] std::vector<SortItem> Sort(SortTexts& texts, std::size_t from) const;
    [[nodiscard]] std::vector<std::uint32_t> FindTargets(SortTexts& texts,
                                                         const std::vector<SortItem>& waiting);
    void OrderByScan();
    void OrderBySort();
    [[nodiscard]] bool Is(std::size_t index, const ETabulonValue& value) const;
    [[nodiscard]] bool IsNextNumber(std::int64_t number) noexcept;
    [[nodiscard]] std::uint32_t FindByFingerprint(const ETabulonValue& value);
    [[nodiscard]] std::uint32_t FindByIndex(const ETabulonValue& value);
    void MakeRoom();
    void ForgetIndex() noexcept;
    void IndexAll();
    void Index(std::uint32_t index);
    void PrefetchChild(std::size_t index) const noexcept;

    // What a new leaf touches comes first: one cache line.
    TreeUnmadeLeaves unmade_;
    // Reading a node costs more than the rest of a lookup. While all children are whole numbers, a
    // number above the largest is known to be new: keys of records usually come in rising order.
    std::int64_t largest_ = 0;
    std::uint64_t orderStamp_ = 0;  // that of order_
    std::uint32_t size_ = 0;
    std::uint32_t irregular_ : 31 = 0;  // children that can't be found by value
    std::uint32_t areNumbers_ : 1 = 1;
    std::uint32_t level_ = 0;  // of the children found by value
    std::uint32_t next_ = 0;   // of unmade_: after the one that was found last

    EDataTreeNode& owner_;
    std::vector<NewChild> waiting_;
    std::uint32_t indexed_ = 0;  // this many, from the front, are in fingerprints_ or slots_

    TreeOrder order_;       // by which the newest came
    bool isMixed_ = false;  // some were sorted in by another order, and needn't be in this one
    bool isByArrival_ = false;

    std::vector<EDataTreeNode*> ordered_;
    std::array<std::uint16_t, kFewChildren> fingerprints_;  // by index, while the children are few
    // Once they are many: open addressing, packed to four bytes a slot, so not a HashIndex. A slot
    // is 0, or index + 1 in as many bits as the number of slots has, with the hash's bits above.
    std::vector<std::uint32_t> slots_;
};

}  // namespace etabulon::detail
