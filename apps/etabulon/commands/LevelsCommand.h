#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliOptions.h"

namespace etabulon {

class CliDictionary;
class CliTable;

/// `etabulon levels`: the tables of a source, or the columns of a table, which can be levels.
class LevelsCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "levels"; }
    [[nodiscard]] const char* Description() const override {
        return "List the tables of a source, or the columns and links of a table";
    }
    void Declare(CLI::App& app) override;
    [[nodiscard]] CliResult<> Run(CliEnvironment& environment) override;

private:
    /// The tables of a folder, each of which is read in its turn.
    [[nodiscard]] CliResult<> ListFolder(CliEnvironment& environment) const;
    [[nodiscard]] static CliResult<> ListTables(const CliDictionary& dictionary,
                                                EReportWriter& writer);
    [[nodiscard]] static CliResult<> ListVariables(const CliTable& table, EReportWriter& writer);

    CliSourceOptions source_;
    CliOutputOptions output_;
};

}  // namespace etabulon
