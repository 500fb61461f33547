#pragma once

#include "apps/etabulon/commands/CliSortedCommand.h"
#include "apps/etabulon/views/CliRanking.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon score`: the values of levels, ranked by calculations.
class ScoreCommand final : public CliResultCommand {
public:
    [[nodiscard]] const char* Name() const override { return "score"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the values of a level ranked by calculations, the largest first";
    }
    void DeclareView(CLI::App& app) override;

protected:
    [[nodiscard]] CliResult<> Show(CliEnvironment& environment,
                                   const CliWalkContext& context) override;

private:
    /// The number of the request's levels that are ranked.
    [[nodiscard]] CliResult<std::size_t> ReadDepth(const CliResultRequest& request) const;
    [[nodiscard]] CliResult<CliRanking> Rank(const CliWalkContext& context,
                                             const CliResultRequest& request,
                                             std::size_t depth) const;

    std::vector<std::string> level_;
    std::optional<std::uint32_t> depth_;
    std::optional<std::int64_t> top_;
};

}  // namespace etabulon
