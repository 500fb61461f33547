#pragma once

#include "bench/AllocationCounter.h"
#include "bench/Flat.h"
#include "bench/Orders.h"
#include "bench/OrdersCursor.h"
#include "bench/RatioBench.h"
#include "bench/Sqlite.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/grid/ITabulonResGridUI.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <array>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::bench {

/// A calculation, and what SQL says for it: of the records of a cell, and of cells that become one.
struct Calculation {
    const char* function;
    const char* variable;
    const char* ofCell;
    const char* ofCells;
};

struct Question {
    const char* lines;
    const char* columns;
    std::vector<Calculation> calculations;
    std::vector<const char*> variables;  // of these
    /// What SQL keeps for each cell, for the calculations to be said in.
    const char* kept;
    /// The columns of the bare walk, and their kinds as WalkBare has them.
    const char* read;
    const char* kinds;
};

inline const Question kSums{"category", "country",       {{"SUM", "amount", "s", "sum(s)"}},
                            {"amount"}, "sum(amount) s", "id, category, country, amount",
                            "ittd"};
inline const Question kSixResults{
    "month",
    "category",
    {{"COUNT", "amount", "n", "sum(n)"},
     {"SUM", "amount", "s", "sum(s)"},
     {"MIN", "amount", "low", "min(low)"},
     {"MAX", "amount", "high", "max(high)"},
     {"AVG", "amount", "s / n", "sum(s) / sum(n)"},
     {"SUM", "quantity", "q", "sum(q)"}},
    {"amount", "quantity"},
    "count(*) n, sum(amount) s, min(amount) low, max(amount) high, sum(quantity) q",
    "id, month, category, amount, quantity",
    "ittdi"};
inline const Question kSparse{"product",  "city",          {{"SUM", "amount", "s", "sum(s)"}},
                              {"amount"}, "sum(amount) s", "id, product, city, amount",
                              "ittd"};

/// By line and column; no text stands for the total of all.
using Results = std::map<std::pair<std::string, std::string>, double>;

/// SQL's answer to the question, with all totals.
[[nodiscard]] std::string GroupBy(const Question& question);

/// A view that only counts, for the time, or one that keeps what it's told, for the check.
class View : public ITabulonResGridUI {
public:
    explicit View(Results* kept) : kept_(kept) {}

    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override { cells_ = 0; }
    void SetAxeCount(unsigned int /*count*/) override {}
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        axes_.at(direction) = axe;
    }
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override {
        if (!value.IsNull()) {
            ++cells_;
            Keep(line, column, value);
        }
    }
    void SetTotal(const ETabulonValue& value) override { Keep(kAll, kAll, value); }
    void SetTotal(AxeDirection direction, unsigned int index, const ETabulonValue& value) override {
        const bool ofLine = direction == AxeColumns;
        Keep(ofLine ? index : kAll, ofLine ? kAll : index, value);
    }

    [[nodiscard]] std::int64_t Cells() const noexcept { return cells_; }

private:
    static constexpr unsigned int kAll = 0xFFFFFFFF;

    void Keep(unsigned int line, unsigned int column, const ETabulonValue& value) {
        if (kept_ != nullptr) {
            const auto cell = std::pair{Text(AxeLines, line), Text(AxeColumns, column)};
            Require(kept_->emplace(cell, value.Data().AsDouble()).second, "a cell sent twice");
        }
    }
    [[nodiscard]] std::string Text(AxeDirection direction, unsigned int index) const {
        return index == kAll ? "" : axes_.at(direction)->Label(index).Data().AsChaine().c_str();
    }

    Results* kept_;  // not owned, may be null
    std::array<const ETabulonGridAxe*, 2> axes_{};
    std::int64_t cells_ = 0;
};

/// One question in all its forms.
class Grid {
public:
    Grid(std::int64_t rows, const Question& question, Held held = Held::InFile)
        : rows_(rows),
          question_(question),
          database_(OrdersFile(rows), Database::Mode::Read),
          bare_(database_, std::string("SELECT ") + question.read + " FROM orders ORDER BY id"),
          groups_(database_, GroupBy(question)),
          orders_(rows, "orders", {question.lines, question.columns}, question.variables, held),
          sortDesc_(orders_.Cursor().Levels()),
          filler_(ERef<ETabulonGridFiller>::Adopt(
              ETabulonGridFiller::Build(&orders_.Cursor(), nullptr))) {
        orders_.Cursor().AddNotifier(filler_.Get());
        if (held == Held::InColumns) {
            inMemory_ = std::make_unique<FlatTable>(bare_, question.kinds);
        }
        Drop(0);
    }
    ~Grid() { orders_.Cursor().RemNotifier(filler_.Get()); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    void Floor() { Require(WalkBare(bare_, question_.kinds) == rows_, "rows of the bare walk"); }
    void Flat() {
        if (inMemory_ != nullptr) {
            RunFlat(*inMemory_);
        } else {
            FlatReader reader(bare_, question_.kinds);
            RunFlat(reader);
        }
    }
    void Groups() {
        const std::string kinds = "tt" + std::string(question_.calculations.size(), 'd');
        Require(WalkBare(groups_, kinds) > cells_, "rows of GROUP BY");
    }
    void Walk() {
        Require(orders_.Cursor().Browse(ETabulonTag::Null) == StatusOk, "status of the walk");
    }
    void Ours() {
        Walk();
        View view(nullptr);
        filler_->SendTo(&view);
        cells_ = view.Cells();
    }
    /// Every result of every cell and total is SQL's.
    void Check();
    /// Ends what the last walk made; `shown` is the calculation that is sent.
    void Drop(int shown);
    /// By what the end of the grid gives back.
    [[nodiscard]] double BytesPerCell();
    /// What a walk allocates whose cells are all there.
    [[nodiscard]] double AllocationsAgain();

private:
    template <class Source>
    void RunFlat(Source& source) {
        const std::size_t cells = question_.calculations.size() > 1 ? FlatGrid<FlatSixState>(source)
                                                                    : FlatGrid<FlatState>(source);
        Require(cells_ == 0 || static_cast<std::int64_t>(cells) == cells_, "cells of the loop");
    }

    std::int64_t rows_;
    const Question& question_;
    Database database_;
    Statement bare_;
    Statement groups_;
    OrdersCursor orders_;
    ETabulonSortDesc sortDesc_;
    ERef<ETabulonGridFiller> filler_;
    std::unique_ptr<FlatTable> inMemory_;
    std::int64_t cells_ = 0;
};

}  // namespace etabulon::bench
