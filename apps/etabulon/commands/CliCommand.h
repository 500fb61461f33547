#pragma once

#include "apps/etabulon/request/CliResult.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace etabulon {

struct CliEnvironment;

/// A command: a file pair XCommand.h and XCommand.cpp, and a line in CliHelp.cpp.
class CliCommand {
public:
    CliCommand() = default;
    CliCommand(const CliCommand&) = delete;
    CliCommand& operator=(const CliCommand&) = delete;
    virtual ~CliCommand() = default;

    [[nodiscard]] virtual const char* Name() const = 0;
    [[nodiscard]] virtual const char* Description() const = 0;
    /// Declares the options. The parser stores their values in this object.
    virtual void Declare(CLI::App& app) = 0;
    /// Takes out arguments that the parser must not see, of those behind the command's name.
    virtual void TakeArguments(std::vector<std::string>& /*arguments*/) {}
    /// The user asks it to write into the database. Requires that the command line was read.
    [[nodiscard]] virtual bool Saves() const { return false; }
    [[nodiscard]] virtual CliResult<> Run(CliEnvironment& environment) = 0;
};

}  // namespace etabulon
