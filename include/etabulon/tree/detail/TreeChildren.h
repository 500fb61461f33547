#pragma once

#include "etabulon/foundation/EExport.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace etabulon {
class EDataTreeNode;
class ETabulonTag;
class ETabulonValue;
}  // namespace etabulon

namespace etabulon::detail {

class TreeSiblings;

/// The children of one node. None or one, as most nodes have, takes a word; more have an object of
/// their own, which keeps their order and finds them.
///
/// Ownership  one reference to each child, which the owner gives back: see TakeDirty, and move from
///            this for all.
/// Failure    std::bad_alloc leaves all as it was.
class TreeChildren {
public:
    TreeChildren() noexcept = default;
    TreeChildren(TreeChildren&& other) noexcept : word_(std::exchange(other.word_, 0)) {}
    TreeChildren(const TreeChildren&) = delete;
    TreeChildren& operator=(const TreeChildren&) = delete;
    ~TreeChildren();

    [[nodiscard]] bool IsEmpty() const noexcept { return word_ == 0; }
    [[nodiscard]] std::size_t Size() const noexcept;
    /// By place, which is sort order once Place has run. Requires index < Size().
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept;
    [[nodiscard]] bool HasByValue() const noexcept;
    /// The level whose values tell the children apart. Requires HasByValue().
    [[nodiscard]] unsigned Level() const noexcept;
    /// Each child is found by a value of `level`.
    [[nodiscard]] bool IsOnlyOf(unsigned level) const noexcept;
    [[nodiscard]] bool HasWaiting() const noexcept;

    /// Ask the memory for what Add will read: first this, and a little later that.
    void LookAhead() const noexcept;
    void LookAtEnd() const noexcept;

    /// Asks the memory for children near `index`, for a pass over all of them in order.
    void LookAhead(std::size_t index) const noexcept;

    /// The child that stands for `value` of Level(); null if there is none.
    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value) const;
    /// The child that can't be found by value and has this tag.
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    /// Takes over the reference. The child waits for its place among its siblings.
    void Add(const EDataTreeNode& owner, EDataTreeNode* child);
    /// Gives the waiting children their places.
    void Place();
    /// The dirty children with their references.
    [[nodiscard]] std::vector<EDataTreeNode*> TakeDirty();

private:
    static constexpr std::uintptr_t kOne = 1;

    [[nodiscard]] bool IsOne() const noexcept { return (word_ & kOne) != 0; }
    [[nodiscard]] EDataTreeNode* One() const noexcept;
    [[nodiscard]] TreeSiblings* Many() const noexcept;

    std::uintptr_t word_ = 0;  // a node's address plus kOne, or that of TreeSiblings
};

}  // namespace etabulon::detail
