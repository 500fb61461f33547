#include "controls/EDataTreeCtrlLevels.h"

#include "controls/EDataTreeCtrlParts.h"
#include "controls/EDataTreeCtrlSection.h"
#include "controls/RedrawOff.h"
#include "etabulon/cursors/ECursorScopes.h"

namespace etabulon::detail {
namespace {

constexpr unsigned int kAfterAllLevels = static_cast<unsigned int>(-1);

}  // namespace

void EDataTreeCtrlLevels::SetRootParams(const Chaine& rootName, HICON rootIcon) {
    const TreeCall tree(parts_);
    const ECursorExclusive exclusive(*parts_.Cursor());  // all nodes are dropped
    tree->SetParams(rootName, rootIcon);
}

void EDataTreeCtrlLevels::SetDisplay(EDataTreeCtrl::DisplayMode mode, bool refresh) {
    parts_.sync.SetDisplay(mode);
    if (refresh) {
        const Updating updating(parts_);
        const ETabulonTag selected = parts_.selection.Selected();
        const RedrawOff redrawOff(View());
        parts_.sync.ReSync();
        parts_.selection.Select(selected);
        parts_.wait.StopWait();
    }
}

void EDataTreeCtrlLevels::SetSortLevels(const SortKeyArray& keys, bool refresh) {
    const Updating updating(parts_);
    const bool changed = TreeCall(parts_)->SetSortLevels(keys);
    if (changed && refresh) {
        const RedrawOff redrawOff(View());
        parts_.items.DeleteAllItems();
        parts_.runs.Fill();
    }
}

bool EDataTreeCtrlLevels::SetHideLevelFlags(unsigned int level, HideFlag flag, bool refresh) {
    const Updating updating(parts_);
    const bool changed = TreeCall(parts_)->SetHideLevelFlags(level, flag);
    return AfterHideChange(changed, refresh);
}

bool EDataTreeCtrlLevels::SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag,
                                            bool refresh) {
    const Updating updating(parts_);
    const bool changed = TreeCall(parts_)->SetHideLevelFlags(levels, flag);
    return AfterHideChange(changed, refresh);
}

bool EDataTreeCtrlLevels::AfterHideChange(bool changed, bool refresh) {
    if (changed && refresh) {
        parts_.runs.Fill();
    } else if (changed) {
        parts_.items.DeleteAllItems();
    }
    return changed;
}

void EDataTreeCtrlLevels::SetCompareSource(ETabulonSortDesc::SortCompareSource source,
                                           bool refresh) {
    if (!TreeCall(parts_)->SetCompareSource(source) || !refresh) {
        return;
    }
    {
        const ETabulonTag selected = parts_.selection.Selected();
        const Updating updating(parts_);
        const RedrawOff redrawOff(View());
        parts_.items.DeleteAllItems();
        parts_.sync.ReSync();
        parts_.selection.Select(selected);
    }
    parts_.runs.Refresh();
}

void EDataTreeCtrlLevels::SetAttachHiddenLevelsToCurrent(bool attach, bool refresh) {
    if (attachHiddenLevels_ == attach) {
        return;
    }
    attachHiddenLevels_ = attach;
    if (refresh) {
        parts_.runs.Refresh(parts_.selection.Selected());
    }
}

void EDataTreeCtrlLevels::RestoreHiddenLevelsPosition() {
    const unsigned int position =
        attachHiddenLevels_ ? parts_.items.GetDepth(View().SelectedItem()) : kAfterAllLevels;
    const TreeCall tree(parts_);
    tree->MoveHiddenLevelsTo(position);
}

// ------------------------------------------------------------------------------------------- moves

bool EDataTreeCtrlLevels::MoveSortLevel(unsigned int from, unsigned int to, bool resync) {
    const EWaitCursor waiting(parts_.screen);
    const Updating updating(parts_);
    const bool moved = TreeCall(parts_)->MoveSortLevel(from, to);
    if (moved && resync) {
        const RedrawOff redrawOff(View());
        RestoreHiddenLevelsPosition();
        parts_.items.DeleteAllItems();
        parts_.sync.ReSync();
        parts_.wait.StopWaitWithoutTimer();  // no tick ends the wait that the sync shows
    }
    return moved;
}

