// Rankings, against a loop that only reads the columns and against SQLite's own GROUP BY.

#include "bench/AllocationCounter.h"
#include "bench/Flat.h"
#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/score/ITabulonResScoreUI.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::bench {

namespace {

/// One line a customer, the highest first; the total is the last, without a customer.
using Lines = std::vector<std::pair<std::string, double>>;

/// A view that only counts, for the time, or one that keeps what it's told, for the check.
class View : public ITabulonResScoreUI {
public:
    explicit View(Lines* kept) : kept_(kept) {}

    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override { lines_ = 0; }
    void SetScoreAxe(const ETabulonSortDesc* /*sortDesc*/, unsigned int /*levelCount*/,
                     const ETabulonGridAxe* /*axe*/) override {}
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        ++lines_;
        if (kept_ != nullptr) {
            kept_->emplace_back(label.ValueAt(0).Data().AsChaine().c_str(),
                                values.At(0).Data().AsDouble());
        }
    }
    void SetScoreTotal(const PTableau<ETabulonValue>& values) override {
        if (kept_ != nullptr) {
            kept_->emplace_back("", values.At(0).Data().AsDouble());
        }
    }
    [[nodiscard]] std::int64_t LineCount() const noexcept { return lines_; }

private:
    Lines* kept_;  // not owned, may be null
    std::int64_t lines_ = 0;
};

/// The customers by what `function` gives for their amounts. Of equal ones, the later name first.
class Ranking {
public:
    Ranking(std::int64_t rows, const char* function, Held held = Held::InFile)
        : rows_(rows),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, "SELECT id, customer, amount FROM orders ORDER BY id"),
          groups_(database_,
                  std::string("WITH lines AS MATERIALIZED (SELECT customer, ") + function +
                      "(amount) result FROM orders GROUP BY customer) SELECT * FROM (SELECT "
                      "customer, result FROM lines ORDER BY result DESC, customer DESC) "
                      "UNION ALL SELECT '', sum(result) FROM lines"),
          orders_(rows, "orders", {"customer"}, {"amount"}, held),
          sortDesc_(orders_.Cursor().Levels()),
          filler_(ERef<ETabulonScoreFiller>::Adopt(
              ETabulonScoreFiller::Build(&orders_.Cursor(), nullptr))) {
        calculations_.AddCalculation(function, ETabulonVariableID("amount"), TYPE_DOUBLE, 0,
                                     "Amount");
        orders_.Cursor().AddNotifier(filler_.Get());
        if (held == Held::InColumns) {
            inMemory_ = std::make_unique<FlatTable>(bare_, kKinds);
        }
        Drop();
    }
    ~Ranking() { orders_.Cursor().RemNotifier(filler_.Get()); }
    Ranking(const Ranking&) = delete;
    Ranking& operator=(const Ranking&) = delete;

    void Floor() { Require(WalkBare(bare_, kKinds) == rows_, "rows of the bare walk"); }
    void Flat() {
        FlatReader reader(bare_, kKinds);
        const std::size_t lines = inMemory_ ? FlatScore(*inMemory_) : FlatScore(reader);
        Require(static_cast<std::int64_t>(lines) == lines_, "lines of the loop");
    }
    void Groups() { Require(WalkBare(groups_, "td") > lines_, "rows of GROUP BY"); }
    void Walk() {
        Require(orders_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
    }
    void Ours() {
        Walk();
        View view(nullptr);
        filler_->SendTo(&view);
        lines_ = view.LineCount();
    }
    /// Each line and the total are SQL's, in its order.
    void Check() {
        Lines expected;
        while (groups_.Step()) {
            expected.emplace_back(groups_.Text(0), groups_.Double(1));
        }
        groups_.Reset();
        Walk();
        Lines sent;
        View view(&sent);
        filler_->SendTo(&view);
        Require(sent == expected, "ranking");
        lines_ = view.LineCount();
    }
    void Drop() { filler_->SetParams(&calculations_, &sortDesc_, 1); }
    [[nodiscard]] double BytesPerLine() {
        Walk();
        const std::size_t full = HeapBytes();
        Drop();
        return static_cast<double>(full - HeapBytes()) / static_cast<double>(lines_);
    }

private:
    static constexpr const char* kKinds = "itd";

    std::int64_t rows_;
    Database database_;
    Statement bare_;
    Statement groups_;
    OrdersCursor orders_;
    ETabulonCumulFuncOnVarCollection calculations_;
    ETabulonSortDesc sortDesc_;
    ERef<ETabulonScoreFiller> filler_;
    std::unique_ptr<FlatTable> inMemory_;
    std::int64_t lines_ = 0;
};

void CompareRanking(benchmark::State& state, const char* name, const char* function, double target,
                    double aim, Held held = Held::InFile) {
    Ranking ranking(RunSizes().large, function, held);
    ranking.Check();
    RunComparison(state, {name, RunSizes().large, [&ranking] { ranking.Floor(); },
                          [&ranking] { ranking.Ours(); }, [&ranking] { ranking.Drop(); }, target,
                          aim, "x floor", [&ranking] { ranking.Flat(); }});
    RecordFigure("", ranking.BytesPerLine(), "bytes/line");
}

void ScoreBySum(benchmark::State& state) {
    CompareRanking(state, "score: customers by sum", "SUM", 1.6, 1.2);
}
BENCHMARK(ScoreBySum)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ColumnsScore(benchmark::State& state) {
    CompareRanking(state, "columns: customers by sum", "SUM", 0.08, 0.05, Held::InColumns);
}
BENCHMARK(ColumnsScore)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// Few different results: nearly all of the order is told by the labels.
void ScoreByCount(benchmark::State& state) {
    CompareRanking(state, "score: customers by count", "COUNT", kNoLimit, kNoLimit);
}
BENCHMARK(ScoreByCount)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ScoreGroups(benchmark::State& state) {
    Ranking ranking(RunSizes().large, "SUM");
    RunComparison(state, {"score: customers by sum", RunSizes().large,
                          [&ranking] { ranking.Groups(); }, [&ranking] { ranking.Ours(); },
                          [&ranking] { ranking.Drop(); }, 1.0, kNoLimit, "x GROUP BY"});
}
BENCHMARK(ScoreGroups)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void ScoreGrowth(benchmark::State& state) {
    Ranking small(RunSizes().small, "SUM");
    Ranking large(RunSizes().large, "SUM");
    const auto run = [](Ranking& ranking) {
        ranking.Ours();
        ranking.Drop();
    };
    RunGrowth(state, {"score: growth", RunSizes().small, [&small, run] { run(small); },
                      RunSizes().large, [&large, run] { run(large); }, 1.1});
}
BENCHMARK(ScoreGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
