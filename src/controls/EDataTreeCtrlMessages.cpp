// What the worker reports, and what the owner is told of it.

#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"

namespace etabulon {

void EDataTreeCtrl::OnMessage(EMessage& message) {
    struct Entry {
        std::uint32_t number;
        void (EDataTreeCtrl::*handler)(EMessage&);
    };
    static constexpr Entry kHandlers[] = {
        {MsgBrowseStart, &EDataTreeCtrl::OnStartMessage},
        {MsgFillDone, &EDataTreeCtrl::OnFillDone},
        {MsgRefreshDone, &EDataTreeCtrl::OnRefreshDone},
        {MsgFillCancel, &EDataTreeCtrl::OnFillCancel},
        {MsgRefreshCancel, &EDataTreeCtrl::OnRefreshCancel},
        {MsgFillError, &EDataTreeCtrl::OnFillError},
        {MsgRefreshError, &EDataTreeCtrl::OnRefreshError},
        {AskFill, &EDataTreeCtrl::OnAskFill},
        {AskRefresh, &EDataTreeCtrl::OnAskRefresh},
    };
    for (const Entry& entry : kHandlers) {
        if (entry.number == message.number) {
            return (this->*entry.handler)(message);
        }
    }
}

void EDataTreeCtrl::OnStartMessage(EMessage& message) {
    const Updating updating(*this);
    message.tag = nullptr;
    OnBrowseStart();
}

void EDataTreeCtrl::OnFillDone(EMessage&) {
    const Updating updating(*this);
    ReSync();
    OnConsultNode(Selected());
    OnBrowseDone();
    StopWait();
}

void EDataTreeCtrl::OnRefreshDone(EMessage& message) {
    const Updating updating(*this);
    ReSync(message.tag != nullptr ? *message.tag : ETabulonTag::Null);
    message.tag = nullptr;
    OnBrowseDone();
    StopWait();
}

void EDataTreeCtrl::OnFillCancel(EMessage&) {
    const Updating updating(*this);
    DeleteAllItems();
    UpdateWait(WaitStepEnding);
    OnBrowseCancel();
    StopWait();
}

// Deliberate: a refresh that was cancelled or failed tells the owner and does nothing else. The
// wait display blinks on until a later sync or stop ends it: as a rule a newer run is under way.
// CancelledOrFailedRefreshBlinksOn holds it.
void EDataTreeCtrl::OnRefreshCancel(EMessage&) { OnBrowseCancel(); }

void EDataTreeCtrl::OnFillError(EMessage& message) {
    const Updating updating(*this);
    DeleteAllItems();
    UpdateWait(WaitStepEnding);
    OnBrowseError(static_cast<CursorStatus>(message.wParam));
    StopWait();
}

void EDataTreeCtrl::OnRefreshError(EMessage& message) {
    OnBrowseError(static_cast<CursorStatus>(message.wParam));
}

void EDataTreeCtrl::OnAskFill(EMessage&) { Fill(); }

void EDataTreeCtrl::OnAskRefresh(EMessage& message) {
    if (message.tag->IsRoot()) {
        Refresh();
    } else {
        Refresh(*message.tag);
    }
}

void EDataTreeCtrl::OnBrowseStart() { View().SendToOwner(NotifyBrowseStart, 0, 0); }

void EDataTreeCtrl::OnBrowseDone() {
    View().SendToOwner(NotifyBrowseDone, 0, 0);
    if (View().ItemCount() == 0) {
        View().Invalidate();  // for the empty text
    }
}

void EDataTreeCtrl::OnBrowseCancel() { View().SendToOwner(NotifyBrowseCancel, 0, 0); }

void EDataTreeCtrl::OnBrowseError(CursorStatus status) {
    View().SendToOwner(NotifyBrowseError, status, 0);
}

}  // namespace etabulon
