#include "apps/etabulon/commands/EditCommand.h"

#include "apps/etabulon/commands/CliHelp.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliEdits.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliSource.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliView.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/walk/CliReading.h"
#include "apps/etabulon/walk/CliSave.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <optional>
#include <system_error>

namespace etabulon {
namespace {

constexpr const char* kSet = "--set";
constexpr const char* kInsert = "--insert";
constexpr const char* kDelete = "--delete";
constexpr const char* kScript = "--script";
constexpr std::string_view kShow = "--show";

/// The commands that can show a table with edits on it.
std::vector<std::unique_ptr<CliViewCommand>> MakeViews() {
    std::vector<std::unique_ptr<CliViewCommand>> views;
    for (auto& command : MakeCommands()) {
        if (auto* const view = dynamic_cast<CliViewCommand*>(command.get())) {
            static_cast<void>(command.release());
            views.emplace_back(view);
        }
    }
    return views;
}

std::vector<std::string> ViewNames() {
    std::vector<std::string> names;
    for (const auto& view : MakeViews()) {
        names.emplace_back(view->Name());
    }
    return names;
}

CliResult<std::unique_ptr<CliViewCommand>> MakeView(const std::string& name) {
    for (auto& view : MakeViews()) {
        if (name == view->Name()) {
            return std::move(view);
        }
    }
    return CliFailure{CliExit::Usage, fmt::format("there is no view {}{}", Quoted(name),
                                                  WhatThereIs(name, ViewNames()))};
}

/// The check of --show, which only lists the views: MakeView's message for a wrong name is better.
std::string LeaveToMakeView(const std::string& /*name*/) { return {}; }

/// Parses a view's options as the view's own command would.
CliResult<> ParseView(CliViewCommand& view, std::vector<std::string> arguments, CliView& saved) {
    CLI::App app;
    app.set_help_flag();
    view.DeclareView(app);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return CliFailure{CliExit::Usage, fmt::format("behind --show {}: {} (see etabulon {} "
                                                      "--help)",
                                                      view.Name(), error.what(), view.Name())};
    }
    return saved.Apply(app, view.Name());
}

}  // namespace

void EditCommand::Declare(CLI::App& app) {
    app_ = &app;
    source_.Declare(app);
    AddList(app, "--levels", levels_,
            "Levels, as for walk; those that only the places of edits name are levels too");
    AddList(app, kSet, sets_, "PLACE:column=value: the records at a place get a value");
    AddList(app, kInsert, inserts_, "PLACE: a new record");
    AddList(app, kDelete, deletes_, "PLACE: the records at a place go");
    AddList(app, kScript, scripts_, "A file of edits, one a line, as they are printed");
    for (const char* const name : {kSet, kInsert, kDelete}) {
        app.get_option(name)->type_name("EDIT");
    }
    app.get_option(kScript)->type_name("FILE");
    app.add_flag("--save", saves_, "Write the edits: all of them, or none if anything fails");
    app.add_option(std::string(kShow), view_,
                   "Show the table as it would be, as walk, tree, grid or score do; what follows "
                   "are that command's options")
        ->type_name("VIEW")
        ->check(CLI::Validator(LeaveToMakeView, DescribeValueSet(ViewNames()), "VIEW"));
    for (const char* const name : {kSet, kInsert, kDelete, kScript, "--save", "--show"}) {
        app.get_option(name)->configurable(false);
    }
    app.footer(
        "A PLACE is what --at has: level=value, separated by commas; what holds , : > = "
        "stands in double quotes. a=NULL is a missing value, a= an empty text. An edit counts "
        "for all records at and below its place; --set ':column=value' for all there are.\n"
        "Edits are taken in the order given; what one supersedes goes. Without --save and "
        "--show they are printed as a script that --script reads. A save that fails prints "
        "them too, and ends with 1.");
}

void EditCommand::TakeArguments(std::vector<std::string>& arguments) {
    const auto show = std::find_if(arguments.begin(), arguments.end(), [](const auto& argument) {
        return argument == kShow || argument.starts_with(std::string(kShow) + '=');
    });
    if (show == arguments.end()) {
        return;
    }
    const auto rest =
        show + std::min<std::ptrdiff_t>(*show == kShow ? 2 : 1, arguments.end() - show);
    viewArguments_.assign(rest, arguments.end());
    arguments.erase(rest, arguments.end());
}

CliResult<std::vector<EditCommand::Asked>> EditCommand::ReadEdits() const {
    std::vector<Asked> edits;
    std::map<const CLI::Option*, std::size_t> taken;
    for (const CLI::Option* const option : app_->parse_order()) {
        CliResult<std::vector<Asked>> read = ReadOption(*option, taken[option]++);
        if (!read) {
            return read;
        }
        std::move(read->begin(), read->end(), std::back_inserter(edits));
    }
    return edits;
}

