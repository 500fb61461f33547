#pragma once

#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/controls/EIconImages.h"
#include "etabulon/controls/fwd.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstdint>

namespace etabulon {

class ETabulonLevels;

/// Shows the levels that a tree shows as one chain, each the only child of the one before, and lets
/// the user change their order by moves and by dragging.
///
/// Use        build, Attach a view; then one of Init, AttachSortDesc and AttachDataTreeCtrl. Fill
///            after Init, and where the view comes last.
/// Ownership  its owner's; references only count. Holds a reference to its sort description.
/// Screen,
///            view and the description's levels are not owned; screen and levels must outlive it,
///            a tree control needn't. Don't destroy it within a notification of its description.
/// Threads    the screen's. On a tree control's description a move cancels the walk that is under
///            way, and waits for it to end.
/// Failure    none: without a view, a description or visible levels nothing is shown or moved.
class ETABULON_API ETabulonSelectLevelCtrl : public EDragTreeCtrl,
                                             public ETabulonSortDesc::INotifier {
public:
    ETabulonSelectLevelCtrl();
    explicit ETabulonSelectLevelCtrl(IScreen& screen);
    ~ETabulonSelectLevelCtrl() override;

    void AddRef() override { ++refCount_; }
    /// Never destroys it.
    std::int32_t Release() override { return --refCount_; }

    /// Works on a new description of these levels from here on. Fill is the caller's.
    void Init(const ETabulonLevels* levels);
    /// Works on the tree's description from here on: each move fills the tree again. Null does
    /// nothing. Requires InitDone() of it.
    void AttachDataTreeCtrl(EDataTreeCtrl* ctrl);
    /// Works on that description from here on, and shows it. Adds a reference. Null for none.
    void AttachSortDesc(ETabulonSortDesc* sortDesc);
    /// Null until there is one. Not owned by the caller.
    [[nodiscard]] ETabulonSortDesc* SortDesc() const noexcept { return sortDesc_.Get(); }

    /// Nothing is selected afterwards.
    void Fill();
    /// The selected level changes places with its neighbour. Returns whether one is selected that
    /// has such a neighbour.
    bool MoveSelectedLevelUp();
    bool MoveSelectedLevelDown();

    // --- events of the view and of the sort description ---
    [[nodiscard]] bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override;
    [[nodiscard]] bool OnSortChanging(const ETabulonSortDesc*, SortChange) override { return true; }
    void OnSortChanged(const ETabulonSortDesc* sort, SortChange change) override;

protected:
    [[nodiscard]] bool CanBeginDrag(_TREEITEM* item) override { return item != nullptr; }
    [[nodiscard]] bool CanDrop(const DropData* data) const override;
    void OnDrop(const DropData* data) override;
    void OnDetaching() override;

private:
    [[nodiscard]] unsigned PositionOf(_TREEITEM* item) const;
    void SelectPos(unsigned position);
    void MoveAndSelect(unsigned from, unsigned to);

    const ETabulonLevels* levels_ = nullptr;  // not owned; null until Init
    ERef<ETabulonSortDesc> sortDesc_;
    EIconImages images_;
    std::int32_t refCount_ = 1;
};

}  // namespace etabulon
