#include "etabulon/report/EReportCross.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <algorithm>

namespace etabulon {
namespace {

EVariant TextLabel(std::string_view text) { return EVariant(Chaine(text)); }

bool IsMoment(const EVariant& value) {
    return !value.IsMissing() && TypeInfo(value.Type()).valueClass == EValueClass::Date;
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (&text == &texts.front() ? "" : ", ") + text;
    }
    return joined;
}

/// What stands behind the values of a label that isn't whole.
std::string_view PartName(ECrossEntry::Part part) {
    return part == ECrossEntry::Others ? EReportCross::kOthers : EReportCross::kTotal;
}

/// Writes cross tables as records, in any format that consists of lines.
class CrossRows {
public:
    CrossRows(EReportWriter& writer, std::span<const EReportCross> crosses, bool isNumber)
        : writer_(writer), crosses_(crosses), first_(crosses.front()), isNumber_(isNumber) {}
    void Write() {
        writer_.SetTitle(Title());
        std::vector<EReportColumn> columns = Columns();
        GiveNames(columns);
        writer_.Begin(columns);
        for (const EReportCross& cross : crosses_) {
            if (!cross.IsEmpty()) {
                PutLines(cross);
                PutTotals(cross);
            }
        }
        writer_.Finish(/*isWhole=*/true);
    }

private:
    [[nodiscard]] bool HasSeveral() const noexcept { return crosses_.size() > 1; }
    [[nodiscard]] bool HasLabels() const noexcept { return first_.lines.IsThere(); }
    [[nodiscard]] bool HasLineTotals() const noexcept {
        return !first_.lineTotals.empty() || first_.total;
    }
    /// The head of the last column of labels, which names the levels of the columns too.
    [[nodiscard]] std::string Corner() const {
        const std::string& lines = first_.lines.titles.back();
        return first_.columns.isData ? lines + " \\ " + Joined(first_.columns.titles) : lines;
    }
    /// The heads of the columns of labels.
    [[nodiscard]] std::vector<std::string> Heads() const {
        std::vector<std::string> heads = first_.lines.titles;
        heads.back() = Corner();
        return heads;
    }
    [[nodiscard]] std::string Title() const {
        if (HasSeveral() || first_.calculation.empty()) {
            return HasLabels() ? Joined(Heads()) : "calculation";
        }
        return first_.calculation + ": " + Joined(Heads());
    }
    [[nodiscard]] std::vector<EReportColumn> Columns() const {
        std::vector<EReportColumn> columns;
        if (HasSeveral()) {
            columns.push_back({"calculation", false, true});
        }
        if (HasLabels()) {
            for (std::string& head : Heads()) {
                columns.push_back({std::move(head), false, true});
            }
        }
        for (const EReportCrossLabel& label : first_.columns.labels) {
            columns.push_back({LabelText(label), isNumber_, false, true});
        }
        if (HasLineTotals()) {
            columns.push_back({EReportCross::kTotal, isNumber_, false, true});
        }
        return columns;
    }
    void PutLines(const EReportCross& cross) {
        for (std::size_t line = 0; line < cross.lines.labels.size(); ++line) {
            if (cross.lines.labels[line].part == ECrossEntry::Subtotal) {
                writer_.BeginTotal();
            }
            PutHead(cross, cross.lines.labels[line]);
            for (std::size_t column = 0; column < cross.columns.labels.size(); ++column) {
                writer_.Cell(maker_.Of(cross.Value(line, column)));
            }
            if (HasLineTotals()) {
                writer_.Cell(maker_.Of(cross.lineTotals[line]));
            }
            writer_.EndRecord();
        }
    }
    void PutTotals(const EReportCross& cross) {
        if (cross.columnTotals.empty()) {
            return;
        }
        writer_.BeginTotal();
        PutHead(cross, {{}, ECrossEntry::Subtotal});
        for (const ETabulonValue& total : cross.columnTotals) {
            writer_.Cell(maker_.Of(total));
        }
        if (HasLineTotals()) {
            writer_.Cell(cross.total ? maker_.Of(*cross.total)
                                     : EReportCell{EReportKind::Absent, {}});
        }
        writer_.EndRecord();
    }
    void PutHead(const EReportCross& cross, const EReportCrossLabel& label) {
        if (HasSeveral()) {
            writer_.Cell(EReportCellMaker::Of(std::string_view(cross.calculation)));
        }
        for (std::size_t place = 0; place < cross.lines.titles.size(); ++place) {
            if (place < label.values.size()) {
                writer_.Cell(maker_.Of(label.values[place]));
            } else if (place == label.values.size()) {
                writer_.Cell(EReportCellMaker::Of(PartName(label.part)));
            } else {
                writer_.Cell({EReportKind::Absent, {}});
            }
        }
    }

