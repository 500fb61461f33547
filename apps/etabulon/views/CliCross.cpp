#include "apps/etabulon/views/CliCross.h"

#include "apps/etabulon/output/CliCell.h"
#include "etabulon/grid/ETabulonGridAxe.h"

namespace etabulon {
namespace {

EVariant TextLabel(std::string_view text) { return EVariant(Chaine(text)); }

}  // namespace

EVariant ShownLabel(const CliLevel& level, const ETabulonValue* value) {
    if (value == nullptr || value->IsNull()) {
        return EVariant();
    }
    return level.HasLabel() ? EVariant(value->DisplayValue()) : value->Data();
}

void CliGridView::TakeDataAxe(const ETabulonGridAxe& axe, CliCrossAxis& taken) const {
    const CliLevel& level = levels_.all[axe.Data().AsUInt64()];
    taken.titles = {level.shown};
    taken.isData = true;
    for (unsigned int index = 0; index < axe.Size(); ++index) {
        const ETabulonGridAxe::AxeLabel& label = axe.Label(index);
        taken.Add(ShownLabel(level, &label));
    }
}

/// If only one axis names the calculations, its labels are whole ones: SUM(cost).
void CliGridView::TakeCalculationAxe(const ETabulonGridAxe& axe, CliCrossAxis& taken) const {
    const bool isOfFunctions = axe.Type() == ETabulonGridAxe::AxeFuncs;
    // A data axis comes first, if there is one.
    const bool isOneOfTwo = axesCount_ > 1 && !cross_.lines.isData;
    taken.titles = {!isOneOfTwo ? "calculation" : isOfFunctions ? "function" : "variable"};
    for (unsigned int index = 0; index < axe.Size(); ++index) {
        const Chaine code = axe.Label(index).Data().AsChaine();
        std::string shown(code.View());
        for (const CliCalculation& each : calculations_.all) {
            if (isOfFunctions ? each.function == code.View() : each.variable.code == code) {
                shown = !isOneOfTwo     ? each.shown
                        : isOfFunctions ? each.function
                                        : each.variable.shown;
                break;
            }
        }
        taken.Add(TextLabel(shown));
    }
}

void CliGridView::SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) {
    if (direction > AxeColumns) {
        return;
    }
    CliCrossAxis& taken = direction == AxeLines ? cross_.lines : cross_.columns;
    axe->Type() == ETabulonGridAxe::AxeData ? TakeDataAxe(*axe, taken)
                                            : TakeCalculationAxe(*axe, taken);
}

/// Fills in the labels for axes that the grid lacks. To be called when all its axes are known.
void CliGridView::Complete() {
    if (isComplete_) {
        return;
    }
    isComplete_ = true;
    const std::string& shown = calculations_.all[shown_].shown;
    if (cross_.lines.isData && cross_.columns.isData) {
        cross_.calculation = shown;
    }
    if (!cross_.lines.IsThere()) {
        cross_.lines.Add({});
    }
    if (!cross_.columns.IsThere()) {
        const bool isValueOfLine = cross_.lines.IsThere() && !cross_.lines.isData;
        if (!isValueOfLine) {
            cross_.columns.titles = {"calculation"};
        }
        cross_.columns.Add(TextLabel(isValueOfLine ? "value" : shown));
    }
}

void CliGridView::SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) {
    Complete();
    const std::size_t columns = cross_.columns.labels.size();
    cross_.values.resize(cross_.lines.labels.size() * columns);
    cross_.values[line * columns + column] = value;
}

void CliGridView::SetTotal(AxeDirection direction, unsigned int index, const ETabulonValue& value) {
    Complete();
    const bool isOfColumn = direction == AxeLines;
    auto& totals = isOfColumn ? cross_.columnTotals : cross_.lineTotals;
    totals.resize(isOfColumn ? cross_.columns.labels.size() : cross_.lines.labels.size());
    totals[index] = value;
}

