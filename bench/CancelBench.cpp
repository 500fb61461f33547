// Background runs: how long it takes from a cancel to the report, wherever the run is.

#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/LoadColumns.h"
#include "etabulon/foundation/EReadAhead.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/EDataTreeThread.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace etabulon::bench {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

enum class Work : std::uint8_t { Fill = 0, Refresh = 1 };

/// Two clocks: on the wall, and of the worker's processor time. What else runs on the machine takes
/// the worker's turns on the wall; a screen that has the machine to itself waits as long as the
/// other one tells.
struct Moment {
    Clock::time_point wall;
    double workerSeconds = 0;
};

/// Notes when a run reports, and how it ended.
class TimedThread : public EDataTreeThread {
public:
    explicit TimedThread(EDataTree* tree) : EDataTreeThread(tree) {}
    ~TimedThread() override { Stop(); }

    void Begin(Work work) {
        ended_.reset();
        work == Work::Fill ? Fill() : Refresh();
    }
    struct End {
        CursorStatus status;
        Moment when;
    };
    /// From any thread, while a run is out.
    [[nodiscard]] Moment Now() const {
        struct timespec used {};
        ::clock_gettime(clock_, &used);
        return {Clock::now(),
                static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9};
    }
    [[nodiscard]] End Wait() {
        std::unique_lock hold(mutex_);
        changed_.wait(hold, [this] { return ended_.has_value(); });
        return *ended_;
    }

    void OnThreadStart(const ETabulonTag&) override {}
    void OnThreadFillDone() override { Note(StatusOk); }
    void OnThreadRefreshDone(const ETabulonTag&) override { Note(StatusOk); }
    void OnThreadFillCancel() override { Note(StatusCancelled); }
    void OnThreadRefreshCancel(const ETabulonTag&) override { Note(StatusCancelled); }
    void OnThreadFillError(CursorStatus status) override { Note(status); }
    void OnThreadRefreshError(const ETabulonTag&, CursorStatus status) override { Note(status); }

protected:
    std::thread StartWorker(std::function<void()> entry) noexcept override {
        return std::thread([this, run = std::move(entry)] {
            ::pthread_getcpuclockid(::pthread_self(), &clock_);  // before the start returns
            run();
        });
    }

private:
    void Note(CursorStatus status) {
        const std::lock_guard hold(mutex_);
        ended_ = End{status, Now()};
        changed_.notify_one();
    }

    clockid_t clock_{};  // good as long as the worker lives
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<End> ended_;  // guarded by mutex_
};

/// Notes when a walk begins to bring records: a sort is over then.
class FirstRecord : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    Clock::time_point when;
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
        when = Clock::now();
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor&) override { return StatusOk; }
    void OnDone(const ETabulonCursor&) override {}
    void OnCancel(const ETabulonCursor&) override {}
    void OnError(const ETabulonCursor&, CursorStatus) override {}
};

/// From a cancel to the report, in milliseconds by both clocks.
struct Latency {
    double wall = 0;
    double worker = 0;
};

double Percentile99(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const double rank = std::ceil(0.99 * static_cast<double>(values.size()));
    return values[static_cast<std::size_t>(rank) - 1];
}

class CancelledRuns {
public:
    CancelledRuns()
        : orders_(RunSizes().large, "orders", {"country", "city", "customer", "id"}, {}) {}

