#include "apps/etabulon/commands/WalkCommand.h"

#include "apps/etabulon/views/CliRecords.h"

#include <CLI/CLI.hpp>

namespace etabulon {

void WalkCommand::DeclareView(CLI::App& app) {
    levels_.Declare(app);
    AddList(app, "--columns", columns_,
            "The values to print: column, link>column, separated by commas; "
            "without it all columns that are neither level nor key");
    app.add_option("--limit", limit_, "End after this many records")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    DeclareOutput(app);
    app.footer(
        "Records come in the order of the key. A level is a column, or one reached through "
        "links: airport>state>name, or backwards id»strikes.damage (the first strike that "
        "points here). A level column:label is told apart by the column and shows the label. "
        "Names and values with , : > » = or blanks at their ends stand in double quotes.\n"
        "In --at, a=NULL is a missing value, a= an empty text, a=\"NULL\" the text.\n"
        "NULL and empty text are told apart: table NULL and \"\", csv an empty cell and \"\", "
        "tsv \\N and nothing (tab, line ends and backslash are \\t \\n \\r \\\\), json null "
        "and \"\"; in json bytes that aren't UTF-8 text are {\"hex\":\"...\"}.");
}

bool WalkCommand::FindValues(const CliDictionary& dictionary, const ESqlTableInfo& table,
                             const CliLevels& levels, std::vector<CliVariable>& values,
                             CliFailure& failure) const {
    if (!columns_.empty()) {
        std::vector<CliPath> paths;
        return ParsePaths(JoinLists(columns_), paths, failure) &&
               dictionary.FindVariables(table, paths, values, failure);
    }
    values = AllValues(dictionary, table, levels);
    return true;
}

bool WalkCommand::Show(CliEnvironment& environment, const CliWalkContext& context,
                       CliFailure& failure) {
    CliLevels levels;
    ETabulonTag tag;
    std::vector<CliVariable> values;
    const CliDictionary& dictionary = context.dictionary;
    const ESqlTableInfo& table = context.table;
    if (!MakeLevels(dictionary, table, levels_.Levels(), levels, failure) ||
        !MakeTag(dictionary, table, levels, levels_.At(), tag, failure) ||
        !FindValues(dictionary, table, levels, values, failure)) {
        return false;
    }
    const auto limit = limit_ ? static_cast<std::uint64_t>(*limit_) : CliRecordsRequest::kNoLimit;
    const std::unique_ptr<CliWriter> writer = Output().MakeWriter(environment);
    return PrintRecords(context, {levels, tag, values, limit}, *writer, environment.output,
                        failure);
}

}  // namespace etabulon
