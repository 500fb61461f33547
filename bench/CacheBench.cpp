// What the cursor cache is for: records walked again and again without their table.

#include "bench/AllocationCounter.h"
#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <array>
#include <map>
#include <string>
#include <utility>

namespace etabulon::bench {

namespace {

struct Totals {
    std::int64_t records = 0;
    std::int64_t keys = 0;
    std::int64_t textBytes = 0;
    std::int64_t whole = 0;
    double real = 0;

    friend bool operator==(const Totals&, const Totals&) = default;
};

/// Reads the tag, the key and two numbers of each record.
class Reader : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        totals = {};
        whole_ = &cursor.Field("quantity");
        real_ = &cursor.Field("amount");
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        ++totals.records;
        totals.keys += cursor.PrimaryKey().Position();
        const ETabulonTag& tag = cursor.CurrentTag();
        for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
            totals.textBytes += static_cast<std::int64_t>(tag.ValueAt(index).Data().ByteCount());
        }
        totals.whole += whole_->AsInt64();
        totals.real += real_->AsDouble();
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}

    Totals totals;

private:
    const EField* whole_ = nullptr;
    const EField* real_ = nullptr;
};

void Walk(ETabulonCursor& cursor) {
    Require(cursor.Browse(ETabulonTag::Null) == StatusOk, "status of a walk");
}

// -------------------------------------------------------------------------------------------- walk

void CacheWalk(benchmark::State& state) {
    const std::int64_t rows = RunSizes().large;
    Database database(OrdersFile(rows), Database::Mode::Read);
    Statement bare(database,
                   "SELECT id, country, city, customer, quantity, amount FROM orders ORDER BY id");
    Statement sum(database,
                  "SELECT count(*), sum(id), sum(length(country) + length(city) +"
                  " length(customer)), sum(quantity), sum(amount) FROM orders");
    Require(sum.Step(), "no sums");
    const Totals expected{sum.Int64(0), sum.Int64(1), sum.Int64(2), sum.Int64(3), sum.Double(4)};
    OrdersCursor orders(rows, "orders", {"country", "city", "customer"}, {"quantity", "amount"});
    const std::size_t before = HeapBytes();
    ETabulonCursorCache cache(&orders.Cursor());
    Walk(cache);
    const double bytes = static_cast<double>(HeapBytes() - before) / static_cast<double>(rows);
    Reader reader;
    cache.AddNotifier(&reader);
    Comparison walk;
    walk.name = "cache: walk against SQLite's";
    walk.records = rows;
    walk.floor = [&] { Require(WalkBare(bare, "itttid") == rows, "rows of the bare walk"); };
    walk.ours = [&] {
        Walk(cache);
        Require(reader.totals == expected, "sums of the walk");
    };
    walk.target = 1.0;
    const double allocations = RunComparison(state, walk);
    RecordFigure("", allocations * static_cast<double>(rows), "allocations in a walk", 10);
    RecordFigure("", bytes, "bytes/line");
    cache.RemNotifier(&reader);
}
BENCHMARK(CacheWalk)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void CacheFill(benchmark::State& state) {
    const std::int64_t rows = RunSizes().large;
    OrdersCursor orders(rows, "orders", {"country", "city", "customer"}, {"quantity", "amount"});
    ETabulonCursorCache cache(&orders.Cursor());
    Reader reader;
    Comparison fill;
    fill.name = "cache: fill against our walk";
    fill.records = rows;
    fill.floor = [&] {
        orders.Cursor().AddNotifier(&reader);
        Walk(orders.Cursor());
        orders.Cursor().RemNotifier(&reader);
    };
    fill.ours = [&] {
        cache.ClearCache();
        Walk(cache);
    };
    RunComparison(state, fill);
}
BENCHMARK(CacheFill)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// -------------------------------------------------------------------------------------------- grid

using Cells = std::map<std::pair<std::string, std::string>, double>;

class View : public ITabulonResGridUI {
public:
    explicit View(Cells* kept) : kept_(kept) {}
    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override {}
    void SetAxeCount(unsigned int /*count*/) override {}
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        axes_.at(direction) = axe;
    }
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override {
        if (kept_ != nullptr && !value.IsNull()) {
            kept_->emplace(std::pair{Text(AxeLines, line), Text(AxeColumns, column)},
                           value.Data().AsDouble());
        }
    }
    void SetTotal(const ETabulonValue& /*value*/) override {}
    void SetTotal(AxeDirection /*direction*/, unsigned int /*index*/,
                  const ETabulonValue& /*value*/) override {}

private:
    [[nodiscard]] std::string Text(AxeDirection direction, unsigned int index) const {
        return axes_.at(direction)->Label(index).Data().AsChaine().c_str();
    }
    Cells* kept_;
    std::array<const ETabulonGridAxe*, 2> axes_{};
};

/// The question in memory on both sides; ours gives the totals too.
void CacheGrid(benchmark::State& state) {
    const std::int64_t rows = RunSizes().large;
    Database memory(":memory:", Database::Mode::Memory);
    memory.Run("ATTACH '" + OrdersFile(rows) +
               "' AS file; CREATE TABLE orders AS"
               " SELECT id, category, country, amount FROM file.orders ORDER BY id");
    Statement groups(memory, "SELECT category, country, sum(amount) FROM orders GROUP BY 1, 2");
    Cells expected;
    while (groups.Step()) {
        expected.emplace(std::pair{std::string(groups.Text(0)), std::string(groups.Text(1))},
                         groups.Double(2));
    }
    groups.Reset();

    OrdersCursor orders(rows, "orders", {"category", "country"}, {"amount"});
    ETabulonCursorCache cache(&orders.Cursor());
    Walk(cache);
    const ETabulonSortDesc sortDesc(cache.Levels());
    const auto filler = ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cache, nullptr));
    const auto drop = [&] {
        ETabulonCumulFuncOnVarCollection calculations;
        calculations.AddCalculation("SUM", ETabulonVariableID("amount"), TYPE_DOUBLE, 0, "amount");
        calculations.SetPriorityCalculationPos(0);
        filler->SetParams(&calculations, 2, &sortDesc);
    };
    drop();
    cache.AddNotifier(filler.Get());
    Walk(cache);
    Cells sent;
    View keeping(&sent);
    filler->SendTo(&keeping);
    Require(sent == expected, "cells of the grid over the cache");

    Comparison grid;
    grid.name = "cache: grid against GROUP BY";
    grid.records = rows;
    grid.floor = [&] {
        Require(WalkBare(groups, "ttd") == static_cast<std::int64_t>(expected.size()),
                "rows of GROUP BY");
    };
    grid.ours = [&] {
        Walk(cache);
        View view(nullptr);
        filler->SendTo(&view);
    };
    grid.after = drop;
    grid.target = 0.1;
    grid.aim = 0.05;
    RunComparison(state, grid);
    cache.RemNotifier(filler.Get());
}
BENCHMARK(CacheGrid)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
