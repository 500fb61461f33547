#include "apps/etabulon/views/CliCrossPrinter.h"

#include "apps/etabulon/output/CliJsonWriter.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliTableWriter.h"

#include <fmt/format.h>

#include <utility>

namespace etabulon {
namespace {

/// What stands behind the values of a label that isn't whole.
std::string_view PartName(ECrossEntry::Part part) {
    return part == ECrossEntry::Others ? kOthers : kTotal;
}

std::string ColumnName(const CliCrossLabel& label) {
    std::vector<std::string> texts;
    for (const EVariant& value : label.values) {
        texts.push_back(LabelText(value));
    }
    if (label.part != ECrossEntry::Detail) {
        texts.emplace_back(PartName(label.part));
    }
    return fmt::format("{}", fmt::join(texts, ", "));
}

/// Prints cross tables as records, in any format that consists of lines.
class CrossRows {
public:
    CrossRows(EReportWriter& writer, const std::vector<CliCross>& crosses, bool isNumber)
        : writer_(writer), crosses_(crosses), first_(crosses.front()), isNumber_(isNumber) {}
    void Print() {
        writer_.SetTitle(Title());
        std::vector<CliColumn> columns = Columns();
        GiveNames(columns);
        writer_.Begin(columns);
        for (const CliCross& cross : crosses_) {
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
    [[nodiscard]] bool HasLineTotals() const noexcept { return !first_.lineTotals.empty(); }
    /// The head of the last column of labels, which names the levels of the columns too.
    [[nodiscard]] std::string Corner() const {
        const std::string& lines = first_.lines.titles.back();
        return first_.columns.isData
                   ? fmt::format("{} \\ {}", lines, fmt::join(first_.columns.titles, ", "))
                   : lines;
    }
    /// The heads of the columns of labels.
    [[nodiscard]] std::vector<std::string> Heads() const {
        std::vector<std::string> heads = first_.lines.titles;
        heads.back() = Corner();
        return heads;
    }
    [[nodiscard]] std::string Title() const {
        if (HasSeveral() || first_.calculation.empty()) {
            return HasLabels() ? fmt::format("{}", fmt::join(Heads(), ", ")) : "calculation";
        }
        return fmt::format("{}: {}", first_.calculation, fmt::join(Heads(), ", "));
    }
    [[nodiscard]] std::vector<CliColumn> Columns() const {
        std::vector<CliColumn> columns;
        if (HasSeveral()) {
            columns.push_back({"calculation", false, true});
        }
        if (HasLabels()) {
            for (std::string& head : Heads()) {
                columns.push_back({std::move(head), false, true});
            }
        }
        for (const CliCrossLabel& label : first_.columns.labels) {
            columns.push_back({ColumnName(label), isNumber_});
        }
        if (HasLineTotals()) {
            columns.push_back({kTotal, isNumber_});
        }
        return columns;
    }
    void PutLines(const CliCross& cross) {
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
    void PutTotals(const CliCross& cross) {
        if (cross.columnTotals.empty()) {
            return;
        }
        writer_.BeginTotal();
        PutHead(cross, {{}, ECrossEntry::Subtotal});
        for (const ETabulonValue& total : cross.columnTotals) {
            writer_.Cell(maker_.Of(total));
        }
        if (HasLineTotals()) {
            writer_.Cell(cross.total ? maker_.Of(*cross.total) : CliCell{CliCellKind::Absent, {}});
        }
        writer_.EndRecord();
    }
    void PutHead(const CliCross& cross, const CliCrossLabel& label) {
        if (HasSeveral()) {
            writer_.Cell(CliCellMaker::Of(std::string_view(cross.calculation)));
        }
        for (std::size_t place = 0; place < cross.lines.titles.size(); ++place) {
            if (place < label.values.size()) {
                writer_.Cell(maker_.Of(label.values[place]));
            } else if (place == label.values.size()) {
                writer_.Cell(CliCellMaker::Of(PartName(label.part)));
            } else {
                writer_.Cell({CliCellKind::Absent, {}});
            }
        }
    }

    EReportWriter& writer_;
    const std::vector<CliCross>& crosses_;
    const CliCross& first_;
    bool isNumber_;
    CliCellMaker maker_;
};

class CrossJson {
public:
    explicit CrossJson(CliOutput& output) : output_(output) {}
    void PutArray(const std::vector<CliCross>& crosses) {
        output_.Append('[');
        for (const CliCross& cross : crosses) {
            output_.EndLine(&cross == &crosses.front() ? "" : ",");
            PutTable(cross);
        }
        output_.EndLine("\n]");
    }
    void PutCells(const CliCross& cross) {
        if (cross.IsEmpty()) {
            return;
        }
        const std::size_t columns = cross.columns.labels.size();
        for (std::size_t line = 0; line < cross.lines.labels.size(); ++line) {
            for (std::size_t column = 0; column < columns; ++column) {
                PutCell(cross, &cross.lines.labels[line], &cross.columns.labels[column],
                        cross.Value(line, column));
            }
            if (!cross.lineTotals.empty()) {
                PutCell(cross, &cross.lines.labels[line], nullptr, cross.lineTotals[line]);
            }
        }
        for (std::size_t column = 0; column < cross.columnTotals.size(); ++column) {
            PutCell(cross, nullptr, &cross.columns.labels[column], cross.columnTotals[column]);
        }
        if (cross.total) {
            PutCell(cross, nullptr, nullptr, *cross.total);
        }
    }

private:
    void PutTable(const CliCross& cross) {
        output_.Append('{');
        if (!cross.calculation.empty()) {
            output_.Append("\"calculation\":" + JsonName(cross.calculation) + ",");
        }
        PutAxis("lines", cross.lines);
        PutAxis("columns", cross.columns);
        output_.Append("\"values\":[");
        const std::size_t columns = cross.columns.labels.size();
        for (std::size_t line = 0; !cross.IsEmpty() && line < cross.lines.labels.size(); ++line) {
            output_.EndLine(line == 0 ? "" : ",");
            output_.Append('[');
            PutValues({cross.values.data() + line * columns, columns});
            output_.Append(']');
        }
        output_.Append(']');
        PutTotals("lineTotals", cross.lineTotals);
        PutTotals("columnTotals", cross.columnTotals);
        if (cross.total) {
            output_.Append(",\"total\":");
            AppendJson(output_, maker_.Of(*cross.total));
        }
        output_.Append('}');
    }
    void PutAxis(const char* name, const CliCrossAxis& axis) {
        if (!axis.IsThere()) {
            return;
        }
        output_.Append(fmt::format("\"{}\":{{\"axis\":", name));
        if (axis.titles.size() == 1) {
            output_.Append(JsonName(axis.titles.front()));
        } else {
            for (const std::string& title : axis.titles) {
                output_.Append(&title == &axis.titles.front() ? "[" : ",");
                output_.Append(JsonName(title));
            }
            output_.Append(']');
        }
        output_.Append(",\"labels\":[");
        for (const CliCrossLabel& label : axis.labels) {
            output_.Append(&label == &axis.labels.front() ? "" : ",");
            PutLabel(axis, label);
        }
        output_.EndLine("]},");
    }
    /// The value of the one level, or an array with those of several. A subtotal and others are
    /// objects with the values above them.
    void PutLabel(const CliCrossAxis& axis, const CliCrossLabel& label) {
        if (label.part == ECrossEntry::Detail && axis.titles.size() < 2) {
            AppendJson(output_, maker_.Of(label.values.front()));
            return;
        }
        if (label.part != ECrossEntry::Detail) {
            output_.Append(fmt::format("{{\"{}\":", PartName(label.part)));
        }
        output_.Append('[');
        for (const EVariant& value : label.values) {
            output_.Append(&value == &label.values.front() ? "" : ",");
            AppendJson(output_, maker_.Of(value));
        }
        output_.Append(label.part == ECrossEntry::Detail ? "]" : "]}");
    }
    void PutValues(std::span<const ETabulonValue> values) {
        for (const ETabulonValue& value : values) {
            output_.Append(&value == &values.front() ? "" : ",");
            AppendJson(output_, maker_.Of(value));
        }
    }
    void PutTotals(const char* name, const std::vector<ETabulonValue>& totals) {
        if (!totals.empty()) {
            output_.EndLine(",");
            output_.Append(fmt::format("\"{}\":[", name));
            PutValues(totals);
            output_.Append(']');
        }
    }
    /// A total has no label in the direction that it sums over.
    void PutCell(const CliCross& cross, const CliCrossLabel* line, const CliCrossLabel* column,
                 const ETabulonValue& value) {
        output_.Append('{');
        if (!cross.calculation.empty()) {
            output_.Append("\"calculation\":" + JsonName(cross.calculation) + ",");
        }
        PutLabel("line", cross.lines, line);
        PutLabel("column", cross.columns, column);
        output_.Append(IsTotal(line) || IsTotal(column) ? "\"total\":" : "\"value\":");
        AppendJson(output_, maker_.Of(value));
        output_.EndLine("}");
    }
    [[nodiscard]] static bool IsTotal(const CliCrossLabel* label) noexcept {
        return label == nullptr || label->part == ECrossEntry::Subtotal;
    }
    void PutLabel(const char* name, const CliCrossAxis& axis, const CliCrossLabel* label) {
        if (label != nullptr && axis.IsThere()) {
            output_.Append(fmt::format("\"{}\":", name));
            PutLabel(axis, *label);
            output_.Append(',');
        }
    }

    CliOutput& output_;
    CliCellMaker maker_;
};

}  // namespace

std::string LabelText(const EVariant& label) {
    CliCellMaker maker;
    const CliCell cell = maker.Of(label);
    if (cell.kind == CliCellKind::Null) {
        return "NULL";
    }
    if (cell.kind == CliCellKind::Bytes) {
        std::string digits;
        AppendHex(digits, cell.text);
        return digits.empty() ? "\"\"" : digits;
    }
    const bool isQuoted = IsMistakable(cell.text) || cell.text == kTotal || cell.text == kOthers;
    return isQuoted ? fmt::format("\"{}\"", cell.text) : std::string(cell.text);
}

void PrintCrosses(const CliPrinting& printing, const std::vector<CliCross>& crosses,
                  bool isNumber) {
    if (printing.format == CliFormat::Json) {
        CrossJson(printing.output).PutArray(crosses);
        return;
    }
    if (printing.format == CliFormat::NdJson) {
        CrossJson json(printing.output);
        for (const CliCross& cross : crosses) {
            json.PutCells(cross);
        }
        return;
    }
    CrossRows(*MakeResultWriter(printing), crosses, isNumber).Print();
}

}  // namespace etabulon
