#include "apps/etabulon/commands/CliHelp.h"

#include "apps/etabulon/commands/BrowseCommand.h"
#include "apps/etabulon/commands/EditCommand.h"
#include "apps/etabulon/commands/GridCommand.h"
#include "apps/etabulon/commands/LevelsCommand.h"
#include "apps/etabulon/commands/ScoreCommand.h"
#include "apps/etabulon/commands/TreeCommand.h"
#include "apps/etabulon/commands/WalkCommand.h"
#include "apps/etabulon/request/CliView.h"
#include "etabulon/report/EReportWidth.h"
#include "etabulon/version.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <string_view>

namespace etabulon {
namespace {

constexpr std::size_t kWidth = 100;  // of the help, in columns
constexpr std::size_t kColumn = 24;  // where descriptions begin
constexpr std::size_t kIndent = 4;   // of an example

constexpr CliExample kExamples[] = {
    {"levels", "The tables of a database, with their numbers of rows",
     "etabulon levels strikes.sqlite"},
    {"levels", "The columns of a table, and where its links lead",
     "etabulon levels strikes.sqlite strikes"},
    {"walk", "The first ten records, each with its state and its damage",
     "etabulon walk strikes.sqlite strikes --levels 'airport>state>name,damage' --limit 10"},
    {"walk", "The records of one place, as JSON",
     "etabulon walk strikes.sqlite strikes --levels damage --at damage=Substantial --format json"},
    {"walk", "The records with the highest cost",
     "etabulon walk strikes.sqlite strikes --sort cost_total:desc --columns cost_total --limit 3"},
    {"walk", "What that would read and keep in memory, without reading",
     "etabulon walk strikes.sqlite strikes --sort cost_total:desc --limit 3 --explain"},
    {"walk", "Two columns of a table of text",
     "etabulon walk birdstrikes.csv --columns 'Airport Name,Time of day'"},
    {"tree", "The states in their order, the damage within each in falling order",
     "etabulon tree strikes.sqlite strikes --levels 'airport>state>name,damage' --reverse damage"},
    {"tree", "Two levels of the tree below one place",
     "etabulon tree strikes.sqlite strikes --levels 'airport>state>name,damage,species>name' "
     "--at 'airport>state>name=Texas' --depth 2"},
    {"browse", "The same tree in the terminal, states of more than 100 leaves in red",
     "etabulon browse strikes.sqlite strikes --levels 'airport>state>name,damage' "
     "--alert 'airport>state>name>100:red'"},
    {"grid", "How many strikes did which damage at which time of day",
     "etabulon grid strikes.sqlite strikes --axes damage,time_of_day --calc COUNT:id"},
    {"grid", "The records behind one of its cells",
     "etabulon grid strikes.sqlite strikes --axes damage,time_of_day --calc COUNT:id "
     "--drill Minor,Dusk"},
    {"grid",
     "The costs of years and their quarters, the years by cost, the first three and the rest",
     "etabulon grid strikes.sqlite strikes --lines flight_date.year,flight_date.quarter "
     "--columns damage --calc SUM:cost_total --sort-lines total --top-lines 3 --others"},
    {"score", "The ten airports with the highest cost, with their numbers of strikes",
     "etabulon score strikes.sqlite strikes --level 'airport>name' "
     "--calc SUM:cost_total,COUNT:id --top 10"},
    {"score", "The states by their numbers of strikes, in percent, the rest in one line",
     "etabulon score strikes.sqlite strikes --level 'airport>state>name' --calc COUNT:id --top 5 "
     "--others --share COUNT:id"},
    {"grid", "The costs of each year and damage, as a picture with lines",
     "etabulon grid strikes.sqlite strikes --axes damage,flight_date.year --calc SUM:cost_total "
     "--output costs.svg"},
    {"score", "The ranking of the airports as a spreadsheet",
     "etabulon score strikes.sqlite strikes --level 'airport>name' --calc SUM:cost_total "
     "--output airports.xlsx"},
    {"edit", "What the counts would be once two kinds of damage were one",
     "etabulon edit strikes.sqlite strikes --levels damage --set 'damage=B:damage=Minor' "
     "--show grid --axes damage --calc COUNT:id"},
    {"edit", "A script of edits, kept for later",
     "etabulon edit strikes.sqlite strikes --levels damage --delete damage=C >edits"},
    {"edit", "The edits of that script, written to the database",
     "etabulon edit strikes.sqlite strikes --levels damage --script edits --save"},
};

constexpr CliMeaning kExits[] = {
    {"0", "The command did what was asked, or the reader of a pipe had seen enough."},
    {"1", "A file, table, column, link or value isn't there, or the engine or the output failed."},
    {"2", "The command line can't be understood."},
    {"130",
     "Ctrl+C ended the command. What was written are whole records, and a save was taken back."},
    {"143", "SIGTERM ended a save, which was taken back."},
};

constexpr CliMeaning kVariables[] = {
    {"COLUMNS",
     "The width that tables have room for on a terminal; without it the terminal's own."},
    {"ETABULON_BLOCKS",
     "If it is 0, tables are read record by record instead of in blocks: slower, with the same "
     "results."},
    {"ETABULON_THREADS",
     "How many threads read a large database table ahead; 0 switches them off. Without it as many "
     "as there are cores, at most 4, and none on a single core."},
    {"NO_COLOR", "If set and not empty, nothing is coloured or dimmed, unless --color says so."},
    {"TERM",
     "The kind of terminal, for browse as terminfo knows it. If it is dumb, nothing is coloured "
     "or dimmed."},
};

/// Breaks a text into lines of at most `width` columns. A paragraph begins a new line.
std::string Wrapped(std::string_view text, std::size_t width) {
    std::string lines;
    std::size_t column = 0;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find_first_of(" \n"), text.size());
        const std::size_t columns = ReportWidth(text.substr(0, length));
        if (column != 0 && column + 1 + columns > width) {
            lines += '\n';
            column = 0;
        } else if (column != 0) {
            lines += ' ';
            ++column;
        }
        lines += text.substr(0, length);
        column += columns;
        if (length < text.size() && text[length] == '\n') {
            lines += '\n';
            column = 0;
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return lines;
}

class HelpFormatter final : public CLI::Formatter {
public:
    HelpFormatter() { column_width(kColumn); }

    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string word = ValueWord(*option);
        return (word.empty() ? "" : " " + word) + (option->get_required() ? " (required)" : "");
    }

