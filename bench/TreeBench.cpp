// Trees: filled, sorted anew, refreshed.

#include "bench/AllocationCounter.h"
#include "bench/Flat.h"
#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/LoadColumns.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/EDataColumns.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"

#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon::bench {

namespace {

enum class Leaves : std::uint8_t { Customers = 0, Records = 1 };

/// One number for the texts of the upper three levels in order, with the records below each: a tree
/// and SQL come to the same one only if nodes, order and leaves are the same.
class Digest {
public:
    void Add(std::string_view text) {
        for (const char byte : text) {
            AddWord(static_cast<unsigned char>(byte));
        }
        AddWord(0x100);
    }
    void AddWord(std::uint64_t word) { sum_ = (sum_ ^ word) * 0x100000001B3U; }
    [[nodiscard]] std::uint64_t Sum() const noexcept { return sum_; }

private:
    std::uint64_t sum_ = 0xCBF29CE484222325U;
};

constexpr unsigned int kUpperLevels = 3;

void AddTree(Digest& digest, const EDataTreeNode& node, Leaves leaves,
             std::array<Chaine, kUpperLevels>& path) {
    for (unsigned int index = 0; index < node.Size(); ++index) {
        const EDataTreeNode& child = *node.Get(index);
        path[node.Depth()] = child.DisplayValue().DisplayText();
        if (child.Depth() < kUpperLevels) {
            AddTree(digest, child, leaves, path);
            continue;
        }
        for (const Chaine& text : path) {
            digest.Add(text.View());
        }
        if (leaves == Leaves::Records) {
            ETabulonPrimaryKey key;
            std::uint64_t keys = 0;
            for (unsigned int leaf = 0; leaf < child.Size(); ++leaf) {
                child.Get(leaf)->ExtractPrimaryKey(key);
                keys += static_cast<std::uint64_t>(key.Position());
            }
            digest.AddWord(child.LeafCount());
            digest.AddWord(keys);
        }
    }
}

std::uint64_t DigestOf(const EDataTree& tree, Leaves leaves) {
    Digest digest;
    std::array<Chaine, kUpperLevels> path;
    AddTree(digest, *tree.Root(), leaves, path);
    return digest.Sum();
}

/// `order`: the three columns as they follow one another in the tree.
std::uint64_t DigestOf(Database& database, Leaves leaves, const std::string& order) {
    Digest digest;
    Statement groups(database, "SELECT " + order + ", count(*), sum(id) FROM orders GROUP BY " +
                                   order + " ORDER BY " + order);
    while (groups.Step()) {
        for (unsigned int column = 0; column < kUpperLevels; ++column) {
            digest.Add(groups.Text(static_cast<int>(column)));
        }
        if (leaves == Leaves::Records) {
            digest.AddWord(static_cast<std::uint64_t>(groups.Int64(kUpperLevels)));
            digest.AddWord(static_cast<std::uint64_t>(groups.Int64(kUpperLevels + 1)));
        }
    }
    return digest.Sum();
}

constexpr const char* kFilledOrder = "country, city, customer";
constexpr const char* kMovedOrder = "customer, country, city";

using Names = std::vector<const char*>;

Names LevelNames(Leaves leaves) {
    return leaves == Leaves::Records ? Names{"country", "city", "customer", "id"}
                                     : Names{"country", "city", "customer"};
}

/// What the tree's cursor walks.
enum class From : std::uint8_t { Sqlite = 0, Columns = 1 };

/// A tree country > city > customer, with or without the records below, and its floor.
class OrdersTree {
public:
    OrdersTree(std::int64_t rows, Leaves leaves, From from = From::Sqlite, const Names& read = {})
        : rows_(rows),
          leaves_(leaves),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, "SELECT id, country, city, customer FROM orders ORDER BY id"),
          orders_(std::make_unique<OrdersCursor>(rows, "orders", LevelNames(leaves), read)) {
        if (from == From::Columns) {
            Load();
        }
    }

