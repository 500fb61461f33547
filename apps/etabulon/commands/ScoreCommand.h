#pragma once

#include "apps/etabulon/commands/CliSortedCommand.h"
#include "apps/etabulon/views/CliRanking.h"
#include "apps/etabulon/walk/CliWalk.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/foundation/ERef.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

class ETabulonScoreFiller;

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
    /// How the lines are arranged, and which calculations have shares.
    struct Arrangement {
        ECrossOrder order;
        std::vector<unsigned int> shares;
    };
    [[nodiscard]] CliResult<Arrangement> Arrange(const CliTable& table,
                                                 const CliResultRequest& request,
                                                 std::size_t depth) const;
    /// Walks the table and fills a score. `cursor` must outlive it.
    [[nodiscard]] CliResult<ERef<ETabulonScoreFiller>> Calculate(const CliWalkContext& context,
                                                                 const CliResultRequest& request,
                                                                 std::size_t depth,
                                                                 CliCursor& cursor) const;
    [[nodiscard]] CliResult<> Drill(const CliEnvironment& environment,
                                    const CliWalkContext& context, const CliResultRequest& request,
                                    std::size_t depth, const ECrossTable& table) const;

    std::vector<std::string> level_;
    std::optional<std::uint32_t> depth_;
    std::optional<std::int64_t> top_;
    std::vector<std::string> sort_;
    std::vector<std::string> share_;
    bool others_ = false;
    std::optional<std::string> drill_;
};

}  // namespace etabulon
