#pragma once

#include "tree/NodeAccess.h"
#include "tree/TreeSiblings.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace etabulon::detail {

/// New leaves of a walk by blocks, in the order of their records, until they are given to their
/// parents all at once. A record then appends to one array instead of reading its parent, that
/// parent's list and the list's end; and each list gets room for as many as come.
///
/// Only leaves that are known to be new without a lookup are taken: whole numbers above those that
/// the parent has. The caller numbers the parents.
///
/// Failure  std::bad_alloc from Add leaves all as it was. From Flush it loses leaves: the walk has
///          to fail.
class TreeNewLeaves {
public:
    explicit TreeNewLeaves(const ETabulonSortDesc& sort) noexcept : sort_(sort) {}

    /// What the leaves have in common. Flushes those that are there if it changes.
    /// `depth` is that of the parents.
    void SetForm(unsigned int level, unsigned int depth, std::uint16_t type, TreeKeyForm keyForm);
    [[nodiscard]] TreeKeyForm KeyForm() const noexcept { return keyForm_; }

    /// Takes a leaf. False if it may not be new, or needs a node; and always until Learn is called
    /// for the parent.
    [[nodiscard]] bool Add(std::uint32_t parent, std::int64_t number, std::int64_t key) {
        if (parent >= largest_.size() || number <= largest_[parent] ||
            number > TreeUnmadeLeaves::kMost) {
            return false;
        }
        leaves_.push_back({parent, {TreeUnmadeLeaves::WordOf(number), key}});
        largest_[parent] = number;
        return true;
    }
    /// Looks up which numbers are new to the parent. Requires that none of its leaves wait.
    void Learn(std::uint32_t parent, EDataTreeNode& node);
    [[nodiscard]] bool Knows(std::uint32_t parent) const noexcept {
        return parent < largest_.size() && parents_[parent] != nullptr;
    }
    /// The parent gets leaves by another way.
    void Forget(std::uint32_t parent) noexcept {
        if (parent < largest_.size()) {
            largest_[parent] = kNoNumber;
            parents_[parent] = nullptr;
        }
    }

    [[nodiscard]] bool IsEmpty() const noexcept { return leaves_.empty(); }
    /// So many that a caller who cancels the walk needn't wait for them any longer.
    [[nodiscard]] bool IsFull() const noexcept { return leaves_.size() >= kMost; }
    /// Gives the leaves to their parents.
    void Flush();
    /// Forgets all parents, and leaves that still wait.
    void Clear() noexcept;

private:
    struct NewLeaf {
        std::uint32_t parent;
        TreeLeafWords words;
    };
    static constexpr std::size_t kMost = std::size_t{1} << 19;
    static constexpr std::int64_t kNoNumber = std::numeric_limits<std::int64_t>::max();

    const ETabulonSortDesc& sort_;
    unsigned int level_ = 0;
    std::uint16_t type_ = 0;
    TreeKeyForm keyForm_{};
    TreeOrder order_;  // that held when the leaves came
    std::vector<NewLeaf> leaves_;
    // By parent.
    std::vector<std::int64_t> largest_;  // kNoNumber: takes none
    std::vector<EDataTreeNode*> parents_;
    // Scratch of Flush.
    std::vector<std::uint32_t> ends_;
    std::vector<TreeLeafWords> sorted_;
};

}  // namespace etabulon::detail
