#pragma once

#include "controls/EDataTreeCtrlPart.h"
#include "controls/EDataTreeCtrlThread.h"

#include <cstdint>
#include <memory>

namespace etabulon::detail {

/// The fills and refreshes of a tree control: starts them on the worker, and takes in the messages
/// that the worker reports by.
class EDataTreeCtrlRuns final : public EDataTreeCtrlPart, private EMessagePort::IReceiver {
public:
    explicit EDataTreeCtrlRuns(EDataTreeCtrlParts& parts);

    void Init(EDataTree* tree);
    /// Closes the port and cancels the active run; waits for one step of its walk.
    void Close();
    [[nodiscard]] const std::shared_ptr<EMessagePort>& Port() const noexcept { return port_; }

    void Fill();
    void Refresh();
    void Refresh(const ETabulonTag& tag);
    void RefreshDeletedNode(const ETabulonTag& tag);
    void Cancel() { thread_->Cancel(); }
    [[nodiscard]] bool IsBusy() const { return thread_ != nullptr && thread_->IsBusy(); }

private:
    void BeginRun();
    [[nodiscard]] bool Postpone(std::uint32_t message, const ETabulonTag& tag);

    void OnMessage(EMessage& message) override;
    void OnStart(EMessage& message);
    void OnFillDone(EMessage& message);
    void OnRefreshDone(EMessage& message);
    void OnFillCancel(EMessage& message);
    void OnRefreshCancel(EMessage& message);
    void OnFillError(EMessage& message);
    void OnRefreshError(EMessage& message);
    void OnAskFill(EMessage& message);
    void OnAskRefresh(EMessage& message);

    std::shared_ptr<EMessagePort> port_;
    std::unique_ptr<EDataTreeCtrlThread> thread_;  // null until Init
};

}  // namespace etabulon::detail
