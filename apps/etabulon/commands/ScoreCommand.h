#pragma once

#include "apps/etabulon/commands/CliViewCommand.h"
#include "apps/etabulon/request/CliCalculations.h"
#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSortOptions.h"
#include "apps/etabulon/views/CliRanking.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace etabulon {

/// `etabulon score`: the values of levels in the order of what calculations give for them.
class ScoreCommand final : public CliViewCommand {
public:
    [[nodiscard]] const char* Name() const override { return "score"; }
    [[nodiscard]] const char* Description() const override {
        return "Print the values of a level ranked by calculations, the largest first";
    }
    void DeclareView(CLI::App& app) override;

protected:
    [[nodiscard]] bool Prepare(const CliEnvironment& environment,
                               CliFailure& failure) const override;
    [[nodiscard]] bool Show(CliEnvironment& environment, const CliWalkContext& context,
                            CliFailure& failure) override;

private:
    /// What the options say about a table.
    struct Request {
        CliResultLevels levels;
        CliCalculations calculations;
        std::size_t depth = 0;
    };
    [[nodiscard]] bool Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                            Request& request, CliFailure& failure) const;
    [[nodiscard]] bool Calculate(const CliWalkContext& context, const Request& request,
                                 CliRanking& ranking, CliFailure& failure) const;

    std::vector<std::string> level_;
    std::vector<std::string> calculations_;
    CliSortOptions sort_;
    std::optional<std::uint32_t> depth_;
    std::optional<std::int64_t> top_;
};

}  // namespace etabulon
