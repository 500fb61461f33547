#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>

namespace etabulon::bench {

inline constexpr double kNoLimit = -1;

/// What the lines recorded last were worth.
[[nodiscard]] double LastRatio();

/// What is compared with what. Speeds of two programs, or of two runs, differ by whatever else the
/// machine does; the ratio of two loops taken in turns hardly does.
struct Comparison {
    std::string name;  // in the table at the end
    std::int64_t records = 0;
    std::function<void()> floor;
    std::function<void()> ours;
    /// Untimed, after each run of ours: puts back what it changed, or checks it.
    std::function<void()> after;
    double target = kNoLimit;  // at most
    double aim = kNoLimit;
    const char* unit = "x floor";  // what the floor is: not always the least that there is
    /// A hand-written loop that does the same work, which takes its turns between the two.
    std::function<void()> flat = {};
    /// Threads that read ahead for ours; their work shows by the clock alone.
    unsigned int threads = 0;
    bool byTheClock = false;
};

/// Runs floor / ours / floor / ours..., after one untimed turn of each. The counters of `state`
/// and a line of the table at the end get the medians: the ratio of the pairs, both times per
/// record, and what ours allocated per record in its last run, which is also the result.
double RunComparison(benchmark::State& state, const Comparison& comparison);

/// How the time of the same work grows with the records: the exponent e of time = records^e.
struct Growth {
    std::string name;
    std::int64_t smallRecords = 0;
    std::function<void()> small;
    std::int64_t largeRecords = 0;
    std::function<void()> large;
    double target = kNoLimit;
};
void RunGrowth(benchmark::State& state, const Growth& growth);

/// A measure that is no time: bytes, allocations.
void RecordFigure(const std::string& what, double value, const char* unit, double target = kNoLimit,
                  double aim = kNoLimit);

/// Ends the program with 1: a fast wrong result is none.
void Require(bool condition, const std::string& what);

/// All that was recorded, one line each.
void PrintSummary();

}  // namespace etabulon::bench
