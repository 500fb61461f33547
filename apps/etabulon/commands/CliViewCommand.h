#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliOptions.h"

namespace etabulon {

class CliDictionary;
class ETabulonPendingChanges;
struct CliWalkContext;
struct ESqlTableInfo;

/// A command that shows what is in a table: by itself as it is, or as it would be with edits.
class CliViewCommand : public CliCommand {
public:
    void Declare(CLI::App& app) final;
    [[nodiscard]] bool Run(CliEnvironment& environment, CliFailure& failure) final;

    /// Its options but SOURCE and TABLE.
    virtual void DeclareView(CLI::App& app) = 0;
    /// What is to be done before the source is opened.
    [[nodiscard]] virtual bool Prepare(const CliEnvironment& /*environment*/,
                                       CliFailure& /*failure*/) const {
        return true;
    }
    /// Shows a table, with these edits on it unless they are null. Their levels must be the first
    /// of those that --levels gives.
    [[nodiscard]] bool ShowTable(CliEnvironment& environment, const CliDictionary& dictionary,
                                 const ESqlTableInfo& table, const ETabulonPendingChanges* changes,
                                 CliFailure& failure);

protected:
    [[nodiscard]] virtual bool Show(CliEnvironment& environment, const CliWalkContext& context,
                                    CliFailure& failure) = 0;
    void DeclareOutput(CLI::App& app);
    [[nodiscard]] const CliOutputOptions& Output() const noexcept { return output_; }

private:
    CliSourceOptions source_;
    CliOutputOptions output_;
};

}  // namespace etabulon
