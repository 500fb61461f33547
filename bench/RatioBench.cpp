#include "bench/RatioBench.h"

#include "bench/AllocationCounter.h"
#include "bench/Orders.h"
#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace etabulon::bench {

namespace {

struct Line {
    std::string name;
    double value;
    const char* unit;
    double floorNs;
    double oursNs;
    double allocations;
    double target;
    double aim;
    double flat;  // ours to the hand-written loop; 0 without one
};

std::vector<Line>& Lines() {
    static std::vector<Line> lines;
    return lines;
}

/// Processor time of this thread, not time on the wall: what else runs on the machine then slows
/// the caches, but takes no time away.
double ThreadSeconds() {
    struct timespec now {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double ClockSeconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

double Seconds(const std::function<void()>& work, bool byTheClock = false) {
    const auto now = byTheClock ? &ClockSeconds : &ThreadSeconds;
    const double start = now();
    work();
    return now() - start;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

const char* Verdict(const Line& line) {
    if (line.target == kNoLimit) {
        return "";
    }
    if (line.value > line.target) {
        return "MISSED";
    }
    return line.aim != kNoLimit && line.value <= line.aim ? "aim reached" : "ok";
}

std::string Limit(double limit) {
    char text[32] = "";
    if (limit != kNoLimit) {
        std::snprintf(text, sizeof text, "%.3g", limit);
    }
    return text;
}

}  // namespace

double LastRatio() { return Lines().back().value; }

double RunComparison(benchmark::State& state, const Comparison& comparison) {
    const auto endRun = [&comparison] {
        if (comparison.after) {
            comparison.after();
        }
    };
    std::vector<double> floors;
    std::vector<double> ours;
    std::vector<double> ratios;
    std::vector<double> toFlat;
    double allocations = 0;
    const auto records = static_cast<double>(comparison.records);
    EReadAhead::SetThreads(comparison.threads);
    while (state.KeepRunning()) {
        comparison.floor();
        if (comparison.flat) {
            comparison.flat();
        }
        comparison.ours();
        endRun();
        for (int pair = 0; pair < RunSizes().pairs; ++pair) {
            floors.push_back(Seconds(comparison.floor, comparison.byTheClock));
            const double flat =
                comparison.flat ? Seconds(comparison.flat, comparison.byTheClock) : 0;
            const std::uint64_t before = Allocations();
            ours.push_back(Seconds(comparison.ours, comparison.byTheClock));
            allocations = static_cast<double>(Allocations() - before) / records;
            endRun();
            ratios.push_back(ours.back() / floors.back());
            toFlat.push_back(flat != 0 ? ours.back() / flat : 0);
        }
        state.SetIterationTime(Median(ours));
    }
    const Line line{comparison.name,
                    Median(ratios),
                    comparison.unit,
                    Median(floors) * 1e9 / records,
                    Median(ours) * 1e9 / records,
                    allocations,
                    comparison.target,
                    comparison.aim,
                    Median(toFlat)};
    EReadAhead::SetThreads(0);
    Lines().push_back(line);
    state.counters["ratio"] = line.value;
    state.counters["ns_per_record"] = line.oursNs;
    state.counters["floor_ns"] = line.floorNs;
    state.counters["to_flat"] = line.flat;
    state.counters["allocs_per_record"] = allocations;
    state.counters["peak_MB"] = PeakMegabytes();
    return allocations;
}

void RunGrowth(benchmark::State& state, const Growth& growth) {
    std::vector<double> exponents;
    std::vector<double> times;
    const double factor = std::log(static_cast<double>(growth.largeRecords) /
                                   static_cast<double>(growth.smallRecords));
    while (state.KeepRunning()) {
        growth.small();
        growth.large();
        for (int pair = 0; pair < RunSizes().pairs; ++pair) {
            const double small = Seconds(growth.small);
            times.push_back(Seconds(growth.large));
            exponents.push_back(std::log(times.back() / small) / factor);
        }
        state.SetIterationTime(Median(times));
    }
    const double exponent = Median(exponents);
    state.counters["exponent"] = exponent;
    RecordFigure(growth.name, exponent, "exponent", growth.target);
}

void RecordFigure(const std::string& what, double value, const char* unit, double target,
                  double aim) {
    Lines().push_back({what, value, unit, 0, 0, 0, target, aim, 0});
}

void Require(bool condition, const std::string& what) {
    if (!condition) {
        std::fprintf(stderr, "WRONG RESULT: %s\n", what.c_str());
        std::exit(1);
    }
}

void PrintSummary() {
    std::printf("\n%-34s %9s %-10s %7s %7s %9s %9s %9s %8s\n", "", "measured", "", "target", "aim",
                "floor ns", "ours ns", "allocs", "x flat");
    for (const Line& line : Lines()) {
        std::printf("%-34s %9.3f %-10s %7s %7s ", line.name.c_str(), line.value, line.unit,
                    Limit(line.target).c_str(), Limit(line.aim).c_str());
        if (line.floorNs != 0) {
            std::printf("%9.1f %9.1f %9.4f ", line.floorNs, line.oursNs, line.allocations);
        } else {
            std::printf("%29s ", "");
        }
        std::printf("%8s ", line.flat != 0 ? Limit(line.flat).c_str() : "");
        std::printf("%s\n", Verdict(line));
    }
    std::printf("\nPer record, medians of %d pairs%s. Most memory ever: %.0f MB.\n",
                RunSizes().pairs, IsSmokeRun() ? "; a smoke run, speeds mean nothing" : "",
                PeakMegabytes());
}

}  // namespace etabulon::bench
