#pragma once

#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/ERef.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace etabulon {

class EDataTree;
class EDataTreeNode;
class ETabulonTag;

/// Fills or refreshes a tree on a thread of its own, and reports to a derived class. One object
/// serves all runs of a tree; a run that is asked for while another one works cancels it.
///
/// Use        derive, and call Stop in the derived class's destructor: a run that is out reports to
///            it.
/// Ownership  the tree isn't owned and must outlive this.
/// Threads    Fill, Refresh, Cancel, Stop and OnThreadStart belong to the starter's thread, which
///            mustn't hold the cursor's lock when it starts a run: it waits until the worker holds
///            it. The reports come on the worker, which still holds the lock: they post and return.
///            IsBusy may be asked anywhere.
/// Failure    a run that began ends in exactly one report, whatever happens in it; an exception is
///            status DataNoMemory or DataOther. What a report itself throws is dropped. If no
///            thread can be started there is no report.
class ETABULON_API EDataTreeThread {
public:
    explicit EDataTreeThread(EDataTree* tree);
    EDataTreeThread(const EDataTreeThread&) = delete;
    EDataTreeThread& operator=(const EDataTreeThread&) = delete;
    virtual ~EDataTreeThread();

    virtual void OnThreadStart(const ETabulonTag& tag) = 0;
    virtual void OnThreadFillDone() = 0;
    virtual void OnThreadRefreshDone(const ETabulonTag& tag) = 0;
    virtual void OnThreadFillCancel() = 0;
    virtual void OnThreadRefreshCancel(const ETabulonTag& tag) = 0;
    virtual void OnThreadFillError(CursorStatus status) = 0;
    virtual void OnThreadRefreshError(const ETabulonTag& tag, CursorStatus status) = 0;

    // Each returns when the worker holds the cursor.
    void Fill();
    void Refresh();
    /// The tag's node, or its nearest ancestor that the tree holds.
    void Refresh(const ETabulonTag& tag);
    void Start(bool refresh, const ETabulonTag& tag);
    [[nodiscard]] bool IsBusy() const noexcept { return busy_.load() == 1; }

    /// Cancels the run that is out, whichever step it is in. A cursor's Cancel alone is forgotten
    /// when it comes before the walk has begun.
    void Cancel();

protected:
    /// Cancels the run that is out and waits for its end: for one step of its walk, and for the old
    /// nodes of a fill to go. Nothing is reported afterwards.
    void Stop();
    /// Starts a thread that calls `entry`; one that isn't joinable if it can't.
    [[nodiscard]] virtual std::thread StartWorker(std::function<void()> entry) noexcept;

private:
    class ThreadParams;
    using OldNodes = std::vector<ERef<EDataTreeNode>>;

    void Run(ThreadParams& params) noexcept;
    CursorStatus Walk(const ThreadParams& params, OldNodes& oldNodes);
    void EmptyTree(OldNodes& oldNodes);
    void Conclude(ThreadParams& params, CursorStatus status) noexcept;
    void Report(const ThreadParams& params, CursorStatus status);

    EDataTree* tree_;  // not owned
    std::atomic<std::int32_t> busy_{0};
    ERef<ThreadParams> run_;  // the last one; of the starter's thread
    std::thread worker_;      // of run_
};

}  // namespace etabulon
