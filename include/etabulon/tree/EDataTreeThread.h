#pragma once

#include "etabulon/cursors/CursorStatus.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/fwd.h"
#include "etabulon/values/fwd.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace etabulon {

/// Fills or refreshes a tree on a worker thread, and reports to a derived class. One object serves
/// all runs of a tree; a run that starts while another one works cancels that one.
///
/// Use        derive, and call Stop in the derived class's destructor: a running worker reports to
///            the derived class.
/// Ownership  the tree isn't owned and must outlive this.
/// Threads    Fill, Refresh, Cancel, Stop and OnThreadStart belong to the starter's thread. It
///            mustn't hold the cursor's lock when it starts a run, because it waits until the
///            worker holds the lock. The worker calls the reports while it still holds the lock:
///            they post and return. Any thread may ask IsBusy.
/// Failure    a run that began ends in exactly one report, whatever happens in it; an exception is
///            reported as status DataNoMemory or DataOther. What a report itself throws is dropped.
///            If no thread can be started there is no report.
/// Example    tests/tree/ThreadFixture.h
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

    // Each returns once the worker holds the cursor.
    void Fill();
    void Refresh();
    /// Refreshes the node of the tag, or the nearest ancestor that the tree has.
    void Refresh(const ETabulonTag& tag);
    void Start(bool refresh, const ETabulonTag& tag);
    [[nodiscard]] bool IsBusy() const noexcept { return busy_.load() == 1; }

    /// Cancels the running run, whichever step it is in. A cursor's Cancel alone has no effect
    /// before the walk has begun.
    void Cancel();

protected:
    /// Cancels the running run and waits for its end, which takes one step of its walk and the
    /// release of a fill's old nodes. No report follows.
    void Stop();
    /// Starts a thread that calls `entry`. Returns one that isn't joinable where it can't.
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
    ERef<ThreadParams> run_;  // the last one; used by the starter's thread only
    std::thread worker_;      // of run_
};

}  // namespace etabulon