bool EDataTreeCtrlLevels::MoveSelectedLevelUp() {
    _TREEITEM* const item = View().SelectedItem();
    const unsigned int depth = parts_.items.GetDepth(item);
    if (item == nullptr || depth <= 1) {
        return false;
    }
    const ETabulonTag selected = parts_.selection.Selected();
    if (!MoveSortLevel(depth - 1, depth - 2, /*resync=*/true)) {
        return false;
    }
    parts_.selection.Select(parts_.SortDesc()->ExtractSortValues(selected, depth - 1, kInTree));
    return true;
}

bool EDataTreeCtrlLevels::MoveSelectedLevelDown() {
    _TREEITEM* const item = View().SelectedItem();
    const unsigned int depth = parts_.items.GetDepth(item);
    if (item == nullptr || depth == 0 || depth >= parts_.SortDesc()->SortLevelCount(kInTree)) {
        return false;
    }
    const ETabulonTag selected = parts_.selection.Selected();
    if (!MoveSortLevel(depth - 1, depth, /*resync=*/true)) {
        return false;
    }
    const CursorSection section(parts_);
    const EDataTreeNode* const node =
        parts_.tree->Get(parts_.SortDesc()->ExtractSortValues(selected, depth - 1, kInTree));
    ETabulonTag tag;
    for (unsigned int outer = 0; node != nullptr && outer < node->Size(); ++outer) {
        const EDataTreeNode& child = *node->Get(outer);
        for (unsigned int inner = 0; inner < child.Size(); ++inner) {
            child.Get(inner)->ExtractTag(tag);
            if (tag.IsChildOf(selected)) {
                parts_.selection.Select(tag);
                return true;
            }
        }
    }
    return true;
}

// ----------------------------------------------------------------------------------- drag and drop

bool EDataTreeCtrlLevels::CanBeginDrag(_TREEITEM* item) {
    return item != nullptr && item != View().FirstItem();
}

bool EDataTreeCtrlLevels::CanDrop(const DropData* data) const {
    _TREEITEM* const dragged = data->dragged;
    _TREEITEM* const target = data->target;
    if (dragged == nullptr || target == nullptr || dragged == target) {
        return false;
    }
    const unsigned int depth = parts_.items.GetDepth(target);
    if (depth == 0 || depth == parts_.items.GetDepth(dragged)) {
        return false;
    }
    return parts_.items.IsWithin(dragged, target) || parts_.items.IsWithin(target, dragged);
}

void EDataTreeCtrlLevels::OnDrop(const DropData* data) {
    const unsigned int draggedDepth = parts_.items.GetDepth(data->dragged);
    const unsigned int targetDepth = parts_.items.GetDepth(data->target);
    const ETabulonTag dragged = parts_.items.Tag(data->dragged);
    const ETabulonTag target = parts_.items.Tag(data->target);
    MoveSortLevel(draggedDepth - 1, targetDepth - 1, /*resync=*/true);
    parts_.selection.Select(targetDepth < draggedDepth ? parts_.SortDesc()->ExtractSortValues(
                                                             dragged, targetDepth, kInTree)
                                                       : target);
    parts_.selection.StartAutoRefreshTimer();
}

// ---------------------------------------------------------------------------- changes from outside

bool EDataTreeCtrlLevels::OnSortChanging() {
    parts_.runs.Cancel();  // also reaches a run whose walk hasn't begun
    parts_.Cursor()->Cancel();
    parts_.Cursor()->CursorLock(/*wait=*/true);
    ++sortLocks_;
    return true;
}

void EDataTreeCtrlLevels::OnSortChanged(SortChange change) {
    // None where another listener refused the change before this control was asked.
    if (sortLocks_ > 0) {
        --sortLocks_;
        parts_.Cursor()->CursorUnlock();
    }
    const bool concerns =
        change == SortChange::SortChangeLevels || change == SortChange::SortChangeMove;
    if (!parts_.inUpdate && concerns) {
        parts_.runs.Fill();
    }
}

void EDataTreeCtrlLevels::ReleaseLocks() {
    for (; sortLocks_ > 0; --sortLocks_) {
        parts_.Cursor()->CursorUnlock();
    }
}

}  // namespace etabulon::detail
