#pragma once

#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeCtrlThread.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/tree/EDataTree.h"

namespace etabulon {

inline constexpr ETabulonSortDesc::HideFlag kInTree = ETabulonSortDesc::HideInTree;

/// The cursor's lock for a scope of the control's.
class [[nodiscard]] EDataTreeCtrl::Section {
public:
    explicit Section(EDataTreeCtrl& ctrl) : ctrl_(ctrl) {
        ctrl_.tree_->Cursor()->CursorLock(/*wait=*/true);
    }
    ~Section() { ctrl_.tree_->Cursor()->CursorUnlock(); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

private:
    EDataTreeCtrl& ctrl_;
};

/// A call into the tree, which takes the cursor away from a run.
class [[nodiscard]] EDataTreeCtrl::TreeCall {
public:
    explicit TreeCall(EDataTreeCtrl& ctrl) : ctrl_(ctrl) {
        // The cursor's own cancel doesn't reach a run whose walk hasn't begun.
        ctrl_.thread_->Cancel();
    }
    TreeCall(const TreeCall&) = delete;
    TreeCall& operator=(const TreeCall&) = delete;

    EDataTree* operator->() const noexcept { return ctrl_.tree_.get(); }

private:
    EDataTreeCtrl& ctrl_;
};

/// The control changes items itself. Not counted: the end of an inner one is the end of all.
class [[nodiscard]] EDataTreeCtrl::Updating {
public:
    explicit Updating(EDataTreeCtrl& ctrl) noexcept : ctrl_(ctrl) { ctrl_.inUpdate_ = true; }
    ~Updating() { ctrl_.inUpdate_ = false; }
    Updating(const Updating&) = delete;
    Updating& operator=(const Updating&) = delete;

private:
    EDataTreeCtrl& ctrl_;
};

/// Keeps the selection through the outermost sync: what selects, deletes and opens items within it
/// knows nothing of it.
class [[nodiscard]] EDataTreeCtrl::Following {
public:
    explicit Following(EDataTreeCtrl& ctrl)
        : ctrl_(ctrl), isOutermost_(ctrl.following_ == nullptr) {
        if (isOutermost_) {
            ctrl_.following_ = this;
            places_[0] = SelectedTag();
        }
    }
    ~Following() {
        if (isOutermost_) {
            ctrl_.following_ = nullptr;
        }
    }
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;

    /// The selection has left an item that goes. An heir that goes as well, since its place is
    /// another, may leave none: it is the one to be selected again.
    void NoteHeir() {
        if (ctrl_.View().SelectedItem() != nullptr) {
            places_[1] = SelectedTag();
        }
    }
    /// Selects the node that was selected, or the last heir, if it is there and isn't selected.
    void End() {
        for (const ETabulonTag& place : places_) {
            if (isOutermost_ && !place.IsRoot() && ctrl_.tree_->Get(place) != nullptr) {
                ctrl_.SelectAgain(place);
                return;
            }
        }
    }

private:
    [[nodiscard]] ETabulonTag SelectedTag() const {
        _TREEITEM* const item = ctrl_.View().SelectedItem();
        return item != nullptr ? ctrl_.Tag(item) : ETabulonTag();
    }

    EDataTreeCtrl& ctrl_;
    const bool isOutermost_;
    ETabulonTag places_[2];
};

/// Redraw off for a scope; on at its end, whoever turned it on before.
class [[nodiscard]] EDataTreeCtrl::RedrawOff {
public:
    explicit RedrawOff(ITreeView& view) : view_(view) { view_.SetRedraw(false); }
    ~RedrawOff() { view_.SetRedraw(true); }
    RedrawOff(const RedrawOff&) = delete;
    RedrawOff& operator=(const RedrawOff&) = delete;

private:
    ITreeView& view_;
};

/// Turns redraw off at the first change.
class EDataTreeCtrl::Redraw {
public:
    Redraw(ITreeView& view, bool isOff) noexcept : view_(view), isOff_(isOff) {}
    void Off() {
        if (!isOff_) {
            view_.SetRedraw(false);
            isOff_ = true;
        }
    }
    [[nodiscard]] bool IsOff() const noexcept { return isOff_; }

private:
    ITreeView& view_;
    bool isOff_;
};

}  // namespace etabulon
