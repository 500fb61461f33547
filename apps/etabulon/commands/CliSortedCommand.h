#pragma once

#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliSortOptions.h"

#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

class CliExplanation;

/// A command whose output is sorted by levels: tree, grid and score.
class CliSortedCommand : public CliViewCommand {
public:
    [[nodiscard]] CliResult<> Prepare(const CliEnvironment& environment) const override {
        return sort_.Install(environment);
    }

protected:
    void DeclareSort(CLI::App& app) { sort_.Declare(app); }
    [[nodiscard]] const CliSortOptions& Sort() const noexcept { return sort_; }
    [[nodiscard]] const CliLevelOptions& LevelOptions() const noexcept override {
        return sort_.Levels();
    }

private:
    CliSortOptions sort_;
};

/// The levels and calculations that a grid or a score is made of.
struct CliResultRequest {
    CliResultLevels levels;
    CliCalculations calculations;
};

/// Tells which values calculations keep in memory.
void ExplainCalculations(const CliCalculations& calculations, CliExplanation& explanation);

/// A command that calculates: grid, score and tree.
class CliResultCommand : public CliSortedCommand {
protected:
    /// Declares --calc with the command's own description.
    void DeclareCalculations(CLI::App& app, const std::string& description);
    /// What --calc lists; none without it.
    [[nodiscard]] bool HasCalculations() const noexcept { return !calculations_.empty(); }
    [[nodiscard]] CliResult<CliCalculations> ReadCalculations(const CliTable& table) const;
    /// Tells what a result keeps in memory, if the command explains.
    static void ExplainResults(const CliWalkContext& context, const CliResultRequest& request,
                               bool drills);
    /// Reads the options for a table. `named` is the list of levels that `option` was given.
    [[nodiscard]] CliResult<CliResultRequest> ReadRequest(const CliTable& table,
                                                          std::string_view named,
                                                          std::string_view option) const;

private:
    std::vector<std::string> calculations_;
};

}  // namespace etabulon
