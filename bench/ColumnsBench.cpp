// Loading a table into columns, against a loop that only reads all columns of the file.

#include "bench/Flat.h"
#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"

#include <memory>

namespace etabulon::bench {

namespace {

void ColumnsLoad(benchmark::State& state) {
    const std::int64_t rows = RunSizes().large;
    Database database(OrdersFile(rows), Database::Mode::Read);
    Statement bare(database, "SELECT * FROM orders ORDER BY id");
    constexpr const char* kKinds = "itttttttidd";
    std::unique_ptr<EDataColumns> columns;
    RunComparison(state, {"columns: load, all 11 columns", rows,
                          [&] { Require(WalkBare(bare, kKinds) == rows, "rows of the walk"); },
                          [&] { columns = LoadOrders(rows); },
                          [&] { Require(columns->Count() == std::size_t(rows), "records"); }, 1.4,
                          1.15, "x floor", [&] { const FlatTable flat(bare, kKinds); }});
    RecordFigure("", static_cast<double>(columns->MemoryBytes()) / static_cast<double>(rows),
                 "bytes/rec.", 90, 65);
}
BENCHMARK(ColumnsLoad)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
