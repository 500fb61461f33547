// What it costs to rank what a walk adds up, against a loop that only reads the columns.

#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/score/ITabulonResScoreUI.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cmath>
#include <cstdlib>
#include <string>

namespace etabulon::bench {

namespace {

/// A view that checks the order and keeps what SQL can tell too.
class Ranks : public ITabulonResScoreUI {
public:
    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override { lines = 0; }
    void SetScoreAxe(const ETabulonSortDesc* /*sortDesc*/, unsigned int /*levelCount*/,
                     const ETabulonGridAxe* /*axe*/) override {}
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        const double result = values.At(0).Data().AsDouble();
        Require(lines == 0 || result <= last, "the order of the ranking");
        if (lines++ == 0) {
            first = label.ValueAt(0).Data().AsChaine().c_str();
        }
        last = result;
    }
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override {
        total = values.At(0).Data().AsDouble();
    }

    std::int64_t lines = 0;
    std::string first;
    double last = 0;
    double total = 0;
};

/// The customers by what `function` gives for their amounts.
class Ranking {
public:
    Ranking(std::int64_t rows, const char* function, const char* expected)
        : rows_(rows),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, "SELECT id, customer, amount FROM orders ORDER BY id"),
          orders_(rows, "orders", {"customer"}, {"amount"}),
          sortDesc_(orders_.Cursor().Levels()),
          filler_(&orders_.Cursor(), nullptr) {
        Statement sums(database_, expected);
        Require(sums.Step(), "no sums");
        lines_ = sums.Int64(0);
        total_ = sums.Double(1);
        first_ = sums.Text(2);
        ETabulonCumulFuncOnVarCollection calculations;
        calculations.AddCalculation(function, ETabulonVariableID("amount"), TYPE_DOUBLE, 0,
                                    "Amount");
        filler_.SetParams(&calculations, &sortDesc_, 1);
        orders_.Cursor().AddNotifier(&filler_);
    }
    ~Ranking() { orders_.Cursor().RemNotifier(&filler_); }
    Ranking(const Ranking&) = delete;
    Ranking& operator=(const Ranking&) = delete;

    void Floor() { Require(WalkBare(bare_, "itd") == rows_, "rows of the bare walk"); }
    void Ours() {
        Require(orders_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
        filler_.SendTo(&ranks_);
    }
    void Check() {
        Require(ranks_.lines == lines_, "lines of the ranking");
        Require(first_.empty() || ranks_.first == first_, "the first of the ranking");
        Require(std::abs(ranks_.total - total_) <= 1e-9 * std::abs(total_), "total of the ranking");
    }

private:
    std::int64_t rows_;
    Database database_;
    Statement bare_;
    OrdersCursor orders_;
    ETabulonSortDesc sortDesc_;
    ETabulonScoreFiller filler_;
    Ranks ranks_;
    std::int64_t lines_ = 0;
    double total_ = 0;
    std::string first_;
};

constexpr const char* kSums =
    "SELECT count(*), sum(amount), (SELECT customer FROM orders GROUP BY customer"
    " ORDER BY sum(amount) DESC LIMIT 1) FROM (SELECT sum(amount) amount FROM orders"
    " GROUP BY customer)";
// Few different results: nearly all is told by the labels.
constexpr const char* kCounts =
    "SELECT count(*), sum(records), '' FROM (SELECT count(*) records FROM orders"
    " GROUP BY customer)";

void Compare(benchmark::State& state, const char* name, const char* function, const char* expected,
             double target, double aim) {
    Ranking ranking(RunSizes().large, function, expected);
    RunComparison(state,
                  {name, RunSizes().large, [&ranking] { ranking.Floor(); },
                   [&ranking] { ranking.Ours(); }, [&ranking] { ranking.Check(); }, target, aim});
}

void ScoreBySum(benchmark::State& state) {
    Compare(state, "score: customers by sum", "SUM", kSums, 3.0, 2.0);
}
BENCHMARK(ScoreBySum)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ScoreByCount(benchmark::State& state) {
    Compare(state, "score: customers by count", "COUNT", kCounts, kNoLimit, kNoLimit);
}
BENCHMARK(ScoreByCount)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ScoreGrowth(benchmark::State& state) {
    Ranking small(RunSizes().small, "SUM", kSums);
    Ranking large(RunSizes().large, "SUM", kSums);
    RunGrowth(state, {"score: growth", RunSizes().small, [&small] { small.Ours(); },
                      RunSizes().large, [&large] { large.Ours(); }, 1.3});
}
BENCHMARK(ScoreGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
