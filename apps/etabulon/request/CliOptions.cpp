#include "apps/etabulon/request/CliOptions.h"

#include "apps/etabulon/request/CliSource.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {
namespace {

std::string CheckSeparator(const std::string& text) {
    return text.size() == 1 || text == "tab" ? "" : "a separator is one character, or the word tab";
}

std::string CheckFormat(const std::string& text) {
    std::string names;
    for (const auto& [name, format] : kCliFormats) {
        if (text == name) {
            return "";
        }
        names += names.empty() ? "" : ", ";
        names += name;
    }
    return "'" + text + "' is no format; there is " + names;
}

CLI::Validator FormatCheck() {
    std::vector<std::string> names;
    for (const auto& [name, format] : kCliFormats) {
        names.emplace_back(name);
    }
    return {CheckFormat, DescribeValueSet(names), "FORMAT"};
}

bool IsBlank(const std::string& text) { return text.find_first_not_of(" \t") == std::string::npos; }

}  // namespace

void AddList(CLI::App& app, const std::string& name, std::vector<std::string>& list,
             const std::string& description) {
    app.add_option(name, list, description)->type_name("LIST")->allow_extra_args(false);
}

std::string JoinLists(const std::vector<std::string>& lists) {
    std::string joined;
    for (const std::string& list : lists) {
        if (!IsBlank(list)) {
            joined += joined.empty() ? list : "," + list;
        }
    }
    return joined;
}

std::vector<std::string> ValueSet(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    const std::size_t begin = name.find('{');
    const std::size_t end = name.find('}', begin);
    if (end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(name.substr(begin + 1, end - begin - 1), ',');
}

std::string DescribeValueSet(const std::vector<std::string>& values) {
    return fmt::format("{{{}}}", fmt::join(values, ","));
}

void CliSourceOptions::Declare(CLI::App& app) {
    app.add_option("SOURCE", path, "An SQLite database, or a table of text (CSV, TSV)")
        ->required()
        ->type_name("");
    app.add_option("TABLE", table, "A table or view of it; may be left out where there is only one")
        ->type_name("");
    app.add_option("--separator", separator_,
                   "Separates the cells of a table of text: one character, or tab; "
                   "without it what the first line has most of")
        ->type_name("C")
        ->check(CheckSeparator);
}

CliResult<std::unique_ptr<CliTables>> CliSourceOptions::Open(ESqlOpenMode mode,
                                                             const CliGoesOn& goesOn) const {
    char separator = 0;
    if (!separator_.empty()) {
        separator = separator_ == "tab" ? '\t' : separator_.front();
    }
    return OpenSource(path, separator, mode, goesOn);
}

void CliLevelOptions::Declare(CLI::App& app) {
    AddList(app, "--levels", levels_,
            "Levels: column, link>column, column:label, separated by commas");
    AddList(app, "--at", at_,
            "Only below this place: level=value, separated by commas; a level given several times "
            "has one of these values");
    app.add_option("--where", where_,
                   "Only records that meet this: cost > 1000 and (damage in (None, Minor) or "
                   "airport>name contains 'INTL')")
        ->type_name("CONDITION")
        ->allow_extra_args(false);
}

std::string CliLevelOptions::Levels() const { return JoinLists(levels_); }

std::string CliLevelOptions::At() const { return JoinLists(at_); }

void CliOutputOptions::DeclareFormat(CLI::App& app) {
    app.add_option(
           "--format", format_,
           "table, csv, tsv, json, ndjson, markdown or html; without it table on a terminal, "
           "else tsv")
        ->type_name("FORMAT")
        ->check(FormatCheck());
}

void CliOutputOptions::DeclareProgress(CLI::App& app) {
    app.add_flag("--progress", progress_,
                 "Count the records on stderr, if that is a terminal and stdout isn't");
}

CliPrinting CliOutputOptions::Printing(const CliEnvironment& environment) const {
    CliFormat chosen = environment.isOutputTerminal ? CliFormat::Table : CliFormat::Tsv;
    for (const auto& [name, format] : kCliFormats) {
        if (format_ == name) {
            chosen = format;
        }
    }
    return {environment.output, chosen, environment.hasStyle};
}

void CliLocaleOptions::Declare(CLI::App& app) {
    app.add_option("--locale", locale_,
                   "Sort texts as this language does: fr, de_AT, ...; without it as none does, "
                   "the same everywhere")
        ->type_name("NAME");
}

CliResult<> CliLocaleOptions::Install(const CliEnvironment& environment) const {
    std::string error;
    if (environment.installLocale != nullptr) {
        return environment.installLocale(locale_.c_str(), error)
                   ? CliResult<>()
                   : CliFailure{CliExit::Usage, error};
    }
    if (!locale_.empty()) {
        return CliFailure{CliExit::Usage,
                          "--locale needs ICU, which this program was built without"};
    }
    return {};
}

}  // namespace etabulon
