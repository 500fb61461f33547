#include "apps/etabulon/commands/CliSortedCommand.h"

#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace etabulon {

void ExplainCalculations(const CliCalculations& calculations, CliExplanation& explanation) {
    for (const CliCalculation& calculation : calculations.all) {
        const std::string_view name = calculation.shown;
        const bool isDistinct = name.starts_with("DISTINCT(");
        const bool isQuantile =
            name.starts_with("MEDIAN(") || (name.starts_with('P') && name.find('(') <= 3);
        if (isDistinct || isQuantile) {
            explanation.Keeps(fmt::format("{}: each{} value, about {} bytes", name,
                                          isDistinct ? " different" : "", isDistinct ? 90 : 30));
        }
    }
}

void CliResultCommand::ExplainResults(const CliWalkContext& context,
                                      const CliResultRequest& request, bool drills) {
    if (context.explanation == nullptr) {
        return;
    }
    constexpr std::size_t kCell = 250;
    context.explanation->Keeps(fmt::format("each cell and total that has records, about {} bytes",
                                           kCell * request.calculations.all.size()));
    ExplainCalculations(request.calculations, *context.explanation);
    if (drills) {
        context.explanation->WalksAgain("after it one of the records behind --drill");
    }
}

void CliResultCommand::DeclareCalculations(CLI::App& app, const std::string& description) {
    AddList(app, "--calc", calculations_, description);
}

CliResult<CliCalculations> CliResultCommand::ReadCalculations(const CliTable& table) const {
    const std::string listed = JoinLists(calculations_);
    return listed.empty() ? CliCalculations() : MakeCalculations(table, listed);
}

CliResult<CliResultRequest> CliResultCommand::ReadRequest(const CliTable& table,
                                                          std::string_view named,
                                                          std::string_view option) const {
    CliResult<CliCalculations> calculations = MakeCalculations(table, JoinLists(calculations_));
    if (!calculations) {
        return calculations.Failure();
    }
    CliResult<CliResultLevels> levels = Sort().Read(table, named, option);
    if (!levels) {
        return levels.Failure();
    }
    return CliResultRequest{std::move(*levels), std::move(*calculations)};
}

}  // namespace etabulon
