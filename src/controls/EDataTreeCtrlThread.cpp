#include "controls/EDataTreeCtrlThread.h"

#include "etabulon/controls/EDataTreeMessages.h"

#include <new>
#include <utility>

namespace etabulon {

namespace {

// The run that starts, and the one that it replaces and that hasn't reported its end yet.
constexpr std::size_t kRunsAtOnce = 2;

std::unique_ptr<ETabulonTag> CopyOf(const ETabulonTag& tag) {
    try {
        return std::make_unique<ETabulonTag>(tag);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

EDataTreeCtrlThread::EDataTreeCtrlThread(EDataTree* tree, std::shared_ptr<EMessagePort> port)
    : EDataTreeThread(tree), port_(std::move(port)) {}

EDataTreeCtrlThread::~EDataTreeCtrlThread() { Stop(); }

void EDataTreeCtrlThread::OnThreadStart(const ETabulonTag& tag) {
    // Every run that was announced is reported exactly once: the message for it is allocated here.
    port_->Reserve(kRunsAtOnce);
    port_->Send({MsgBrowseStart, 0, CopyOf(tag)});
}

void EDataTreeCtrlThread::OnThreadFillDone() { port_->PostReserved({MsgFillDone, 0, nullptr}); }

void EDataTreeCtrlThread::OnThreadRefreshDone(const ETabulonTag& tag) {
    port_->PostReserved({MsgRefreshDone, 0, CopyOf(tag)});
}

void EDataTreeCtrlThread::OnThreadFillCancel() { port_->PostReserved({MsgFillCancel, 0, nullptr}); }

// Deliberate: the message of a refresh that was cancelled or failed carries no tag. The items stay
// as they are, so that the control has nothing to look up.
// RefreshThatDoesntEndWellComesWithoutItsTag holds it.
void EDataTreeCtrlThread::OnThreadRefreshCancel(const ETabulonTag& /*tag*/) {
    port_->PostReserved({MsgRefreshCancel, 0, nullptr});
}

void EDataTreeCtrlThread::OnThreadFillError(CursorStatus status) {
    port_->PostReserved({MsgFillError, status, nullptr});
}

void EDataTreeCtrlThread::OnThreadRefreshError(const ETabulonTag& /*tag*/, CursorStatus status) {
    port_->PostReserved({MsgRefreshError, status, nullptr});
}

}  // namespace etabulon
