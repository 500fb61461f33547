#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliLimit.h"
#include "apps/etabulon/request/CliOptions.h"

#include <algorithm>
#include <span>

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
    [[nodiscard]] CliResult<> ListTables(const CliEnvironment& environment,
                                         const CliDictionary& dictionary,
                                         EReportWriter& writer) const;
    [[nodiscard]] CliResult<> ListVariables(const CliEnvironment& environment,
                                            const CliTable& table, EReportWriter& writer) const;
    /// Those that --limit leaves; the output tells of the others.
    template <class Listed>
    [[nodiscard]] std::span<Listed> FirstOf(std::span<Listed> all, const char* noun,
                                            CliOutput& output) const {
        const auto first = all.first(std::min<std::uint64_t>(all.size(), limit_.Most()));
        NoteLimit(output, first.size(), all.size(), noun);
        return first;
    }

    CliSourceOptions source_;
    CliOutputOptions output_;
    CliLimit limit_;
    bool explains_ = false;
};

}  // namespace etabulon