    void SortInTheTable() {
        ESqlTable& table = *static_cast<ETabulonCursorSql&>(orders_.Cursor()).Table();
        table.SetOrder({table.Columns()[2], table.Columns()[1]});
    }
    /// 99th percentiles in milliseconds, of cancels all over the run or all over its sort.
    Latency Measure(Work work, bool duringSort) {
        const Milliseconds span = Span(work, duringSort);
        std::vector<double> wall;
        std::vector<double> worker;
        const std::size_t wanted = IsSmokeRun() ? 5 : 100;
        // One that came too late isn't counted, and not tried for ever.
        for (std::size_t turn = 0; wall.size() < wanted && turn < 2 * wanted; ++turn) {
            // More of the early moments, in which a run does other things than later.
            const double part = std::uniform_real_distribution<>(0, 0.95)(random_);
            const std::optional<Latency> latency = CancelAfter(work, span * (part * part));
            if (latency) {
                wall.push_back(latency->wall);
                worker.push_back(latency->worker);
            }
        }
        Require(wall.size() == wanted || IsSmokeRun(), "runs that were cancelled in time");
        return {Percentile99(std::move(wall)), Percentile99(std::move(worker))};
    }

private:
    /// How long a whole run takes, or its sort.
    Milliseconds Span(Work work, bool duringSort) {
        FirstRecord first;
        const ECursorListening listening(orders_.Cursor(), first);
        const Clock::time_point start = Clock::now();
        thread_.Begin(Work::Fill);
        TimedThread::End end = thread_.Wait();
        Require(end.status == StatusOk, "status of the whole run");
        Require(tree_.Root()->LeafCount() == RunSizes().large, "leaves of the tree");
        if (duringSort) {
            return first.when - start;
        }
        if (work == Work::Refresh) {
            const Clock::time_point again = Clock::now();
            thread_.Begin(work);
            return thread_.Wait().when.wall - again;
        }
        return end.when.wall - start;
    }
    std::optional<Latency> CancelAfter(Work work, Milliseconds delay) {
        thread_.Begin(work);
        std::this_thread::sleep_for(delay);
        const Moment cancelled = thread_.Now();
        thread_.Cancel();
        const TimedThread::End end = thread_.Wait();
        if (end.status == StatusOk) {
            return std::nullopt;
        }
        Require(end.status == StatusCancelled, "status of the cancelled run");
        return Latency{Milliseconds(end.when.wall - cancelled.wall).count(),
                       (end.when.workerSeconds - cancelled.workerSeconds) * 1e3};
    }

    std::mt19937 random_{5};
    OrdersCursor orders_;
    EDataTree tree_{&orders_.Cursor(), "all", nullptr};
    TimedThread thread_{&tree_};
};

constexpr double kLimit = 100;

void Record(benchmark::State& state, const std::string& what, const Latency& latency) {
    state.counters["p99_ms"] = latency.worker;
    RecordFigure(what, latency.worker, "ms of the worker, p99", kLimit);
    RecordFigure("", latency.wall, "ms on the wall, p99");
}

void CancelFill(benchmark::State& state) {
    CancelledRuns runs;
    for ([[maybe_unused]] auto turn : state) {
        Record(state, "cancel: of a fill", runs.Measure(Work::Fill, /*duringSort=*/false));
    }
}
BENCHMARK(CancelFill)->Iterations(1)->Unit(benchmark::kMillisecond);

void CancelRefresh(benchmark::State& state) {
    CancelledRuns runs;
    for ([[maybe_unused]] auto turn : state) {
        Record(state, "cancel: of a refresh", runs.Measure(Work::Refresh, /*duringSort=*/false));
    }
}
BENCHMARK(CancelRefresh)->Iterations(1)->Unit(benchmark::kMillisecond);

void CancelSort(benchmark::State& state) {
    CancelledRuns runs;
    runs.SortInTheTable();
    for ([[maybe_unused]] auto turn : state) {
        Record(state, "cancel: while SQLite sorts", runs.Measure(Work::Fill, /*duringSort=*/true));
    }
}
BENCHMARK(CancelSort)->Iterations(1)->Unit(benchmark::kMillisecond);

// ------------------------------------------------------------------------------------------- walks

/// Cancels of a walk in a thread of its own, by the processor time of the whole process: that of
/// readers counts too.
class CancelledWalks {
public:
    CancelledWalks(ETabulonCursor& cursor, std::function<CursorStatus()> walk)
        : cursor_(cursor), walk_(std::move(walk)) {}

