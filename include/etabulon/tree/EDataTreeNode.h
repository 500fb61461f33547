#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/detail/TreeChildren.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace etabulon {

namespace detail {
class TreeFillPath;
struct NodeAccess;
enum class TreeKeyForm : std::uint8_t;
}  // namespace detail

/// One node of the tree model: a position, its children in the order of the sort description, and,
/// in a leaf, the primary key of a record. A node is a leaf when its tag has a value for each level
/// that the tree shows.
///
/// Ownership  a parent holds one reference to each child; the sort description isn't owned. A
///            pointer to a node is good until its parent drops it (Fill, Refresh, Reset).
/// Threads    no lock of its own. Writers run under the cursor's lock, and so must readers that can
///            meet a walk. Const operations fill caches and give newcomers their places.
/// Failure    std::bad_alloc may pass through. The tree is sound then, as after a cancelled walk.
/// Storage    a node keeps the value of its own level. The whole tag, and a key that is more than a
///            number, are kept apart and made when asked for.
class ETABULON_API EDataTreeNode : public virtual ECountedUnknown {
public:
    EDataTreeNode(EDataTreeNode* parent, const ETabulonTag& tag, const ETabulonSortDesc* sortDesc);
    EDataTreeNode(const EDataTreeNode&) = delete;
    EDataTreeNode& operator=(const EDataTreeNode&) = delete;
    ~EDataTreeNode() override;

    /// The value that names this node; Null at the root.
    [[nodiscard]] virtual ETabulonValue DisplayValue() const;
    [[nodiscard]] virtual HICON Icon() const;

    /// Files a record's tag under this node. Returns the node that stands for it, not owned; null
    /// for a tag that has only hidden values.
    EDataTreeNode* AddChild(const ETabulonTag& tag);
    /// The node of that tag at or under this one, or null.
    [[nodiscard]] EDataTreeNode* Get(const ETabulonTag& tag);
    [[nodiscard]] const EDataTreeNode* Get(const ETabulonTag& tag) const;
    /// The child at `index` in sort order; null when there are not as many.
    [[nodiscard]] EDataTreeNode* Get(unsigned index);
    [[nodiscard]] const EDataTreeNode* Get(unsigned index) const;

    /// Reset, then Refresh.
    CursorStatus Fill(ETabulonCursor* cursor);
    /// Walks the node's tag: keeps what the walk meets again, adds the new, drops the rest. A walk
    /// that is cancelled or fails drops nothing. Without any record left the parent is refreshed
    /// instead, and this node may be gone when the call returns.
    CursorStatus Refresh(ETabulonCursor* cursor);
    /// Drops all children.
    void Reset();

    [[nodiscard]] unsigned Depth() const noexcept { return depth_; }
    [[nodiscard]] unsigned Size() const noexcept;
    /// The leaves strictly below this node.
    [[nodiscard]] std::uint32_t LeafCount() const noexcept;
    [[nodiscard]] bool IsRoot() const noexcept { return parent_ == nullptr; }
    [[nodiscard]] bool IsTreeLeaf() const;
    [[nodiscard]] EDataTreeNode* Parent() const noexcept { return parent_; }
    [[nodiscard]] std::intptr_t Param() const noexcept { return param_; }
    void SetParam(std::intptr_t param) noexcept { param_ = param; }
    [[nodiscard]] const ETabulonPrimaryKey& PrimaryKey() const;
    void SetPrimaryKey(const ETabulonPrimaryKey& key);
    [[nodiscard]] const ETabulonTag& Tag() const;