/// Reads the edits of one use of an option; `index` counts its uses. Other options have no edits.
CliResult<std::vector<EditCommand::Asked>> EditCommand::ReadOption(const CLI::Option& option,
                                                                   std::size_t index) const {
    struct Kind {
        const char* name;
        CliEditKind kind;
        const std::vector<std::string>& texts;
    };
    for (const Kind& each :
         {Kind{kSet, CliEditKind::Set, sets_}, Kind{kInsert, CliEditKind::Insert, inserts_},
          Kind{kDelete, CliEditKind::Delete, deletes_}}) {
        if (&option == app_->get_option_no_throw(each.name)) {
            CliResult<CliEditChoice> edit = ParseEdit(each.kind, each.texts[index]);
            if (!edit) {
                return edit.Failure();
            }
            return std::vector<Asked>{{std::move(*edit), {}}};
        }
    }
    if (&option == app_->get_option_no_throw(kScript)) {
        return ReadScript(scripts_[index]);
    }
    return std::vector<Asked>();
}

CliResult<std::vector<EditCommand::Asked>> EditCommand::ReadScript(const std::string& path) {
    std::string text;
    if (!ReadWholeFile(path, text)) {
        return CliFailure{CliExit::Failed, fmt::format("script {} can't be read: {}", Quoted(path),
                                                       std::generic_category().message(errno))};
    }
    const auto where = [&path](std::size_t line) {
        return fmt::format("{}, line {}: ", Quoted(path), line);
    };
    CliResult<std::vector<CliScriptEdit>> lines = ParseScript(text);
    if (!lines) {
        CliFailure failure = lines.Failure();
        failure.text = where(failure.line) + failure.text;
        return failure;
    }
    std::vector<Asked> edits;
    for (CliScriptEdit& each : *lines) {
        edits.push_back({std::move(each.edit), where(each.line)});
    }
    return edits;
}

CliResult<> EditCommand::MakeEdits(const std::vector<Asked>& asked, CliEdits& edits) const {
    const auto forAll = [&](auto take) -> CliResult<> {
        for (const Asked& each : asked) {
            if (const CliResult<> taken = take(each.edit); !taken) {
                CliFailure failure = taken.Failure();
                failure.text = each.where + failure.text;
                return failure;
            }
        }
        return {};
    };
    CliResult<> made = edits.AddLevels(JoinLists(levels_));
    if (made) {
        made = forAll([&](const CliEditChoice& edit) { return edits.AddLevelsOf(edit); });
    }
    if (made) {
        made = forAll([&](const CliEditChoice& edit) { return edits.Append(edit); });
    }
    return made;
}

CliResult<> EditCommand::Show(CliEnvironment& environment, const CliTable& table,
                              const CliEdits& edits) const {
    const CliResult<std::unique_ptr<CliViewCommand>> made = MakeView(view_);
    if (!made) {
        return made.Failure();
    }
    CliViewCommand& view = **made;
    std::vector<std::string> arguments;
    if (const std::string levels = edits.WrittenLevels(); !levels.empty()) {
        arguments = {"--levels", levels};
    }
    arguments.insert(arguments.end(), viewArguments_.begin(), viewArguments_.end());
    if (CliResult<> parsed = ParseView(view, std::move(arguments), environment.view); !parsed) {
        return parsed;
    }
    if (CliResult<> prepared = view.Prepare(environment); !prepared) {
        return prepared;
    }
    if (CliResult<> opened = view.OpenOutput(environment); !opened) {
        return opened;
    }
    if (edits.ChangesLinks()) {
        TellUser("what is reached through links is shown as for the records before the edits");
    }
    return view.ShowTable(environment, table, &edits.Changes());
}

/// Nothing that fails here undoes the save: what it tells allocates nothing, and so never makes way
/// for a message that sounds as if the save had failed.
void EditCommand::Report(const CliSaved& saved, const Kinds& asked, CliOutput& output) noexcept {
    std::array<char, 160> buffer{};
    const auto write = [&buffer](auto format, const auto&... values) {
        const auto end = fmt::format_to_n(buffer.data(), buffer.size(), format, values...);
        return std::string_view(buffer.data(), std::min(end.size, buffer.size()));
    };
    output.EndLine(write(FMT_STRING("{} updated, {} inserted, {} deleted"), saved.updated,
                         saved.inserted, saved.deleted));
    output.Flush();
    if (output.IsBroken() && !output.IsUnread()) {
        WriteError(write(FMT_STRING("etabulon: the edits were saved: {} updated, {} inserted, {} "
                                    "deleted\n"),
                         saved.updated, saved.inserted, saved.deleted));
    }
    const bool metNoUpdate = saved.updated + saved.inserted == 0 && asked.updates;
    const bool metNoDelete = saved.deleted == 0 && asked.deletes;
    if (saved.gone != 0) {
        WriteError(write(FMT_STRING("etabulon: {} of the records were not written: other edits had "
                                    "removed them or changed their keys\n"),
                         saved.gone));
    } else if (metNoUpdate || metNoDelete) {
        WriteError(write(FMT_STRING("etabulon: there was no record at the places of the {}\n"),
                         !metNoUpdate   ? "deletes"
                         : !metNoDelete ? "updates"
                                        : "edits"));
    }
}

