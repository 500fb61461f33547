#include "apps/etabulon/request/CliDictionary.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/ELinkEngine.h"
#include "etabulon/sql/ESqlText.h"

#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

std::vector<std::string> NamesOfTables(const CliTables& source) {
    std::vector<std::string> names;
    for (const ESqlTableInfo& table : source.Tables()) {
        names.emplace_back(table.name.View());
    }
    return names;
}

std::vector<std::string> NamesOfColumns(const ESqlTableInfo& table) {
    std::vector<std::string> names;
    for (const ESqlColumn& column : table.columns) {
        names.push_back(WrittenName(column.name.View()));
    }
    return names;
}

template <class Wanted>
std::vector<std::string> NamesOfLinks(const DRubric& rubric, Wanted wanted) {
    std::vector<std::string> names;
    for (const DLink& link : rubric.Links()) {
        if (wanted(link)) {
            names.push_back(WrittenName(CliDictionary::NameOf(link)));
        }
    }
    return names;
}

std::string Shown(const ESqlTableInfo& table) { return Quoted(table.name.View()); }

}  // namespace

CliDictionary::CliDictionary(CliTables& source) : source_(source) {
    for (const ESqlTableInfo& table : source_.Tables()) {
        tables_.Add(table.name.View(), table.code.View());
    }
}

std::string CliDictionary::NameOf(const DLink& link) {
    std::string name;
    return SqlNameOfCode(link.name, name) ? name : std::string(link.name.View());
}

const ESqlTableInfo* CliDictionary::LookUpTable(std::string_view name) const {
    const auto place = tables_.Find(name);
    return place ? &source_.Tables()[*place] : nullptr;
}

const CliDictionary::Names& CliDictionary::NamesIn(const ESqlTableInfo& table) const {
    const auto [known, isNew] = names_.try_emplace(&table);
    Names& names = known->second;
    if (isNew) {
        for (const ESqlColumn& column : table.columns) {
            names.columns.Add(column.name.View(), column.code.View());
        }
        for (const DLink& link : source_.Rubric(table).Links()) {
            names.links.Add(NameOf(link), link.name.View());
        }
    }
    return names;
}

const ESqlColumn* CliDictionary::LookUpColumn(const ESqlTableInfo& table,
                                              std::string_view name) const {
    const auto place = NamesIn(table).columns.Find(name);
    return place ? &table.columns[*place] : nullptr;
}

/// The link with that name, otherwise the only link that starts at the column with that name.
const DLink* CliDictionary::LookUpLink(const ESqlTableInfo& table, std::string_view name) const {
    const DRubric& rubric = source_.Rubric(table);
    if (const auto place = NamesIn(table).links.Find(name)) {
        return &rubric.Links()[*place];
    }
    const ESqlColumn* const column = LookUpColumn(table, name);
    return column == nullptr ? nullptr : rubric.FindLink(column->code);
}

/// The link from `from` to `table` that `name` means: the link with that name or column, otherwise
/// the first link that points at a column with that name.
const DLink* CliDictionary::LookUpLinkBack(const ESqlTableInfo& table, const ESqlTableInfo& from,
                                           std::string_view name) const {
    const DRubric* const here = &source_.Rubric(table);
    const DLink* const own = LookUpLink(from, name);
    if (own != nullptr && own->target == here) {
        return own;
    }
    const ESqlColumn* const column = LookUpColumn(table, name);
    const DVariable* const variable = column == nullptr ? nullptr : here->Find(column->code);
    if (variable == nullptr) {
        return nullptr;
    }
    for (const DLink& link : source_.Rubric(from).Links()) {
        const std::vector<unsigned int>& pointedAt = link.TargetVariables();
        if (link.target == here &&
            std::find(pointedAt.begin(), pointedAt.end(), variable->Index()) != pointedAt.end()) {
            return &link;
        }
    }
    return nullptr;
}

const ESqlTableInfo& CliDictionary::TableOf(const DRubric& rubric) const {
    const auto tables = source_.Tables();
    return *std::find_if(tables.begin(), tables.end(), [&rubric](const ESqlTableInfo& table) {
        return table.code == rubric.Name();
    });
}

CliResult<CliTable> CliDictionary::FindTable(const std::string& name) const {
    const auto tables = source_.Tables();
    const std::string location = Quoted(source_.Location().View());
    const std::vector<std::string> names = NamesOfTables(source_);
    if (name.empty() && tables.size() == 1) {
        return CliTable(*this, tables.front());
    }
    if (name.empty() && names.empty()) {
        return CliFailure{CliExit::Failed, fmt::format("{} has no tables", location)};
    }
    if (name.empty()) {
        return CliFailure{CliExit::Usage,
                          fmt::format("{} has {} tables, and TABLE doesn't say which{}", location,
                                      names.size(), WhatThereIs({}, names))};
    }
    const ESqlTableInfo* const table = LookUpTable(name);
    if (table == nullptr) {
        return CliFailure{CliExit::Failed, fmt::format("{} has no table {}{}", location,
                                                       Quoted(name), WhatThereIs(name, names))};
    }
    return CliTable(*this, *table);
}