    EReportWriter& writer_;
    std::span<const EReportCross> crosses_;
    const EReportCross& first_;
    bool isNumber_;
    EReportCellMaker maker_;
};

}  // namespace

ETabulonValue EReportNames::Calculation::OfNoRecords() const {
    const bool counts = function == "COUNT" || function == "COUNTVAL" || function == "DISTINCT";
    return counts ? ETabulonValue(EVariant::FromInt64(0), Chaine(), /*modified=*/false)
                  : ETabulonValue::Null;
}

EReportNames EReportNames::Of(const ETabulonLevels& levels,
                              const ETabulonCumulFuncOnVarCollection& calculations) {
    EReportNames names;
    for (unsigned int id = 0; id < levels.Size(); ++id) {
        const ETabulonLevels::Level& level = levels.GetLevel(id);
        names.levels.push_back(
            {std::string(level.Header().View()), !(level.DataID() == level.DescID()), false});
    }
    for (unsigned int index = 0; index < calculations.Size(); ++index) {
        const auto calculation =
            ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index));
        const ETabulonVariableDesc& variable = *calculation->Variable();
        const std::string function(calculation->Function()->Code().View());
        const std::string header(variable.Header().View());
        std::string name = function;
        name.append("(").append(header).append(")");
        names.calculations.push_back(
            {function, std::string(variable.DataID().Code().View()), std::move(name), header});
    }
    return names;
}

EVariant ShownLabel(const EReportNames::Level& level, const ETabulonValue* value) {
    if (value == nullptr || value->IsNull()) {
        return EVariant();
    }
    return level.hasLabel ? EVariant(value->DisplayValue()) : value->Data();
}

std::string LabelText(const EVariant& label) {
    EReportCellMaker maker;
    const EReportCell cell = maker.Of(label);
    if (cell.kind == EReportKind::Null) {
        return "NULL";
    }
    if (cell.kind == EReportKind::Bytes) {
        std::string digits;
        AppendHex(digits, cell.text);
        return digits.empty() ? "\"\"" : digits;
    }
    const bool isQuoted = IsMistakable(cell.text) || cell.text == EReportCross::kTotal ||
                          cell.text == EReportCross::kOthers;
    return isQuoted ? '"' + std::string(cell.text) + '"' : std::string(cell.text);
}

std::string LabelText(const EReportCrossLabel& label) {
    std::vector<std::string> texts;
    for (const EVariant& value : label.values) {
        texts.push_back(LabelText(value));
    }
    if (label.part != ECrossEntry::Detail) {
        texts.emplace_back(PartName(label.part));
    }
    return Joined(texts);
}

void EReportGridView::TakeDataAxe(const ETabulonGridAxe& axe, EReportCrossAxis& taken) const {
    const EReportNames::Level& level = names_.levels[axe.Data().AsUInt64()];
    taken.titles = {level.name};
    taken.isTime = level.isTime;
    taken.isData = true;
    for (unsigned int index = 0; index < axe.Size(); ++index) {
        const ETabulonGridAxe::AxeLabel& label = axe.Label(index);
        taken.isTime = taken.isTime || IsMoment(label.Data());
        taken.Add(ShownLabel(level, &label));
        if (level.hasLabel) {
            taken.labels.back().data = label.Data();
        }
    }
}

