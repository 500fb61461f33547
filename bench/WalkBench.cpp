// What it costs to see a record through a cursor, against a loop that only reads its columns.

#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/cursors/EFilter.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace etabulon::bench {

namespace {

/// What a walk adds up; SQL adds up the same.
struct Totals {
    std::int64_t records = 0;
    std::int64_t keys = 0;
    std::int64_t textBytes = 0;
    std::int64_t whole = 0;
    double real = 0;
    std::int64_t missing = 0;

    friend bool operator==(const Totals&, const Totals&) = default;
};

/// A listener that reads the tag, the key and some fields of each record.
class Reader : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    struct Columns {
        std::vector<const char*> texts;
        std::vector<const char*> wholes;
        std::vector<const char*> reals;
    };
    explicit Reader(const Columns& columns) : columns_(columns) {}

    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        totals_ = {};
        texts_ = Find(columns_.texts, cursor);
        wholes_ = Find(columns_.wholes, cursor);
        reals_ = Find(columns_.reals, cursor);
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        ++totals_.records;
        totals_.keys += cursor.PrimaryKey().Position();
        const ETabulonTag& tag = cursor.CurrentTag();
        for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
            AddText(tag.ValueAt(index).Data());
        }
        for (const EField* field : texts_) {
            AddText(*field);
        }
        for (const EField* field : wholes_) {
            totals_.whole += field->AsInt64();
        }
        for (const EField* field : reals_) {
            if (field->IsMissing()) {
                ++totals_.missing;
            } else {
                totals_.real += field->AsDouble();
            }
        }
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        Require(/*condition=*/false, "a walk failed with status " + std::to_string(status));
    }

    [[nodiscard]] const Totals& Result() const noexcept { return totals_; }

private:
    static std::vector<const EField*> Find(const std::vector<const char*>& names,
                                           const ETabulonCursor& cursor) {
        std::vector<const EField*> fields;
        for (const char* name : names) {
            fields.push_back(&cursor.Field(name));
            Require(!fields.back()->IsNullField(), name);
        }
        return fields;
    }
    void AddText(const EVariant& text) {
        totals_.textBytes += static_cast<std::int64_t>(text.ByteCount());
    }

    Columns columns_;
    std::vector<const EField*> texts_;
    std::vector<const EField*> wholes_;
    std::vector<const EField*> reals_;
    Totals totals_;
};

