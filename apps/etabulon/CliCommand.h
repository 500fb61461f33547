#pragma once

#include "apps/etabulon/CliFailure.h"

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

class CliInterrupt;
class CliOutput;

/// Makes a locale's order that of all texts; false with the reason.
using CliInstallLocale = bool (*)(const char* locale, std::string& error);

/// What the program lends a command.
struct CliEnvironment {
    CliOutput& output;  // stdout
    CliInterrupt& interrupt;
    bool isOutputTerminal = false;
    bool isErrorTerminal = false;
    bool hasStyle = false;                     // what is written to stdout may be coloured
    CliInstallLocale installLocale = nullptr;  // null without ICU
};

/// One command: a file pair XCommand.h and XCommand.cpp, and a line in CliHelp.cpp.
class CliCommand {
public:
    CliCommand() = default;
    CliCommand(const CliCommand&) = delete;
    CliCommand& operator=(const CliCommand&) = delete;
    virtual ~CliCommand() = default;

    [[nodiscard]] virtual const char* Name() const = 0;
    [[nodiscard]] virtual const char* Description() const = 0;
    /// Declares the options, which are stored in this.
    virtual void Declare(CLI::App& app) = 0;
    /// Takes out what the parser isn't to see. `arguments` are those behind the command's name.
    virtual void TakeArguments(std::vector<std::string>& /*arguments*/) {}
    /// It is asked to write into the database. Requires that the command line was read.
    [[nodiscard]] virtual bool Saves() const { return false; }
    /// False with `failure`.
    [[nodiscard]] virtual bool Run(CliEnvironment& environment, CliFailure& failure) = 0;
};

}  // namespace etabulon
