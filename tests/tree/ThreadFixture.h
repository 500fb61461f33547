#pragma once

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/tree/EDataTreeThread.h"
#include "support/Gate.h"
#include "support/Watchdog.h"
#include "tree/TreeFixture.h"

#include <atomic>

namespace etabulon::test {

/// Calls a function before each step that a run makes towards the cursor.
class HookedCursor : public ETabulonCursorEData {
public:
    std::function<void()> onCancel;
    std::function<void(int count)> onLock;  // how many there were, this one included
    RecordAction onRecord;
    std::atomic<int> depth{0};  // of locks, those that are waited for included

    /// Holds walks at that record, or at the first one they come to.
    void HoldAt(Gate& gate, int wanted = 0) {
        onRecord = [&gate, wanted](int record) {
            if (wanted == 0 || record == wanted) {
                gate.Pass();
            }
            return StatusOk;
        };
    }

    void Cancel() override {
        ETabulonCursorEData::Cancel();
        if (onCancel) {
            onCancel();
        }
    }
    bool CursorLock(bool wait) override {
        if (onLock) {
            onLock(++locks_);
        }
        ++depth;
        return ETabulonCursorEData::CursorLock(wait);
    }
    void CursorUnlock() override {
        --depth;
        ETabulonCursorEData::CursorUnlock();
    }

protected:
    CursorStatus Reset(const ETabulonTag& tag) override {
        record_ = 0;
        return Step(ETabulonCursorEData::Reset(tag));
    }
    CursorStatus GetNext() override { return Step(ETabulonCursorEData::GetNext()); }

private:
    CursorStatus Step(CursorStatus status) {
        ++record_;
        return status == StatusOk && onRecord ? onRecord(record_) : status;
    }
    std::atomic<int> locks_{0};
    int record_ = 0;
};

/// A thread object that writes down what it hears: "start[FR] refresh done[FR]", "fill cancel",
/// "fill error(1099)".
class ThreadTrace : public EDataTreeThread {
public:
    explicit ThreadTrace(EDataTree* tree) : EDataTreeThread(tree), tree_(tree) {}
    ~ThreadTrace() override { Stop(); }

    std::function<void()> onStart;
    std::function<void()> onReport;  // on the worker
    bool hasNoThreads = false;

    /// What was heard since the last time.
    [[nodiscard]] std::string Take() {
        const std::lock_guard hold(mutex_);
        return std::exchange(log_, std::string());
    }
    /// The same, when the run that is out has ended.
    [[nodiscard]] std::string Await() {
        ETabulonCursor& cursor = *tree_->Cursor();
        cursor.CursorLock(true);
        cursor.CursorUnlock();
        return Take();
    }

    void OnThreadStart(const ETabulonTag& tag) override {
        Hear("start", &tag);
        if (const auto told = onStart) {
            told();
        }
    }
    void OnThreadFillDone() override { Report("fill done"); }
    void OnThreadRefreshDone(const ETabulonTag& tag) override { Report("refresh done", &tag); }
    void OnThreadFillCancel() override { Report("fill cancel"); }
    void OnThreadRefreshCancel(const ETabulonTag& tag) override { Report("refresh cancel", &tag); }
    void OnThreadFillError(CursorStatus status) override { Report(Error("fill", status)); }
    void OnThreadRefreshError(const ETabulonTag& tag, CursorStatus status) override {
        Report(Error("refresh", status), &tag);
    }
    using EDataTreeThread::Stop;

protected:
    std::thread StartWorker(std::function<void()> entry) noexcept override {
        return hasNoThreads ? std::thread() : EDataTreeThread::StartWorker(std::move(entry));
    }

private:
    static std::string Error(const char* run, CursorStatus status) {
        return std::string(run) + " error(" + std::to_string(status) + ")";
    }
    void Hear(const std::string& what, const ETabulonTag* tag = nullptr) {
        const std::lock_guard hold(mutex_);
        log_ += (log_.empty() ? "" : " ") + what + (tag ? tag->DisplayID().c_str() : "");
    }
    void Report(const std::string& what, const ETabulonTag* tag = nullptr) {
        Hear(what, tag);
        if (onReport) {
            onReport();
        }
    }

    EDataTree* tree_;
    std::mutex mutex_;
    std::string log_;  // guarded by mutex_
};

/// The sales, a tree on them by country and city, and its thread object.
struct ThreadedSales : Sales {
    ThreadedSales() {
        hooked.Init(levels, table.get(), /*ownsTable=*/false);
        tree.SetSortLevels(InOrder({0, 1}));
    }
    [[nodiscard]] std::string TreeNow() {
        const ECursorExclusive exclusive(hooked);
        return Text(tree);
    }

    HookedCursor hooked;
    EDataTree tree{&hooked, "root", nullptr};
    ThreadTrace thread{&tree};
};

}  // namespace etabulon::test