    void Floor() { Require(WalkBare(bare_, kKinds) == rows_, "rows of the bare walk"); }
    /// The hand-written loop that makes as many nodes as the last tree had.
    void Flat() {
        const bool keepsRecords = leaves_ == Leaves::Records;
        std::size_t nodes = 0;
        if (flat_ != nullptr) {
            nodes = FlatTree(*flat_, keepsRecords);
        } else {
            FlatReader reader(bare_, kKinds);
            nodes = FlatTree(reader, keepsRecords);
        }
        Require(static_cast<std::int64_t>(nodes) == nodes_, "nodes of the loop");
    }
    void Fill() {
        tree_ = std::make_unique<EDataTree>(cursor_, "all", nullptr);
        Require(tree_->Fill() == StatusOk, "status of the fill");
    }
    /// A fill with three calculations beside the nodes, worked out for all of them.
    void FillWithTotals() {
        tree_ = std::make_unique<EDataTree>(cursor_, "all", nullptr);
        const ERef<ETreeTotals> totals = ETreeTotals::Make(tree_->SortDesc(), nullptr);
        ETabulonCumulFuncOnVarCollection calculations;
        for (const char* const function : {"SUM", "AVG", "MAX"}) {
            calculations.AddCalculation(function, ETabulonVariableID("amount"), TYPE_DOUBLE, 0, "");
        }
        Require(totals->SetCalculations(calculations), "calculations of the totals");
        cursor_->AddNotifier(totals.Get());
        Require(tree_->Fill() == StatusOk, "status of the fill");
        cursor_->RemNotifier(totals.Get());
        totals->ReadResult(ETabulonTag::Null, 0, total_);
    }
    /// Of the last fill with totals.
    [[nodiscard]] double Total() const { return total_.Data().AsDouble(); }
    [[nodiscard]] double TotalBySql() {
        Statement sum(database_, "SELECT sum(amount) FROM orders");
        Require(sum.Step(), "sum of the amounts");
        return sum.Double(0);
    }
    void Drop() { tree_.reset(); }
    void Check(const char* order) {
        nodes_ = Nodes();
        Require(DigestOf(*tree_, leaves_) == DigestOf(database_, leaves_, order),
                std::string("tree by ") + order);
    }
    [[nodiscard]] EDataTree& Tree() noexcept { return *tree_; }
    [[nodiscard]] std::int64_t LeafCount() const { return tree_->Root()->LeafCount(); }
    [[nodiscard]] std::int64_t Nodes() const {
        return leaves_ == Leaves::Records ? Inner() + LeafCount() : Inner();
    }
    [[nodiscard]] std::int64_t Rows() const noexcept { return rows_; }

private:
    void Load() {
        CursorStatus status = StatusOk;
        std::unique_ptr<EDataColumns> columns =
            LoadColumns(orders_->Cursor(), ETabulonTag::Null, nullptr, status);
        Require(columns != nullptr, "load of the columns");
        ETabulonLevels levels;
        for (const char* const name : LevelNames(leaves_)) {
            levels.AddLevel(name, name, nullptr, /*addRef=*/false);
        }
        inMemory_.Init(levels, columns.release(), /*ownsTable=*/true);
        cursor_ = &inMemory_;
        flat_ = std::make_unique<FlatTable>(bare_, kKinds);
    }
    /// The nodes of the upper three levels.
    [[nodiscard]] std::int64_t Inner() const {
        const EDataTreeNode& root = *tree_->Root();
        std::int64_t nodes = root.Size();
        for (unsigned int country = 0; country < root.Size(); ++country) {
            const EDataTreeNode& cities = *root.Get(country);
            nodes += cities.Size();
            for (unsigned int city = 0; city < cities.Size(); ++city) {
                nodes += cities.Get(city)->Size();
            }
        }
        return nodes;
    }

    static constexpr const char* kKinds = "ittt";

    std::int64_t rows_;
    Leaves leaves_;
    Database database_;
    Statement bare_;
    std::unique_ptr<OrdersCursor> orders_;
    ETabulonCursorEData inMemory_;
    ETabulonCursor* cursor_ = &orders_->Cursor();
    std::unique_ptr<EDataTree> tree_;
    ETabulonValue total_;
    std::unique_ptr<FlatTable> flat_;  // of From::Columns
    std::int64_t nodes_ = 0;           // of the tree that was checked
};

// -------------------------------------------------------------------------------------------- fill

/// The tree's own memory, by what its end gives back. Texts that the table still keeps for its next
/// walk aren't in it.
double BytesPerLeaf(OrdersTree& tree, bool isRead = false) {
    tree.Fill();
    if (isRead) {
        tree.Check(kFilledOrder);  // looks at each node
    }
    const auto leaves = static_cast<double>(tree.LeafCount());
    const std::size_t full = HeapBytes();
    tree.Drop();
    return static_cast<double>(full - HeapBytes()) / leaves;
}

