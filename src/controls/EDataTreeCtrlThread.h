#pragma once

#include "etabulon/controls/EMessagePort.h"
#include "etabulon/tree/EDataTreeThread.h"

#include <memory>

namespace etabulon {

/// The thread object of a tree control: turns the worker's reports into messages of the control's
/// port, with the numbers of EDataTreeMessage.
///
/// Ownership  shares the port with the control, which closes the port before it destroys this
///            object. The destructor cancels the running run and waits for one step of its walk;
///            the run's last message is dropped.
/// Threads    as EDataTreeThread; the start is sent on the starter's thread, the rest is posted.
/// Failure    without memory for its tag a message comes without the tag.
class ETABULON_API EDataTreeCtrlThread : public EDataTreeThread {
public:
    EDataTreeCtrlThread(EDataTree* tree, std::shared_ptr<EMessagePort> port);
    ~EDataTreeCtrlThread() override;

    void OnThreadStart(const ETabulonTag& tag) override;
    void OnThreadFillDone() override;
    void OnThreadRefreshDone(const ETabulonTag& tag) override;
    void OnThreadFillCancel() override;
    void OnThreadRefreshCancel(const ETabulonTag& tag) override;
    void OnThreadFillError(CursorStatus status) override;
    void OnThreadRefreshError(const ETabulonTag& tag, CursorStatus status) override;

private:
    std::shared_ptr<EMessagePort> port_;
};

}  // namespace etabulon
