#include "apps/etabulon/request/CliView.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliWritten.h"
#include "etabulon/report/EReportFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <utility>

namespace etabulon {
namespace {

/// Options that several commands have, each with a meaning of its own.
constexpr std::array<std::string_view, 6> kOfEachCommand = {"columns", "depth",   "drill",
                                                            "limit",   "percent", "sort"};

std::string KeyOf(const CLI::Option& option) {
    return option.get_lnames().empty() ? Lowered(option.get_name(true, false))
                                       : option.get_lnames().front();
}

/// The options of a command that views have.
std::vector<const CLI::Option*> SavedOptions(const CLI::App& command) {
    return command.get_options(&CLI::Option::get_configurable);
}

const CLI::Option* FindSaved(const CLI::App& command, std::string_view key) {
    for (const CLI::Option* const option : SavedOptions(command)) {
        if (KeyOf(*option) == key) {
            return option;
        }
    }
    return nullptr;
}

const CLI::App* FindCommand(const CLI::App& program, const std::string& name) {
    const std::vector<const CLI::App*> found = program.get_subcommands(
        [&name](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

/// The commands that have an option with this key.
std::vector<const CLI::App*> CommandsWith(const CLI::App& program, std::string_view key) {
    std::vector<const CLI::App*> commands;
    for (const CLI::App* const command : program.get_subcommands({})) {
        if (FindSaved(*command, key) != nullptr) {
            commands.push_back(command);
        }
    }
    return commands;
}

bool IsShared(const CLI::App& program, std::string_view key) {
    return std::find(kOfEachCommand.begin(), kOfEachCommand.end(), key) == kOfEachCommand.end() &&
           CommandsWith(program, key).size() > 1;
}

std::vector<std::string> NamesOf(const CLI::App& command) {
    std::vector<std::string> keys;
    for (const CLI::Option* const option : SavedOptions(command)) {
        keys.push_back(KeyOf(*option));
    }
    return keys;
}

std::vector<std::string> SharedKeys(const CLI::App& program) {
    std::vector<std::string> keys;
    for (const CLI::App* const command : program.get_subcommands({})) {
        for (const std::string& key : NamesOf(*command)) {
            if (IsShared(program, key) && std::find(keys.begin(), keys.end(), key) == keys.end()) {
                keys.push_back(key);
            }
        }
    }
    return keys;
}

CliViewValue::Kind KindOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    if (option.get_items_expected_max() == 0) {
        return CliViewValue::Flag;
    }
    if (option.get_items_expected_max() > 1) {
        return CliViewValue::List;
    }
    return type.substr(0, type.find(':')) == "N" ? CliViewValue::Number : CliViewValue::Text;
}

bool IsPath(const CLI::Option& option) {
    return KeyOf(option) == "source" || option.get_type_name() == "FILE";
}

/// A list text that commas separate can be cut into its elements: joined, they are the same text.
bool IsCommaList(const CLI::Option& option) { return option.get_type_name().starts_with("LIST"); }

/// The elements of a list text. A text that isn't plainly a list stays whole.
std::vector<std::string> Elements(const std::string& text) {
    std::vector<std::string> elements(1);
    bool isInQuotes = false;
    for (const char c : text) {
        isInQuotes = isInQuotes != (c == '"');
        if (c == ',' && !isInQuotes) {
            elements.emplace_back();
        } else {
            elements.back() += c;
        }
    }
    for (std::string& element : elements) {
        element = Trimmed(element);
    }
    const bool isAnyEmpty = std::find(elements.begin(), elements.end(), "") != elements.end();
    return isInQuotes || isAnyEmpty ? std::vector<std::string>{text} : elements;
}

/// A value of an option's fixed set that another command has, and this one lacks.
bool IsOfOthers(const CLI::App& program, const CLI::Option& option, const std::string& key,
                const CliViewValue& value) {
    const auto has = [&value](const CLI::Option& each) {
        const std::vector<std::string> set = ValueSet(each);
        return std::find(set.begin(), set.end(), value.texts.front()) != set.end();
    };
    const std::vector<const CLI::App*> commands = CommandsWith(program, key);
    return value.kind == CliViewValue::Text && !has(option) &&
           std::any_of(commands.begin(), commands.end(),
                       [&](const CLI::App* command) { return has(*FindSaved(*command, key)); });
}

bool IsGiven(const CLI::App& options, const std::string& name) {
    const CLI::Option* const option = options.get_option_no_throw(name);
    return option != nullptr && !option->empty() && !option->results().front().empty();
}

/// A flag that the command can't use beside the options that it has.
bool IsUseless(const CLI::App& options, std::string_view key) {
    if (key == "others") {
        return !IsGiven(options, "--top") && !IsGiven(options, "--top-lines") &&
               !IsGiven(options, "--top-columns");
    }
    if (key != "bars") {
        return false;
    }
    // Without a format and a file bars make the format that of a table.
    return IsGiven(options, "--format")
               ? options.get_option("--format")->results().front() != "table"
               : IsGiven(options, "--output") &&
                     !Lowered(options.get_option("--output")->results().front()).ends_with(".txt");
}

/// The text has the option's name, and not as the beginning of a longer one.
bool Names(std::string_view text, const std::string& key) {
    const std::string name = "--" + key;
    for (std::size_t at = text.find(name); at != std::string_view::npos;
         at = text.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        const char next = end < text.size() ? text[end] : ' ';
        if (next != '-' && std::isalnum(static_cast<unsigned char>(next)) == 0) {
            return true;
        }
    }
    return false;
}

const char* Expected(CliViewValue::Kind kind) {
    switch (kind) {
        case CliViewValue::List:
            return "a list of texts, between [ and ]";
        case CliViewValue::Number:
            return "a whole number";
        case CliViewValue::Flag:
            return "true or false";
        default:
            return "a text";
    }
}

}  // namespace

std::vector<CliViewKey> CliView::KeysOf(const CLI::App& program, const std::string& command) {
    std::vector<CliViewKey> keys;
    const CLI::App* const own = FindCommand(program, command);
    for (const std::string& name : own != nullptr ? NamesOf(*own) : SharedKeys(program)) {
        const CLI::Option* const option =
            FindSaved(own != nullptr ? *own : *CommandsWith(program, name).front(), name);
        keys.push_back({name, KindOf(*option), ValueSet(*option), option->get_description()});
        for (const CLI::App* const other : CommandsWith(program, name)) {
            for (const std::string& value : ValueSet(*FindSaved(*other, name))) {
                std::vector<std::string>& values = keys.back().values;
                if (own == nullptr &&
                    std::find(values.begin(), values.end(), value) == values.end()) {
                    values.push_back(value);  // a format that not every command has
                }
            }
        }
    }
    return keys;
}

void CliView::Declare(CLI::App& command) {
    command
        .add_option("--view", path_,
                    "Read a saved view: its options hold as if they were given here. One that is "
                    "given here takes the place of the view's")
        ->type_name("FILE")
        ->configurable(false);
    command
        .add_option("--without", without_,
                    "Leave these options of the view out: names without --, separated by commas")
        ->type_name("LIST")
        ->allow_extra_args(false)
        ->configurable(false);
    command
        .add_option("--save-view", saved_,
                    "Write source, table and options to this file in the end, which --view reads")
        ->type_name("FILE")
        ->configurable(false);
}

CliResult<> CliView::Begin(const CLI::App& program, CLI::App& command, CliFilesInUse& files) {
    program_ = &program;
    for (const char* const name : {"--view", "--save-view"}) {
        const CLI::Option& option = *command.get_option(name);
        if (!option.empty() && option.results().front().empty()) {
            return CliFailure{CliExit::Usage, fmt::format("{} has no name of a file", name)};
        }
    }
    CliResult<> done = Read();
    const bool hadSource = Has(command.get_name(), "source");
    if (done) {
        done = LeaveOut(command.get_name());
    }
    if (done) {
        done = Apply(command, command.get_name());
    }
    if (done && command.get_option("SOURCE")->empty()) {
        done = CliFailure{
            CliExit::Usage,
            path_.empty()
                ? fmt::format("SOURCE is required (see etabulon {} --help)", command.get_name())
                : fmt::format(
                      "view {} {}, and SOURCE isn't given", Quoted(path_),
                      hadSource ? "has its source left out by --without" : "names no source")};
    }
    return done ? UseFiles(files) : done;
}

CliResult<> CliView::Read() {
    if (path_.empty()) {
        return without_.empty() ? CliResult<>()
                                : CliFailure{CliExit::Usage,
                                             "--without leaves options of a view out: --view is "
                                             "missing"};
    }
    CliResult<CliViewFile> file = ReadViewFile(path_);
    if (!file) {
        return file.Failure();
    }
    file_ = std::move(*file);
    return Check(*program_);
}

CliResult<> CliView::Check(const CLI::App& program) {
    for (auto& [key, value] : file_.shared) {
        if (CliResult<> checked = CheckKey(program, "", key, value); !checked) {
            return checked;
        }
    }
    for (CliViewFile::Part& part : file_.parts) {
        if (IsShared(program, part.command)) {
            return CliFailure{
                CliExit::Failed,
                InViewFile(path_, part.line) +
                    fmt::format("{} isn't {}", Quoted(part.command),
                                Expected(KindOf(*FindSaved(
                                    *CommandsWith(program, part.command).front(), part.command))))};
        }
        const CLI::App* const command = FindCommand(program, part.command);
        if (command == nullptr) {
            std::vector<std::string> names;
            for (const CLI::App* const each : program.get_subcommands({})) {
                names.push_back(each->get_name());
            }
            return CliFailure{CliExit::Failed,
                              InViewFile(path_, part.line) +
                                  fmt::format("{} is no command{}", Quoted(part.command),
                                              WhatThereIs(part.command, names))};
        }
        for (auto& [key, value] : part.values) {
            if (CliResult<> checked = CheckKey(program, part.command, key, value); !checked) {
                return checked;
            }
        }
    }
    return {};
}

CliResult<> CliView::CheckKey(const CLI::App& program, const std::string& command,
                              const std::string& key, CliViewValue& value) const {
    const auto fail = [&](const std::string& what) {
        return CliFailure{CliExit::Failed, InViewFile(path_, value.line) + what};
    };
    const std::vector<const CLI::App*> commands = CommandsWith(program, key);
    const CLI::Option* option = nullptr;
    if (!command.empty()) {
        const CLI::App* const own = program.get_subcommand(command);
        option = FindSaved(*own, key);
        if (option == nullptr) {
            return fail(fmt::format("{} has no key {}{}", command, Quoted(key),
                                    WhatThereIs(key, NamesOf(*own))));
        }
    } else if (IsShared(program, key)) {
        option = FindSaved(*commands.front(), key);
    } else if (FindCommand(program, key) != nullptr) {
        return fail(fmt::format("{} is an object, between {{ and }}", Quoted(key)));
    } else if (commands.empty()) {
        return fail(fmt::format("there is no key {}{}", Quoted(key),
                                WhatThereIs(key, SharedKeys(program))));
    } else {
        return fail(
            fmt::format("{} is meant for one command: it belongs into an object, "
                        "\"{}\": {{\"{}\": ...}}",
                        Quoted(key), commands.front()->get_name(), key));
    }
    if (value.kind != KindOf(*option)) {
        return fail(fmt::format("{} isn't {}", Quoted(key), Expected(KindOf(*option))));
    }
    value.isPath = IsPath(*option);
    const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
    for (std::string& text : value.texts) {
        if (text.find('\0') != std::string::npos) {
            return fail(
                fmt::format("{} holds the character \\u0000, which no option takes", Quoted(key)));
        }
        if (value.isPath && text.empty()) {
            return fail(fmt::format("{} has no name of a file", Quoted(key)));
        }
        if (value.isPath && text != "-" && std::filesystem::path(text).is_relative()) {
            value.isRelative = true;
            text = (folder / text).string();  // behind a link to a folder .. isn't the folder above
        }
    }
    return {};
}

/// Takes the keys of --without away from what the command reads.
CliResult<> CliView::LeaveOut(const std::string& command) {
    const std::string list = JoinLists(without_);
    for (std::string key : list.empty() ? std::vector<std::string>() : Elements(list)) {
        key.erase(0, key.starts_with("--") ? 2 : 0);
        if (file_.Find(command, key) == nullptr && file_.Find("", key) == nullptr) {
            return CliFailure{CliExit::Usage,
                              fmt::format("view {} has no {} for {}, which --without names",
                                          Quoted(path_), Quoted(key), command)};
        }
        file_.Remove(command, key);
        file_.Remove("", key);
    }
    return {};
}

CliResult<> CliView::Apply(CLI::App& options, const std::string& name) {
    std::vector<CLI::Option*> saved =
        options.get_options([](const CLI::Option* each) { return each->get_configurable(); });
    // Whether a flag can be used is known when the options with a value have theirs.
    std::stable_partition(saved.begin(), saved.end(), [](const CLI::Option* option) {
        return KindOf(*option) != CliViewValue::Flag;
    });
    for (CLI::Option* const option : saved) {
        const std::string key = KeyOf(*option);
        const CliViewValue* const value = InForce(name, key);
        if (!option->empty() || value == nullptr) {
            continue;
        }
        // walk without columns prints none. Any other empty list is as if it weren't given.
        if (value->texts.empty() && key != "columns") {
            continue;
        }
        const bool isShared = file_.Find(name, key) == nullptr;
        if (isShared && (IsOfOthers(*program_, *option, key, *value) || IsUseless(options, key))) {
            continue;
        }
        given_.push_back({key, value->line});
        if (CliResult<> given = Give(*option, *value, key); !given) {
            return given;
        }
    }
    Collect(options, name);
    return {};
}

CliResult<> CliView::Give(CLI::Option& option, const CliViewValue& value,
                          const std::string& key) const {
    if (value.kind == CliViewValue::Flag && value.texts.front() == "false") {
        return {};
    }
    try {
        for (const std::string& text : value.texts) {
            option.add_result(text);
        }
        if (value.texts.empty()) {
            option.add_result("");
        }
        option.run_callback();
    } catch (const CLI::ParseError& error) {
        return CliFailure{CliExit::Failed, InViewFile(path_, value.line) +
                                               fmt::format("{}: {}", Quoted(key), error.what())};
    }
    return {};
}

const CliViewValue* CliView::InForce(const std::string& name, const std::string& key) const {
    const CliViewValue* const own = file_.Find(name, key);
    return own != nullptr ? own : file_.Find("", key);
}

CliFailure CliView::Explain(CliFailure failure) const {
    std::string told;
    for (const Given& each : given_) {
        if (Names(failure.text, each.key)) {
            told += fmt::format("; --{} is that of {}", each.key, InViewFile(path_, each.line));
            told.resize(told.size() - std::string_view(": ").size());
            told += fmt::format(" (--without {} leaves it out)", each.key);
        }
    }
    if (!told.empty()) {
        failure.text += told;
        failure.exit = failure.exit == CliExit::Usage ? CliExit::Failed : failure.exit;
    }
    return failure;
}

void CliView::Collect(const CLI::App& options, const std::string& name) {
    for (const CLI::Option* const option : SavedOptions(options)) {
        if (option->empty()) {
            continue;
        }
        const std::string key = KeyOf(*option);
        CliViewValue value;
        value.kind = KindOf(*option);
        for (const std::string& text : option->results()) {
            const std::vector<std::string> texts =
                IsCommaList(*option) ? Elements(text) : std::vector<std::string>{text};
            std::copy_if(texts.begin(), texts.end(), std::back_inserter(value.texts),
                         [option](const std::string& each) {
                             return !IsCommaList(*option) || !Trimmed(each).empty();
                         });
        }
        const CliViewValue* const before = InForce(name, key);
        value.isPath = IsPath(*option);
        value.isRelative =
            value.isPath && value.texts.front() != "-" &&
            (std::filesystem::path(value.texts.front()).is_relative() ||
             (before != nullptr && before->isRelative && before->texts == value.texts));
        Set(name, key, std::move(value));
    }
}

/// A shared key that the view has in the command's own object stays there.
void CliView::Set(const std::string& name, const std::string& key, CliViewValue value) {
    const bool isOwn = !IsShared(*program_, key) || file_.Find(name, key) != nullptr;
    file_.Set(isOwn ? name : "", key, std::move(value));
}

CliResult<> CliView::UseFiles(CliFilesInUse& files) const {
    CliResult<> used = path_.empty() ? CliResult<>() : files.Read("--view", path_);
    if (!used || !IsSaved()) {
        return used;
    }
    if (used = files.Write("--save-view", saved_, /*replaced=*/"--view"); !used) {
        return used;
    }
    EReportFile file;
    std::string error;
    return file.Open(saved_, error) ? CliResult<>() : CliFailure{CliExit::Failed, error};
}

CliResult<> CliView::Save() const {
    const CliResult<std::string> text = WriteViewFile(file_, Path());
    if (!text) {
        return text.Failure();
    }
    EReportFile file;
    std::string error;
    if (!file.Open(Path(), error)) {
        return CliFailure{CliExit::Failed, error};
    }
    file.Append(*text);
    return file.Commit(error) ? CliResult<>() : CliFailure{CliExit::Failed, error};
}

}  // namespace etabulon
