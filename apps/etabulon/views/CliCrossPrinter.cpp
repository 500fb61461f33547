#include "apps/etabulon/views/CliCrossPrinter.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliTableWriter.h"
#include "apps/etabulon/views/CliDrawing.h"
#include "etabulon/report/EReportJson.h"

#include <fmt/format.h>

#include <utility>

namespace etabulon {
namespace {

/// What stands behind the values of a label that isn't whole.
std::string_view PartName(ECrossEntry::Part part) {
    return part == ECrossEntry::Others ? kOthers : kTotal;
}

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
    if (printing.format == CliFormat::Svg) {
        std::vector<EReportChart> charts;
        for (const CliCross& cross : crosses) {
            charts.push_back(MakeChart(cross));
        }
        DrawCharts(printing, charts);
        return;
    }
    std::vector<const ETabulonValue*> values;
    const CliCross& first = crosses.front();
    const std::size_t columns = first.columns.labels.size();
    for (std::size_t at = 0; at < first.values.size() && !first.columns.isData; at += columns) {
        values.push_back(&first.values[at]);
    }
    WriteCrosses(*WithBars(printing, MakeResultWriter(printing), first.lines.titles.size(), values),
                 crosses, isNumber);
}

}  // namespace etabulon
