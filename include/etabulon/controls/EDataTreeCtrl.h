#pragma once

#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/cursors/fwd.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/fwd.h"
#include "etabulon/values/ETabulonDisplayMode.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <memory>

namespace etabulon {

namespace detail {
struct EDataTreeCtrlParts;
}

/// Shows an EDataTree in a view: makes items for the nodes that are open to view, keeps them in
/// step with the model, fills and refreshes the model on a worker, and notifies its owner window.
///
/// Use        build, Attach a view, Init once, Fill.
/// Ownership  belongs to its owner; references only count. Cursor, screen, view and alerts are not
///            owned; cursor and screen must outlive the control. Don't destroy it within one of its
///            notifications.
/// Threads    the screen's. The control takes the cursor's lock wherever it reads nodes: an item
///            opened during a walk waits for the end of the walk.
/// Failure    a failed or cancelled fill deletes all items, a failed or cancelled refresh leaves
///            them; the control notifies its owner of both. The destructor cancels the active run
///            and waits for one step of its walk.
/// Example    examples/screen.cpp
class ETABULON_API EDataTreeCtrl : public EDragTreeCtrl, public ETabulonSortDesc::INotifier {
public:
    using DisplayMode = ETabulonDisplayMode;
    using enum ETabulonDisplayMode;
    using HideFlag = ETabulonSortDesc::HideFlag;
    using SortKeyArray = ETabulonSortDesc::SortKeyArray;
    using SortCompareSource = ETabulonSortDesc::SortCompareSource;

    /// Which nodes open by themselves in a tree of fewer than 100 leaves. The root always opens.
    enum ExpandMode : std::int32_t {
        ExpandNone = 0,
        ExpandAll = 1,
        ExpandBranches = 2,  // nodes with more than one leaf below them
    };
    /// The steps of the blinking icon or text by which the control shows that it waits.
    enum eShowWaitStep : std::int32_t {
        WaitStepNext = -1,  // only as an argument: one tick on
        WaitStepNone = 0,   // no wait is shown
        WaitStepShown = 1,
        WaitStepHidden = 2,  // the dark half of the blink
        WaitStepEnding = 3,  // shown; the next tick ends the wait
    };

    EDataTreeCtrl();
    explicit EDataTreeCtrl(IScreen& screen);
    ~EDataTreeCtrl() override;

    void AddRef() override { ++refCount_; }
    /// Only counts: the owner destroys the control.
    std::int32_t Release() override { return --refCount_; }

    /// Requires a cursor, and that it wasn't called before.
    void Init(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon);
    [[nodiscard]] bool InitDone() const noexcept;

    // ------------------------------ all operations below that concern the model require InitDone()
    // Called by a thread that holds the cursor's lock, Fill and Refresh only post a message; the
    // run starts when the message is delivered.
    void Fill();
    void Refresh();
    void Refresh(const ETabulonTag& tag);
    void RefreshCurrentNode() { Refresh(Selected()); }
    /// To be called when the application has deleted the record of `tag`: deletes its item at once,
    /// with the branches that it would leave empty, and refreshes its parent.
    void RefreshDeletedNode(const ETabulonTag& tag);

    /// The selected item's tag, else the first item's, else the root's.
    [[nodiscard]] ETabulonTag Selected() const;
    /// Opens the branch down to the node.
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
    /// Drops all nodes of the model: belongs before a fill.
    void SetRootParams(const Chaine& rootName, HICON rootIcon);
    void SetSortLevels(const SortKeyArray& keys, bool refresh);
    bool SetHideLevelFlags(unsigned int level, HideFlag flag, bool refresh);
    bool SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag, bool refresh);
    void SetCompareSource(SortCompareSource source, bool refresh);
    bool MoveSelectedLevelUp();
    bool MoveSelectedLevelDown();
    void SetAttachHiddenLevelsToCurrent(bool attach, bool refresh);
    [[nodiscard]] bool AreHiddenLevelsAttachedToCurrent() const noexcept;
    void SetRefreshOnSelChange(bool refresh) noexcept;
    [[nodiscard]] bool RefreshOnSelChange() const noexcept;
    /// The text that an empty control shows.
    void SetEmptyText(const Chaine& text);
    /// Not owned; null for none. A caller that raises alerts later must invalidate the view.
    void AttachAlerts(const EDataTreeRaisedAlerts* alerts);

    /// The queue of the worker's messages. The view dispatches them.
    [[nodiscard]] const std::shared_ptr<EMessagePort>& Port() const noexcept;

    // ------------------------- what a subclass may extend. The first four notify the owner window.
    virtual void OnBrowseStart();
    virtual void OnBrowseDone();
    virtual void OnBrowseCancel();
    virtual void OnBrowseError(CursorStatus status);
    /// The user has turned to the node of `tag`.
    virtual void OnConsultNode(const ETabulonTag& /*tag*/) {}

    // ---------------------------------------------- events of the view and of the sort description
    void OnSelchanged() override;
    [[nodiscard]] bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override;
    void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) override;
    void OnTimer(unsigned int timerID) override;
    [[nodiscard]] std::uint32_t OnCustomdraw(ETreeDraw& draw) override;
    void OnGetinfotip(_TREEITEM* item, std::span<char> buffer) override;
    [[nodiscard]] bool OnEraseBkgnd(IDrawSurface& surface) override;
    [[nodiscard]] bool OnSetCursor() override;
    void OnSize(unsigned int sizeType, int width, int height) override;
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
