#pragma once

#include "etabulon/tree/EDataTreeNode.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The children of a node that has had more than one: in sort order, but for newcomers that wait
/// behind them for their place, and, where they are many, an index by value.
///
/// The order is that of filing one child after the other, each in front of the first sibling that
/// isn't below it. A newcomer therefore stands before its equals, and of equal newcomers the last
/// stands first. Filing many at once gives the same order by one sort and one merge. Newcomers get
/// their places by the order that held when they came.
///
/// Ownership  the references are the owner's affair: see TreeChildren.
/// Failure    std::bad_alloc leaves all as it was.
class TreeSiblings {
public:
    TreeSiblings(const EDataTreeNode& owner, EDataTreeNode* first);
    TreeSiblings(const TreeSiblings&) = delete;
    TreeSiblings& operator=(const TreeSiblings&) = delete;

    [[nodiscard]] std::size_t Size() const noexcept { return size_; }
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept {
        return index < placed_.size() ? placed_[index] : waiting_[index - placed_.size()].node;
    }
    [[nodiscard]] bool HasByValue() const noexcept { return irregular_ != size_; }
    [[nodiscard]] unsigned Level() const noexcept { return level_; }
    [[nodiscard]] bool IsOnlyOf(unsigned level) const noexcept {
        return size_ == 0 || (irregular_ == 0 && level_ == level);
    }
    [[nodiscard]] bool HasWaiting() const noexcept { return !waiting_.empty(); }

    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value);
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    void LookAtEnd() const noexcept { __builtin_prefetch(waiting_.data() + waiting_.size()); }

    void Add(EDataTreeNode* child);
    void Place();
    [[nodiscard]] std::vector<EDataTreeNode*> TakeDirty();

private:
    // Up to here each child is looked at, up to there each one's mark; beyond there is an index.
    static constexpr std::uint32_t kHandfulOfChildren = 3;
    static constexpr std::uint32_t kFewChildren = 32;

    struct Newcomer {
        EDataTreeNode* node;
        std::int64_t number;  // its value, where all are whole numbers
    };
    struct SortItem;
    class SortTexts;

    void Note(const EDataTreeNode& child) noexcept;
    void KnowOrder(const ETabulonSortDesc& sort);
    void PlaceByScan();
    void PlaceBySort();
    [[nodiscard]] EDataTreeNode* FindByMark(const ETabulonValue& value);
    [[nodiscard]] EDataTreeNode* FindByIndex(const ETabulonValue& value);
    void MakeRoom();
    void ForgetIndex() noexcept;
    void IndexAll() noexcept;
    void Index(std::uint32_t place) noexcept;

    const EDataTreeNode& owner_;
    std::vector<Newcomer> waiting_;
    // A look at a node costs more than the rest of a lookup. While all children are whole numbers,
    // a larger one is known to be new: keys of records usually come in rising order.
    std::int64_t largest_ = 0;
    std::uint64_t orderStamp_ = 0;  // of the sort description, when the newest came
    std::uint32_t size_ = 0;
    std::uint32_t irregular_ = 0;  // children that can't be found by value
    std::uint32_t level_ = 0;      // of the children found by value
    std::uint32_t indexed_ = 0;    // this many, by place, are in marks_ or slots_

    // The order by which the newest came.
    std::uint32_t orderLevel_ = 0;
    bool isOrdered_ = false;  // there is such an order
    bool isReverse_ = false;
    bool isOnData_ = false;
    bool isMixed_ = false;  // some were placed by another order: they needn't be in this one
    bool areNumbers_ = true;

    std::vector<EDataTreeNode*> placed_;
    // While the children are few, 16 bits of the hash of each, by place, tell which to look at.
    std::array<std::uint16_t, kFewChildren> marks_;
    // Once they are many: open addressing, packed to four bytes a slot, so not a HashIndex. A slot
    // is 0, or place + 1 in as many bits as the number of slots has, with the hash's bits above.
    std::vector<std::uint32_t> slots_;
};

}  // namespace etabulon::detail
