#include "bench/OrdersGrid.h"

namespace etabulon::bench {

namespace {

/// Lets records through and no reset, so that they fall into cells that exist.
class Again : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    explicit Again(ETabulonGridFiller& filler) : filler_(filler) {}
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    CursorStatus OnMove(const ETabulonCursor& cursor) override { return filler_.OnMove(cursor); }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}

private:
    ETabulonGridFiller& filler_;
};

}  // namespace

/// The cells come out of one sort, and the totals out of the cells.
std::string GroupBy(const Question& question) {
    std::string cell;
    std::string cells;
    for (const Calculation& calculation : question.calculations) {
        cell += std::string(", ") + calculation.ofCell;
        cells += std::string(", ") + calculation.ofCells;
    }
    return std::string("WITH cells AS MATERIALIZED (SELECT ") + question.lines + " line, " +
           question.columns + " place, " + question.kept + " FROM orders GROUP BY 1, 2) " +
           "SELECT line, place" + cell + " FROM cells UNION ALL SELECT line, ''" + cells +
           " FROM cells GROUP BY line UNION ALL SELECT '', place" + cells +
           " FROM cells GROUP BY place UNION ALL SELECT '', ''" + cells + " FROM cells";
}

void Grid::Check() {
    std::vector<Results> expected(question_.calculations.size());
    while (groups_.Step()) {
        const std::pair cell{std::string(groups_.Text(0)), std::string(groups_.Text(1))};
        int column = 2;
        for (Results& results : expected) {
            results.emplace(cell, groups_.Double(column++));
        }
    }
    groups_.Reset();
    for (std::size_t shown = 0; shown < expected.size(); ++shown) {
        Drop(static_cast<int>(shown));
        Walk();
        Results sent;
        View view(&sent);
        filler_->SendTo(&view);
        Require(sent == expected[shown], std::string("grid of ") + question_.lines + " x " +
                                             question_.columns + " with " +
                                             question_.calculations[shown].function);
        cells_ = view.Cells();
    }
}

void Grid::Drop(int shown) {
    ETabulonCumulFuncOnVarCollection calculations;
    for (const Calculation& calculation : question_.calculations) {
        const std::string variable = calculation.variable;
        calculations.AddCalculation(calculation.function, ETabulonVariableID(variable.c_str()),
                                    variable == "amount" ? TYPE_DOUBLE : TYPE_INT64, 0,
                                    variable.c_str());
    }
    calculations.SetPriorityCalculationPos(shown);
    filler_->SetParams(&calculations, 2, &sortDesc_);
}

double Grid::BytesPerCell() {
    Walk();
    const std::size_t full = HeapBytes();
    Drop(0);
    return static_cast<double>(full - HeapBytes()) / static_cast<double>(cells_);
}

double Grid::AllocationsAgain() {
    Walk();
    Again again(*filler_);
    orders_.Cursor().RemNotifier(filler_.Get());
    orders_.Cursor().AddNotifier(&again);
    const std::uint64_t before = Allocations();
    Walk();
    const std::uint64_t after = Allocations();
    orders_.Cursor().RemNotifier(&again);
    orders_.Cursor().AddNotifier(filler_.Get());
    return static_cast<double>(after - before);
}

}  // namespace etabulon::bench
