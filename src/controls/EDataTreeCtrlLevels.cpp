// Changes of what is shown, and of the levels: by setters, by moves, by drag and drop, from
// outside.

#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeCtrl.h"

namespace etabulon {

void EDataTreeCtrl::SetRootParams(const Chaine& rootName, HICON rootIcon) {
    const TreeCall tree(*this);
    const ECursorExclusive exclusive(*Cursor());  // all nodes go
    tree->SetParams(rootName, rootIcon);
}

void EDataTreeCtrl::SetDisplay(DisplayMode mode, bool refresh) {
    display_ = mode;
    if (refresh) {
        const Updating updating(*this);
        const ETabulonTag selected = Selected();
        const RedrawOff redrawOff(View());
        ReSync();
        Select(selected);
        StopWait();
    }
}

void EDataTreeCtrl::SetSortLevels(const SortKeyArray& keys, bool refresh) {
    const Updating updating(*this);
    const bool changed = TreeCall(*this)->SetSortLevels(keys);
    if (changed && refresh) {
        const RedrawOff redrawOff(View());
        DeleteAllItems();
        Fill();
    }
}

bool EDataTreeCtrl::SetHideLevelFlags(unsigned level, HideFlag flag, bool refresh) {
    const Updating updating(*this);
    const bool changed = TreeCall(*this)->SetHideLevelFlags(level, flag);
    return AfterHideChange(changed, refresh);
}

bool EDataTreeCtrl::SetHideLevelFlags(const PUniqueT<unsigned>& levels, HideFlag flag,
                                      bool refresh) {
    const Updating updating(*this);
    const bool changed = TreeCall(*this)->SetHideLevelFlags(levels, flag);
    return AfterHideChange(changed, refresh);
}

bool EDataTreeCtrl::AfterHideChange(bool changed, bool refresh) {
    if (changed && refresh) {
        Fill();
    } else if (changed) {
        DeleteAllItems();
    }
    return changed;
}

void EDataTreeCtrl::SetCompareSource(SortCompareSource source, bool refresh) {
    if (!TreeCall(*this)->SetCompareSource(source) || !refresh) {
        return;
    }
    {
        const ETabulonTag selected = Selected();
        const Updating updating(*this);
        const RedrawOff redrawOff(View());
        DeleteAllItems();
        ReSync();
        Select(selected);
    }
    Refresh();
}

void EDataTreeCtrl::SetAttachHiddenLevelsToCurrent(bool attach, bool refresh) {
    if (attachHiddenLevels_ == attach) {
        return;
    }
    attachHiddenLevels_ = attach;
    if (refresh) {
        Refresh(Selected());
    }
}

// --- moves ---

bool EDataTreeCtrl::MoveSortLevel(unsigned from, unsigned to, bool resync) {
    const EWaitCursor waiting(screen_);
    const Updating updating(*this);
    const bool moved = TreeCall(*this)->MoveSortLevel(from, to);
    if (moved && resync) {
        const RedrawOff redrawOff(View());
        RestoreHiddenLevelsPosition();
        DeleteAllItems();
        ReSync();
        if (waitTimer_ == 0) {
            StopWait();  // nothing would end what the sync has begun to show
        }
    }
    return moved;
}

bool EDataTreeCtrl::MoveSelectedLevelUp() {
    _TREEITEM* const item = View().SelectedItem();
    const unsigned depth = GetDepth(item);
    if (item == nullptr || depth <= 1) {
        return false;
    }
    const ETabulonTag selected = Selected();
    if (!MoveSortLevel(depth - 1, depth - 2, /*resync=*/true)) {
        return false;
    }
    Select(SortDesc()->ExtractSortValues(selected, depth - 1, kInTree));
    return true;
}

bool EDataTreeCtrl::MoveSelectedLevelDown() {
    _TREEITEM* const item = View().SelectedItem();
    const unsigned depth = GetDepth(item);
    if (item == nullptr || depth == 0 || depth >= SortDesc()->SortLevelCount(kInTree)) {
        return false;
    }
    const ETabulonTag selected = Selected();
    if (!MoveSortLevel(depth - 1, depth, /*resync=*/true)) {
        return false;
    }
    const Section section(*this);
    const EDataTreeNode* const node =
        tree_->Get(SortDesc()->ExtractSortValues(selected, depth - 1, kInTree));
    ETabulonTag tag;
    for (unsigned outer = 0; node != nullptr && outer < node->Size(); ++outer) {
        const EDataTreeNode& child = *node->Get(outer);
        for (unsigned inner = 0; inner < child.Size(); ++inner) {
            child.Get(inner)->ExtractTag(tag);
            if (tag.IsChildOf(selected)) {
                Select(tag);
                return true;
            }
        }
    }
    return true;
}

// --- drag and drop ---

bool EDataTreeCtrl::CanBeginDrag(_TREEITEM* item) {
    return item != nullptr && item != View().FirstItem();
}

bool EDataTreeCtrl::CanDrop(const DropData* data) const {
    _TREEITEM* const dragged = data->dragged;
    _TREEITEM* const target = data->target;
    if (dragged == nullptr || target == nullptr || dragged == target) {
        return false;
    }
    const unsigned depth = GetDepth(target);
    if (depth == 0 || depth == GetDepth(dragged)) {
        return false;
    }
    return IsWithin(dragged, target) || IsWithin(target, dragged);
}

void EDataTreeCtrl::OnDrop(const DropData* data) {
    const unsigned draggedDepth = GetDepth(data->dragged);
    const unsigned targetDepth = GetDepth(data->target);
    const ETabulonTag dragged = Tag(data->dragged);
    const ETabulonTag target = Tag(data->target);
    MoveSortLevel(draggedDepth - 1, targetDepth - 1, /*resync=*/true);
    Select(targetDepth < draggedDepth ? SortDesc()->ExtractSortValues(dragged, targetDepth, kInTree)
                                      : target);
    StartAutoRefreshTimer();
}

// --- changes from outside ---

bool EDataTreeCtrl::OnSortChanging(const ETabulonSortDesc*, SortChange) {
    thread_->Cancel();  // also a run whose walk hasn't begun
    Cursor()->Cancel();
    Cursor()->CursorLock(/*wait=*/true);
    ++sortLocks_;
    return true;
}

void EDataTreeCtrl::OnSortChanged(const ETabulonSortDesc*, SortChange change) {
    if (sortLocks_ > 0) {  // after a refusal by another it wasn't asked, and took none
        --sortLocks_;
        Cursor()->CursorUnlock();
    }
    const bool concerns =
        change == SortChange::SortChangeLevels || change == SortChange::SortChangeMove;
    if (!inUpdate_ && concerns) {
        Fill();
    }
}

}  // namespace etabulon