    /// The same into storage of the caller's, keeping nothing here: what a pass over many nodes
    /// uses.
    void ExtractTag(ETabulonTag& tag) const;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const;
    /// The value of the level that stands at this depth of `sort`, which is the tree's: what
    /// DisplayValue climbs to the root for. Null at the root, and where a change of levels that
    /// didn't empty the tree has left none. Good until the node goes or the levels change.
    [[nodiscard]] const ETabulonValue* OwnValue(const ETabulonSortDesc& sort) const;

protected:
    /// Makes a child for `tag`; returns its first reference. Override it together with the class of
    /// the nodes.
    [[nodiscard]] virtual EDataTreeNode* AllocChild(const ETabulonTag& tag,
                                                    const ETabulonSortDesc* sortDesc);
    /// The tree's, which the root holds.
    [[nodiscard]] const ETabulonSortDesc& SortDesc() const noexcept;

private:
    friend struct detail::NodeAccess;
    friend class detail::TreeFillPath;
    struct Extra;

    /// A child by value: its path is the parent's to the letter, and then `value`.
    EDataTreeNode(EDataTreeNode* parent, unsigned level, const ETabulonValue& value, bool isLeaf);

    [[nodiscard]] static std::span<const unsigned> RunOf(const ETabulonTag& tag,
                                                         const ETabulonSortDesc& sort);
    [[nodiscard]] bool LeadsTo(const ETabulonTag& tag, std::span<const unsigned> levels) const;
    [[nodiscard]] EDataTreeNode* Descend(const ETabulonTag& tag, std::span<const unsigned> levels);
    EDataTreeNode* NewBranch(const ETabulonTag& tag, std::span<const unsigned> levels,
                             const ETabulonSortDesc& sort);
    [[nodiscard]] EDataTreeNode* GetByParents(const ETabulonTag& tag);
    EDataTreeNode* AddVChild(const ETabulonTag& tag, detail::TreeFillPath* path);
    EDataTreeNode* NewChild(const ETabulonTag& tag, detail::TreeFillPath* path);
    EDataTreeNode* NewChild(unsigned level, const ETabulonValue& value, bool isLeaf,
                            detail::TreeFillPath* path);
    EDataTreeNode* TakeChild(EDataTreeNode* child, detail::TreeFillPath* path);
    [[nodiscard]] bool MakesPlainNodes() const noexcept;
    void FindOwnValue(const ETabulonTag& tag, const ETabulonSortDesc& sort);
    void SettleLate() const noexcept;
    [[nodiscard]] EDataTreeNode* GetDirect(const ETabulonTag& tag) const;
    [[nodiscard]] bool HasTag(const ETabulonTag& tag) const;
    [[nodiscard]] bool IsOnPathOf(const ETabulonTag& tag) const;
    [[nodiscard]] bool SamePathAs(const ETabulonTag& tag) const;
    [[nodiscard]] bool IsLevelAbove(unsigned level) const noexcept;
    void IncLeafCount(std::int32_t delta) noexcept;
    std::size_t SetDirtyChilds(bool dirty) noexcept;
    void ReleaseDirtyChilds();
    void DropChildren() noexcept;
    void Drop(EDataTreeNode* child) noexcept;
    void Orphan() noexcept;
    CursorStatus RefreshHere(ETabulonCursor* cursor, bool& oneFound);
    void ForgetPaths() noexcept;
    void KeepTag(const ETabulonTag& tag);
    Extra& MakeExtra() const;
    [[nodiscard]] const EDataTreeNode& Top() const noexcept;

    // What each record of a walk touches comes first.
    EDataTreeNode* parent_;
    mutable detail::TreeChildren children_;
    std::uint32_t leafCount_ = 0;
    std::uint32_t depth_;
    std::uint32_t level_ = 0;
    bool dirty_ : 1 = false;
    bool byValue_ : 1 = false;  // the tag is equal to the parent's plus value_ at level_
    bool ownsTag_ : 1 = false;  // and yet not the same to the letter, or not byValue_: Extra has it
    mutable std::int8_t isLeaf_ = -1;  // -1 unknown
    detail::TreeKeyForm keyForm_{};
    std::int64_t keyWord_ = 0;              // the primary key, as far as keyForm_ says
    mutable std::unique_ptr<Extra> extra_;  // the root always has one
    std::intptr_t param_ = 0;
    ETabulonValue value_;  // of level_; unused in the root and where the node isn't byValue_
};

}  // namespace etabulon
