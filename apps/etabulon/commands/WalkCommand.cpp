#include "apps/etabulon/commands/WalkCommand.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSuggest.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {

void WalkCommand::DeclareView(CLI::App& app) {
    levels_.Declare(app);
    AddList(app, "--columns", columns_,
            "The values to print: column, link>column, separated by commas; "
            "without it all columns that are neither level nor key; rowid is the number "
            "of a record in a table without a key");
    AddList(app, "--sort", sort_,
            "Sort by these columns, each with :asc or :desc behind it; NULL comes first, and texts "
            "are sorted as --locale says. The records are held in memory: with --limit N of them");
    DeclareLimit(app, "End after this many records");
    locale_.Declare(app);
    DeclareOutput(app);
    app.footer(
        "Without --sort records come in the order of the key. A level is a column, or one reached "
        "through "
        "links: airport>state>name, or backwards id»strikes.damage (the first strike that "
        "points here). A level column:label is told apart by the column and shows the label. "
        "Behind a column, .year .quarter .month .week .weekday .day .hour make a part of a date, "
        ".bin(N) and .bins(N) a group of numbers, .first(N) the beginning of a text. "
        "Names and values with , : > » = or blanks at their ends stand in double quotes.\n"
        "In --at, a=NULL is a missing value, a= an empty text, a=\"NULL\" the text.\n"
        "NULL and empty text are told apart: table NULL and \"\", csv an empty cell and \"\", "
        "tsv \\N and nothing (tab, line ends and backslash are \\t \\n \\r \\\\), json null "
        "and \"\"; in json bytes that aren't UTF-8 text are {\"hex\":\"...\"}.");
}

CliResult<WalkCommand::Values> WalkCommand::FindValues(const CliLevels& levels) const {
    if (columns_.empty()) {
        return Values{AllValues(levels), {}};
    }
    const CliResult<std::vector<CliPath>> paths = ParsePaths(JoinLists(columns_));
    if (!paths) {
        return paths.Failure();
    }
    const std::string rowNumber = Lowered(RowNumberName(levels.Table().Info()));
    Values values;
    for (const CliPath& path : *paths) {
        if (path.steps.size() == 1 && !rowNumber.empty() &&
            Lowered(path.steps.front().name) == rowNumber) {
            values.rowNumbers.push_back(values.variables.size());
            continue;
        }
        CliResult<CliVariable> variable = levels.Table().FindVariable(path);
        if (!variable) {
            return variable.Failure();
        }
        values.variables.push_back(std::move(*variable));
    }
    return values;
}

CliResult<std::vector<CliRecordKey>> WalkCommand::FindOrder(const CliTable& table) const {
    const CliResult<std::vector<CliOrderChoice>> choices = ParseOrder(JoinLists(sort_));
    if (!choices) {
        return choices.Failure();
    }
    std::vector<CliRecordKey> order;
    for (const CliOrderChoice& choice : *choices) {
        if (choice.operand || choice.value) {
            return CliFailure{
                CliExit::Usage,
                fmt::format("{} in --sort isn't written as column, column:asc or column:desc",
                            Quoted(choice.shown))};
        }
        CliResult<CliVariable> variable = table.FindVariable(choice.data);
        if (!variable) {
            return variable.Failure();
        }
        order.push_back({std::move(*variable), choice.isFalling.value_or(false)});
    }
    return order;
}

CliResult<> WalkCommand::Show(CliEnvironment& environment, const CliWalkContext& context) {
    CliLevels levels(context.table);
    if (CliResult<> added = levels.Add(levels_.Levels()); !added) {
        return added;
    }
    const CliResult<ETabulonTag> tag = levels.ReadTag(levels_.At());
    if (!tag) {
        return tag.Failure();
    }
    const CliResult<Values> values = FindValues(levels);
    if (!values) {
        return values.Failure();
    }
    const CliResult<std::vector<CliRecordKey>> order = FindOrder(context.table);
    if (!order) {
        return order.Failure();
    }
    return PrintRecords(
        context,
        {levels, *tag, values->variables, Limit().Most(), *order, nullptr, values->rowNumbers},
        Output().Printing(environment));
}

}  // namespace etabulon
