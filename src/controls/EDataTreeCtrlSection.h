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