CliResult<> EditCommand::Save(CliEnvironment& environment, const CliTable& table,
                              const CliEdits& edits) {
    const ETabulonPendingChanges& changes = edits.Changes();
    const Kinds asked{changes.Script(ETabulonPendingChanges::Update).Size() != 0,
                      changes.Script(ETabulonPendingChanges::Delete).Size() != 0};
    const CliResult<CliSaved> saved = [&] {
        try {
            return SaveEdits(CliWalkContext{table, environment.interrupt}, edits);
        } catch (...) {
            PrintScript(edits, environment.output);
            throw;
        }
    }();
    if (!saved) {
        PrintScript(edits, environment.output);
        return saved.Failure();
    }
    Report(*saved, asked, environment.output);
    return {};
}

/// Opens the source for writing if the edits are to be saved. One that can only be read is opened
/// for that, with the reason in `unwritable`: the edits are printed in the form that its columns
/// give them.
CliResult<std::unique_ptr<CliTables>> EditCommand::OpenSource(
    const CliEnvironment& environment, std::optional<CliFailure>& unwritable) {
    if (const CliResult<> chosen = source_.ChooseFile(environment.files); !chosen) {
        return chosen.Failure();
    }
    auto source = ReadSource(source_, saves_ ? ESqlOpenMode::ReadWrite : ESqlOpenMode::ReadOnly,
                             environment.interrupt);
    // Of a source that is locked not even the columns' names can be read.
    if (saves_ && !source && !source.Failure().isLocked) {
        unwritable = source.Failure();
        source = ReadSource(source_, ESqlOpenMode::ReadOnly, environment.interrupt);
    }
    return source;
}

CliResult<> EditCommand::Run(CliEnvironment& environment) {
    if (saves_ && !view_.empty()) {
        return CliFailure{CliExit::Usage,
                          "--show shows edits without saving them: not with --save"};
    }
    for (const std::string& script : scripts_) {
        if (CliResult<> used = environment.files.Read(kScript, script); !used) {
            return used;
        }
    }
    const CliResult<std::vector<Asked>> asked = ReadEdits();
    if (!asked) {
        return asked.Failure();
    }
    if (asked->empty() && scripts_.empty()) {
        return CliFailure{CliExit::Usage,
                          "there is nothing to edit: --set, --insert, --delete or --script is "
                          "missing (see etabulon edit --help)"};
    }
    std::optional<CliFailure> unwritable;
    auto source = OpenSource(environment, unwritable);
    if (!source) {
        return saves_ ? PrintAsGiven(*asked, environment.output, source.Failure())
                      : source.Failure();
    }
    const CliResult<CliOpenTable> opened = FindTableIn(std::move(*source), source_.table);
    if (!opened) {
        return opened.Failure();
    }
    CliEdits edits(opened->table);
    if (CliResult<> made = MakeEdits(*asked, edits); !made) {
        return made;
    }
    if (!view_.empty()) {
        return Show(environment, opened->table, edits);
    }
    if (saves_ && !unwritable) {
        return Save(environment, opened->table, edits);
    }
    PrintScript(edits, environment.output);
    if (unwritable) {
        unwritable->text = "nothing was saved: " + unwritable->text;
        return *unwritable;
    }
    return {};
}

/// The normal form of a script needs the table's columns, which can't be read here.
void EditCommand::PrintScript(const CliEdits& edits, CliOutput& output) {
    for (const std::string& line : edits.ScriptLines()) {
        output.EndLine(line);
    }
}

CliFailure EditCommand::PrintAsGiven(const std::vector<Asked>& asked, CliOutput& output,
                                     CliFailure failure) {
    for (const Asked& each : asked) {
        output.EndLine(WrittenEdit(each.edit));
    }
    failure.text =
        "nothing was saved, and the edits are printed as they were given: " + failure.text;
    return failure;
}

}  // namespace etabulon
