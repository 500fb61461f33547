// Cross tables with all their totals, against a loop that only reads the columns and against
// SQLite's own GROUP BY of the same question.

#include "bench/OrdersGrid.h"
#include "etabulon/foundation/EBlockSource.h"

namespace etabulon::bench {

namespace {

void CompareGrid(benchmark::State& state, const char* name, const Question& question, double target,
                 double aim) {
    Grid grid(RunSizes().large, question);
    grid.Check();
    const auto floor = [&grid] { grid.Floor(); };
    const auto ours = [&grid] { grid.Ours(); };
    const auto drop = [&grid] { grid.Drop(0); };
    RunComparison(state, {name, RunSizes().large, floor, ours, drop, target, aim, "x floor",
                          [&grid] { grid.Flat(); }});
    RecordFigure("", grid.AllocationsAgain(), "allocations, cells known", 100);
    const double bytes = grid.BytesPerCell();
    state.counters["bytes_per_cell"] = bytes;
    // Fewer cells share the tables of the labels between fewer.
    const bool judged = &question == &kSparse;
    RecordFigure("", bytes, "bytes/cell", judged ? 400 : kNoLimit, judged ? 250 : kNoLimit);
}

void GridSums(benchmark::State& state) {
    CompareGrid(state, "grid: category x country", kSums, 1.2, 1.0);
}
BENCHMARK(GridSums)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridSixResults(benchmark::State& state) {
    CompareGrid(state, "grid: month x category, 6 results", kSixResults, 1.25, 1.05);
}
BENCHMARK(GridSixResults)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridSparse(benchmark::State& state) {
    CompareGrid(state, "grid: product x city, sparse", kSparse, 1.7, 1.3);
}
BENCHMARK(GridSparse)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ------------------------------------------------------------------------------------- from memory

void CompareColumns(benchmark::State& state, const char* name, const Question& question,
                    double target, double aim) {
    Grid grid(RunSizes().large, question, Held::InColumns);
    grid.Check();
    RunComparison(state,
                  {name, RunSizes().large, [&grid] { grid.Floor(); }, [&grid] { grid.Ours(); },
                   [&grid] { grid.Drop(0); }, target, aim, "x floor", [&grid] { grid.Flat(); }});
}

void ColumnsGridSums(benchmark::State& state) {
    CompareColumns(state, "columns: category x country", kSums, 0.025, 0.012);
}
BENCHMARK(ColumnsGridSums)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ColumnsGridSixResults(benchmark::State& state) {
    CompareColumns(state, "columns: month x category, 6", kSixResults, 0.05, 0.03);
}
BENCHMARK(ColumnsGridSixResults)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ColumnsGridSparse(benchmark::State& state) {
    CompareColumns(state, "columns: product x city, sparse", kSparse, 0.28, 0.18);
}
BENCHMARK(ColumnsGridSparse)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// -------------------------------------------------------------------------------- blocks and steps

// The same walk in both ways: by single steps it is the floor.
void CompareBlocks(benchmark::State& state, const char* name, const Question& question) {
    Grid grid(RunSizes().large, question);
    const auto walk = [&grid](bool byBlocks) {
        EBlockSource::SetEnabled(byBlocks);
        grid.Ours();
        grid.Drop(0);
    };
    const bool areEnabled = EBlockSource::AreEnabled();
    RunComparison(state, {name,
                          RunSizes().large,
                          [&walk] { walk(false); },
                          [&walk] { walk(true); },
                          {},
                          kNoLimit,
                          kNoLimit,
                          "x steps"});
    EBlockSource::SetEnabled(areEnabled);
}

void GridSumsSteps(benchmark::State& state) {
    CompareBlocks(state, "grid: category x country", kSums);
}
BENCHMARK(GridSumsSteps)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------------------------------- GROUP BY

void CompareGroups(benchmark::State& state, const char* name, const Question& question) {
    Grid grid(RunSizes().large, question);
    RunComparison(state,
                  {name, RunSizes().large, [&grid] { grid.Groups(); }, [&grid] { grid.Ours(); },
                   [&grid] { grid.Drop(0); }, 1.0, kNoLimit, "x GROUP BY"});
}

void GridSumsGroups(benchmark::State& state) {
    CompareGroups(state, "grid: category x country", kSums);
}
BENCHMARK(GridSumsGroups)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridSixResultsGroups(benchmark::State& state) {
    CompareGroups(state, "grid: month x category, 6 results", kSixResults);
}
BENCHMARK(GridSixResultsGroups)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridSparseGroups(benchmark::State& state) {
    CompareGroups(state, "grid: product x city, sparse", kSparse);
}
BENCHMARK(GridSparseGroups)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ------------------------------------------------------------------------------------------ growth

void GrowGrid(benchmark::State& state, const char* name, const Question& question,
              Held held = Held::InFile) {
    Grid small(RunSizes().small, question, held);
    Grid large(RunSizes().large, question, held);
    const auto run = [](Grid& grid) {
        grid.Ours();
        grid.Drop(0);
    };
    RunGrowth(state, {name, RunSizes().small, [&small, run] { run(small); }, RunSizes().large,
                      [&large, run] { run(large); }, 1.1});
}

void GridSumsGrowth(benchmark::State& state) {
    GrowGrid(state, "grid: growth, category x country", kSums);
}
BENCHMARK(GridSumsGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ColumnsGridGrowth(benchmark::State& state) {
    GrowGrid(state, "columns: growth, category x country", kSums, Held::InColumns);
}
BENCHMARK(ColumnsGridGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridGrowth(benchmark::State& state) {
    GrowGrid(state, "grid: growth, 6 results", kSixResults);
}
BENCHMARK(GridGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void GridSparseGrowth(benchmark::State& state) { GrowGrid(state, "grid: growth, sparse", kSparse); }
BENCHMARK(GridSparseGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
