#pragma once

#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeFiller.h"
#include "etabulon/tree/EDataTreeNode.h"

namespace etabulon {

/// The root: shows a name and an icon of its own.
/// Example    tests/tree/TreeMemoryTest.cpp
class ETABULON_API EDataTreeNodeRoot : public EDataTreeNode {
public:
    EDataTreeNodeRoot(const ETabulonSortDesc* sortDesc, const Chaine& name, HICON icon);
    [[nodiscard]] ETabulonValue DisplayValue() const override;
    [[nodiscard]] HICON Icon() const override { return icon_; }

private:
    Chaine name_;
    HICON icon_;  // not owned
};

/// A tree model: binds a cursor, a sort description and a root. An application changes the tree
/// through this class alone: each operation cancels a running walk, takes the cursor, works and
/// gives the cursor back.
///
/// Ownership  owns the sort description and the root; the cursor isn't owned and must outlive this.
///            Pointers to nodes are invalid after an operation that fills, re-sorts or resets.
/// Threads    operations that change the tree take the cursor's lock, which may be held already.
///            Get, Root and the accessors take none: a caller that can meet a walk holds the lock.
/// Failure    std::bad_alloc may pass through. After it a fill or refresh leaves what a cancelled
///            one leaves; a rearrangement leaves the tree empty, under the new order.
/// Example    examples/tree.cpp
class ETABULON_API EDataTree {
public:
    using HideFlag = ETabulonSortDesc::SortKey::HideFlag;

    /// Requires a cursor.
    EDataTree(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon);
    EDataTree(const EDataTree&) = delete;
    EDataTree& operator=(const EDataTree&) = delete;
    virtual ~EDataTree();

    [[nodiscard]] EDataTreeNodeRoot* Root() const noexcept { return root_.Get(); }
    [[nodiscard]] ETabulonCursor* Cursor() noexcept { return cursor_; }
    [[nodiscard]] const ETabulonCursor* Cursor() const noexcept { return cursor_; }
    [[nodiscard]] ETabulonSortDesc* SortDesc() const noexcept { return sortDesc_.Get(); }
    [[nodiscard]] const ETabulonLevels& AvailableLevels() const {
        return sortDesc_->AvailableLevels();
    }
    [[nodiscard]] const ETabulonSortDesc::SortKeyArray& SortLevels() const {
        return sortDesc_->SortLevels();
    }
    [[nodiscard]] ETabulonSortDesc::SortCompareSource CompareSource() const {
        return sortDesc_->CompareSource();
    }
    [[nodiscard]] EDataTreeNode* Get(const ETabulonTag& tag) const { return root_->Get(tag); }

    CursorStatus Fill();
    CursorStatus Refresh();
    /// Refreshes the node of the tag, or the nearest ancestor that the tree has.
    CursorStatus Refresh(const ETabulonTag& tag);
    /// Replaces the root by a new, empty one. Takes no lock; call it before a fill.
    void SetParams(const Chaine& rootName, HICON rootIcon);

    // Each returns whether something changed. The first three empty the tree, and the caller fills
    // it again; the others rearrange it without a walk of the table.
    bool SetSortLevels(const ETabulonSortDesc::SortKeyArray& keys);
    bool SetHideLevelFlags(unsigned int level, HideFlag flag);
    bool SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag);
    bool MoveSortLevel(unsigned int from, unsigned int to);
    bool MoveHiddenLevelsTo(unsigned int position);
    bool SetCompareSource(ETabulonSortDesc::SortCompareSource source);

private:
    CursorStatus Fill(ETabulonCursor* source);
    [[nodiscard]] bool FileAgain(const EDataTreeNode& old);
    void ReSort();

    ERef<ETabulonSortDesc> sortDesc_;
    ERef<EDataTreeNodeRoot> root_;
    ETabulonCursor* cursor_;  // not owned
};

}  // namespace etabulon
