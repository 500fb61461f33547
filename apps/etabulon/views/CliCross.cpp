#include "apps/etabulon/views/CliCross.h"

#include "apps/etabulon/request/CliDerivation.h"
#include "apps/etabulon/request/CliDictionary.h"

namespace etabulon {
namespace {

EVariant TextLabel(std::string_view text) { return EVariant(Chaine(text)); }

/// The level is a date, or a part of one.
bool IsOfTime(const CliTable& table, const CliLevel& level) {
    if (level.HasLabel()) {
        return false;
    }
    const CliDerived* const derived = table.Dictionary().FindDerived(level.data.code);
    return derived != nullptr
               ? derived->derivation.how.Which() <= EDerivation::Kind::Hour
               : TypeInfo(level.data.variable->TypeCode()).valueClass == EValueClass::Date;
}

}  // namespace

EReportNames NamesOf(const CliLevels& levels, const CliCalculations& calculations) {
    EReportNames names;
    for (const CliLevel& level : levels.all) {
        names.levels.push_back({level.shown, level.HasLabel(), IsOfTime(levels.Table(), level)});
    }
    for (const CliCalculation& each : calculations.all) {
        names.calculations.push_back({each.function, std::string(each.variable.code.View()),
                                      each.shown, each.variable.shown, each.isNumber});
    }
    return names;
}

EVariant ShownLabel(const CliLevel& level, const ETabulonValue* value) {
    return ShownLabel({level.shown, level.HasLabel()}, value);
}

namespace {

void TakeAxis(const ECrossTable& table, ECrossSide side, const CliLevels& levels,
              std::span<const unsigned int> ids, CliCrossAxis& taken) {
    taken.isTime = !ids.empty();
    for (const unsigned int id : ids) {
        taken.titles.push_back(levels.all[id].shown);
        taken.isTime = taken.isTime && IsOfTime(levels.Table(), levels.all[id]);
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

/// What a head says of percents, as those of trees and rankings do.
std::string_view PercentName(const std::optional<ECrossBase>& base) {
    if (!base) {
        return {};
    }
    return *base == ECrossBase::Line     ? " % of line"
           : *base == ECrossBase::Column ? " % of column"
                                         : " % of total";
}

}  // namespace

CliCross TakeCross(const ECrossTable& table, const CliLevels& levels,
                   std::span<const unsigned int> lines, std::span<const unsigned int> columns,
                   const CliCalculations& calculations, unsigned int calculation,
                   const CliCrossShown& shown) {
    constexpr std::uint32_t kAll = ECrossTable::kTotal;
    CliCross cross;
    TakeAxis(table, ECrossSide::Lines, levels, lines, cross.lines);
    std::string name = calculations.all[calculation].shown;
    name += PercentName(shown.percent);
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
