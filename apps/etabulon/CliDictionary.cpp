#include "apps/etabulon/CliDictionary.h"

#include "apps/etabulon/CliSuggest.h"
#include "apps/etabulon/CliUtf8.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlText.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

/// Of what has a name and perhaps a code, the one that is meant.
template <class Range, class NameOf, class CodeOf>
auto LookUp(Range& range, std::string_view name, NameOf nameOf, CodeOf codeOf)
    -> decltype(&*std::begin(range)) {
    for (auto& item : range) {
        if (std::string_view(nameOf(item)) == name) {
            return &item;
        }
    }
    for (auto& item : range) {
        if (EqualsIgnoringCase(std::string_view(nameOf(item)), name)) {
            return &item;
        }
    }
    for (auto& item : range) {
        if (std::string_view(codeOf(item)) == name) {
            return &item;
        }
    }
    return nullptr;
}

/// By its name, else the only link that starts at the column of that name.
const DLink* LookUpLink(const DRubric& rubric, const ESqlTableInfo& table, std::string_view name) {
    if (const DLink* const link = LookUp(
            rubric.Links(), name, [](const DLink& each) { return CliDictionary::NameOf(each); },
            [](const DLink& each) { return each.name.View(); })) {
        return link;
    }
    const ESqlColumn* const column = LookUpColumn(table, name);
    return column == nullptr ? nullptr : rubric.FindLink(column->code);
}

/// The link of `from` to `here` that `name` means: its own name or column, else the first that
/// points at the column of that name.
const DLink* LookUpLinkBack(const DRubric& here, const ESqlTableInfo& table, const DRubric& from,
                            const ESqlTableInfo& fromTable, std::string_view name) {
    const DLink* const own = LookUpLink(from, fromTable, name);
    if (own != nullptr && own->target == &here) {
        return own;
    }
    const ESqlColumn* const column = LookUpColumn(table, name);
    const DVariable* const variable = column == nullptr ? nullptr : here.Find(column->code);
    if (variable == nullptr) {
        return nullptr;
    }
    for (const DLink& link : from.Links()) {
        const std::vector<unsigned>& pointedAt = link.TargetVariables();
        if (link.target == &here &&
            std::find(pointedAt.begin(), pointedAt.end(), variable->Index()) != pointedAt.end()) {
            return &link;
        }
    }
    return nullptr;
}

std::vector<std::string> NamesOfTables(const ESqlSource& source) {
    std::vector<std::string> names;
    for (const ESqlTableInfo& table : source.Tables()) {
        names.emplace_back(table.name.View());
    }
    return names;
}

std::vector<std::string> NamesOfColumns(const ESqlTableInfo& table) {
    std::vector<std::string> names;
    for (const ESqlColumn& column : table.columns) {
        names.emplace_back(column.name.View());
    }
    return names;
}

template <class Wanted>
std::vector<std::string> NamesOfLinks(const DRubric& rubric, Wanted wanted) {
    std::vector<std::string> names;
    for (const DLink& link : rubric.Links()) {
        if (wanted(link)) {
            names.push_back(CliDictionary::NameOf(link));
        }
    }
    return names;
}

std::string Shown(const ESqlTableInfo& table) { return Quoted(table.name.View()); }

}  // namespace

const ESqlColumn* LookUpColumn(const ESqlTableInfo& table, std::string_view name) {
    return LookUp(
        table.columns, name, [](const ESqlColumn& column) { return column.name.View(); },
        [](const ESqlColumn& column) { return column.code.View(); });
}

std::string CliDictionary::NameOf(const DLink& link) {
    std::string name;
    return SqlNameOfCode(link.name, name) ? name : std::string(link.name.View());
}

const ESqlTableInfo* CliDictionary::LookUpTable(std::string_view name) const {
    const auto tables = source_.Tables();
    return LookUp(
        tables, name, [](const ESqlTableInfo& table) { return table.name.View(); },
        [](const ESqlTableInfo& table) { return table.code.View(); });
}

const ESqlTableInfo& CliDictionary::TableOf(const DRubric& rubric) const {
    return *source_.FindTable(rubric.Name());
}

const ESqlTableInfo* CliDictionary::FindTable(const std::string& name, CliFailure& failure) const {
    const auto tables = source_.Tables();
    const std::string location = Quoted(source_.Location().View());
    const std::vector<std::string> names = NamesOfTables(source_);
    if (name.empty() && tables.size() == 1) {
        return &tables.front();
    }
    if (name.empty()) {
        failure.Set(names.empty() ? CliExit::Failed : CliExit::Usage,
                    names.empty() ? fmt::format("{} has no tables", location)
                                  : fmt::format("{} has {} tables, and TABLE doesn't say which{}",
                                                location, names.size(), WhatThereIs({}, names)));
        return nullptr;
    }
    const ESqlTableInfo* const table = LookUpTable(name);
    if (table == nullptr) {
        failure.Set(CliExit::Failed, fmt::format("{} has no table {}{}", location, Quoted(name),
                                                 WhatThereIs(name, names)));
    }
    return table;
}

bool CliDictionary::FindVariables(const ESqlTableInfo& table, const std::vector<CliPath>& paths,
                                  std::vector<CliVariable>& variables, CliFailure& failure) const {
    for (const CliPath& path : paths) {
        if (!FindVariable(table, path, variables.emplace_back(), failure)) {
            return false;
        }
    }
    return true;
}

