#include "apps/etabulon/commands/EditCommand.h"

#include "apps/etabulon/commands/GridCommand.h"
#include "apps/etabulon/commands/ScoreCommand.h"
#include "apps/etabulon/commands/TreeCommand.h"
#include "apps/etabulon/commands/WalkCommand.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliEdits.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/walk/CliSave.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <map>
#include <system_error>

namespace etabulon {
namespace {

constexpr const char* kSet = "--set";
constexpr const char* kInsert = "--insert";
constexpr const char* kDelete = "--delete";
constexpr const char* kScript = "--script";
constexpr std::string_view kShow = "--show";

std::vector<std::unique_ptr<CliViewCommand>> MakeViews() {
    std::vector<std::unique_ptr<CliViewCommand>> views;
    views.push_back(std::make_unique<WalkCommand>());
    views.push_back(std::make_unique<TreeCommand>());
    views.push_back(std::make_unique<GridCommand>());
    views.push_back(std::make_unique<ScoreCommand>());
    return views;
}

std::vector<std::string> ViewNames() {
    std::vector<std::string> names;
    for (const auto& view : MakeViews()) {
        names.emplace_back(view->Name());
    }
    return names;
}

std::unique_ptr<CliViewCommand> MakeView(const std::string& name, CliFailure& failure) {
    for (auto& view : MakeViews()) {
        if (name == view->Name()) {
            return std::move(view);
        }
    }
    failure.Set(CliExit::Usage,
                fmt::format("there is no view {}{}", Quoted(name), WhatThereIs(name, ViewNames())));
    return nullptr;
}

/// The check of --show, which only tells what there is: MakeView's message names what is like it.
std::string LeaveToMakeView(const std::string& /*name*/) { return {}; }

/// Reads a view's options as its own command would.
bool ParseView(CliViewCommand& view, std::vector<std::string> arguments, CliFailure& failure) {
    CLI::App app;
    app.set_help_flag();
    view.DeclareView(app);
    std::reverse(arguments.begin(), arguments.end());
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return failure.Set(CliExit::Usage, fmt::format("behind --show {}: {} (see etabulon {} "
                                                       "--help)",
                                                       view.Name(), error.what(), view.Name()));
    }
    return true;
}

/// False with errno.
bool ReadFile(const std::string& path, std::string& text) {
    FILE* const file = std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        return false;
    }
    std::array<char, 65536> buffer{};
    for (std::size_t count = 1; count != 0;) {
        count = std::fread(buffer.data(), 1, buffer.size(), file);
        text.append(buffer.data(), count);
    }
    const int error = std::ferror(file) != 0 ? errno : 0;
    std::fclose(file);
    errno = error;
    return error == 0;
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

bool EditCommand::ReadEdits(std::vector<Asked>& edits, CliFailure& failure) const {
    std::map<const CLI::Option*, std::size_t> taken;
    for (const CLI::Option* const option : app_->parse_order()) {
        const std::size_t index = taken[option]++;
        const auto read = [&](const char* name, CliEditKind kind,
                              const std::vector<std::string>& texts) {
            return option != app_->get_option_no_throw(name) ||
                   ParseEdit(kind, texts[index], edits.emplace_back().edit, failure);
        };
        if (!read(kSet, CliEditKind::Set, sets_) || !read(kInsert, CliEditKind::Insert, inserts_) ||
            !read(kDelete, CliEditKind::Delete, deletes_)) {
            return false;
        }
        if (option == app_->get_option_no_throw(kScript) &&
            !ReadScript(scripts_[index], edits, failure)) {
            return false;
        }
    }
    return true;
}

bool EditCommand::ReadScript(const std::string& path, std::vector<Asked>& edits,
                             CliFailure& failure) const {
    std::string text;
    if (!ReadFile(path, text)) {
        return failure.Set(CliExit::Failed, fmt::format("script {} can't be read: {}", Quoted(path),
                                                        std::generic_category().message(errno)));
    }
    const auto where = [&path](std::size_t line) {
        return fmt::format("{}, line {}: ", Quoted(path), line);
    };
    std::vector<CliScriptEdit> lines;
    std::size_t line = 0;
    if (!ParseScript(text, lines, line, failure)) {
        failure.text = where(line) + failure.text;
        return false;
    }
    for (CliScriptEdit& each : lines) {
        edits.push_back({std::move(each.edit), where(each.line)});
    }
    return true;
}

bool EditCommand::MakeEdits(const std::vector<Asked>& asked, CliEdits& edits,
                            CliFailure& failure) const {
    if (!edits.AddLevels(JoinLists(levels_), failure)) {
        return false;
    }
    const auto forAll = [&](auto take) {
        return std::all_of(asked.begin(), asked.end(), [&](const Asked& each) {
            if (!take(each.edit)) {
                failure.text = each.where + failure.text;
                return false;
            }
            return true;
        });
    };
    return forAll([&](const CliEditChoice& edit) { return edits.AddLevelsOf(edit, failure); }) &&
           forAll([&](const CliEditChoice& edit) { return edits.Append(edit, failure); });
}

bool EditCommand::Show(CliEnvironment& environment, const CliDictionary& dictionary,
                       const ESqlTableInfo& table, const CliEdits& edits,
                       CliFailure& failure) const {
    const std::unique_ptr<CliViewCommand> view = MakeView(view_, failure);
    std::vector<std::string> arguments;
    if (const std::string levels = edits.WrittenLevels(); !levels.empty()) {
        arguments = {"--levels", levels};
    }
    arguments.insert(arguments.end(), viewArguments_.begin(), viewArguments_.end());
    if (view == nullptr || !ParseView(*view, std::move(arguments), failure) ||
        !view->Prepare(environment, failure)) {
        return false;
    }
    if (edits.ChangesLinks()) {
        TellUser(
            "what is reached through links is shown as for the records before the edits, and as "
            "missing for new ones");
    }
    return view->ShowTable(environment, dictionary, table, &edits.Changes(), failure);
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
    if (output.IsBroken() && output.Error() != EPIPE) {
        WriteError(write(FMT_STRING("etabulon: the edits were saved: {} updated, {} inserted, {} "
                                    "deleted\n"),
                         saved.updated, saved.inserted, saved.deleted));
    }
    const bool metNoUpdate = saved.updated + saved.inserted == 0 && asked.updates;
    const bool metNoDelete = saved.deleted == 0 && asked.deletes;
    if (metNoUpdate || metNoDelete) {
        WriteError(write(FMT_STRING("etabulon: there was no record at the places of the {}\n"),
                         !metNoUpdate   ? "deletes"
                         : !metNoDelete ? "updates"
                                        : "edits"));
    }
}

bool EditCommand::Run(CliEnvironment& environment, CliFailure& failure) {
    std::vector<Asked> asked;
    if (saves_ && !view_.empty()) {
        return failure.Set(CliExit::Usage,
                           "--show shows edits without saving them: not with --save");
    }
    if (!ReadEdits(asked, failure)) {
        return false;
    }
    if (asked.empty() && scripts_.empty()) {
        return failure.Set(CliExit::Usage,
                           "there is nothing to edit: --set, --insert, --delete or --script is "
                           "missing (see etabulon edit --help)");
    }
    std::unique_ptr<ESqliteSource> source;
    CliFailure unwritable;
    if (saves_) {
        source = source_.Open(ESqlOpenMode::ReadWrite, unwritable);
    }
    const bool canSave = source != nullptr;
    if (unwritable.isLocked) {
        // Not even the names of its columns can be read.
        failure = unwritable;
        return PrintAsGiven(asked, environment.output, failure);
    }
    if (source == nullptr) {
        source = source_.Open(failure);
    }
    if (source == nullptr) {
        return saves_ ? PrintAsGiven(asked, environment.output, failure) : false;
    }
    const CliDictionary dictionary(*source);
    const ESqlTableInfo* const table = dictionary.FindTable(source_.table, failure);
    if (table == nullptr) {
        return false;
    }
    CliEdits edits(dictionary, *table);
    if (!MakeEdits(asked, edits, failure)) {
        return false;
    }
    if (!view_.empty()) {
        return Show(environment, dictionary, *table, edits, failure);
    }
    const ETabulonPendingChanges& changes = edits.Changes();
    const Kinds kinds{changes.Script(ETabulonPendingChanges::Update).Size() != 0,
                      changes.Script(ETabulonPendingChanges::Delete).Size() != 0};
    CliSaved saved;
    bool isSaved = false;
    try {
        const CliWalkContext context{dictionary, *table, environment.interrupt};
        isSaved = canSave && SaveEdits(context, edits, saved, failure);
    } catch (...) {
        PrintScript(edits, environment.output);
        throw;
    }
    if (isSaved) {
        Report(saved, kinds, environment.output);
        return true;
    }
    PrintScript(edits, environment.output);
    if (saves_ && !canSave) {
        failure = unwritable;
        failure.text = "nothing was saved: " + failure.text;
    }
    return !saves_;
}

/// Without the table's columns there is no normal form, but the same edits.
void EditCommand::PrintScript(const CliEdits& edits, CliOutput& output) {
    for (const std::string& line : edits.ScriptLines()) {
        output.EndLine(line);
    }
}

bool EditCommand::PrintAsGiven(const std::vector<Asked>& asked, CliOutput& output,
                               CliFailure& failure) {
    for (const Asked& each : asked) {
        output.EndLine(WrittenEdit(each.edit));
    }
    failure.text =
        "nothing was saved, and the edits are printed as they were given: " + failure.text;
    return false;
}

}  // namespace etabulon
