#include "apps/etabulon/commands/ScoreCommand.h"

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/score/ETabulonScoreFiller.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {
namespace {

/// Hears each record until the walk ends, for a filler that listens beside it.
class CountingListener final : public CliListener {
public:
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override {
        hasRecords_ = true;
        return StatusOk;
    }
    [[nodiscard]] bool HasRecords() const noexcept { return hasRecords_; }

private:
    bool hasRecords_ = false;
};

}  // namespace

void ScoreCommand::DeclareView(CLI::App& app) {
    AddList(app, "--level", level_,
            "What is ranked: a level, or several whose values together make a line; without it "
            "those of --levels that aren't in --at");
    AddList(app, "--calc", calculations_,
            "What to rank by: FUNCTION:column, separated by commas; the first decides, the others "
            "among equals");
    sort_.Declare(app);
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

bool ScoreCommand::Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                        Request& request, CliFailure& failure) const {
    const std::string named = JoinLists(level_);
    if (!MakeCalculations(dictionary, table, JoinLists(calculations_), request.calculations,
                          failure) ||
        !sort_.Read(dictionary, table, named, "--level", request.levels, failure)) {
        return false;
    }
    const std::size_t count = request.levels.details.size();
    if (count == 0) {
        return failure.Set(CliExit::Usage, "there is no level to rank: --level is missing");
    }
    request.depth = depth_.value_or(named.empty() ? 1 : static_cast<std::uint32_t>(count));
    if (request.depth > count) {
        return failure.Set(
            CliExit::Usage,
            fmt::format("--depth is {}, but there {} to rank", request.depth,
                        count == 1 ? "is one level" : fmt::format("are {} levels", count)));
    }
    return true;
}

bool ScoreCommand::Calculate(const CliWalkContext& context, const Request& request,
                             CliRanking& ranking, CliFailure& failure) const {
    const CliResultLevels& levels = request.levels;
    CliCursor cursor(context.interrupt);
    if (!OpenCursor(context, levels.levels.levels, VariablesOf(request.calculations), cursor,
                    failure)) {
        return false;
    }
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    const auto filler =
        ERef<ETabulonScoreFiller>::Adopt(ETabulonScoreFiller::Build(&cursor.Seen(), nullptr));
    filler->SetParams(&request.calculations.collection, &sort,
                      static_cast<unsigned int>(request.depth));
    cursor.Seen().AddNotifier(filler.Get());
    CountingListener listener;
    if (!Walk(context, cursor, levels.place, listener, failure)) {
        return false;
    }
    if (!listener.HasRecords() && !levels.place.IsRoot()) {
        ExplainNothingThere(context, levels.levels, levels.place, failure);
        return false;
    }
    constexpr auto kNoLimit = static_cast<std::uint64_t>(-1);
    CliScoreView view(levels, request.depth, top_ ? static_cast<std::uint64_t>(*top_) : kNoLimit,
                      ranking);
    filler->SendTo(&view);
    return true;
}

bool ScoreCommand::Prepare(const CliEnvironment& environment, CliFailure& failure) const {
    return sort_.Install(environment, failure);
}

bool ScoreCommand::Show(CliEnvironment& environment, const CliWalkContext& context,
                        CliFailure& failure) {
    Request request;
    if (!Read(context.dictionary, context.table, request, failure)) {
        return false;
    }
    CliRanking ranking;
    if (!Calculate(context, request, ranking, failure)) {
        return false;
    }
    PrintRanking(Output().Format(environment), ranking, request.levels, request.depth,
                 request.calculations, environment.output, environment.hasStyle);
    return true;
}

}  // namespace etabulon