void TreeFill(benchmark::State& state) {
    OrdersTree tree(RunSizes().large, Leaves::Customers);
    tree.Fill();
    tree.Check(kFilledOrder);
    tree.Drop();
    RunComparison(state, {"tree: fill to customers", tree.Rows(), [&tree] { tree.Floor(); },
                          [&tree] { tree.Fill(); }, [&tree] { tree.Drop(); }, 1.9, 1.5, "x floor",
                          [&tree] { tree.Flat(); }});
    RecordFigure("tree: customers' memory", BytesPerLeaf(tree), "bytes/leaf");
}
BENCHMARK(TreeFill)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeFillRecords(benchmark::State& state) {
    OrdersTree tree(RunSizes().large, Leaves::Records);
    tree.Fill();
    tree.Check(kFilledOrder);
    tree.Drop();
    RunComparison(state, {"tree: fill to records", tree.Rows(), [&tree] { tree.Floor(); },
                          [&tree] { tree.Fill(); }, [&tree] { tree.Drop(); }, 3.5, 2.5, "x floor",
                          [&tree] { tree.Flat(); }});
    const double bytes = BytesPerLeaf(tree);
    state.counters["bytes_per_leaf"] = bytes;
    RecordFigure("tree: records' memory", bytes, "bytes/leaf", 150, 100);
    RecordFigure("tree: the same, each node read", BytesPerLeaf(tree, /*isRead=*/true),
                 "bytes/leaf");
}
BENCHMARK(TreeFillRecords)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Results for each of 50,000 leaves and all nodes above them, against the tree without.
void TreeFillTotals(benchmark::State& state) {
    OrdersTree plain(RunSizes().large, Leaves::Customers);
    OrdersTree tree(RunSizes().large, Leaves::Customers, From::Sqlite, {"amount"});
    tree.FillWithTotals();
    tree.Check(kFilledOrder);
    const double sum = tree.TotalBySql();
    Require(std::abs(tree.Total() - sum) <= 1e-9 * std::abs(sum), "total of the amounts");
    tree.Drop();
    RunComparison(state, {"tree: customers with 3 calculations",
                          tree.Rows(),
                          [&plain] {
                              plain.Fill();
                              plain.Drop();
                          },
                          [&tree] {
                              tree.FillWithTotals();
                              tree.Drop();
                          },
                          {},
                          1.3,
                          kNoLimit,
                          "x without"});
}
BENCHMARK(TreeFillTotals)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// A fill and a drop without blocks, and the same with them.
void TreeFillSteps(benchmark::State& state) {
    OrdersTree tree(RunSizes().large, Leaves::Records);
    const bool areEnabled = EBlockSource::AreEnabled();
    const auto fill = [&tree](bool byBlocks) {
        EBlockSource::SetEnabled(byBlocks);
        tree.Fill();
        tree.Drop();
    };
    RunComparison(state, {"tree: records, blocks to steps",
                          tree.Rows(),
                          [&fill] { fill(false); },
                          [&fill] { fill(true); },
                          {},
                          kNoLimit,
                          kNoLimit,
                          "x steps"});
    EBlockSource::SetEnabled(areEnabled);
}
BENCHMARK(TreeFillSteps)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void CompareColumns(benchmark::State& state, const char* name, Leaves leaves, double target,
                    double aim) {
    OrdersTree tree(RunSizes().large, leaves, From::Columns);
    tree.Fill();
    tree.Check(kFilledOrder);
    tree.Drop();
    RunComparison(state,
                  {name, tree.Rows(), [&tree] { tree.Floor(); }, [&tree] { tree.Fill(); },
                   [&tree] { tree.Drop(); }, target, aim, "x floor", [&tree] { tree.Flat(); }});
}

void TreeFillColumns(benchmark::State& state) {
    CompareColumns(state, "tree: customers from columns", Leaves::Customers, 0.12, 0.07);
}
BENCHMARK(TreeFillColumns)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeFillColumnsRecords(benchmark::State& state) {
    CompareColumns(state, "tree: records from columns", Leaves::Records, 1.2, 0.8);
}
BENCHMARK(TreeFillColumnsRecords)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeFillGrowth(benchmark::State& state) {
    OrdersTree small(RunSizes().small, Leaves::Records);
    OrdersTree large(RunSizes().large, Leaves::Records);
    const auto run = [](OrdersTree& tree) {
        tree.Fill();
        tree.Drop();
    };
    RunGrowth(state,
              {"tree: growth of fill and drop", RunSizes().small, [&small, run] { run(small); },
               RunSizes().large, [&large, run] { run(large); }, 1.1});
}
BENCHMARK(TreeFillGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ----------------------------------------------------------------------------------- many siblings

/// All distinct texts of the table codes under the root.
class CodesTree {
public:
    explicit CodesTree(std::int64_t rows)
        : count_(rows / 5),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, "SELECT id, code FROM codes ORDER BY id"),
          codes_(rows, "codes", {"code"}, {}) {}
    void Floor() { Require(WalkBare(bare_, "it") == count_, "rows of the bare walk"); }
    void Fill() {
        tree_ = std::make_unique<EDataTree>(&codes_.Cursor(), "all", nullptr);
        Require(tree_->Fill() == StatusOk && tree_->Root()->Size() == count_, "fill of siblings");
    }
    void Check() {
        Fill();
        Statement sorted(database_, "SELECT code FROM codes ORDER BY code");
        for (unsigned int index = 0; sorted.Step(); ++index) {
            Require(
                tree_->Root()->Get(index)->DisplayValue().DisplayText().View() == sorted.Text(0),
                "order of siblings");
        }
        Drop();
    }
    void Drop() { tree_.reset(); }
    [[nodiscard]] std::int64_t Count() const noexcept { return count_; }

private:
    std::int64_t count_;
    Database database_;
    Statement bare_;
    OrdersCursor codes_;
    std::unique_ptr<EDataTree> tree_;
};