CliVariable CliDictionary::VariableOf(const ESqlTableInfo& table, const ESqlColumn& column) const {
    return {std::string(column.name.View()), column.code, source_.Rubric(table).Find(column.code),
            WrittenName(column.name.View())};
}

CliResult<CliVariable> CliDictionary::FindVariable(const ESqlTableInfo& table,
                                                   const CliPath& path) const {
    CliPath base = path;
    const CliResult<std::optional<CliDerivation>> derivation = TakeDerivation(base.steps.back());
    if (!derivation) {
        return derivation.Failure();
    }
    if (!*derivation) {
        return FindStored(table, path);
    }
    CliResult<CliVariable> variable = FindStored(table, base);
    if (variable) {
        variable = Derive(std::move(*variable), **derivation, path);
    }
    if (variable) {
        return variable;
    }
    // A column may bear such a name, and needs no quotes while nothing else is meant by it.
    CliResult<CliVariable> stored = FindStored(table, path);
    if (stored) {
        return stored;
    }
    return IsDerived(table, base)
               ? CliFailure{CliExit::Usage,
                            fmt::format("{} can't be made from a value that is itself made from a "
                                        "column: in {} only one of them may stand",
                                        (*derivation)->written, Quoted(path.shown))}
               : variable;
}

bool CliDictionary::IsDerived(const ESqlTableInfo& table, CliPath path) const {
    const CliResult<std::optional<CliDerivation>> derivation = TakeDerivation(path.steps.back());
    return derivation && *derivation && FindStored(table, path);
}

/// A variable of its own, whose code has a character that no other code has.
CliResult<CliVariable> CliDictionary::Derive(CliVariable base, const CliDerivation& derivation,
                                             const CliPath& path) const {
    const int type = int{base.variable->TypeCode()};
    if (!derivation.Takes(type)) {
        const std::string others = DerivationsOf(type);
        return CliFailure{CliExit::Usage,
                          fmt::format("column {}, whose type is {}, has no {}{}",
                                      Quoted(base.shown), TypeName(type), derivation.written,
                                      others.empty() ? "" : fmt::format("; it has {}", others))};
    }
    const std::string code =
        fmt::format("{}\x1F{}", base.code.View(), derivation.written.substr(1));
    derived_.try_emplace(code, CliDerived{base.code, derivation});
    DRubric* rubric = derivedTypes_.Find("Derived");
    if (rubric == nullptr) {
        rubric = derivedTypes_.AddRubric("Derived");
    }
    const DVariable* made = rubric->Find(Chaine(code));
    if (made == nullptr) {
        made =
            rubric->AddVariable(Chaine(code), Chaine(path.shown), derivation.how.ResultType(type),
                                derivation.how.ResultSize(type));
    }
    base.shown = path.shown;
    base.code = Chaine(code);
    base.variable = made;
    base.written += derivation.written;
    base.isDerived = true;
    return base;
}

const CliDerived* CliDictionary::FindDerived(const Chaine& code) const {
    const auto found = derived_.find(std::string(code.View()));
    return found == derived_.end() ? nullptr : &found->second;
}

CliResult<CliVariable> CliDictionary::FindStored(const ESqlTableInfo& table,
                                                 const CliPath& path) const {
    if (path.steps.size() > kMostLinkSteps) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("a path has at most {} steps, and the one that begins with {} has {}",
                        kMostLinkSteps, Quoted(path.steps.front().name), path.steps.size())};
    }
    Way way{&table, {}};
    std::vector<CliPathStep> steps = path.steps;
    if (const CliResult<> taken = TakeSteps(way, steps); !taken) {
        return taken.Failure();
    }
    const std::string& name = steps.back().name;
    const ESqlColumn* const column = LookUpColumn(*way.here, name);
    if (column == nullptr) {
        return NoSuchColumn(*way.here, name);
    }
    way.code += column->code.View();
    CliVariable variable = VariableOf(*way.here, *column);
    if (steps.size() != 1) {
        variable.shown = path.shown;
        variable.written = WrittenPath(steps);
        variable.code = Chaine(way.code);
    }
    return variable;
}

/// Follows the links of a path to the table of its last step.
CliResult<> CliDictionary::TakeSteps(Way& way, std::vector<CliPathStep>& steps) const {
    for (std::size_t index = 0; index < steps.size(); ++index) {
        CliPathStep& step = steps[index];
        const bool isBehindBackward = index != 0 && steps[index - 1].mark == kLinkBackward;
        CliResult<> done = EnterStep(way, step, isBehindBackward);
        if (done && step.mark == kLinkForward) {
            done = GoForward(way, step);
        } else if (done && step.mark == kLinkBackward) {
            done = GoBackward(way, step, steps[index + 1]);
        }
        if (!done) {
            return done;
        }
    }
    return {};
}