bool CliDictionary::FindVariable(const ESqlTableInfo& table, const CliPath& path,
                                 CliVariable& variable, CliFailure& failure) const {
    if (path.steps.size() > kMostLinkSteps) {
        return failure.Set(
            CliExit::Usage,
            fmt::format("a path has at most {} steps, and the one that begins with {} has {}",
                        kMostLinkSteps, Quoted(path.steps.front().name), path.steps.size()));
    }
    Way way{&table, {}};
    std::vector<CliPathStep> steps = path.steps;
    for (std::size_t index = 0; index < steps.size(); ++index) {
        CliPathStep& step = steps[index];
        const bool isBehindBackward = index != 0 && steps[index - 1].mark == kLinkBackward;
        if (!EnterStep(way, step, isBehindBackward, failure)) {
            return false;
        }
        if (step.mark == kLinkForward && !GoForward(way, step, failure)) {
            return false;
        }
        if (step.mark == kLinkBackward && !GoBackward(way, step, steps[index + 1], failure)) {
            return false;
        }
    }
    const std::string& name = steps.back().name;
    const ESqlColumn* const column = LookUpColumn(*way.here, name);
    if (column == nullptr) {
        return NoSuchColumn(*way.here, name, failure);
    }
    way.code += column->code.View();
    variable.shown = steps.size() == 1 ? std::string(column->name.View()) : path.shown;
    variable.code = Chaine(way.code);
    variable.variable = source_.Rubric(*way.here)->Find(column->code);
    return true;
}

/// Takes a table's name off the step's, where it is written.
bool CliDictionary::EnterStep(Way& way, CliPathStep& step, bool isBehindBackward,
                              CliFailure& failure) const {
    const std::size_t dot = step.name.find('.');
    const bool mayHoldTable = !step.table && !step.isQuoted && dot != std::string::npos &&
                              (isBehindBackward || LookUpColumn(*way.here, step.name) == nullptr);
    if (mayHoldTable) {
        step.table = step.name.substr(0, dot);
        step.name.erase(0, dot + 1);
    }
    if (step.table && LookUpTable(*step.table) != way.here) {
        return failure.Set(CliExit::Failed,
                           fmt::format("{}.{} isn't a column of {}, where its path leads",
                                       *step.table, step.name, Shown(*way.here)));
    }
    if (isBehindBackward) {
        way.code += way.here->code.View();
        way.code += '.';
    }
    return true;
}

bool CliDictionary::GoForward(Way& way, const CliPathStep& step, CliFailure& failure) const {
    const DRubric& rubric = *source_.Rubric(*way.here);
    const DLink* const link = LookUpLink(rubric, *way.here, step.name);
    if (link == nullptr) {
        const auto all = NamesOfLinks(rubric, [](const DLink&) { return true; });
        return failure.Set(CliExit::Failed,
                           fmt::format("table {} has no link {}{}", Shown(*way.here),
                                       Quoted(step.name), WhatThereIs(step.name, all)));
    }
    if (!CheckLink(*link, *way.here, failure)) {
        return false;
    }
    way.code += link->name.View();
    way.code += kLinkForward;
    way.here = &TableOf(*link->target);
    return true;
}

bool CliDictionary::GoBackward(Way& way, const CliPathStep& step, const CliPathStep& next,
                               CliFailure& failure) const {
    const std::string name = next.table.value_or(next.name.substr(0, next.name.find('.')));
    if (!next.table && next.name.find('.') == std::string::npos) {
        return failure.Set(CliExit::Usage,
                           fmt::format("behind » a step names its table: table.column, and not {}",
                                       Quoted(next.name)));
    }
    const ESqlTableInfo* const from = LookUpTable(name);
    if (from == nullptr) {
        return failure.Set(CliExit::Failed,
                           fmt::format("there is no table {} behind »{}", Quoted(name),
                                       WhatThereIs(name, NamesOfTables(source_))));
    }
    const DRubric& here = *source_.Rubric(*way.here);
    const DRubric& rubric = *source_.Rubric(*from);
    const DLink* const link = LookUpLinkBack(here, *way.here, rubric, *from, step.name);
    if (link == nullptr) {
        const auto back =
            NamesOfLinks(rubric, [&here](const DLink& each) { return each.target == &here; });
        return failure.Set(
            CliExit::Failed,
            fmt::format("table {} has no link {} to {}{}", Shown(*from), Quoted(step.name),
                        Shown(*way.here), WhatThereIs(step.name, back)));
    }
    if (!CheckLink(*link, *from, failure)) {
        return false;
    }
    way.code += link->name.View();
    way.code += kLinkBackward;
    way.here = from;
    return true;
}

/// The schema may name a key that isn't there: the library follows no such link.
bool CliDictionary::CheckLink(const DLink& link, const ESqlTableInfo& from,
                              CliFailure& failure) const {
    const std::size_t there = link.TargetVariables().size();
    return link.variables.size() == there ||
           failure.Set(CliExit::Failed,
                       fmt::format("link {} of table {} can't be followed: it has {} columns, and "
                                   "the key of {} that it points at has {}",
                                   Quoted(NameOf(link)), Shown(from), link.variables.size(),
                                   Shown(TableOf(*link.target)), there));
}

bool CliDictionary::NoSuchColumn(const ESqlTableInfo& table, const std::string& name,
                                 CliFailure& failure) const {
    const DRubric& rubric = *source_.Rubric(table);
    if (const DLink* const link = LookUpLink(rubric, table, name)) {
        const ESqlTableInfo& target = TableOf(*link->target);
        const auto columns = NamesOfColumns(target);
        return failure.Set(
            CliExit::Failed,
            fmt::format("{} is a link from {} to {}, not a column; {}> goes on to a column of it{}",
                        Quoted(name), Shown(table), Shown(target), name, WhatThereIs({}, columns)));
    }
    return failure.Set(CliExit::Failed,
                       fmt::format("table {} has no column {}{}", Shown(table), Quoted(name),
                                   WhatThereIs(name, NamesOfColumns(table))));
}

}  // namespace etabulon
