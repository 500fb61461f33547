#pragma once

#include "etabulon/tree/EDataTreeNode.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The children of one node: in sort order, but for newcomers that wait at the end for their place,
/// and, where they are many, an index by value.
///
/// The order is that of filing one child after the other, each in front of the first sibling that
/// isn't below it. A newcomer therefore stands before its equals, and of equal newcomers the last
/// stands first. Filing many at once gives the same order by one sort and one merge. Newcomers get
/// their places by the order that held when they came.
///
/// Ownership  one reference to each child, which the owner gives back: see TakeAll and TakeDirty.
/// Failure    std::bad_alloc leaves all as it was.
class TreeChildren {
public:
    explicit TreeChildren(const EDataTreeNode& owner) : owner_(owner) {}
    TreeChildren(const TreeChildren&) = delete;
    TreeChildren& operator=(const TreeChildren&) = delete;

    [[nodiscard]] std::size_t Size() const noexcept { return nodes_.size(); }
    /// By place, which is sort order once Place has run.
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept { return nodes_[index]; }
    [[nodiscard]] bool HasByValue() const noexcept { return irregular_ != nodes_.size(); }
    /// The level whose values tell the children apart. Requires HasByValue().
    [[nodiscard]] unsigned Level() const noexcept { return level_; }
    /// Each child is found by a value of `level`.
    [[nodiscard]] bool IsOnlyOf(unsigned level) const noexcept {
        return nodes_.empty() || (irregular_ == 0 && level_ == level);
    }
    [[nodiscard]] bool HasWaiting() const noexcept { return placed_ != nodes_.size(); }

    /// The child that stands for `value` of Level(); null if there is none.
    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value);
    /// The child that can't be found by value and has this tag.
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    /// Takes over the reference. The child waits for its place.
    void Add(EDataTreeNode* child);
    /// Gives the waiting children their places.
    void Place();
    /// The children with their references. None is left.
    [[nodiscard]] std::vector<EDataTreeNode*> TakeAll() noexcept;
    /// The same of those that are dirty.
    [[nodiscard]] std::vector<EDataTreeNode*> TakeDirty();

private:
    // Up to here each child is looked at, up to there each one's mark; beyond there is an index.
    static constexpr std::size_t kHandfulOfChildren = 3;
    static constexpr std::size_t kFewChildren = 32;

    struct SortItem;
    class SortTexts;

    void LookAhead(std::size_t place) const noexcept;
    void KnowOrder(const ETabulonSortDesc& sort);
    void PlaceByScan();
    void PlaceBySort();
    [[nodiscard]] EDataTreeNode* FindByMark(const ETabulonValue& value);
    [[nodiscard]] EDataTreeNode* FindByIndex(const ETabulonValue& value);
    void MakeRoom();
    void Index(std::size_t place) noexcept;
    void Reindex() noexcept;

    const EDataTreeNode& owner_;
    std::vector<EDataTreeNode*> nodes_;
    // A look at a node costs more than the rest of a lookup. While the children are few, 16 bits of
    // the hash of each, by place, tell which nodes to look at.
    std::array<std::uint16_t, kFewChildren> marks_;
    // Once they are many: open addressing. A slot is 0, or place + 1 in as many bits as the number
    // of slots has, with the hash's bits above them.
    std::vector<std::uint32_t> slots_;
    bool isIndexStale_ = false;    // marks_ or slots_, whichever is used, are of another order
    std::uint32_t placed_ = 0;     // this many from the front have their place
    std::uint32_t irregular_ = 0;  // children that can't be found by value
    std::uint32_t level_ = 0;      // of the children found by value

    // The order by which the newest came.
    std::uint32_t orderLevel_ = 0;
    std::uint64_t orderStamp_ = 0;  // of the sort description
    bool isOrdered_ = false;        // there is such an order
    bool isReverse_ = false;
    bool isOnData_ = false;
    bool isMixed_ = false;  // some were placed by another order: they needn't be in this one
};

}  // namespace etabulon::detail
