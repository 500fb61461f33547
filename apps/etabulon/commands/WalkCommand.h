#pragma once

#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/views/CliRecords.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstddef>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon walk`: the records below a place, each with its levels, its key and its values.
class WalkCommand final : public CliViewCommand {
public:
    [[nodiscard]] const char* Name() const override { return "walk"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the records of a table with their places in the levels";
    }
    void DeclareView(CLI::App& app) override;
    [[nodiscard]] CliResult<> Prepare(const CliEnvironment& environment) const override {
        return locale_.Install(environment);
    }

protected:
    [[nodiscard]] CliResult<> Show(CliEnvironment& environment,
                                   const CliWalkContext& context) override;

    [[nodiscard]] const CliLevelOptions& LevelOptions() const noexcept override { return levels_; }

private:
    /// The columns to print, and where among them the number of the record stands.
    struct Values {
        std::vector<CliVariable> variables;
        std::vector<std::size_t> rowNumbers;
    };
    [[nodiscard]] CliResult<Values> FindValues(const CliLevels& levels) const;

    [[nodiscard]] CliResult<std::vector<CliRecordKey>> FindOrder(const CliTable& table) const;

    CliLevelOptions levels_;
    CliLocaleOptions locale_;
    std::vector<std::string> sort_;
    std::vector<std::string> columns_;
};

}  // namespace etabulon
