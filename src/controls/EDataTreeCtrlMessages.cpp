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
    inUpdate_ = true;
    message.tag = nullptr;
    OnBrowseStart();
    inUpdate_ = false;
}

void EDataTreeCtrl::OnFillDone(EMessage&) {
    inUpdate_ = true;
    ReSync();
    OnConsultNode(Selected());
    OnBrowseDone();
    StopWait();
    inUpdate_ = false;
}

void EDataTreeCtrl::OnRefreshDone(EMessage& message) {
    inUpdate_ = true;
    ReSync(message.tag != nullptr ? *message.tag : ETabulonTag::Null);
    message.tag = nullptr;
    OnBrowseDone();
    StopWait();
    inUpdate_ = false;
}

void EDataTreeCtrl::OnFillCancel(EMessage&) {
    inUpdate_ = true;
    DeleteAllItems();
    UpdateWait(WaitStepEnding);
    OnBrowseCancel();
    StopWait();
    inUpdate_ = false;
}

// Deliberate: a refresh that was cancelled or failed tells the owner and does nothing else. The
// wait display blinks on until a later sync or stop ends it: as a rule a newer run is under way.
// CancelledOrFailedRefreshBlinksOn holds it.
void EDataTreeCtrl::OnRefreshCancel(EMessage&) { OnBrowseCancel(); }

void EDataTreeCtrl::OnFillError(EMessage& message) {
    inUpdate_ = true;
    DeleteAllItems();
    UpdateWait(WaitStepEnding);
    OnBrowseError(static_cast<CursorStatus>(message.wParam));
    StopWait();
    inUpdate_ = false;
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