    Latency Measure() {
        const Clock::time_point start = Clock::now();
        Require(walk_() == StatusOk, "status of the whole walk");
        const Milliseconds span = Clock::now() - start;
        std::vector<double> wall;
        std::vector<double> processor;
        const std::size_t wanted = IsSmokeRun() ? 5 : 50;
        for (std::size_t turn = 0; wall.size() < wanted && turn < 2 * wanted; ++turn) {
            if (const auto latency = CancelAfter(span * part_(random_))) {
                wall.push_back(latency->wall);
                processor.push_back(latency->worker);
            }
        }
        Require(wall.size() == wanted || IsSmokeRun(), "walks that were cancelled in time");
        return {Percentile99(std::move(wall)), Percentile99(std::move(processor))};
    }

private:
    static Moment Now() {
        struct timespec used {};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
        return {Clock::now(),
                static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9};
    }
    std::optional<Latency> CancelAfter(Milliseconds delay) {
        CursorStatus status = StatusOk;
        Moment ended;
        std::thread walker([this, &status, &ended] {
            status = walk_();
            ended = Now();
        });
        std::this_thread::sleep_for(delay);
        const Moment cancelled = Now();
        cursor_.Cancel();
        walker.join();
        if (status == StatusOk) {
            return std::nullopt;
        }
        Require(status == StatusCancelled, "status of the cancelled walk");
        return Latency{Milliseconds(ended.wall - cancelled.wall).count(),
                       (ended.workerSeconds - cancelled.workerSeconds) * 1e3};
    }

    ETabulonCursor& cursor_;
    std::function<CursorStatus()> walk_;
    std::mt19937 random_{7};
    std::uniform_real_distribution<> part_{0.01, 0.9};
};

void RecordWalk(benchmark::State& state, const char* what, ETabulonCursor& cursor,
                const std::function<CursorStatus()>& walk) {
    CancelledWalks walks(cursor, walk);
    for ([[maybe_unused]] auto turn : state) {
        const Latency latency = walks.Measure();
        state.counters["p99_ms"] = latency.worker;
        RecordFigure(what, latency.worker, "ms of the process, p99", kLimit);
        RecordFigure("", latency.wall, "ms on the wall, p99");
    }
}

void CancelGrid(benchmark::State& state, const char* what, unsigned int threads) {
    EReadAhead::SetThreads(threads);
    OrdersCursor orders(RunSizes().large, "orders", {"product", "city"}, {"amount"});
    ETabulonCursor& cursor = orders.Cursor();
    const ETabulonSortDesc sortDesc(cursor.Levels());
    const auto filler =
        ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor, nullptr));
    const ECursorListening listening(cursor, *filler);
    ETabulonCumulFuncOnVarCollection calculations;
    calculations.AddCalculation("SUM", ETabulonVariableID("amount"), TYPE_DOUBLE, 0, "amount");
    filler->SetParams(&calculations, 2, &sortDesc);
    RecordWalk(state, what, cursor, [&cursor] { return cursor.Browse(ETabulonTag::Null); });
    EReadAhead::SetThreads(0);
}

void CancelGridAlone(benchmark::State& state) { CancelGrid(state, "cancel: of a grid", 0); }
BENCHMARK(CancelGridAlone)->Iterations(1)->Unit(benchmark::kMillisecond);

void CancelGridReaders(benchmark::State& state) {
    CancelGrid(state, "cancel: of a grid with 2 readers", 2);
}
BENCHMARK(CancelGridReaders)->Iterations(1)->Unit(benchmark::kMillisecond);

void CancelScore(benchmark::State& state) {
    OrdersCursor orders(RunSizes().large, "orders", {"customer"}, {"amount"});
    ETabulonCursor& cursor = orders.Cursor();
    const ETabulonSortDesc sortDesc(cursor.Levels());
    const auto filler =
        ERef<ETabulonScoreFiller>::Adopt(ETabulonScoreFiller::Build(&cursor, nullptr));
    const ECursorListening listening(cursor, *filler);
    ETabulonCumulFuncOnVarCollection calculations;
    calculations.AddCalculation("SUM", ETabulonVariableID("amount"), TYPE_DOUBLE, 0, "amount");
    filler->SetParams(&calculations, &sortDesc, 1);
    RecordWalk(state, "cancel: of a score", cursor,
               [&cursor] { return cursor.Browse(ETabulonTag::Null); });
}
BENCHMARK(CancelScore)->Iterations(1)->Unit(benchmark::kMillisecond);

void CancelLoad(benchmark::State& state) {
    OrdersCursor orders(RunSizes().large, "orders", {"country", "city", "customer"}, {"amount"});
    ETabulonCursor& cursor = orders.Cursor();
    RecordWalk(state, "cancel: of loading columns", cursor, [&cursor] {
        CursorStatus status = StatusOk;
        static_cast<void>(LoadColumns(cursor, ETabulonTag::Null, nullptr, status));
        return status;
    });
}
BENCHMARK(CancelLoad)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
