#include "etabulon/tree/EDataTreeThread.h"

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/tree/EDataTree.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

namespace etabulon {

/// The parameters and the state of one run.
///
/// Threads  the starter and the worker hold a reference each and may release it at the same time,
///          so that the count is atomic.
class EDataTreeThread::ThreadParams : public virtual ECountedUnknown {
public:
    ThreadParams(bool isRefresh, const ETabulonTag& ofTag) : refresh(isRefresh), tag(ofTag) {}

    void AddRef() override { references_.fetch_add(1, std::memory_order_relaxed); }
    std::int32_t Release() override {
        const std::int32_t remaining = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (remaining == 0) {
            delete this;
        }
        return remaining;
    }

    void SignalStarted() {
        const std::lock_guard hold(mutex_);
        isStarted_ = true;
        started_.notify_one();
    }
    void WaitStarted() {
        std::unique_lock hold(mutex_);
        started_.wait(hold, [this] { return isStarted_; });
    }

    const bool refresh;
    const ETabulonTag tag;  // used by the worker only, once it has started
    // The run that this one takes the cursor from; used by the worker only, once it has started.
    ERef<ThreadParams> earlier;
    std::thread earlierWorker;
    std::atomic<bool> cancelled{false};
    std::atomic<bool> ended{false};  // the report has returned

private:
    std::atomic<std::int32_t> references_{1};
    std::mutex mutex_;
    std::condition_variable started_;
    bool isStarted_ = false;  // guarded by mutex_
};

namespace {

/// Ends a walk whose run was cancelled before the walk began. The cursor's reset clears its cancel
/// flag before it calls its listeners, and this listener answers with the run's own flag. A later
/// cancel reaches the walk itself.
class CancelledBefore : public EBlockListener {
public:
    explicit CancelledBefore(const std::atomic<bool>& cancelled) : cancelled_(cancelled) {}
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
        return cancelled_.load() ? StatusCancelled : StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor&) override { return StatusOk; }
    bool WantBlocks(const ETabulonCursor&, EBlockRequest&) override { return true; }
    CursorStatus OnBlock(const ETabulonCursor&, const ERecordBlock&,
                         std::span<const EBlockIndex>) override {
        return StatusOk;
    }

private:
    const std::atomic<bool>& cancelled_;
};

/// The status that stands for the exception in flight.
CursorStatus StatusOfException() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return static_cast<CursorStatus>(DataNoMemory);
    } catch (...) {
        return static_cast<CursorStatus>(DataOther);
    }
}

}  // namespace

EDataTreeThread::EDataTreeThread(EDataTree* tree) : tree_(tree) {}

EDataTreeThread::~EDataTreeThread() { Stop(); }

void EDataTreeThread::Fill() { Start(/*refresh=*/false, ETabulonTag::Null); }

void EDataTreeThread::Refresh() { Start(/*refresh=*/true, ETabulonTag::Null); }

void EDataTreeThread::Refresh(const ETabulonTag& tag) { Start(/*refresh=*/true, tag); }

void EDataTreeThread::Start(bool refresh, const ETabulonTag& tag) {
    E_EXPECTS(!tree_->Cursor()->IsLockedByThisThread());
    const auto params = MakeRef<ThreadParams>(refresh, tag);
    busy_.store(1);
    try {
        OnThreadStart(params->tag);
    } catch (...) {
        if (run_ == nullptr || run_->ended.load()) {
            busy_.store(0);  // no run is left that would clear it
        }
        throw;
    }
    // OnThreadStart may have started another run.
    params->earlier = run_;
    params->earlierWorker = std::move(worker_);
    std::thread worker = StartWorker([this, run = params.Get()] { Run(*run); });
    if (!worker.joinable()) {
        // Deliberate: the busy flag stays set, though nothing runs: OnThreadStart was called, and
        // no report of an end follows until a later run ends. StartWithoutAThreadStaysBusy holds
        // it.
        worker_ = std::move(params->earlierWorker);
        return;
    }
    params->WaitStarted();
    worker_ = std::move(worker);
    run_ = params;
}