/// Splits a table's name off the name of a step that is written table.name.
CliResult<> CliDictionary::EnterStep(Way& way, CliPathStep& step, bool isBehindBackward) const {
    const std::size_t dot = step.name.find('.');
    const bool mayHoldTable = !step.table && !step.isQuoted && dot != std::string::npos &&
                              (isBehindBackward || LookUpColumn(*way.here, step.name) == nullptr);
    if (mayHoldTable) {
        step.table = step.name.substr(0, dot);
        step.name.erase(0, dot + 1);
    }
    if (step.table && LookUpTable(*step.table) != way.here) {
        if (const ESqlColumn* const column = LookUpColumn(*way.here, *step.table)) {
            const std::string others = DerivationsOf(column->type);
            return CliFailure{CliExit::Failed,
                              fmt::format("column {}, whose type is {}, has no .{}; it has {}",
                                          Quoted(column->name.View()), TypeName(column->type),
                                          step.name, others.empty() ? "no parts" : others)};
        }
        return CliFailure{CliExit::Failed,
                          fmt::format("{}.{} isn't a column of {}, where its path leads",
                                      *step.table, step.name, Shown(*way.here))};
    }
    if (isBehindBackward) {
        way.code += way.here->code.View();
        way.code += '.';
    }
    return {};
}

CliResult<> CliDictionary::GoForward(Way& way, const CliPathStep& step) const {
    const DRubric& rubric = source_.Rubric(*way.here);
    const DLink* const link = LookUpLink(*way.here, step.name);
    if (const std::size_t colon = step.name.find(':');
        link == nullptr && !step.isQuoted && colon != std::string::npos) {
        return CliFailure{CliExit::Usage,
                          fmt::format("a level with a label is named by its data here: {}",
                                      Quoted(step.name.substr(0, colon)))};
    }
    if (link == nullptr) {
        const auto all = NamesOfLinks(rubric, [](const DLink&) { return true; });
        return CliFailure{CliExit::Failed,
                          fmt::format("table {} has no link {}{}", Shown(*way.here),
                                      Quoted(step.name), WhatThereIs(step.name, all))};
    }
    if (CliResult<> checked = CheckLink(*link, *way.here); !checked) {
        return checked;
    }
    way.code += link->name.View();
    way.code += kLinkForward;
    way.here = &TableOf(*link->target);
    return {};
}

CliResult<> CliDictionary::GoBackward(Way& way, const CliPathStep& step,
                                      const CliPathStep& next) const {
    const std::string name = next.table.value_or(next.name.substr(0, next.name.find('.')));
    if (!next.table && next.name.find('.') == std::string::npos) {
        return CliFailure{CliExit::Usage,
                          fmt::format("behind » a step names its table: table.column, and not {}",
                                      Quoted(next.name))};
    }
    const ESqlTableInfo* const from = LookUpTable(name);
    if (from == nullptr) {
        return CliFailure{CliExit::Failed,
                          fmt::format("there is no table {} behind »{}", Quoted(name),
                                      WhatThereIs(name, NamesOfTables(source_)))};
    }
    const DRubric& here = source_.Rubric(*way.here);
    const DRubric& rubric = source_.Rubric(*from);
    const DLink* const link = LookUpLinkBack(*way.here, *from, step.name);
    if (link == nullptr) {
        const auto back =
            NamesOfLinks(rubric, [&here](const DLink& each) { return each.target == &here; });
        return CliFailure{
            CliExit::Failed,
            fmt::format("table {} has no link {} to {}{}", Shown(*from), Quoted(step.name),
                        Shown(*way.here), WhatThereIs(step.name, back))};
    }
    if (CliResult<> checked = CheckLink(*link, *from); !checked) {
        return checked;
    }
    way.code += link->name.View();
    way.code += kLinkBackward;
    way.here = from;
    return {};
}

/// The schema may point a link at a key with other columns. The library doesn't follow such a link.
CliResult<> CliDictionary::CheckLink(const DLink& link, const ESqlTableInfo& from) const {
    const std::size_t there = link.TargetVariables().size();
    if (link.variables.size() == there) {
        return {};
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("link {} of table {} can't be followed: it has {} columns, and "
                                  "the key of {} that it points at has {}",
                                  Quoted(NameOf(link)), Shown(from), link.variables.size(),
                                  Shown(TableOf(*link.target)), there)};
}

CliFailure CliDictionary::NoSuchColumn(const ESqlTableInfo& table, const std::string& name) const {
    if (const DLink* const link = LookUpLink(table, name)) {
        const ESqlTableInfo& target = TableOf(*link->target);
        const auto columns = NamesOfColumns(target);
        return CliFailure{
            CliExit::Failed,
            fmt::format("{} is a link from {} to {}, not a column; {}> goes on to a column of it{}",
                        Quoted(name), Shown(table), Shown(target), WrittenName(name),
                        WhatThereIs({}, columns))};
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("table {} has no column {}{}", Shown(table), Quoted(name),
                                  WhatThereIs(name, NamesOfColumns(table)))};
}

}  // namespace etabulon
