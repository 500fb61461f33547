#pragma once

#include "controls/EDataTreeCtrlPart.h"

namespace etabulon::detail {

/// How a tree control shows that it waits: by the pointer, and by an icon that blinks on the root's
/// item or a text that blinks in an empty view.
class EDataTreeCtrlWait final : public EDataTreeCtrlPart {
public:
    EDataTreeCtrlWait(EDataTreeCtrlParts& parts, IScreen& screen);
    ~EDataTreeCtrlWait();

    /// Shows the busy pointer, and begins to blink.
    void Begin();
    void UpdateWait(EDataTreeCtrl::eShowWaitStep step);
    /// Does nothing while a run is active.
    void StopWait();
    /// Ends a wait that no timer would end.
    void StopWaitWithoutTimer();
    [[nodiscard]] bool IsTextShown() const noexcept {
        return waitStep_ == EDataTreeCtrl::WaitStepShown;
    }

    void ShowWaitPointer() { SetWndCursor(waitCursor_); }
    void ShowNormalPointer() { SetWndCursor(normalCursor_); }
    bool OnSetCursor();

    /// Returns whether the tick was this part's.
    bool OnTimer(unsigned int timerID);
    void KillTimer();
    /// The timers went with the view.
    void Forget() noexcept;

private:
    void SetWndCursor(HCURSOR cursor);
    void SetRootImage(HICON icon);

    HCURSOR normalCursor_;
    HCURSOR busyCursor_;
    HCURSOR waitCursor_;
    HICON waitIcon_;
    EDataTreeCtrl::eShowWaitStep waitStep_ = EDataTreeCtrl::WaitStepNone;
    unsigned int waitTimer_ = 0;  // 0 while it doesn't run
};

}  // namespace etabulon::detail
