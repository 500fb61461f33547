#include "apps/etabulon/commands/ScoreCommand.h"

#include "apps/etabulon/walk/CliBystander.h"
#include "etabulon/score/ETabulonScoreFiller.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {

void ScoreCommand::DeclareView(CLI::App& app) {
    AddList(app, "--level", level_,
            "What is ranked: a level, or several whose values together make a line; without it "
            "those of --levels that aren't in --at");
    DeclareCalculations(app,
                        "What to rank by: FUNCTION:column, separated by commas; the first decides, "
                        "the others among equals");
    DeclareSort(app);
    app.add_option("--depth", depth_,
                   "Rank by this many of the levels; without it by all of --level, or one")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    app.add_option("--top", top_, "Print this many lines of the ranking, and the total of all")
        ->check(CLI::NonNegativeNumber)
        ->type_name("N");
    DeclareOutput(app);
    app.footer(
        "The largest comes first; lines of values that differ, then those without a value, "
        "come last. Of equal lines the last in the order of the labels comes first (--reverse "
        "turns it).\n"
        "Functions and levels are written as for grid. The total is that of all records, "
        "--top or not.");
}

CliResult<std::size_t> ScoreCommand::ReadDepth(const CliResultRequest& request) const {
    const std::size_t count = request.levels.details.size();
    if (count == 0) {
        return CliFailure{CliExit::Usage, "there is no level to rank: --level is missing"};
    }
    const std::size_t depth =
        depth_.value_or(JoinLists(level_).empty() ? 1 : static_cast<std::uint32_t>(count));
    if (depth > count) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("--depth is {}, but there {} to rank", depth,
                        count == 1 ? "is one level" : fmt::format("are {} levels", count))};
    }
    return depth;
}

CliResult<CliRanking> ScoreCommand::Rank(const CliWalkContext& context,
                                         const CliResultRequest& request, std::size_t depth) const {
    const CliResultLevels& levels = request.levels;
    CliCursor cursor(context.interrupt);
    const CliResult<> opened =
        OpenCursor(context, levels.levels.levels, request.calculations.Variables(), cursor);
    if (!opened) {
        return opened.Failure();
    }
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    const auto filler = ETabulonScoreFiller::Make(&cursor.Seen(), nullptr);
    filler->SetParams(&request.calculations.collection, &sort, static_cast<unsigned int>(depth));
    cursor.Seen().AddNotifier(filler.Get());
    CliBystander listener;
    if (const CliResult<> walked = Walk(context, cursor, levels.place, listener); !walked) {
        return walked.Failure();
    }
    if (!listener.HasRecords() && !levels.place.IsRoot()) {
        return ExplainNothingThere(context, levels.levels, levels.place);
    }
    CliRanking ranking;
    ranking.SetColumns(levels, depth, request.calculations);
    constexpr auto kNoLimit = static_cast<std::uint64_t>(-1);
    CliScoreView view(levels, depth, top_ ? static_cast<std::uint64_t>(*top_) : kNoLimit, ranking);
    filler->SendTo(&view);
    return ranking;
}

CliResult<> ScoreCommand::Show(CliEnvironment& environment, const CliWalkContext& context) {
    const CliResult<CliResultRequest> request =
        ReadRequest(context.table, JoinLists(level_), "--level");
    if (!request) {
        return request.Failure();
    }
    const CliResult<std::size_t> depth = ReadDepth(*request);
    if (!depth) {
        return depth.Failure();
    }
    const CliResult<CliRanking> ranking = Rank(context, *request, *depth);
    if (!ranking) {
        return ranking.Failure();
    }
    PrintRanking(Output().Printing(environment), *ranking);
    return {};
}

}  // namespace etabulon
