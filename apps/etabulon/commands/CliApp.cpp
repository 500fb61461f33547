#include "apps/etabulon/commands/CliApp.h"

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/commands/CliHelp.h"
#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliFiles.h"
#include "apps/etabulon/request/CliSuggest.h"
#include "apps/etabulon/request/CliView.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "etabulon/report/EReportFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>
#include <system_error>

namespace etabulon {
namespace {

CliExit Tell(const CliFailure& failure) {
    if (!failure.text.empty()) {
        TellUser(failure.text);
    }
    return failure.exit;
}

/// Reports an exception on stderr without allocating memory.
CliExit TellException(const std::exception& error) noexcept {
    const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
    WriteError("etabulon: ");
    WriteError(isMemory ? "there isn't enough memory" : error.what());
    WriteError("\n");
    return CliExit::Failed;
}

bool HasStyle() {
    const char* const terminal = std::getenv("TERM");
    const char* const noColour = std::getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

/// The columns of the terminal that stdout is: what COLUMNS says, or else the terminal; 0 if
/// neither tells.
std::size_t OutputColumns() {
    if (const char* const text = std::getenv("COLUMNS"); text != nullptr) {
        const std::string_view digits = text;
        std::size_t columns = 0;
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), columns);
        if (read.ec == std::errc() && read.ptr == digits.data() + digits.size() && columns != 0) {
            return columns;
        }
    }
    struct winsize size {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

/// Puts the file of --output into its place, and reports why that can't be.
CliExit EndFile(CliOutput& output, EReportFile& file, CliInterrupt& interrupt) {
    if (output.IsBroken()) {
        file.Fail(output.Reason());
    } else if (!interrupt.BeginCommit()) {
        return Tell({interrupt.Exit(), std::string(kFileLeft)});
    }
    if (std::string error; !file.Commit(error)) {
        return Tell({CliExit::Failed, error});
    }
    return CliExit::Done;
}

void TellNotes(const CliOutput& output) {
    for (const std::string& note : output.Notes()) {
        TellUser(note);
    }
}

/// Writes the rest of the output and reports a failed write, whether the command succeeded or not.
CliExit EndOutput(CliOutput& output, CliExit exit) {
    // A failed command may have left an unfinished line, which is dropped.
    exit == CliExit::Done ? output.Finish() : output.Flush();
    // A reader that closes its pipe early isn't a failure.
    if (!output.IsBroken() || output.IsUnread()) {
        TellNotes(output);
        return exit;
    }
    const CliExit broken = exit == CliExit::Done ? CliExit::Failed : exit;
    return Tell({broken, fmt::format("the output can't be written: {}", output.Reason())});
}

/// Reads the view that the command line names, and runs the command.
CliResult<> RunWithView(CliCommand& command, const CLI::App& program, CliEnvironment& environment) {
    CliResult<> done =
        environment.view.Begin(program, *program.get_subcommand(command.Name()), environment.files);
    if (!done) {
        return done;
    }
    done = command.Run(environment);
    return done ? done : environment.view.Explain(done.Failure());
}

CliExit RunCommand(CliCommand& command, const CLI::App& program, CliView& view,
                   CliInstallLocale installLocale) {
    CliOutput output(STDOUT_FILENO);
    CliInterrupt interrupt(output, command.Saves());
    EReportFile file;
    CliFilesInUse files;
    CliEnvironment environment{output, interrupt, file, view, files};
    environment.isOutputTerminal = isatty(STDOUT_FILENO) == 1;
    environment.isErrorTerminal = isatty(STDERR_FILENO) == 1;
    if (environment.isErrorTerminal) {
        output.TakeRemarks();
    }
    environment.hasStyle = environment.isOutputTerminal && HasStyle();
    environment.outputColumns = environment.isOutputTerminal ? OutputColumns() : 0;
    environment.installLocale = installLocale;
    CliExit exit = CliExit::Done;
    try {
        if (const CliResult<> done = RunWithView(command, program, environment); !done) {
            output.Flush();
            exit = Tell(done.Failure());
        }
    } catch (const std::exception& error) {
        exit = TellException(error);
    }
    if (!output.IsFile()) {
        return EndOutput(output, exit);
    }
    if (exit == CliExit::Done) {
        output.Finish();
        exit = EndFile(output, file, interrupt);
    } else if (exit == CliExit::Cancelled) {
        TellUser(kFileLeft);
    }
    if (exit == CliExit::Done) {
        TellNotes(output);
    }
    return exit;
}

/// Writes the file of --save-view, once all else has succeeded.
CliExit SaveView(const CliView& view) {
    const CliResult<> saved = view.Save();
    return saved ? CliExit::Done : Tell(saved.Failure());
}

/// What is said of arguments that a command doesn't take: the first option among them, or else the
/// first one.
std::string Unexpected(const CLI::App& command, const std::vector<std::string>& rest) {
    const auto option = std::find_if(rest.begin(), rest.end(), [](const std::string& each) {
        return each.size() > 1 && each.starts_with("-");
    });
    if (option == rest.end()) {
        return fmt::format("{} isn't expected: there is a value too many", Quoted(rest.front()));
    }
    const std::string name = option->substr(0, option->find('='));
    std::vector<std::string> names;
    for (const CLI::Option* const each : command.get_options()) {
        for (const std::string& known : each->get_lnames()) {
            names.push_back("--" + known);
        }
    }
    return fmt::format("there is no option {}{}", Quoted(name), DidYouMean(name, names));
}

/// Ends a command line that the parser has thrown for: a request for help, or a mistake.
CliExit EndParse(const CLI::App& app, const std::vector<std::unique_ptr<CliCommand>>& commands,
                 const CLI::ParseError& error) {
    const CLI::App* spoken = &app;
    std::string called = "etabulon";
    for (const auto& command : commands) {
        if (const CLI::App* const sub = app.get_subcommand(command->Name()); sub->parsed()) {
            spoken = sub;
            called = fmt::format("etabulon {}", command->Name());
        }
    }
    if (const std::vector<std::string> rest = app.remaining(); spoken == &app && !rest.empty()) {
        std::vector<std::string> names;
        for (const auto& command : commands) {
            names.emplace_back(command->Name());
        }
        return Tell({CliExit::Usage, fmt::format("there is no command {}{}", Quoted(rest.front()),
                                                 WhatThereIs(rest.front(), names))});
    }
    if (const std::vector<std::string> rest = spoken->remaining(); !rest.empty()) {
        return Tell(
            {CliExit::Usage, fmt::format("{} (see {} --help)", Unexpected(*spoken, rest), called)});
    }
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
        return Tell({CliExit::Usage, fmt::format("{} (see {} --help)", error.what(), called)});
    }
    CliOutput output(STDOUT_FILENO);
    const bool isVersion = dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr;
    output.Append(isVersion ? fmt::format("{}\n", error.what())
                            : spoken->help(spoken == &app ? "" : "etabulon"));
    return EndOutput(output, CliExit::Done);
}

/// The arguments for the parser. `--at=` is passed with an empty text: the parser would take the
/// next argument for it.
std::vector<std::string> Arguments(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    bool areOptionsOver = false;
    for (int index = 1; index < argc; ++index) {
        std::string argument = argv[index];
        areOptionsOver = areOptionsOver || argument == "--";
        const bool isEmptied = !areOptionsOver && argument.size() > 3 &&
                               argument.starts_with("--") && argument.back() == '=';
        if (isEmptied) {
            argument.pop_back();
        }
        arguments.push_back(std::move(argument));
        if (isEmptied) {
            arguments.emplace_back();
        }
    }
    return arguments;
}

/// Lets the named command take out the arguments that the parser must not see.
void LetTake(std::vector<std::string>& arguments,
             const std::vector<std::unique_ptr<CliCommand>>& commands) {
    for (const auto& command : commands) {
        if (!arguments.empty() && arguments.front() == command->Name()) {
            std::vector<std::string> own(arguments.begin() + 1, arguments.end());
            command->TakeArguments(own);
            arguments.resize(1);
            arguments.insert(arguments.end(), own.begin(), own.end());
            return;
        }
    }
}

CliExit ParseAndRun(int argc, const char* const* argv, CliInstallLocale installLocale) {
    CLI::App app;
    const std::vector<std::unique_ptr<CliCommand>> commands = MakeCommands();
    CliView view;
    DeclareProgram(app, commands, view);
    try {
        std::vector<std::string> arguments = Arguments(argc, argv);
        LetTake(arguments, commands);
        // The parser expects the last argument first.
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        return EndParse(app, commands, error);
    }
    for (const auto& command : commands) {
        if (app.got_subcommand(command->Name())) {
            const CliExit exit = RunCommand(*command, app, view, installLocale);
            return exit == CliExit::Done && view.IsSaved() ? SaveView(view) : exit;
        }
    }
    return CliExit::Usage;
}

}  // namespace

int RunEtabulon(int argc, const char* const* argv, CliInstallLocale installLocale) {
    HoldStandardDescriptors();
    // With SIGPIPE ignored, a closed pipe is reported as EPIPE, and the command ends in order.
    signal(SIGPIPE, SIG_IGN);
    try {
        return static_cast<int>(ParseAndRun(argc, argv, installLocale));
    } catch (const std::exception& error) {
        return static_cast<int>(TellException(error));
    }
}

}  // namespace etabulon
