#include "apps/etabulon/views/CliRanking.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/views/CliCross.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "apps/etabulon/views/CliDrawing.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/report/EReportJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace etabulon {
namespace {

std::vector<EVariant> LabelsOf(const ETabulonTag& label, const CliResultLevels& levels,
                               std::size_t depth) {
    std::vector<EVariant> labels;
    for (std::size_t place = 0; place < depth; ++place) {
        const unsigned int id = levels.details[place];
        labels.push_back(ShownLabel(levels.levels.all[id], label.Find(id)));
    }
    return labels;
}

/// With bars, these are of the first calculation that gives numbers.
std::unique_ptr<EReportWriter> MakeWriterFor(const CliPrinting& printing,
                                             const CliRanking& ranking) {
    const auto labels = std::find_if(ranking.columns.begin(), ranking.columns.end(),
                                     [](const CliColumn& column) { return !column.isLabel; });
    const auto numbers = std::find_if(labels, ranking.columns.end(),
                                      [](const CliColumn& column) { return column.isNumber; });
    std::vector<const ETabulonValue*> values;
    if (numbers != ranking.columns.end()) {
        const auto place = static_cast<std::size_t>(numbers - labels);
        for (const CliRanking::Line& line : ranking.lines) {
            values.push_back(&line.values[place]);
        }
        if (ranking.others) {
            values.push_back(&(*ranking.others)[place]);
        }
    }
    return WithBars(printing, MakeResultWriter(printing),
                    static_cast<std::size_t>(numbers - ranking.columns.begin()), values);
}

class RankingJson {
public:
    RankingJson(const CliRanking& ranking, CliOutput& output) : ranking_(ranking), output_(output) {
        for (const CliColumn& column : ranking.columns) {
            auto& names = column.isLabel ? labelNames_ : valueNames_;
            names.push_back(JsonName(column.name) + ":");
        }
    }
    void PutObject() {
        output_.Append("{\"lines\":[");
        for (const CliRanking::Line& line : ranking_.lines) {
            output_.EndLine(&line == &ranking_.lines.front() ? "" : ",");
            PutLine(line);
        }
        output_.EndLine("],");
        if (ranking_.others) {
            output_.Append("\"others\":");
            Put(valueNames_, *ranking_.others);
            output_.EndLine(",");
        }
        output_.Append("\"total\":");
        Put(valueNames_, ranking_.totals);
        output_.EndLine("}");
    }
    void PutEach() {
        for (const CliRanking::Line& line : ranking_.lines) {
            PutLine(line);
            output_.EndLine();
        }
        if (ranking_.others) {
            output_.Append("{\"others\":");
            Put(valueNames_, *ranking_.others);
            output_.EndLine("}");
        }
        output_.Append("{\"total\":");
        Put(valueNames_, ranking_.totals);
        output_.EndLine("}");
    }

private:
    void PutLine(const CliRanking::Line& line) {
        output_.Append("{\"label\":");
        Put(labelNames_, line.labels);
        output_.Append(",\"values\":");
        Put(valueNames_, line.values);
        output_.Append('}');
    }
    template <class Values>
    void Put(const std::vector<std::string>& names, const Values& values) {
        output_.Append('{');
        for (std::size_t place = 0; place < names.size(); ++place) {
            output_.Append(place == 0 ? "" : ",");
            output_.Append(names[place]);
            AppendJson(output_, maker_.Of(values[place]));
        }
        output_.Append('}');
    }

    const CliRanking& ranking_;
    CliOutput& output_;
    std::vector<std::string> labelNames_;
    std::vector<std::string> valueNames_;
    CliCellMaker maker_;
};

}  // namespace

void CliRanking::SetColumns(const CliResultLevels& levels, std::size_t depth,
                            const CliCalculations& calculations,
                            const std::vector<unsigned int>& shares) {
    columns.clear();
    for (std::size_t place = 0; place < depth; ++place) {
        columns.push_back({levels.levels.all[levels.details[place]].shown, false, true});
    }
    for (const CliCalculation& calculation : calculations.all) {
        columns.push_back({calculation.shown, calculation.isNumber, false, true});
    }
    for (const unsigned int share : shares) {
        const std::string& shown = calculations.all[share].shown;
        columns.push_back({fmt::format("{} % of total", shown), true, false, true});
        columns.push_back({fmt::format("{} running % of total", shown), true, false, true});
    }
    GiveNames(columns);
}

void CliRanking::Take(const ECrossTable& table, const CliResultLevels& levels, std::size_t depth,
                      const std::vector<unsigned int>& shares) {
    const auto valuesOf = [&](std::uint32_t line) {
        std::vector<ETabulonValue> values(table.CalculationCount());
        for (unsigned int calculation = 0; calculation < values.size(); ++calculation) {
            table.ReadValue(line, ECrossTable::kTotal, calculation, values[calculation]);
        }
        for (const unsigned int share : shares) {
            values.push_back(
                ReportPercent(table.Share(line, ECrossTable::kTotal, share, ECrossBase::All)));
            values.push_back(line == ECrossTable::kTotal
                                 ? ETabulonValue::Null
                                 : ReportPercent(table.RunningShare(line, share)));
        }
        return values;
    };
    ETabulonTag label;
    for (std::uint32_t line = 0; line < table.Count(ECrossSide::Lines); ++line) {
        if (table.Entry(ECrossSide::Lines, line).part == ECrossEntry::Others) {
            others = valuesOf(line);
            continue;
        }
        table.ReadLabel(ECrossSide::Lines, line, label);
        lines.push_back({LabelsOf(label, levels, depth), valuesOf(line)});
    }
    totals = valuesOf(ECrossTable::kTotal);
}

void CliRanking::CompleteTotals(const CliCalculations& calculations) {
    for (std::size_t index = 0; index < calculations.all.size(); ++index) {
        if (totals[index].IsNull()) {
            totals[index] = calculations.all[index].OfNoRecords();
        }
    }
}

void PrintRanking(const CliPrinting& printing, const CliRanking& ranking) {
    if (printing.format == CliFormat::Json) {
        RankingJson(ranking, printing.output).PutObject();
    } else if (printing.format == CliFormat::Svg) {
        DrawCharts(printing, {MakeChart(ranking)});
    } else if (printing.format == CliFormat::NdJson) {
        RankingJson(ranking, printing.output).PutEach();
    } else {
        WriteRanking(*MakeWriterFor(printing, ranking), ranking);
    }
}

}  // namespace etabulon