/// If only one axis names the calculations, its labels are whole ones: SUM(cost).
void EReportGridView::TakeCalculationAxe(const ETabulonGridAxe& axe,
                                         EReportCrossAxis& taken) const {
    const bool isOfFunctions = axe.Type() == ETabulonGridAxe::AxeFuncs;
    // A data axis comes first, if there is one.
    const bool isOneOfTwo = axesCount_ > 1 && !cross_.lines.isData;
    taken.titles = {!isOneOfTwo ? "calculation" : isOfFunctions ? "function" : "variable"};
    for (unsigned int index = 0; index < axe.Size(); ++index) {
        const Chaine code = axe.Label(index).Data().AsChaine();
        std::string shown(code.View());
        for (const EReportNames::Calculation& each : names_.calculations) {
            if ((isOfFunctions ? each.function : each.variable) == code.View()) {
                shown = !isOneOfTwo ? each.name : isOfFunctions ? each.function : each.variableName;
                break;
            }
        }
        taken.Add(TextLabel(shown));
    }
}

void EReportGridView::SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) {
    if (direction > AxeColumns) {
        return;
    }
    EReportCrossAxis& taken = direction == AxeLines ? cross_.lines : cross_.columns;
    axe->Type() == ETabulonGridAxe::AxeData ? TakeDataAxe(*axe, taken)
                                            : TakeCalculationAxe(*axe, taken);
}

/// Fills in the labels for axes that the grid lacks. To be called when all its axes are known.
void EReportGridView::Complete() {
    if (isComplete_) {
        return;
    }
    isComplete_ = true;
    const std::string& shown = names_.calculations[shown_].name;
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

void EReportGridView::SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) {
    Complete();
    const std::size_t columns = cross_.columns.labels.size();
    cross_.values.resize(cross_.lines.labels.size() * columns);
    cross_.values[line * columns + column] = value;
}

void EReportGridView::SetTotal(AxeDirection direction, unsigned int index,
                               const ETabulonValue& value) {
    Complete();
    const bool isOfColumn = direction == AxeLines;
    auto& totals = isOfColumn ? cross_.columnTotals : cross_.lineTotals;
    totals.resize(isOfColumn ? cross_.columns.labels.size() : cross_.lines.labels.size());
    totals[index] = value;
}

/// The cells of a grid without levels, which has them though there is no record.
void EReportGridView::FillOfNoRecords() {
    const std::size_t columns = cross_.columns.labels.size();
    cross_.values.resize(cross_.lines.labels.size() * columns);
    const auto isOf = [](const EReportCrossAxis& axis, std::size_t index,
                         const EReportNames::Calculation& of) {
        const Chaine name = axis.labels[index].values.front().AsChaine();
        return !axis.IsThere() || name.View() == of.name || name.View() == of.function ||
               name.View() == of.variableName;
    };
    for (const EReportNames::Calculation& calculation : names_.calculations) {
        for (std::size_t cell = 0; cell < cross_.values.size(); ++cell) {
            if (isOf(cross_.lines, cell / columns, calculation) &&
                isOf(cross_.columns, cell % columns, calculation)) {
                cross_.values[cell] = calculation.OfNoRecords();
            }
        }
    }
}

void EReportGridView::EndRefresh() {
    Complete();
    if (cross_.IsEmpty() && !cross_.lines.isData && !cross_.columns.isData) {
        FillOfNoRecords();
    }
    isComplete_ = false;
}

void EReportCross::KeepLines(std::size_t most) {
    if (most < lines.labels.size()) {
        lines.labels.resize(most);
        values.resize(std::min(values.size(), most * columns.labels.size()));
        lineTotals.resize(std::min(lineTotals.size(), most));
    }
}

void WriteCrosses(EReportWriter& writer, std::span<const EReportCross> crosses, bool isNumber) {
    CrossRows(writer, crosses, isNumber).Write();
}

}  // namespace etabulon
