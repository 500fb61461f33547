#include "apps/etabulon/ScoreCommand.h"

#include "apps/etabulon/CliOutput.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/sqlite/ESqliteSource.h"

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

void ScoreCommand::Declare(CLI::App& app) {
    source_.Declare(app);
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
    output_.DeclareFormat(app);
    output_.DeclareProgress(app);
    app.footer(
        "The largest comes first; lines of values that differ, then those without a value, come "
        "last.\nOf equal lines the last in the order of the labels comes first (--reverse turns "
        "it).\nFunctions and levels are written as for grid. The total is that of all records, "
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
        ERef<ETabulonScoreFiller>::Adopt(ETabulonScoreFiller::Build(&cursor, nullptr));
    filler->SetParams(&request.calculations.collection, &sort,
                      static_cast<unsigned int>(request.depth));
    cursor.AddNotifier(filler.Get());
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

bool ScoreCommand::Run(CliEnvironment& environment, CliFailure& failure) {
    if (!sort_.Install(environment, failure)) {
        return false;
    }
    const std::unique_ptr<ESqliteSource> source = source_.Open(failure);
    if (source == nullptr) {
        return false;
    }
    const CliDictionary dictionary(*source);
    const ESqlTableInfo* const table = dictionary.FindTable(source_.table, failure);
    Request request;
    if (table == nullptr || !Read(dictionary, *table, request, failure)) {
        return false;
    }
    const CliWalkContext context{dictionary, *table, environment.interrupt,
                                 output_.ShowsProgress(environment)};
    CliRanking ranking;
    if (!Calculate(context, request, ranking, failure)) {
        return false;
    }
    PrintRanking(output_.Format(environment), ranking, request.levels, request.depth,
                 request.calculations, environment.output, environment.hasStyle);
    return true;
}

}  // namespace etabulon