void CliGridView::EndRefresh() {
    Complete();
    isComplete_ = false;
}

namespace {

void TakeAxis(const ECrossTable& table, ECrossSide side, const CliLevels& levels,
              std::span<const unsigned int> ids, CliCrossAxis& taken) {
    for (const unsigned int id : ids) {
        taken.titles.push_back(levels.all[id].shown);
    }
    taken.isData = true;
    ETabulonTag label;
    for (std::uint32_t index = 0; index < table.Count(side); ++index) {
        const ECrossEntry entry = table.Entry(side, index);
        table.ReadLabel(side, index, label);
        CliCrossLabel& added = taken.labels.emplace_back();
        added.part = entry.part;
        for (const unsigned int id : ids.first(entry.depth)) {
            added.values.push_back(ShownLabel(levels.all[id], label.Find(id)));
        }
    }
}

}  // namespace

CliCross TakeCross(const ECrossTable& table, const CliLevels& levels,
                   std::span<const unsigned int> lines, std::span<const unsigned int> columns,
                   const CliCalculations& calculations, unsigned int calculation,
                   const CliCrossShown& shown) {
    constexpr std::uint32_t kAll = ECrossTable::kTotal;
    CliCross cross;
    TakeAxis(table, ECrossSide::Lines, levels, lines, cross.lines);
    const std::string& name = calculations.all[calculation].shown;
    if (columns.empty()) {
        cross.columns.titles = {"calculation"};
        cross.columns.Add(TextLabel(name));
    } else {
        cross.calculation = name;
        TakeAxis(table, ECrossSide::Columns, levels, columns, cross.columns);
    }
    if (table.IsEmpty()) {
        return cross;
    }
    const auto read = [&](std::uint32_t line, std::uint32_t column) {
        if (shown.percent) {
            return ReportPercent(table.Share(line, column, calculation, *shown.percent));
        }
        ETabulonValue value;
        table.ReadValue(line, column, calculation, value);
        return value;
    };
    const std::uint32_t lineCount = table.Count(ECrossSide::Lines);
    const std::uint32_t columnCount = table.Count(ECrossSide::Columns);
    for (std::uint32_t line = 0; line < lineCount; ++line) {
        for (std::uint32_t column = 0; column < columnCount; ++column) {
            cross.values.push_back(read(line, column));
        }
        if (columns.empty()) {
            cross.values.push_back(read(line, kAll));
        } else if (shown.hasLineTotals) {
            cross.lineTotals.push_back(read(line, kAll));
        }
    }
    if (shown.hasColumnTotals) {
        for (std::uint32_t column = 0; column < columnCount; ++column) {
            cross.columnTotals.push_back(read(kAll, column));
        }
        if (columns.empty()) {
            cross.columnTotals.push_back(read(kAll, kAll));
        } else if (shown.hasLineTotals) {
            cross.total = read(kAll, kAll);
        }
    }
    return cross;
}

CliCross SideBySide(std::vector<CliCross> parts) {
    CliCross whole = std::move(parts.front());
    const std::size_t lines = whole.lines.labels.size();
    if (parts.size() == 1) {
        return whole;
    }
    std::vector<ETabulonValue> values;
    for (std::size_t part = 1; part < parts.size(); ++part) {
        const CliCross& added = parts[part];
        whole.columns.labels.push_back(added.columns.labels.front());
        whole.columnTotals.insert(whole.columnTotals.end(), added.columnTotals.begin(),
                                  added.columnTotals.end());
    }
    if (whole.IsEmpty()) {
        return whole;
    }
    for (std::size_t line = 0; line < lines; ++line) {
        values.push_back(whole.values[line]);
        for (std::size_t part = 1; part < parts.size(); ++part) {
            values.push_back(parts[part].values[line]);
        }
    }
    whole.values = std::move(values);
    return whole;
}

}  // namespace etabulon