    std::string make_option_desc(const CLI::Option* option) const override {
        return Wrapped(option->get_description(), kWidth - kColumn);
    }

    std::string make_subcommand(const CLI::App* command) const override {
        std::stringstream out;
        CLI::detail::format_help(out, command->get_name(),
                                 Wrapped(command->get_description(), kWidth - kColumn), kColumn);
        return out.str();
    }

    std::string make_footer(const CLI::App* app) const override {
        std::string footer = Wrapped(app->get_footer(), kWidth);
        std::string examples;
        for (const CliExample& example : CliExamples()) {
            if (app->get_name() == example.command) {
                const std::string lines = ShellLines(example.line, kWidth - kIndent);
                examples += fmt::format("  {}:\n    {}\n", example.text,
                                        CLI::detail::find_and_replace(lines, "\n", "\n    "));
            }
        }
        if (!examples.empty()) {
            footer += "\n\nExamples:\n" + examples;
        }
        if (app->get_parent() == nullptr) {
            footer += "\n\nExit status:\n" + Meanings(CliExitMeanings()) + "\nEnvironment:\n" +
                      Meanings(CliVariableMeanings());
        }
        return footer;
    }

private:
    static std::string Meanings(std::span<const CliMeaning> meanings) {
        std::stringstream lines;
        for (const CliMeaning& meaning : meanings) {
            CLI::detail::format_help(lines, meaning.word, Wrapped(meaning.text, kWidth - kColumn),
                                     kColumn);
        }
        return lines.str();
    }
};

}  // namespace

std::span<const CliExample> CliExamples() { return kExamples; }

std::span<const CliMeaning> CliExitMeanings() { return kExits; }

std::span<const CliMeaning> CliVariableMeanings() { return kVariables; }

std::vector<std::unique_ptr<CliCommand>> MakeCommands() {
    std::vector<std::unique_ptr<CliCommand>> commands;
    commands.push_back(std::make_unique<LevelsCommand>());
    commands.push_back(std::make_unique<WalkCommand>());
    commands.push_back(std::make_unique<TreeCommand>());
    commands.push_back(std::make_unique<BrowseCommand>());
    commands.push_back(std::make_unique<GridCommand>());
    commands.push_back(std::make_unique<ScoreCommand>());
    commands.push_back(std::make_unique<EditCommand>());
    return commands;
}

void DeclareProgram(CLI::App& app, const std::vector<std::unique_ptr<CliCommand>>& commands,
                    CliView& view) {
    app.name("etabulon");
    app.description("Walks and sums up tables of databases and CSV files, level by level.");
    app.footer(
        "SOURCE is an SQLite database, a table of text (CSV, TSV) or a file of JSON lines; its "
        "content tells which, not its name. It is only read, unless edit --save writes to it. A "
        "table of text or of JSON lines is loaded into memory and becomes one table with the "
        "file's name. Of a folder, each file of those two kinds is a table.\n"
        "Each command tells its options by --help.");
    app.require_subcommand(1);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "Print this help and end");
    app.set_version_flag("--version", fmt::format("etabulon {}", kVersion),
                         "Print the program's version and end");
    for (const auto& command : commands) {
        CLI::App& declared = *app.add_subcommand(command->Name(), command->Description());
        command->Declare(declared);
        view.Declare(declared);
    }
}

std::string ShellLines(std::string_view line, std::size_t width) {
    std::string lines;
    std::size_t column = 0;
    while (!line.empty()) {
        // A piece is an option with its value, or the words before the first option.
        const std::size_t length = std::min(line.find(" --", 1), line.size());
        // Leaves room for a backslash behind the piece.
        if (column != 0 && column + length + 2 > width) {
            lines += " \\\n   ";
            column = kIndent - 1;
        }
        lines += line.substr(0, length);
        column += length;
        line.remove_prefix(length);
    }
    return lines;
}

std::string ValueWord(const CLI::Option& option) {
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

}  // namespace etabulon