void EDataTreeThread::Cancel() {
    if (run_ != nullptr && !run_->ended.load()) {
        run_->cancelled.store(true);
        tree_->Cursor()->Cancel();
    }
}

void EDataTreeThread::Stop() {
    Cancel();
    if (worker_.joinable()) {
        E_EXPECTS(worker_.get_id() != std::this_thread::get_id());
        worker_.join();
    }
    run_ = nullptr;
}

std::thread EDataTreeThread::StartWorker(std::function<void()> entry) noexcept {
    try {
        return std::thread(std::move(entry));
    } catch (const std::exception&) {
        return std::thread();
    }
}

/// The worker's run: takes the cursor, walks, reports, and gives the cursor back.
void EDataTreeThread::Run(ThreadParams& params) noexcept {
    const auto reference = ERef<ThreadParams>::Retain(&params);
    std::optional<ECursorExclusive> exclusive;
    CursorStatus status = StatusOk;
    try {
        if (params.earlier) {
            params.earlier->cancelled.store(true);
        }
        exclusive.emplace(*tree_->Cursor());
        params.earlier = nullptr;
    } catch (...) {
        status = StatusOfException();
    }
    params.SignalStarted();
    OldNodes oldNodes;
    if (exclusive) {
        try {
            status = Walk(params, oldNodes);
        } catch (...) {
            status = StatusOfException();
        }
    }
    Conclude(params, status);
    exclusive.reset();
    // Releasing many nodes takes a while: the cursor is free meanwhile.
    oldNodes.clear();
    if (params.earlierWorker.joinable()) {
        params.earlierWorker.join();
    }
}

/// Makes the run's one report, and sets the flags around it.
void EDataTreeThread::Conclude(ThreadParams& params, CursorStatus status) noexcept {
    // Deliberate: a flag and not a count. When a run starts while another one works, the first to
    // end clears the flag, and the other works on while IsBusy says no. Screens show the end of the
    // first run by it. OverlappingRunsLookIdleAfterTheFirst holds it.
    busy_.store(0);
    try {
        Report(params, status);
    } catch (...) {
        // The report was made: there is no second one.
    }
    params.ended.store(true);
    // Again, because a start since then has set it: that run waits for the cursor's lock.
    busy_.store(0);
}

CursorStatus EDataTreeThread::Walk(const ThreadParams& params, OldNodes& oldNodes) {
    CancelledBefore listener(params.cancelled);
    const ECursorListening listening(*tree_->Cursor(), listener);
    if (!params.refresh) {
        EmptyTree(oldNodes);
    }
    if (params.cancelled.load()) {
        return StatusCancelled;
    }
    return params.refresh ? tree_->Refresh(params.tag) : tree_->Fill();
}

/// Empties the tree as the fill itself would, but keeps a reference to each branch, so that it is
/// destroyed only after the cursor is free again.
void EDataTreeThread::EmptyTree(OldNodes& oldNodes) {
    EDataTreeNode& root = *tree_->Root();
    for (unsigned int index = 0; index < root.Size(); ++index) {
        EDataTreeNode* const child = root.Get(index);
        if (child->Size() != 0) {
            oldNodes.push_back(ERef<EDataTreeNode>::Retain(child));
        }
    }
    root.Reset();
}

void EDataTreeThread::Report(const ThreadParams& params, CursorStatus status) {
    if (!params.refresh) {
        switch (status) {
            case StatusOk:
                return OnThreadFillDone();
            case StatusCancelled:
                return OnThreadFillCancel();
            default:
                return OnThreadFillError(status);
        }
    }
    switch (status) {
        case StatusOk:
            return OnThreadRefreshDone(params.tag);
        case StatusCancelled:
            return OnThreadRefreshCancel(params.tag);
        default:
            return OnThreadRefreshError(params.tag, status);
    }
}

}  // namespace etabulon
