// Levels that are made from dates and timestamps, against levels that the table has.

#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/EDerivation.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon::bench {

namespace {

/// A level of the deliveries beside their place; by month it is made from a column.
struct Level {
    const char* id;
    const char* column;
};
constexpr Level kDay{"day", "day"};
constexpr Level kMonthOfDay{"day.month", "day"};
constexpr Level kMoment{"at", "at"};
constexpr Level kMonthOfMoment{"at.month", "at"};
constexpr Level kStoredMonth{"month", "month"};

class Deliveries {
public:
    explicit Deliveries(const Level& level)
        : orders_(RunSizes().large, "deliveries", {"place", level.id}, {level.column, "amount"}) {
        if (std::string_view(level.id) != level.column) {
            auto& cursor = dynamic_cast<ETabulonCursorEData&>(orders_.Cursor());
            Require(cursor.DeclareDerivedField(level.id, level.column,
                                               EDerivation(EDerivation::Kind::Month)),
                    "a derived level");
        }
    }
    [[nodiscard]] ETabulonCursor& Cursor() noexcept { return orders_.Cursor(); }

private:
    OrdersCursor orders_;
};

/// Adds up what a walk by single steps shows: the numbers of the level, whatever they are, and the
/// amounts.
class Walk : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    explicit Walk(const Level& level) : deliveries_(level) {
        deliveries_.Cursor().AddNotifier(this);
    }
    ~Walk() override { deliveries_.Cursor().RemNotifier(this); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        numbers_ = 0;
        sum_ = 0;
        amount_ = &cursor.Field("amount");
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        const EVariant& value = cursor.CurrentTag().ValueAt(1).Data();
        numbers_ += static_cast<std::uint64_t>(value.AsInt64());
        sum_ += amount_->AsDouble();
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        Require(/*condition=*/false, "a walk failed with status " + std::to_string(status));
    }

    void Run() {
        Require(deliveries_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
    }
    [[nodiscard]] std::uint64_t Numbers() const noexcept { return numbers_; }
    [[nodiscard]] double Sum() const noexcept { return sum_; }

private:
    Deliveries deliveries_;
    const EField* amount_ = nullptr;
    std::uint64_t numbers_ = 0;  // of moments they wrap
    double sum_ = 0;
};

/// Takes a grid, and adds up its cells, each by its month.
class Weighed : public ITabulonResGridUI {
public:
    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override { sum_ = 0; }
    void SetAxeCount(unsigned int /*count*/) override {}
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        if (direction == AxeColumns) {
            columns_ = axe;
        }
    }
    void SetValue(unsigned int column, unsigned int /*line*/, const ETabulonValue& value) override {
        if (!value.IsNull()) {
            sum_ += value.Data().AsDouble() * columns_->Label(column).Data().AsDouble();
        }
    }
    void SetTotal(const ETabulonValue& /*value*/) override {}
    void SetTotal(AxeDirection /*direction*/, unsigned int /*index*/,
                  const ETabulonValue& /*value*/) override {}
    [[nodiscard]] double Sum() const noexcept { return sum_; }

private:
    const ETabulonGridAxe* columns_ = nullptr;
    double sum_ = 0;
};

class Grid {
public:
    explicit Grid(const Level& level)
        : deliveries_(level),
          sortDesc_(deliveries_.Cursor().Levels()),
          filler_(ERef<ETabulonGridFiller>::Adopt(
              ETabulonGridFiller::Build(&deliveries_.Cursor(), nullptr))) {
        deliveries_.Cursor().AddNotifier(filler_.Get());
    }
    ~Grid() { deliveries_.Cursor().RemNotifier(filler_.Get()); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    void Run() {
        ETabulonCumulFuncOnVarCollection calculations;
        calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 0, "amount");
        filler_->SetParams(&calculations, 2, &sortDesc_);
        Require(deliveries_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
        Weighed weighed;
        filler_->SendTo(&weighed);
        sum_ = weighed.Sum();
    }
    [[nodiscard]] double Sum() const noexcept { return sum_; }

private:
    Deliveries deliveries_;
    ETabulonSortDesc sortDesc_;
    ERef<ETabulonGridFiller> filler_;
    double sum_ = 0;
};

double AskSql(const char* question) {
    Database database(DeliveriesFile(RunSizes().large), Database::Mode::Read);
    Statement statement(database, question);
    Require(statement.Step(), question);
    return statement.Double(0);
}

void CompareWalks(benchmark::State& state, const char* name, const Level& plain,
                  const Level& derived) {
    Walk floor(plain);
    Walk ours(derived);
    RunComparison(state, {name,
                          RunSizes().large,
                          [&floor] { floor.Run(); },
                          [&ours] { ours.Run(); },
                          {},
                          1.15,
                          kNoLimit,
                          "x plain"});
    Require(static_cast<double>(ours.Numbers()) == AskSql("SELECT sum(month) FROM deliveries") &&
                ours.Sum() == floor.Sum(),
            name);
}

void CompareGrids(benchmark::State& state, Comparison comparison, const Level& plain,
                  const Level& derived) {
    Grid floor(plain);
    Grid ours(derived);
    comparison.records = RunSizes().large;
    comparison.floor = [&floor] { floor.Run(); };
    comparison.ours = [&ours] { ours.Run(); };
    RunComparison(state, comparison);
    Require(ours.Sum() == AskSql("SELECT sum(month * amount) FROM deliveries") &&
                ours.Sum() == floor.Sum(),
            comparison.name);
}

void DatesWalkDay(benchmark::State& state) {
    CompareWalks(state, "dates: walk by day's month", kDay, kMonthOfDay);
}
BENCHMARK(DatesWalkDay)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void DatesWalkMoment(benchmark::State& state) {
    CompareWalks(state, "dates: walk by moment's month", kMoment, kMonthOfMoment);
}
BENCHMARK(DatesWalkMoment)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void DatesGridDay(benchmark::State& state) {
    Comparison comparison;
    comparison.name = "dates: grid by day's month";
    comparison.target = 1.15;
    comparison.unit = "x stored";
    CompareGrids(state, comparison, kStoredMonth, kMonthOfDay);
}
BENCHMARK(DatesGridDay)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void DatesGridMoment(benchmark::State& state) {
    Comparison comparison;
    comparison.name = "dates: grid by moment's month";
    comparison.unit = "x by day";
    CompareGrids(state, comparison, kMonthOfDay, kMonthOfMoment);
}
BENCHMARK(DatesGridMoment)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
