#pragma once

#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonDisplayMode.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <memory>

namespace etabulon {

class EDataTree;
class EDataTreeNode;
class EDataTreeRaisedAlerts;
class ETabulonCursor;

namespace detail {
struct EDataTreeCtrlParts;
}

/// Shows an EDataTree in a view: makes items for the nodes that are open to view, keeps them in
/// step with the model, fills and refreshes it on a worker, and tells its owner.
///
/// Use        build, Attach a view, Init once, Fill.
/// Ownership  its owner's; references only count. Cursor, screen, view and alerts are not owned;
///            cursor and screen must outlive it. Don't destroy it within one of its notifications.
/// Threads    the screen's. It takes the cursor's lock wherever it looks at nodes: an item opened
///            during a walk waits for the walk.
/// Failure    a failed or cancelled fill deletes all items, a refresh leaves them; the owner is
/// told
///            either way. Destroyed, it cancels its run and waits for one step of it.
class ETABULON_API EDataTreeCtrl : public EDragTreeCtrl, public ETabulonSortDesc::INotifier {
public:
    using DisplayMode = ETabulonDisplayMode;
    using enum ETabulonDisplayMode;
    using HideFlag = ETabulonSortDesc::HideFlag;
    using SortKeyArray = ETabulonSortDesc::SortKeyArray;
    using SortCompareSource = ETabulonSortDesc::SortCompareSource;

    /// Which nodes open by themselves in a tree of fewer than 100 leaves. The root always does.
    enum ExpandMode : std::int32_t {
        ExpandNone = 0,
        ExpandAll = 1,
        ExpandBranches = 2,  // those with more than one leaf below
    };
    enum eShowWaitStep : std::int32_t {
        WaitStepNext = -1,  // as an argument: one tick on
        WaitStepNone = 0,
        WaitStepShown = 1,
        WaitStepHidden = 2,  // for the blink
        WaitStepEnding = 3,  // shown; the next tick ends the wait
    };

    EDataTreeCtrl();
    explicit EDataTreeCtrl(IScreen& screen);
    ~EDataTreeCtrl() override;

    void AddRef() override { ++refCount_; }
    /// Never destroys it.
    std::int32_t Release() override { return --refCount_; }

    void Init(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon);
    [[nodiscard]] bool InitDone() const noexcept;

    // --- everything below requires InitDone() where it concerns the model ---
    // A fill or refresh asked for by a thread that holds the cursor comes as a message.
    void Fill();
    void Refresh();
    void Refresh(const ETabulonTag& tag);
    void RefreshCurrentNode() { Refresh(Selected()); }
    /// The application has deleted the record of `tag`: its item goes at once, with the branches
    /// that it leaves empty.
    void RefreshDeletedNode(const ETabulonTag& tag);

    /// The selected item's tag, else the first item's, else the root's.
    [[nodiscard]] ETabulonTag Selected() const;
    /// Opens the branch down to it.
    void Select(const ETabulonTag& tag);
    int SelectItem(_TREEITEM* item);
    [[nodiscard]] _TREEITEM* Get(const ETabulonTag& tag) const;
    /// Requires an item of this control's view.
    [[nodiscard]] ETabulonTag Tag(_TREEITEM* item) const;

    [[nodiscard]] ETabulonCursor* Cursor() const;
    [[nodiscard]] ETabulonSortDesc* SortDesc() const;
    [[nodiscard]] const ETabulonLevels& AvailableLevels() const;
    [[nodiscard]] const SortKeyArray& SortLevels() const;
    [[nodiscard]] SortCompareSource CompareSource() const;

    [[nodiscard]] DisplayMode Display() const noexcept;
    void SetDisplay(DisplayMode mode, bool refresh);
    void SetExpand(ExpandMode expand) noexcept;
    /// Loses every node: belongs before a fill.
    void SetRootParams(const Chaine& rootName, HICON rootIcon);
    void SetSortLevels(const SortKeyArray& keys, bool refresh);
    bool SetHideLevelFlags(unsigned level, HideFlag flag, bool refresh);
    bool SetHideLevelFlags(const PUniqueT<unsigned>& levels, HideFlag flag, bool refresh);
    void SetCompareSource(SortCompareSource source, bool refresh);
    bool MoveSelectedLevelUp();
    bool MoveSelectedLevelDown();
    void SetAttachHiddenLevelsToCurrent(bool attach, bool refresh);
    [[nodiscard]] bool AreHiddenLevelsAttachedToCurrent() const noexcept;
    void SetRefreshOnSelChange(bool refresh) noexcept;
    [[nodiscard]] bool RefreshOnSelChange() const noexcept;
    /// What an empty control says.
    void SetEmptyText(const Chaine& text);
    /// Not owned; null for none. Whoever raises alerts later has the view drawn anew.
    void AttachAlerts(const EDataTreeRaisedAlerts* alerts);

    /// Where the worker's messages come in. The view dispatches them.
    [[nodiscard]] const std::shared_ptr<EMessagePort>& Port() const noexcept;

    // --- what a subclass may extend. The first four tell the owner. ---
    virtual void OnBrowseStart();
    virtual void OnBrowseDone();
    virtual void OnBrowseCancel();
    virtual void OnBrowseError(CursorStatus status);
    /// The user looks at `tag` from here on.
    virtual void OnConsultNode(const ETabulonTag& /*tag*/) {}

    // --- events of the view and of the sort description ---
    void OnSelchanged() override;
    [[nodiscard]] bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override;
    void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) override;
    void OnTimer(unsigned timerID) override;
    [[nodiscard]] std::uint32_t OnCustomdraw(ETreeDraw& draw) override;
    void OnGetinfotip(_TREEITEM* item, std::span<char> buffer) override;
    [[nodiscard]] bool OnEraseBkgnd(IDrawSurface& surface) override;
    [[nodiscard]] bool OnSetCursor() override;
    void OnSize(unsigned sizeType, int width, int height) override;
    [[nodiscard]] bool CanBeginDrag(_TREEITEM* item) override;
    [[nodiscard]] bool CanDrop(const DropData* data) const override;
    void OnDrop(const DropData* data) override;
    [[nodiscard]] bool OnSortChanging(const ETabulonSortDesc* sort, SortChange change) override;
    void OnSortChanged(const ETabulonSortDesc* sort, SortChange change) override;

protected:
    /// The model; null until Init. Its nodes belong to the holder of the cursor's lock.
    [[nodiscard]] EDataTree* Tree() const noexcept;
    void OnAttached() override;
    void OnDetaching() override;
    void OnDetached() override;

private:
    std::int32_t refCount_ = 1;
    std::unique_ptr<detail::EDataTreeCtrlParts> parts_;
};

}  // namespace etabulon
