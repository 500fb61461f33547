#include "controls/EDataTreeCtrlWait.h"

#include "controls/EDataTreeCtrlParts.h"
#include "controls/EDataTreeCtrlSection.h"

namespace etabulon::detail {
namespace {

constexpr unsigned int kWaitTimer = 2;
constexpr unsigned int kWaitIconID = 13000;
constexpr int kWaitIconSize = 16;
constexpr int kNoImage = -1;

}  // namespace

EDataTreeCtrlWait::EDataTreeCtrlWait(EDataTreeCtrlParts& parts, IScreen& screen)
    : EDataTreeCtrlPart(parts),
      normalCursor_(screen.LoadCursor(IScreen::CursorArrow)),
      busyCursor_(screen.LoadCursor(IScreen::CursorAppStarting)),
      waitCursor_(screen.LoadCursor(IScreen::CursorWait)),
      waitIcon_(screen.LoadIcon(kWaitIconID, kWaitIconSize, kWaitIconSize)) {}

EDataTreeCtrlWait::~EDataTreeCtrlWait() {
    for (const HCURSOR cursor : {normalCursor_, busyCursor_, waitCursor_}) {
        DestroyIcon(cursor);
    }
    DestroyIcon(waitIcon_);
}

// ------------------------------------------------------------------------------------- the pointer

void EDataTreeCtrlWait::SetWndCursor(HCURSOR cursor) {
    IScreen& screen = parts_.screen;
    if (screen.Pointer() != cursor && View().WindowRect().Contains(screen.PointerPosition())) {
        screen.SetPointer(cursor);
    }
}

bool EDataTreeCtrlWait::OnSetCursor() {
    if (parts_.runs.IsBusy()) {
        parts_.screen.SetPointer(busyCursor_);
    } else {
        parts_.screen.SetPointer(parts_.inUpdate ? waitCursor_ : normalCursor_);
    }
    return true;
}

// ------------------------------------------------------------------------------------ the blinking

void EDataTreeCtrlWait::Begin() {
    SetWndCursor(busyCursor_);
    waitTimer_ =
        View().SetTimer(waitTimer_ != 0 ? waitTimer_ : kWaitTimer, parts_.screen.CaretBlinkTime());
    UpdateWait(EDataTreeCtrl::WaitStepShown);
    View().UpdateNow();
}

void EDataTreeCtrlWait::UpdateWait(EDataTreeCtrl::eShowWaitStep step) {
    using enum EDataTreeCtrl::eShowWaitStep;
    if (step != WaitStepNext) {
        waitStep_ = step;
    } else if (waitStep_ == WaitStepEnding) {
        return StopWait();
    } else if (waitStep_ == WaitStepShown) {
        waitStep_ = WaitStepHidden;
    } else if (waitStep_ == WaitStepHidden) {
        waitStep_ = WaitStepShown;
    }
    if (View().FirstItem() == nullptr) {
        if (waitStep_ != WaitStepNone) {
            View().Invalidate();
        }
        return;
    }
    SetRootImage(waitStep_ == WaitStepShown || waitStep_ == WaitStepEnding ? waitIcon_ : nullptr);
    View().UpdateNow();
}

void EDataTreeCtrlWait::SetRootImage(HICON icon) {
    const int image = icon != nullptr ? parts_.images.IndexOf(icon) : kNoImage;
    _TREEITEM* const first = View().FirstItem();
    ETreeItemChange change;
    change.image = image;
    change.selectedImage = image;
    View().SetItem(first, change);
    View().InvalidateItem(first);
}

void EDataTreeCtrlWait::StopWait() {
    if (parts_.runs.IsBusy()) {
        return;  // an ending wait tries again at each tick
    }
    waitStep_ = EDataTreeCtrl::WaitStepNone;
    if (waitTimer_ != 0) {
        View().KillTimer(waitTimer_);
        waitTimer_ = 0;
    }
    if (View().FirstItem() != nullptr) {
        HICON icon = nullptr;
        {
            const CursorSection section(parts_);
            icon = parts_.tree->Root()->Icon();
        }
        SetRootImage(icon);
    } else {
        View().Invalidate();
        View().UpdateNow();
    }
}

void EDataTreeCtrlWait::StopWaitWithoutTimer() {
    if (waitTimer_ == 0) {
        StopWait();
    }
}

bool EDataTreeCtrlWait::OnTimer(unsigned int timerID) {
    if (timerID == 0 || timerID != waitTimer_) {
        return false;
    }
    UpdateWait(EDataTreeCtrl::WaitStepNext);
    return true;
}

void EDataTreeCtrlWait::KillTimer() {
    if (waitTimer_ != 0) {
        View().KillTimer(waitTimer_);
    }
}

void EDataTreeCtrlWait::Forget() noexcept {
    waitTimer_ = 0;
    waitStep_ = EDataTreeCtrl::WaitStepNone;
}

}  // namespace etabulon::detail
