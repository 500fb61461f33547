#include "controls/EDataTreeCtrlThread.h"

#include "etabulon/controls/EDataTreeMessages.h"

#include <new>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kRunsOut = 2;  // the one that is started, and the one that it takes over from

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
    // Each run that is told of is told of once more, whatever memory there is then.
    port_->Reserve(kRunsOut);
    port_->Send({MsgBrowseStart, 0, CopyOf(tag)});
}

void EDataTreeCtrlThread::OnThreadFillDone() { port_->PostReserved({MsgFillDone, 0, nullptr}); }

void EDataTreeCtrlThread::OnThreadRefreshDone(const ETabulonTag& tag) {
    port_->PostReserved({MsgRefreshDone, 0, CopyOf(tag)});
}

void EDataTreeCtrlThread::OnThreadFillCancel() { port_->PostReserved({MsgFillCancel, 0, nullptr}); }

// Deliberate: a refresh that was cancelled or failed comes without its tag. The items stay as they
// are, so that a control has nothing to look for. RefreshThatDoesntEndWellComesWithoutItsTag holds
// it.
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
