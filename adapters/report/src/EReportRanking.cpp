#include "etabulon/report/EReportRanking.h"

#include "etabulon/values/ETabulonTag.h"

#include <string_view>
#include <utility>

namespace etabulon {
namespace {

std::vector<ETabulonValue> Copied(const PTableau<ETabulonValue>& values) {
    std::vector<ETabulonValue> copied;
    for (unsigned int index = 0; index < values.Size(); ++index) {
        copied.push_back(values.At(index));
    }
    return copied;
}

}  // namespace

std::string EReportRanking::Title() const {
    std::string labels;
    std::string values;
    for (const EReportColumn& column : columns) {
        std::string& list = column.isLabel ? labels : values;
        list += (list.empty() ? "" : ", ") + column.name;
    }
    return values + ": " + labels;
}

EReportScoreView::EReportScoreView(const EReportNames& names, std::vector<unsigned int> levels,
                                   EReportRanking& ranking, std::uint64_t mostLines)
    : names_(names), levels_(std::move(levels)), mostLines_(mostLines), ranking_(ranking) {
    if (!ranking_.columns.empty()) {
        return;
    }
    for (const unsigned int level : levels_) {
        ranking_.columns.push_back({names_.levels[level].name, false, true});
    }
    for (const EReportNames::Calculation& calculation : names_.calculations) {
        ranking_.columns.push_back({calculation.name, calculation.isNumber, false, true});
    }
    GiveNames(ranking_.columns);
}

void EReportScoreView::Reset() {
    ranking_.lines.clear();
    ranking_.totals.clear();
    ranking_.count = 0;
}

void EReportScoreView::SetScoreLine(const ETabulonTag& label,
                                    const PTableau<ETabulonValue>& values) {
    ++ranking_.count;
    if (ranking_.lines.size() == mostLines_) {
        return;
    }
    EReportRanking::Line& line = ranking_.lines.emplace_back();
    for (const unsigned int level : levels_) {
        line.labels.push_back(ShownLabel(names_.levels[level], label.Find(level)));
    }
    line.values = Copied(values);
}

void EReportScoreView::SetScoreTotal(const PTableau<ETabulonValue>& values) {
    ranking_.totals = Copied(values);
}

void WriteRanking(EReportWriter& writer, const EReportRanking& ranking) {
    EReportCellMaker maker;
    writer.SetTitle(ranking.Title());
    writer.Begin(ranking.columns);
    for (const EReportRanking::Line& line : ranking.lines) {
        for (const EVariant& label : line.labels) {
            writer.Cell(maker.Of(label));
        }
        for (const ETabulonValue& value : line.values) {
            writer.Cell(maker.Of(value));
        }
        writer.EndRecord();
    }
    const auto putNamed = [&](std::string_view name, const std::vector<ETabulonValue>& values) {
        for (std::size_t place = 0; ranking.columns[place].isLabel; ++place) {
            writer.Cell(place == 0 ? EReportCellMaker::Of(name)
                                   : EReportCell{EReportKind::Absent, {}});
        }
        for (const ETabulonValue& value : values) {
            writer.Cell(maker.Of(value));
        }
        writer.EndRecord();
    };
    if (ranking.others) {
        putNamed(EReportCross::kOthers, *ranking.others);
    }
    writer.BeginTotal();
    putNamed(EReportCross::kTotal, ranking.totals);
    writer.Finish(/*isWhole=*/true);
}

}  // namespace etabulon
