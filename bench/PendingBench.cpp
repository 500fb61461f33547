// What pending changes cost: a walk that sees them, and the script as it grows.

#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/tree/EDataTree.h"

#include <chrono>
#include <functional>
#include <string>

namespace etabulon::bench {

namespace {

// Of 1,000 changes; each update and delete is of a customer, which has twenty of a million rows.
constexpr int kUpdates = 800;
constexpr int kDeletes = 100;
constexpr int kInserts = 100;
constexpr std::int64_t kQuantity = 7;

ETabulonValue Value(std::string_view text) {
    return {EVariant(Chaine(text)), Chaine(), /*modified=*/false};
}

struct Totals {
    std::int64_t records = 0;
    std::int64_t inserts = 0;  // records without a key
    std::int64_t keys = 0;
    std::int64_t textBytes = 0;
    std::int64_t whole = 0;

    friend bool operator==(const Totals&, const Totals&) = default;
};

/// Reads the tag, the key and a number of each record.
class Reader : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& cursor) override {
        totals = {};
        whole_ = &cursor.Field("quantity");
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        ++totals.records;
        const EPosition position = cursor.PrimaryKey().Position();
        if (position == kNoPosition) {
            ++totals.inserts;
        } else {
            totals.keys += position;
        }
        const ETabulonTag& tag = cursor.CurrentTag();
        for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
            totals.textBytes += static_cast<std::int64_t>(tag.ValueAt(index).Data().ByteCount());
        }
        totals.whole += whole_->AsInt64();
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}

    Totals totals;

private:
    const EField* whole_ = nullptr;
};

/// An orders table with changes of its first customers, and what a walk should find.
class ChangedOrders {
public:
    explicit ChangedOrders(std::int64_t rows)
        : database_(OrdersFile(rows), Database::Mode::Read),
          orders_(rows, "orders", {"country", "city", "customer"}, {"quantity"}),
          overlay_(&orders_.Cursor(), &changes_) {
        overlay_.Init(orders_.Cursor().Levels());
        Statement customers(database_,
                            "SELECT DISTINCT country, city, customer FROM orders "
                            "ORDER BY customer LIMIT " +
                                std::to_string(kUpdates + kDeletes));
        ETabulonTag tag;
        for (int change = 0; customers.Step(); ++change) {
            for (int level = 0; level < 3; ++level) {
                tag.SetValue(static_cast<unsigned int>(level), Value(customers.Text(level)));
            }
            if (change < kUpdates) {
                changes_.AppendUpdate(tag, "quantity", EVariant::FromInt64(kQuantity));
            } else {
                changes_.AppendDelete(tag);
            }
        }
        std::int64_t insertedBytes = 0;
        for (int insert = 0; insert < kInserts; ++insert) {
            const std::string name = "new customer " + std::to_string(insert);
            tag.SetValue(2, Value(name));
            changes_.AppendInsert(tag);
            for (unsigned int index = 0; index < 3; ++index) {
                insertedBytes += static_cast<std::int64_t>(tag.ValueAt(index).Data().ByteCount());
            }
        }
        plain_ =
            Ask("SELECT count(*), sum(id), sum(length(country) + length(city) +"
                " length(customer)), sum(quantity) FROM orders");
        changed_ =
            Ask("WITH numbered AS (SELECT customer, row_number() OVER (ORDER BY customer) AS n FROM"
                " (SELECT DISTINCT customer FROM orders)) SELECT count(*), sum(id),"
                " sum(length(country) + length(city) + length(customer)), sum(iif(n <= " +
                std::to_string(kUpdates) + ", " + std::to_string(kQuantity) +
                ", quantity)) FROM orders JOIN numbered USING (customer) WHERE n <= " +
                std::to_string(kUpdates) + " OR n > " + std::to_string(kUpdates + kDeletes));
        changed_.records += kInserts;
        changed_.inserts = kInserts;
        changed_.textBytes += insertedBytes;
    }

