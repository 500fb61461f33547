#include "apps/etabulon/views/CliRanking.h"

#include "apps/etabulon/output/CliJsonWriter.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/views/CliCrossPrinter.h"

namespace etabulon {
namespace {

std::vector<ETabulonValue> Copied(const PTableau<ETabulonValue>& values) {
    std::vector<ETabulonValue> copied;
    for (unsigned int index = 0; index < values.Size(); ++index) {
        copied.push_back(values.At(index));
    }
    return copied;
}

std::string TitleOf(const std::vector<CliColumn>& columns) {
    std::string labels;
    std::string values;
    for (const CliColumn& column : columns) {
        std::string& list = column.isLabel ? labels : values;
        list += (list.empty() ? "" : ", ") + column.name;
    }
    return values + ": " + labels;
}

void PutLines(CliWriter& writer, const CliRanking& ranking) {
    CliCellMaker maker;
    for (const CliRanking::Line& line : ranking.lines) {
        for (const EVariant& label : line.labels) {
            writer.Cell(maker.Of(label));
        }
        for (const ETabulonValue& value : line.values) {
            writer.Cell(maker.Of(value));
        }
        writer.EndRecord();
    }
    writer.BeginTotal();
    for (std::size_t place = 0; ranking.columns[place].isLabel; ++place) {
        writer.Cell(place == 0 ? CliCellMaker::Of(std::string_view(kTotal))
                               : CliCell{CliCellKind::Absent, {}});
    }
    for (const ETabulonValue& total : ranking.totals) {
        writer.Cell(maker.Of(total));
    }
    writer.EndRecord();
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
        output_.Append("\"total\":");
        Put(valueNames_, ranking_.totals);
        output_.EndLine("}");
    }
    void PutEach() {
        for (const CliRanking::Line& line : ranking_.lines) {
            PutLine(line);
            output_.EndLine();
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

void CliScoreView::SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) {
    if (ranking_.lines.size() == mostLines_) {
        return;
    }
    CliRanking::Line& line = ranking_.lines.emplace_back();
    for (std::size_t place = 0; place < depth_; ++place) {
        const unsigned int id = levels_.details[place];
        const ETabulonValue* const value = label.Find(id);
        if (value == nullptr || value->IsNull()) {
            line.labels.emplace_back();
        } else if (levels_.levels.all[id].HasLabel()) {
            line.labels.emplace_back(value->DisplayValue());
        } else {
            line.labels.push_back(value->Data());
        }
    }
    line.values = Copied(values);
}

void CliScoreView::SetScoreTotal(const PTableau<ETabulonValue>& values) {
    ranking_.totals = Copied(values);
}

void CliRanking::SetColumns(const CliResultLevels& levels, std::size_t depth,
                            const CliCalculations& calculations) {
    columns.clear();
    for (std::size_t place = 0; place < depth; ++place) {
        columns.push_back({levels.levels.all[levels.details[place]].shown, false, true});
    }
    for (const CliCalculation& calculation : calculations.all) {
        columns.push_back({calculation.shown, calculation.isNumber});
    }
    GiveNames(columns);
}

void PrintRanking(const CliPrinting& printing, const CliRanking& ranking) {
    if (printing.format == CliFormat::Json) {
        RankingJson(ranking, printing.output).PutObject();
    } else if (printing.format == CliFormat::NdJson) {
        RankingJson(ranking, printing.output).PutEach();
    } else {
        const std::unique_ptr<CliWriter> writer = MakeResultWriter(printing);
        writer->SetTitle(TitleOf(ranking.columns));
        writer->Begin(ranking.columns);
        PutLines(*writer, ranking);
        writer->Finish(/*isWhole=*/true);
    }
}

}  // namespace etabulon
