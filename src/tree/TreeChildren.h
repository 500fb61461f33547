#pragma once

#include "etabulon/tree/EDataTreeNode.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The children of one node: in sort order, but for newcomers that wait at the end for their place,
/// and, where they are many, an index by value.
///
/// The order is that of filing one child after the other, each in front of the first sibling that
/// isn't below it. A newcomer therefore stands before its equals, and of equal newcomers the last
/// stands first. Filing many at once gives the same order by one sort and one merge.
///
/// Ownership  one reference to each child.
class TreeChildren {
public:
    explicit TreeChildren(EDataTreeNode& owner) : owner_(owner) {}
    TreeChildren(const TreeChildren&) = delete;
    TreeChildren& operator=(const TreeChildren&) = delete;
    ~TreeChildren();

    [[nodiscard]] std::size_t Size() const noexcept { return nodes_.size(); }
    /// By place, which is sort order once Place has run.
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept { return nodes_[index]; }
    [[nodiscard]] bool HasByValue() const noexcept { return irregular_ != nodes_.size(); }
    /// The level whose values tell the children apart. Requires HasByValue().
    [[nodiscard]] unsigned Level() const noexcept { return level_; }
    /// Each child is found by a value of `level`.
    [[nodiscard]] bool IsOnlyOf(unsigned level) const noexcept {
        return irregular_ == 0 && level_ == level;
    }
    [[nodiscard]] bool HasWaiting() const noexcept { return placed_ != nodes_.size(); }

    /// The child that stands for `value` of the owner's next level; null if there is none.
    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value);
    /// The child whose tag is irregular and equal to `tag`.
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    /// Takes over the reference. The child waits for its place.
    void Add(EDataTreeNode* child);
    /// Gives the waiting children their places.
    void Place();
    /// Takes the entry out of `index` without closing the gap: Close does it for all.
    [[nodiscard]] EDataTreeNode* TakeOut(std::size_t index) noexcept;
    void CloseGaps();

private:
    struct SortItem;
    class SortTexts;

    void PlaceByScan(const ETabulonSortDesc::SortKey& key);
    void PlaceBySort(const ETabulonSortDesc::SortKey& key);
    void Index(std::size_t place) noexcept;
    void Reindex();
    void ReindexIfKept();

    EDataTreeNode& owner_;
    std::vector<EDataTreeNode*> nodes_;
    std::vector<std::uint32_t> slots_;  // place + 1, 0 = free; empty while the children are few
    std::uint32_t placed_ = 0;          // this many from the front are in sort order
    std::uint32_t irregular_ = 0;       // children that can't be found by value
    std::uint32_t level_ = 0;           // of the children found by value
    std::uint64_t orderStamp_ = 0;      // of the sort description, when the order was made
};

}  // namespace etabulon::detail