void TreeSiblings(benchmark::State& state) {
    CodesTree codes(RunSizes().large);
    codes.Check();
    RunComparison(state,
                  {"tree: distinct texts in one node", codes.Count(), [&codes] { codes.Floor(); },
                   [&codes] { codes.Fill(); }, [&codes] { codes.Drop(); }, kNoLimit, kNoLimit});
}
BENCHMARK(TreeSiblings)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeSiblingsGrowth(benchmark::State& state) {
    CodesTree small(RunSizes().small);
    CodesTree large(RunSizes().large);
    RunGrowth(state, {"tree: growth in one node", small.Count(), [&small] { small.Fill(); },
                      large.Count(), [&large] { large.Fill(); }, 1.3});
}
BENCHMARK(TreeSiblingsGrowth)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// -------------------------------------------------------------------------------------------- sort

/// The floor of a new sort: SQLite sorts the leaves' columns in memory, and reads them.
class LeafTable {
public:
    LeafTable(std::int64_t rows, Leaves leaves)
        : database_("", Database::Mode::Memory),
          kinds_(leaves == Leaves::Records ? "ttti" : "ttt") {
        const bool records = leaves == Leaves::Records;
        database_.Run("PRAGMA temp_store = MEMORY; ATTACH '" + OrdersFile(rows) + "' AS source;" +
                      "CREATE TABLE leaves AS SELECT " + (records ? "" : "DISTINCT ") +
                      kFilledOrder + (records ? ", id" : "") + " FROM source.orders ORDER BY " +
                      kFilledOrder + "; DETACH source");
        const std::string columns = std::string(kMovedOrder) + (records ? ", id" : "");
        sorted_ = std::make_unique<Statement>(
            database_, "SELECT " + columns + " FROM leaves ORDER BY " + columns);
    }
    [[nodiscard]] std::int64_t Sort() { return WalkBare(*sorted_, kinds_); }

private:
    Database database_;
    const char* kinds_;
    std::unique_ptr<Statement> sorted_;
};

void CompareSort(benchmark::State& state, const char* name, Leaves leaves, double target) {
    OrdersTree tree(RunSizes().large, leaves);
    LeafTable table(RunSizes().large, leaves);
    tree.Fill();
    const std::int64_t count = tree.LeafCount();
    const auto move = [&tree](unsigned int from, unsigned int to) {
        Require(tree.Tree().MoveSortLevel(from, to), "move of a level");
    };
    move(2, 0);
    tree.Check(kMovedOrder);
    move(0, 2);
    tree.Check(kFilledOrder);
    RunComparison(
        state, {name, count, [&table, count] { Require(table.Sort() == count, "leaves in SQL"); },
                [&move] { move(2, 0); }, [&move] { move(0, 2); }, target, kNoLimit});
}

void TreeSort(benchmark::State& state) {
    CompareSort(state, "tree: customers first", Leaves::Customers, 1.0);
}
BENCHMARK(TreeSort)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeSortRecords(benchmark::State& state) {
    CompareSort(state, "tree: customers first, records", Leaves::Records, 0.7);
}
BENCHMARK(TreeSortRecords)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

// ----------------------------------------------------------------------------------------- refresh

void CompareRefresh(benchmark::State& state, const char* name, Leaves leaves) {
    OrdersTree tree(RunSizes().large, leaves);
    tree.Fill();
    const double allocations = RunComparison(
        state, {name,
                tree.Rows(),
                [&tree] { tree.Floor(); },
                [&tree] { Require(tree.Tree().Refresh() == StatusOk, "status of the refresh"); },
                {},
                kNoLimit,
                kNoLimit});
    tree.Check(kFilledOrder);
    // A walk as such makes a few, whatever its length: they round to nothing.
    const double perNode =
        allocations * static_cast<double>(tree.Rows()) / static_cast<double>(tree.Nodes());
    RecordFigure("", perNode, "allocations per known node", IsSmokeRun() ? kNoLimit : 0.001);
}

void TreeRefresh(benchmark::State& state) {
    CompareRefresh(state, "tree: refresh, nothing changed", Leaves::Customers);
}
BENCHMARK(TreeRefresh)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void TreeRefreshRecords(benchmark::State& state) {
    CompareRefresh(state, "tree: the same with records", Leaves::Records);
}
BENCHMARK(TreeRefreshRecords)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
