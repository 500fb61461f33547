#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "etabulon/sql/fwd.h"

namespace etabulon {

class CliDictionary;

/// `etabulon levels`: the tables of a source, or what of a table can be a level.
class LevelsCommand final : public CliCommand {
public:
    [[nodiscard]] const char* Name() const override { return "levels"; }
    [[nodiscard]] const char* Description() const override {
        return "List the tables of a source, or the columns and links of a table";
    }
    void Declare(CLI::App& app) override;
    [[nodiscard]] bool Run(CliEnvironment& environment, CliFailure& failure) override;

private:
    [[nodiscard]] static bool ListTables(const CliDictionary& dictionary, CliWriter& writer,
                                         CliFailure& failure);
    [[nodiscard]] static bool ListVariables(const CliDictionary& dictionary,
                                            const ESqlTableInfo& table, CliWriter& writer,
                                            CliFailure& failure);

    CliSourceOptions source_;
    CliOutputOptions output_;
};

}  // namespace etabulon
