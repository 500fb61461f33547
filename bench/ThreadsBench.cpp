// What further threads bring, and what one costs a program that has it for something else.

#include "bench/OrdersGrid.h"
#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace etabulon::bench {

namespace {

Comparison Compared(Grid& grid, const char* name) {
    Comparison comparison;
    comparison.name = name;
    comparison.records = RunSizes().large;
    comparison.floor = [&grid] { grid.Floor(); };
    comparison.ours = [&grid] { grid.Ours(); };
    comparison.after = [&grid] { grid.Drop(0); };
    return comparison;
}

/// Sleeps until it is destroyed.
class IdleThread {
public:
    IdleThread()
        : thread_([this] {
              std::unique_lock hold(lock_);
              changed_.wait(hold, [this] { return isOver_; });
          }) {}
    ~IdleThread() {
        {
            const std::lock_guard hold(lock_);
            isOver_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }
    IdleThread(const IdleThread&) = delete;
    IdleThread& operator=(const IdleThread&) = delete;

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool isOver_ = false;
    std::thread thread_;
};

double alone = 0;  // what GridAlone measured

// The two come before all others that start threads: from the first one on texts count atomically.
void GridAlone(benchmark::State& state) {
    Grid grid(RunSizes().large, kSums);
    RunComparison(state, Compared(grid, "grid: category x country, alone"));
    alone = LastRatio();
}
BENCHMARK(GridAlone)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridOneThreadMore(benchmark::State& state) {
    Grid grid(RunSizes().large, kSums);
    const IdleThread other;
    RunComparison(state, Compared(grid, "grid: category x country, one thread more"));
    if (alone != 0) {
        RecordFigure("", LastRatio() / alone, "x alone", 1.03);
    }
}
BENCHMARK(GridOneThreadMore)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void CompareByTheClock(benchmark::State& state, const char* name, const Question& question) {
    Grid grid(RunSizes().large, question);
    EReadAhead::SetThreads(2);
    grid.Check();
    grid.Drop(0);
    Comparison comparison = Compared(grid, name);
    comparison.threads = std::clamp(std::thread::hardware_concurrency(), 1U, 2U);
    comparison.byTheClock = true;
    comparison.target = 0.85;
    comparison.aim = 0.65;
    comparison.unit = "x floor, by the clock";
    RunComparison(state, comparison);
}

void ThreadsSums(benchmark::State& state) {
    CompareByTheClock(state, "grid: category x country, 2 threads", kSums);
}
BENCHMARK(ThreadsSums)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ThreadsSixResults(benchmark::State& state) {
    CompareByTheClock(state, "grid: month x category, 6 results, 2 threads", kSixResults);
}
BENCHMARK(ThreadsSixResults)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
