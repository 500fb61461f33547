#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

struct CliEnvironment;

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
    [[nodiscard]] virtual CliResult<> Run(CliEnvironment& environment) = 0;
};

}  // namespace etabulon
