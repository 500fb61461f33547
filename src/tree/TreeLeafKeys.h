#pragma once

#include "tree/TreeLeafFiling.h"

#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The leaves that a walk by blocks has met, by the numbers that it gives them, and the key of the
/// last record of each. Keys wait here until they are written to the leaves all at once: a record
/// then touches eight bytes among its neighbours instead of a node.
///
/// Failure  std::bad_alloc from Add and Keep leaves all as it was. From Write it loses keys: the
///          walk has to fail.
class TreeLeafKeys {
public:
    /// The number of a leaf, which is the next one from 0. `isAlias`: the leaf may have another
    /// number too.
    std::uint32_t Add(const TreeLeaf& leaf, bool isAlias);
    [[nodiscard]] std::size_t Size() const noexcept { return leaves_.size(); }
    [[nodiscard]] const TreeLeaf& At(std::uint32_t leaf) const noexcept { return leaves_[leaf]; }
    /// Keeps a key that replaces those kept before.
    void Keep(std::uint32_t leaf, TreeKeyWord key) {
        if (key.form != form_ || hasAliases_) {
            return KeepOther(leaf, key);
        }
        words_[leaf] = key.word;
        if (!isKept_[leaf]) {
            MarkKept(leaf);
        }
    }
    [[nodiscard]] bool HasKeys() const noexcept { return !kept_.empty(); }
    void Write();
    /// Forgets the leaves, and keys that still wait.
    void Clear() noexcept;
    /// How often leaves were forgotten.
    [[nodiscard]] std::uint64_t Generation() const noexcept { return generation_; }

private:
    void KeepOther(std::uint32_t leaf, TreeKeyWord key);
    void MarkKept(std::uint32_t leaf);

    // By leaf.
    std::vector<TreeLeaf> leaves_;
    std::vector<std::int64_t> words_;
    std::vector<std::uint8_t> isKept_;
    std::vector<std::uint64_t> order_;  // only with aliases: when the key was kept

    std::vector<std::uint32_t> kept_;  // leaves whose key waits
    TreeKeyForm form_{};               // of the keys that wait
    bool hasAliases_ = false;          // some leaf may have two numbers
    std::uint64_t keeps_ = 0;
    std::uint64_t generation_ = 0;
};

}  // namespace etabulon::detail
