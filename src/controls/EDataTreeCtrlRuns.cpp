#include "controls/EDataTreeCtrlRuns.h"

#include "controls/EDataTreeCtrlParts.h"
#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/foundation/EExpects.h"

namespace etabulon::detail {

EDataTreeCtrlRuns::EDataTreeCtrlRuns(EDataTreeCtrlParts& parts)
    : EDataTreeCtrlPart(parts),
      port_(std::make_shared<EMessagePort>(static_cast<EMessagePort::IReceiver&>(*this))) {}

void EDataTreeCtrlRuns::Init(EDataTree* tree) {
    thread_ = std::make_unique<EDataTreeCtrlThread>(tree, port_);
}

void EDataTreeCtrlRuns::Close() {
    port_->Close();
    thread_.reset();
}

/// Posts the message instead of a run, and returns true, if this thread holds the cursor's lock: it
/// would wait for the worker, which waits for the lock.
bool EDataTreeCtrlRuns::Postpone(std::uint32_t message, const ETabulonTag& tag) {
    if (!parts_.Cursor()->IsLockedByThisThread()) {
        return false;
    }
    port_->Post({message, 0, std::make_unique<ETabulonTag>(tag)});
    return true;
}

void EDataTreeCtrlRuns::BeginRun() {
    parts_.wait.Begin();
    parts_.levels.RestoreHiddenLevelsPosition();
}

void EDataTreeCtrlRuns::Fill() {
    E_EXPECTS(parts_.ctrl.InitDone());
    if (Postpone(AskFill, ETabulonTag::Null)) {
        return;
    }
    View().AttachImages(parts_.images.List());
    BeginRun();
    thread_->Fill();
    View().Invalidate();
}

void EDataTreeCtrlRuns::Refresh() {
    E_EXPECTS(parts_.ctrl.InitDone());
    if (Postpone(AskRefresh, ETabulonTag::Null)) {
        return;
    }
    BeginRun();
    thread_->Refresh();
    View().Invalidate();
}

void EDataTreeCtrlRuns::Refresh(const ETabulonTag& tag) {
    E_EXPECTS(parts_.ctrl.InitDone());
    const ETabulonTag wanted = tag;  // `tag` may belong to a node, which BeginRun makes again
    if (Postpone(AskRefresh, wanted)) {
        return;
    }
    BeginRun();
    thread_->Refresh(wanted);
}

void EDataTreeCtrlRuns::RefreshDeletedNode(const ETabulonTag& tag) {
    const ETabulonTag deleted = tag;
    if (parts_.items.Has(deleted)) {
        const Updating updating(parts_);
        _TREEITEM* item = parts_.items.Find(deleted);
        while (item != nullptr && item != View().FirstItem() && parts_.items.IsAlone(item)) {
            item = View().ParentItem(item);  // the deletion would leave it empty
        }
        if (parts_.items.DataOf(item) != nullptr) {
            const ETabulonTag branch = parts_.items.Tag(item);
            const CursorSection section(parts_);
            parts_.sync.Delete(branch);
        }
        View().UpdateNow();
    }
    if (deleted.IsRoot()) {
        Refresh();
    } else {
        Refresh(parts_.SortDesc()->GetParentTag(deleted, kInTree));
    }
}

// ---------------------------------------------------------------------------------------- messages

void EDataTreeCtrlRuns::OnMessage(EMessage& message) {
    struct Entry {
        std::uint32_t number;
        void (EDataTreeCtrlRuns::*handler)(EMessage&);
    };
    static constexpr Entry kHandlers[] = {
        {MsgBrowseStart, &EDataTreeCtrlRuns::OnStart},
        {MsgFillDone, &EDataTreeCtrlRuns::OnFillDone},
        {MsgRefreshDone, &EDataTreeCtrlRuns::OnRefreshDone},
        {MsgFillCancel, &EDataTreeCtrlRuns::OnFillCancel},
        {MsgRefreshCancel, &EDataTreeCtrlRuns::OnRefreshCancel},
        {MsgFillError, &EDataTreeCtrlRuns::OnFillError},
        {MsgRefreshError, &EDataTreeCtrlRuns::OnRefreshError},
        {AskFill, &EDataTreeCtrlRuns::OnAskFill},
        {AskRefresh, &EDataTreeCtrlRuns::OnAskRefresh},
    };
    for (const Entry& entry : kHandlers) {
        if (entry.number == message.number) {
            return (this->*entry.handler)(message);
        }
    }
}

void EDataTreeCtrlRuns::OnStart(EMessage& message) {
    const Updating updating(parts_);
    message.tag = nullptr;
    parts_.ctrl.OnBrowseStart();
}

void EDataTreeCtrlRuns::OnFillDone(EMessage&) {
    const Updating updating(parts_);
    parts_.sync.ReSync();
    parts_.ctrl.OnConsultNode(parts_.selection.Selected());
    parts_.ctrl.OnBrowseDone();
    parts_.wait.StopWait();
}

void EDataTreeCtrlRuns::OnRefreshDone(EMessage& message) {
    const Updating updating(parts_);
    parts_.sync.ReSync(message.tag != nullptr ? *message.tag : ETabulonTag::Null);
    message.tag = nullptr;
    parts_.ctrl.OnBrowseDone();
    parts_.wait.StopWait();
}

void EDataTreeCtrlRuns::OnFillCancel(EMessage&) {
    const Updating updating(parts_);
    parts_.items.DeleteAllItems();
    parts_.wait.UpdateWait(EDataTreeCtrl::WaitStepEnding);
    parts_.ctrl.OnBrowseCancel();
    parts_.wait.StopWait();
}

// Deliberate: after a refresh that was cancelled or failed the control notifies the owner and does
// nothing else. The wait display blinks on until a later sync or stop ends it: as a rule a newer
// run is active. CancelledOrFailedRefreshBlinksOn holds it.
void EDataTreeCtrlRuns::OnRefreshCancel(EMessage&) { parts_.ctrl.OnBrowseCancel(); }

void EDataTreeCtrlRuns::OnFillError(EMessage& message) {
    const Updating updating(parts_);
    parts_.items.DeleteAllItems();
    parts_.wait.UpdateWait(EDataTreeCtrl::WaitStepEnding);
    parts_.ctrl.OnBrowseError(static_cast<CursorStatus>(message.wParam));
    parts_.wait.StopWait();
}

void EDataTreeCtrlRuns::OnRefreshError(EMessage& message) {
    parts_.ctrl.OnBrowseError(static_cast<CursorStatus>(message.wParam));
}

void EDataTreeCtrlRuns::OnAskFill(EMessage&) { Fill(); }

void EDataTreeCtrlRuns::OnAskRefresh(EMessage& message) {
    if (message.tag->IsRoot()) {
        Refresh();
    } else {
        Refresh(*message.tag);
    }
}

}  // namespace etabulon::detail