/// One walk in both forms.
class Walk {
public:
    /// `statement` gives the columns in `kinds`, as WalkBare has them; `sums` what SQL finds, in
    /// the order of Totals.
    Walk(std::int64_t rows, const char* statement, const char* kinds, const char* sums,
         std::initializer_list<const char*> others, const Reader::Columns& columns)
        : rows_(rows),
          kinds_(kinds),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, statement),
          orders_(rows, "orders", {"country", "city", "customer"}, others),
          reader_(columns) {
        Statement sum(database_, sums);
        Require(sum.Step(), "no sums");
        expected_ = {sum.Int64(0), sum.Int64(1),  sum.Int64(2),
                     sum.Int64(3), sum.Double(4), sum.Int64(5)};
        orders_.Cursor().AddNotifier(&reader_);
    }
    ~Walk() { orders_.Cursor().RemNotifier(&reader_); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void Floor() { Require(WalkBare(bare_, kinds_) == rows_, "rows of the bare walk"); }
    void Ours() {
        Require(orders_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
        Require(reader_.Result() == expected_, "sums of the walk");
    }

private:
    std::int64_t rows_;
    const char* kinds_;
    Database database_;
    Statement bare_;
    OrdersCursor orders_;
    Reader reader_;
    Totals expected_;
};

class LevelsWalk : public Walk {
public:
    explicit LevelsWalk(std::int64_t rows)
        : Walk(rows, "SELECT id, country, city, customer, quantity, amount FROM orders ORDER BY id",
               "itttid",
               "SELECT count(*), sum(id), sum(length(country) + length(city) + length(customer)),"
               " sum(quantity), sum(amount), 0 FROM orders",
               {"quantity", "amount"}, {{}, {"quantity"}, {"amount"}}) {}
};

class WholeWalk : public Walk {
public:
    explicit WholeWalk(std::int64_t rows)
        : Walk(rows,
               "SELECT id, country, city, customer, category, product, month, salesperson,"
               " quantity, amount, discount FROM orders ORDER BY id",
               "itttttttidd",
               "SELECT count(*), sum(id), sum(length(country) + length(city) + length(customer) +"
               " length(category) + length(product) + length(month) + length(salesperson)),"
               " sum(quantity) + sum(id), sum(amount) + total(discount),"
               " sum(discount IS NULL) FROM orders",
               {"id", "category", "product", "month", "salesperson", "quantity", "amount",
                "discount"},
               {{"category", "product", "month", "salesperson"},
                {"quantity", "id"},
                {"amount", "discount"}}) {}
};

template <class What>
void CompareWalk(benchmark::State& state, const char* name) {
    What walk(RunSizes().large);
    const double allocations = RunComparison(state, {name,
                                                     RunSizes().large,
                                                     [&walk] { walk.Floor(); },
                                                     [&walk] { walk.Ours(); },
                                                     {},
                                                     2.0,
                                                     1.5});
    RecordFigure("", allocations * static_cast<double>(RunSizes().large), "allocations in a walk");
}

void WalkLevels(benchmark::State& state) {
    CompareWalk<LevelsWalk>(state, "walk: 3 levels, 2 numbers, key");
}
BENCHMARK(WalkLevels)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void WalkAllColumns(benchmark::State& state) {
    CompareWalk<WholeWalk>(state, "walk: all 11 columns");
}
BENCHMARK(WalkAllColumns)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Counts and adds up what a filter leaves, of which SQL decides all.
class FilteredWalk {
public:
    explicit FilteredWalk(std::int64_t rows)
        : orders_(rows, "orders", {"country", "city", "customer"}, {"quantity", "amount"}),
          reader_({{}, {"quantity"}, {"amount"}}) {
        Database database(OrdersFile(rows), Database::Mode::Read);
        Statement count(database, "SELECT count(*) FROM orders WHERE quantity > 10");
        Require(count.Step(), "no count");
        expected_ = count.Int64(0);
        all_ = rows;
        orders_.Cursor().AddNotifier(&reader_);
    }
    ~FilteredWalk() { orders_.Cursor().RemNotifier(&reader_); }
    FilteredWalk(const FilteredWalk&) = delete;
    FilteredWalk& operator=(const FilteredWalk&) = delete;

    void Without() { Run(EFilter(), all_); }
    void With() { Run(EFilter::Compare("quantity", EFilter::Test::Above, 10), expected_); }

private:
    void Run(const EFilter& filter, std::int64_t records) {
        orders_.Cursor().SetFilter(filter);
        Require(orders_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
        Require(reader_.Result().records == records, "records of the walk");
    }

    OrdersCursor orders_;
    Reader reader_;
    std::int64_t all_ = 0;
    std::int64_t expected_ = 0;
};

void WalkFiltered(benchmark::State& state) {
    FilteredWalk walk(RunSizes().large);
    RunComparison(state, {"walk: a filter for the engine",
                          RunSizes().large,
                          [&walk] { walk.Without(); },
                          [&walk] { walk.With(); },
                          {},
                          1.0,
                          kNoLimit,
                          "x without"});
}
BENCHMARK(WalkFiltered)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void WalkGrowth(benchmark::State& state) {
    LevelsWalk small(RunSizes().small);
    LevelsWalk large(RunSizes().large);
    RunGrowth(state, {"walk: growth", RunSizes().small, [&small] { small.Ours(); },
                      RunSizes().large, [&large] { large.Ours(); }, 1.1});
}
BENCHMARK(WalkGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
