#pragma once

#include "apps/etabulon/commands/CliCommand.h"
#include "apps/etabulon/request/CliLimit.h"
#include "apps/etabulon/request/CliOptions.h"

namespace etabulon {

class CliTable;
class ETabulonPendingChanges;
struct CliWalkContext;

/// A command that shows a table: as it is, or for the edit command as it would be with edits.
class CliViewCommand : public CliCommand {
public:
    void Declare(CLI::App& app) final;
    [[nodiscard]] CliResult<> Run(CliEnvironment& environment) final;

    /// Declares the options except SOURCE and TABLE.
    virtual void DeclareView(CLI::App& app) = 0;
    /// Checks and installs options before the source is opened.
    [[nodiscard]] virtual CliResult<> Prepare(const CliEnvironment& /*environment*/) const {
        return {};
    }
    /// Opens what the options name as the output.
    [[nodiscard]] CliResult<> OpenOutput(CliEnvironment& environment) const {
        return explains_ ? CliResult<>() : output_.Open(environment);
    }
    /// Shows a table, with the edits applied unless `changes` is null. The levels of the edits must
    /// be the first ones in --levels.
    [[nodiscard]] CliResult<> ShowTable(CliEnvironment& environment, const CliTable& table,
                                        const ETabulonPendingChanges* changes);

protected:
    [[nodiscard]] virtual CliResult<> Show(CliEnvironment& environment,
                                           const CliWalkContext& context) = 0;
    /// The options that say which records are shown.
    [[nodiscard]] virtual const CliLevelOptions& LevelOptions() const noexcept = 0;
    void DeclareOutput(CLI::App& app, bool hasPictures = false);
    void DeclareBars(CLI::App& app, const std::string& description) {
        output_.DeclareBars(app, description);
    }
    [[nodiscard]] const CliOutputOptions& Output() const noexcept { return output_; }
    void DeclareLimit(CLI::App& app, const std::string& description) {
        limit_.Declare(app, description);
    }
    [[nodiscard]] const CliLimit& Limit() const noexcept { return limit_; }

private:
    CliLimit limit_;
    bool explains_ = false;
    CliSourceOptions source_;
    CliOutputOptions output_;
};

}  // namespace etabulon
