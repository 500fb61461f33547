#include "grid/GridSender.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/CellLines.h"

#include <algorithm>
#include <optional>

namespace etabulon::detail {

unsigned int ShownCalculation(const ETabulonGridCumuls& desc) {
    return desc.AxesMode() == ETabulonGridCumuls::IntrinsicPriority
               ? static_cast<unsigned int>(desc.Calculations().PriorityCalculationPos())
               : 0;
}

GridSender::GridSender(const ETabulonGridCumuls& desc, const GridCells& cells,
                       std::span<const ERef<ETabulonGridAxe>> axes, ITabulonResGridUI& view)
    : desc_(desc),
      cells_(cells),
      axes_(axes),
      view_(view),
      shown_(static_cast<int>(ShownCalculation(desc))) {}

void GridSender::Send() {
    switch (desc_.AxesMode()) {
        case ETabulonGridCumuls::IntrinsicVarsAndFuncs:
            SendVarsAndFuncs();
            break;
        case ETabulonGridCumuls::IntrinsicVars:
        case ETabulonGridCumuls::IntrinsicFuncs:
        case ETabulonGridCumuls::IntrinsicVarFuncs:
            SendIntrinsic();
            break;
        default:
            SendData();
            break;
    }
}

void GridSender::SendData() {
    if (axes_.empty()) {
        SendCell();
    } else if (axes_.size() == 1) {
        SendLine();
    } else {
        SendTable();
    }
}

void GridSender::SendIntrinsic() {
    if (axes_.size() == 2) {
        SendIntrinsicColumns();
    } else {
        SendIntrinsicLine();
    }
}

// --------------------------------------------------------------------------------- one calculation

void GridSender::SendCell() { view_.SetValue(0, 0, Result(cells_.FirstCell(), shown_)); }

void GridSender::SendLine() {
    Numbers cell = Root();
    const Numbers lines = NumbersOf(0);
    for (unsigned int line = 0; line < lines.size(); ++line) {
        Put(cell, 0, lines[line]);
        view_.SetValue(0, line, Result(cells_.Cell(cell), shown_));
    }
    view_.SetTotal(ITabulonResGridUI::AxeLines, 0, Result(cells_.GrandTotal(), shown_));
}

// Deliberate: sends a third axis and those after it by SetAxe, but looks cells up without values
// on them, so that cells with values there aren't found. CellsOfAThirdAxisAreNotFound holds it.
void GridSender::SendTable() {
    const Numbers lines = NumbersOf(0);
    const Numbers columns = NumbersOf(1);
    SendLines(lines, columns);
    for (unsigned int column = 0; column < columns.size(); ++column) {
        SendTotal(ITabulonResGridUI::AxeLines, column, cells_.Total(1, columns[column]));
    }
    view_.SetTotal(Result(cells_.GrandTotal(), shown_));
}

void GridSender::SendLines(const Numbers& lines, const Numbers& columns) {
    std::optional<CellLines> cells;
    if (!lines.empty() && !columns.empty()) {
        cells.emplace(cells_, Root());
    }
    for (unsigned int line = 0; line < lines.size(); ++line) {
        if (cells) {
            SendLine(line, cells->Line(lines[line]), columns);
        }
        SendTotal(ITabulonResGridUI::AxeColumns, line, cells_.Total(0, lines[line]));
    }
}

// `rows` holds the cells' rows by the value numbers of axis 1.
void GridSender::SendLine(unsigned int line, const Numbers& rows, const Numbers& columns) {
    for (unsigned int column = 0; column < columns.size(); ++column) {
        const std::uint32_t row = rows[columns[column]];
        view_.SetValue(column, line,
                       row == GridCells::kNone ? ETabulonValue::Null : Result(row, shown_));
    }
}

void GridSender::SendTotal(ITabulonResGridUI::AxeDirection direction, unsigned int index,
                           std::uint32_t row) {
    if (row != GridCells::kNone) {
        view_.SetTotal(direction, index, Result(row, shown_));
    }
}

// ---------------------------------------------------------------------------- several calculations

// Deliberate: sends no totals, and only the first cell, which is the only one unless the grid has
// more than these two axes. VarsAndFuncsSendTheFirstCellOnly holds it.
void GridSender::SendVarsAndFuncs() {
    const auto calculations = cells_.Calculations();
    for (unsigned int index = 0; index < calculations.size(); ++index) {
        const ETabulonCumulFuncOnVar& calculation = *calculations[index];
        const int line = axes_[0]->FindLabel(EVariant(calculation.Variable()->DataID().Code()));
        const int column = axes_[1]->FindLabel(EVariant(calculation.Function()->Code()));
        view_.SetValue(static_cast<unsigned int>(column), static_cast<unsigned int>(line),
                       Result(cells_.FirstCell(), static_cast<int>(index)));
    }
}

// Deliberate: sends only column totals, since a line holds results of different kinds.
// IntrinsicColumnsHaveTotalsOfColumnsOnly holds it.
void GridSender::SendIntrinsicColumns() {
    Numbers cell = Root();
    const Numbers lines = NumbersOf(0);
    const std::vector<int> calculations = CalculationsOf(*axes_[1]);
    for (unsigned int line = 0; line < lines.size(); ++line) {
        Put(cell, 0, lines[line]);
        const std::uint32_t row = cells_.Cell(cell);
        for (unsigned int column = 0; column < calculations.size(); ++column) {
            view_.SetValue(column, line, Result(row, calculations[column]));
        }
    }
    for (unsigned int column = 0; column < calculations.size(); ++column) {
        if (calculations[column] != kNoCalculation) {
            view_.SetTotal(ITabulonResGridUI::AxeLines, column,
                           Result(cells_.GrandTotal(), calculations[column]));
        }
    }
}

void GridSender::SendIntrinsicLine() {
    const std::vector<int> calculations = CalculationsOf(*axes_[0]);
    for (unsigned int index = 0; index < calculations.size(); ++index) {
        view_.SetValue(0, index, Result(cells_.FirstCell(), calculations[index]));
    }
}

// ----------------------------------------------------------------------------------------- lookups

// The value numbers of the axis's labels in the index of cells.
GridSender::Numbers GridSender::NumbersOf(unsigned int axe) const {
    Numbers numbers;
    const int column = cells_.ColumnOfAxe(axe);
    for (unsigned int label = 0; column >= 0 && label < axes_[axe]->Size(); ++label) {
        numbers.push_back(
            cells_.Index().Values(static_cast<std::size_t>(column)).Find(axes_[axe]->Label(label)));
    }
    return numbers;
}

// The numbers of a cell with only the values that the root holds.
GridSender::Numbers GridSender::Root() const {
    Numbers cell;
    for (std::size_t column = 0; column < cells_.Index().ColumnCount(); ++column) {
        cell.push_back(cells_.Index().IsInRoot(column) ? 0 : TagIndex::kAbsent);
    }
    return cell;
}

void GridSender::Put(Numbers& cell, unsigned int axe, std::uint32_t number) const {
    cell[static_cast<std::size_t>(cells_.ColumnOfAxe(axe))] = number;
}

std::vector<int> GridSender::CalculationsOf(const ETabulonGridAxe& axe) const {
    std::vector<int> calculations;
    for (unsigned int label = 0; label < axe.Size(); ++label) {
        calculations.push_back(CalculationOf(axe.Label(label).Data().AsChaine()));
    }
    return calculations;
}

int GridSender::CalculationOf(const Chaine& code) const {
    const bool byFunction = desc_.AxesMode() == ETabulonGridCumuls::IntrinsicFuncs;
    const ETabulonVariableID id(code);
    const auto calculations = cells_.Calculations();
    const auto found =
        std::find_if(calculations.begin(), calculations.end(),
                     [&](const ERef<ETabulonCumulFuncOnVar>& calculation) {
                         return byFunction ? calculation->Function()->Code().EqualsFolded(code)
                                           : calculation->Variable()->DataID() == id;
                     });
    return found == calculations.end() ? kNoCalculation
                                       : static_cast<int>(found - calculations.begin());
}

const ETabulonValue& GridSender::Result(std::uint32_t row, int calculation) {
    cells_.ReadResult(row, static_cast<unsigned int>(calculation), result_);
    return result_;
}

}  // namespace etabulon::detail
