#pragma once

#include "etabulon/controls/EMessagePort.h"
#include "etabulon/tree/EDataTreeThread.h"

#include <memory>

namespace etabulon {

/// The thread object of a tree control: turns reports into messages of its port, numbered as
/// EDataTreeMessage tells.
///
/// Ownership  shares the port with the control. Destroyed by the control after it has closed the
///            port: the run that is out is cancelled and waited for, for one step of its walk, and
///            nobody hears its end.
/// Threads    as EDataTreeThread; the start is sent on the starter's thread, the rest is posted.
/// Failure    without memory for the tag of a message it comes without one.
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
