#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/EIcon.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/detail/TreeChildren.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace etabulon {

namespace detail {
class TreeFlagPass;
class TreeWalks;
struct NodeAccess;
struct NodeExtra;
enum class TreeKeyForm : std::uint8_t;
}  // namespace detail

/// One node of the tree model: a position, its children in the order of the sort description, and,
/// in a leaf, the primary key of a record. A node is a leaf when its tag has a value for each level
/// that the tree shows.
///
/// Ownership  a parent holds one reference to each child; the sort description isn't owned. A
///            pointer to a node is valid until its parent drops the node (Fill, Refresh, Reset). A
///            dropped node that someone else holds a reference to is the root of its own branch.
/// Threads    no lock of its own. Writers run under the cursor's lock, and so must readers that can
///            meet a walk. Const operations fill caches and sort new children in.
/// Failure    std::bad_alloc may pass through. The tree is sound then, as after a cancelled walk.
/// Storage    a node keeps the value of its own level. The whole tag, and a key that is more than a
///            number, are kept apart and made on first demand.
///            A walk keeps most leaves without a node, in 16 bytes; the first caller that asks the
///            parent for a child makes the nodes of all of them.
/// Example    examples/tree.cpp
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
    /// The child at `index` in sort order; null from Size() on.
    [[nodiscard]] EDataTreeNode* Get(unsigned int index);
    [[nodiscard]] const EDataTreeNode* Get(unsigned int index) const;

    /// Reset, then Refresh.
    CursorStatus Fill(ETabulonCursor* cursor);
    /// Walks the node's tag: keeps the nodes that the walk meets again, adds the new ones and drops
    /// the rest. A walk that is cancelled or fails drops nothing. If no record is left, the parent
    /// is refreshed too, and this node may be gone when the call returns.
    CursorStatus Refresh(ETabulonCursor* cursor);
    /// Drops all children.
    void Reset();

    [[nodiscard]] unsigned int Depth() const noexcept { return depth_; }
    [[nodiscard]] unsigned int Size() const noexcept;
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

    /// The tag and the key, written into the caller's storage; the node keeps no copy. For a pass
    /// over many nodes.
    void ExtractTag(ETabulonTag& tag) const;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const;
    /// The value of the level at this depth of `sort`, without a climb to the root. Requires the
    /// tree's sort description. Null at the root, and where the levels changed without a reset and
    /// the tag lacks the level. Valid until the node is dropped or the levels change.
    [[nodiscard]] const ETabulonValue* OwnValue(const ETabulonSortDesc& sort) const;

protected:
    /// Makes a child for `tag`; returns its first reference. Override it together with the class of
    /// the nodes.
    [[nodiscard]] virtual EDataTreeNode* AllocChild(const ETabulonTag& tag,
                                                    const ETabulonSortDesc* sortDesc);
    /// The tree's sort description, which the root holds.
    [[nodiscard]] const ETabulonSortDesc& SortDesc() const noexcept;

private:
    friend struct detail::NodeAccess;

    /// A child whose path is identical to the parent's, plus `value` at `level`.
    EDataTreeNode(EDataTreeNode* parent, unsigned int level, const ETabulonValue& value,
                  bool isLeaf);
    void FindOwnValue(const ETabulonTag& tag, const ETabulonSortDesc& sort);
    void KeepTag(const ETabulonTag& tag);
    void KeepKey(const ETabulonPrimaryKey& key);
    detail::NodeExtra& MakeExtra() const;
    [[nodiscard]] const EDataTreeNode& Top() const noexcept;
    [[nodiscard]] detail::TreeWalks* Walks() const noexcept;
    void FlushWalks() const noexcept;

    [[nodiscard]] bool HasTag(const ETabulonTag& tag) const;
    [[nodiscard]] bool IsOnPathOf(const ETabulonTag& tag) const;
    [[nodiscard]] bool SamePathAs(const ETabulonTag& tag) const;
    [[nodiscard]] bool IsLevelAbove(unsigned int level) const noexcept;

    [[nodiscard]] EDataTreeNode* FindChild(const ETabulonTag& tag) const;
    [[nodiscard]] EDataTreeNode* GetByParents(const ETabulonTag& tag);
    [[nodiscard]] bool MakesPlainNodes() const noexcept;
    [[nodiscard]] ERef<EDataTreeNode> MakeChild(const ETabulonTag& tag,
                                                const ETabulonSortDesc& sort);
    EDataTreeNode* TakeChild(ERef<EDataTreeNode> child);
    void IncLeafCount(std::int32_t delta) noexcept;
    bool SetDirtyChilds(bool dirty, detail::TreeFlagPass& pass);
    void ReleaseDirtyChilds();
    void DropChildren() noexcept;
    void Drop(EDataTreeNode* child) noexcept;
    void Orphan() noexcept;

    // What each record of a walk touches comes first.
    EDataTreeNode* parent_;
    mutable detail::TreeChildren children_;
    std::uint32_t leafCount_ = 0;
    std::uint32_t depth_;
    std::uint32_t level_ = 0;
    bool dirty_ : 1 = false;           // a refresh has begun and not met the node yet
    bool byValue_ : 1 = false;         // the tag is equal to the parent's plus value_ at level_
    bool ownsTag_ : 1 = false;         // extra_ has the tag: not byValue_, or in another spelling
    mutable std::int8_t isLeaf_ = -1;  // -1 unknown
    detail::TreeKeyForm keyForm_{};
    std::int64_t keyWord_ = 0;  // the primary key, in the form that keyForm_ tells
    mutable std::unique_ptr<detail::NodeExtra> extra_;  // the topmost node always has one
    std::intptr_t param_ = 0;
    ETabulonValue value_;  // of level_; unused in the root and where the node isn't byValue_
};

}  // namespace etabulon
