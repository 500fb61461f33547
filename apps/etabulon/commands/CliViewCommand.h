#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliOptions.h"

namespace etabulon {

class CliTable;
class ETabulonPendingChanges;
struct CliWalkContext;

/// A command that shows what is in a table: by itself as it is, or as it would be with edits.
class CliViewCommand : public CliCommand {
public:
    void Declare(CLI::App& app) final;
    [[nodiscard]] CliResult<> Run(CliEnvironment& environment) final;

    /// Its options but SOURCE and TABLE.
    virtual void DeclareView(CLI::App& app) = 0;
    /// What is to be done before the source is opened.
    [[nodiscard]] virtual CliResult<> Prepare(const CliEnvironment& /*environment*/) const {
        return {};
    }
    /// Shows a table, with these edits on it unless they are null. Their levels must be the first
    /// of those that --levels gives.
    [[nodiscard]] CliResult<> ShowTable(CliEnvironment& environment, const CliTable& table,
                                        const ETabulonPendingChanges* changes);

protected:
    [[nodiscard]] virtual CliResult<> Show(CliEnvironment& environment,
                                           const CliWalkContext& context) = 0;
    void DeclareOutput(CLI::App& app);
    [[nodiscard]] const CliOutputOptions& Output() const noexcept { return output_; }

private:
    CliSourceOptions source_;
    CliOutputOptions output_;
};

}  // namespace etabulon
