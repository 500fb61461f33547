#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/tree/fwd.h"
#include "etabulon/values/fwd.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace etabulon {}  // namespace etabulon

namespace etabulon::detail {

class TreeSiblings;
struct TreeKeyWord;
struct TreeNumberLeaves;
struct TreeOrder;

/// The children of one node. None or one, as most nodes have, takes one word; more are in an object
/// of their own, TreeSiblings, which keeps their order and finds them.
///
/// Ownership  one reference to each child. The destructor releases none: the owner takes children
///            out by TakeDirty, or moves from this object, and releases them itself.
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
    /// The children that have a node. The others come after them, see TreeSiblings.
    [[nodiscard]] std::size_t MadeSize() const noexcept;
    /// In sort order once OrderWaiting has run; before, new children stand at the end. Requires
    /// index < MadeSize().
    [[nodiscard]] EDataTreeNode* At(std::size_t index) const noexcept;
    [[nodiscard]] bool HasByValue() const noexcept;
    /// The level whose values tell the children apart. Requires HasByValue().
    [[nodiscard]] unsigned int Level() const noexcept;
    /// Each child, if there is one, is found by a value of `level`.
    [[nodiscard]] bool IsOnlyOf(unsigned int level) const noexcept;
    [[nodiscard]] bool HasWaiting() const noexcept;

    /// Prefetch what Add reads: the object that keeps the children, and then, once it has arrived,
    /// the end of its list.
    void PrefetchList() const noexcept;
    void PrefetchListEnd() const noexcept;
    /// Prefetches the nodes from a little way after `index`, for a pass over all of them in order.
    void PrefetchNear(std::size_t index) const noexcept;

    /// The child that stands for `value` of Level(); null if there is none.
    [[nodiscard]] EDataTreeNode* FindByValue(const ETabulonValue& value) const;
    /// The child that can't be found by value and has this tag.
    [[nodiscard]] EDataTreeNode* FindIrregular(const ETabulonTag& tag) const;

    /// Takes over the reference. The child waits at the end to be sorted in.
    void Add(EDataTreeNode& owner, EDataTreeNode* child);
    /// TreeSiblings::AddUnmade, beside at least one child.
    std::uint32_t AddUnmade(EDataTreeNode& owner, const ETabulonSortDesc& sort, unsigned int level,
                            const ETabulonValue& value, TreeKeyWord key);
    /// TreeSiblings::AddNumbers, beside any number of children.
    void AddNumbers(EDataTreeNode& owner, const TreeOrder& order, const TreeNumberLeaves& numbers);
    /// TreeSiblings::CopyUnmade. Requires that there are no children.
    void CopyUnmade(EDataTreeNode& owner, const TreeSiblings& from);
    /// Makes the nodes that are missing, and sorts the waiting children in.
    void OrderWaiting();
    /// Takes the dirty children out: their nodes, with their references, and those without a node.
    [[nodiscard]] std::vector<EDataTreeNode*> TakeDirty();
    /// The object that keeps the children; null where there are none or one.
    [[nodiscard]] TreeSiblings* Siblings() const noexcept { return IsOne() ? nullptr : Many(); }

private:
    static constexpr std::uintptr_t kOne = 1;

    [[nodiscard]] bool IsOne() const noexcept { return (word_ & kOne) != 0; }
    [[nodiscard]] EDataTreeNode* One() const noexcept;
    [[nodiscard]] TreeSiblings* Many() const noexcept;
    [[nodiscard]] std::unique_ptr<TreeSiblings> MakeSiblings(EDataTreeNode& owner) const;

    std::uintptr_t word_ = 0;  // a node's address plus kOne, or that of TreeSiblings
};

}  // namespace etabulon::detail