    [[nodiscard]] ETabulonCursor& Plain() noexcept { return orders_.Cursor(); }
    [[nodiscard]] ETabulonCursor& Changed() noexcept { return overlay_; }
    void WalkPlain() { Walk(orders_.Cursor(), plain_); }
    void WalkChanged() { Walk(overlay_, changed_); }

private:
    Totals Ask(const std::string& query) {
        Statement sums(database_, query);
        Require(sums.Step(), "no sums");
        return {sums.Int64(0), 0, sums.Int64(1), sums.Int64(2), sums.Int64(3)};
    }
    void Walk(ETabulonCursor& cursor, const Totals& expected) {
        const ECursorListening listening(cursor, reader_);
        Require(cursor.Browse(ETabulonTag::Null) == StatusOk, "status of a walk");
        Require(reader_.totals == expected, "sums of a walk");
    }

    Database database_;
    OrdersCursor orders_;
    ETabulonPendingChanges changes_;
    ETabulonCursorPending overlay_;
    Reader reader_;
    Totals plain_;
    Totals changed_;
};

/// The filled grid of country by city, or the tree to customers, of the orders with and without the
/// changes.
void CompareFills(benchmark::State& state, const char* name,
                  const std::function<void(ETabulonCursor&)>& fill) {
    ChangedOrders orders(RunSizes().large);
    Comparison walk;
    walk.name = name;
    walk.records = RunSizes().large;
    walk.floor = [&] { fill(orders.Plain()); };
    walk.ours = [&] { fill(orders.Changed()); };
    walk.target = 1.3;
    walk.aim = 1.15;
    walk.unit = "x without";
    RunComparison(state, walk);
}

void PendingGrid(benchmark::State& state) {
    CompareFills(state, "pending: grid with 1,000 changes", [](ETabulonCursor& cursor) {
        ETabulonCumulFuncOnVarCollection sum;
        sum.AddCalculation("SUM", ETabulonVariableID("quantity"), TYPE_INT64, 0, "quantity");
        ETabulonSortDesc sort(cursor.Levels());
        const auto grid = ETabulonGridFiller::Make(&cursor, nullptr);
        grid->SetParams(&sum, 2, &sort);
        const ECursorListening listening(cursor, *grid);
        Require(cursor.Browse(ETabulonTag::Null) == StatusOk, "status of a grid");
    });
}
BENCHMARK(PendingGrid)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void PendingTree(benchmark::State& state) {
    CompareFills(state, "pending: tree with 1,000 changes", [](ETabulonCursor& cursor) {
        EDataTree tree(&cursor, "all", nullptr);
        Require(tree.Fill() == StatusOk, "status of a fill");
    });
}
BENCHMARK(PendingTree)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void PendingWalk(benchmark::State& state) {
    ChangedOrders orders(RunSizes().large);
    Comparison walk;
    walk.name = "pending: walk with 1,000 changes";
    walk.records = RunSizes().large;
    walk.floor = [&orders] { orders.WalkPlain(); };
    walk.ours = [&orders] { orders.WalkChanged(); };
    walk.target = 1.3;
    walk.unit = "x our walk";
    RunComparison(state, walk);
}
BENCHMARK(PendingWalk)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Updates, deletes and inserts in turns; one in twenty takes the place of an update before it.
void AppendChanges(int count, ETabulonPendingChanges& changes) {
    ETabulonTag tag;
    for (int edit = 0; edit < count; ++edit) {
        const int item = edit % 20 == 18 ? edit - 2 : edit;
        tag.SetValue(0, Value("group " + std::to_string(item % 97)));
        tag.SetValue(1, Value("item " + std::to_string(item)));
        switch (edit % 4) {
            case 1:
                changes.AppendDelete(tag);
                break;
            case 3:
                changes.AppendInsert(tag);
                break;
            default:
                changes.AppendUpdate(tag, "quantity", EVariant::FromInt64(edit));
                break;
        }
    }
}

void PendingAppend(benchmark::State& state) {
    const int count = IsSmokeRun() ? 2000 : 20000;
    for ([[maybe_unused]] auto turn : state) {
        ETabulonPendingChanges changes;
        const auto start = std::chrono::steady_clock::now();
        AppendChanges(count, changes);
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(seconds.count());
        RecordFigure("pending: appending " + std::to_string(count) + " changes", seconds.count(),
                     "s", 2.0);
        Require(changes.Size() == static_cast<std::uint32_t>(count - count / 20),
                "changes of the script");
    }
}
BENCHMARK(PendingAppend)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
