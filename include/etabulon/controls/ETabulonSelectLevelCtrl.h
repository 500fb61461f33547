#pragma once

#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/controls/EIconImages.h"
#include "etabulon/controls/fwd.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/fwd.h"

#include <cstdint>

namespace etabulon {

/// Shows the visible levels of a tree as one chain, each level the only child of the level before
/// it, and lets the user change their order by moves and by dragging.
///
/// Use        build, Attach a view; then one of Init, AttachSortDesc and AttachDataTreeCtrl. Call
///            Fill after Init, and after Attach if the view comes last.
/// Ownership  belongs to its owner; references only count. Holds a reference to its sort
///            description. Screen, view and the description's levels are not owned; screen and
///            levels must outlive it, a tree control needn't. Don't destroy it within a
///            notification of its description.
/// Threads    the screen's. On a tree control's description a move cancels the running walk, and
///            waits for its end.
/// Failure    none: without a view, a description or visible levels nothing is shown or moved.
/// Example    tests/controls/LevelCtrlTest.cpp
class ETABULON_API ETabulonSelectLevelCtrl : public EDragTreeCtrl,
                                             public ETabulonSortDesc::INotifier {
public:
    ETabulonSelectLevelCtrl();
    explicit ETabulonSelectLevelCtrl(IScreen& screen);
    ~ETabulonSelectLevelCtrl() override;

    void AddRef() override { ++refCount_; }
    /// Only counts: the owner destroys the control.
    std::int32_t Release() override { return --refCount_; }

    /// Works on a new description of these levels. The caller calls Fill.
    void Init(const ETabulonLevels* levels);
    /// Works on the tree control's description: each move fills the tree again. Null does nothing.
    /// Requires InitDone() of the tree control.
    void AttachDataTreeCtrl(EDataTreeCtrl* ctrl);
    /// Works on that description, to which it adds a reference, and shows it. Null for none.
    void AttachSortDesc(ETabulonSortDesc* sortDesc);
    /// Null before the first. Not owned by the caller.
    [[nodiscard]] ETabulonSortDesc* SortDesc() const noexcept { return sortDesc_.Get(); }

    /// Nothing is selected afterwards.
    void Fill();
    /// Exchanges the selected level with its neighbour. Returns whether a level is selected that
    /// has such a neighbour.
    bool MoveSelectedLevelUp();
    bool MoveSelectedLevelDown();

    // ---------------------------------------------- events of the view and of the sort description
    [[nodiscard]] bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override;
    [[nodiscard]] bool OnSortChanging(const ETabulonSortDesc*, SortChange) override { return true; }
    void OnSortChanged(const ETabulonSortDesc* sort, SortChange change) override;

protected:
    [[nodiscard]] bool CanBeginDrag(_TREEITEM* item) override { return item != nullptr; }
    [[nodiscard]] bool CanDrop(const DropData* data) const override;
    void OnDrop(const DropData* data) override;
    void OnDetaching() override;

private:
    [[nodiscard]] unsigned int PositionOf(_TREEITEM* item) const;
    void SelectPos(unsigned int position);
    void MoveAndSelect(unsigned int from, unsigned int to);

    const ETabulonLevels* levels_ = nullptr;  // not owned; null until Init
    ERef<ETabulonSortDesc> sortDesc_;
    EIconImages images_;
    std::int32_t refCount_ = 1;
};

}  // namespace etabulon
