#include "apps/etabulon/commands/ScoreCommand.h"

#include "apps/etabulon/request/CliOrder.h"
#include "apps/etabulon/views/CliCross.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "apps/etabulon/views/CliDrill.h"
#include "apps/etabulon/views/CliRecords.h"
#include "apps/etabulon/walk/CliBystander.h"
#include "etabulon/score/ETabulonScoreFiller.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <span>

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
        ->check(CheckNumberFrom1)
        ->type_name("N");
    app.add_option("--top", top_,
                   "Print this many lines of the ranking, and the total of all; 0 the total alone")
        ->check(CheckNumberFrom0)
        ->type_name("N");
    app.add_flag("--others", others_,
                 "Put what --top leaves out into one more line, calculated from its records");
    AddList(app, "--sort", sort_,
            "Sort by these instead: calculations of --calc, the largest first, and levels of "
            "--level; behind each :asc or :desc turns it; equal lines stand in the order of the "
            "labels");
    AddList(
        app, "--share", share_,
        "Two more columns for each of these calculations (COUNT, COUNTVAL, SUM): its share of the "
        "total in percent, and that of the line and all before it together");
    app.add_option("--drill", drill_,
                   "Print the records behind a line instead: its labels, separated by commas, or "
                   "total, or others")
        ->type_name("LINE");
    DeclareLimit(app,
                 "Print at most this many lines of what the other options make, and the total "
                 "of all; with --drill so many records");
    DeclareOutput(app, /*hasPictures=*/true);
    DeclareBars(app, "A bar behind the first calculation of each line");
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

CliResult<ScoreCommand::Arrangement> ScoreCommand::Arrange(const CliTable& table,
                                                           const CliResultRequest& request,
                                                           std::size_t depth) const {
    Arrangement arrangement;
    ECrossAxisOrder& lines = arrangement.order.lines;
    const std::span own(request.levels.details.data(), depth);
    CliResult<std::vector<ECrossKey>> keys =
        ReadOrder(JoinLists(sort_), {"--sort", request.levels, request.calculations, own});
    if (!keys) {
        return keys.Failure();
    }
    lines.keys = std::move(*keys);
    if (lines.keys.empty()) {
        // The order of a score.
        lines.areTiesFalling = true;
        for (unsigned int index = 0; index < request.calculations.all.size(); ++index) {
            ECrossKey key{ECrossKey::Total, /*isFalling=*/true};
            key.calculation = index;
            lines.keys.push_back(std::move(key));
        }
    }
    CliResult<std::vector<unsigned int>> shares =
        ReadShares(JoinLists(share_), "--share", table, request.calculations);
    if (!shares) {
        return shares.Failure();
    }
    arrangement.shares = std::move(*shares);
    if (top_) {
        lines.most = {
            static_cast<std::uint32_t>(std::min<std::int64_t>(*top_, ECrossAxisOrder::kAll))};
    }
    if (others_) {
        if (!top_) {
            return CliFailure{CliExit::Usage, "--others needs --top"};
        }
        if (const CliResult<> checked = CheckOthers(request.calculations); !checked) {
            return checked.Failure();
        }
        lines.others = Chaine(kOthers);
    }
    return arrangement;
}

CliResult<ERef<ETabulonScoreFiller>> ScoreCommand::Calculate(const CliWalkContext& context,
                                                             const CliResultRequest& request,
                                                             std::size_t depth,
                                                             CliCursor& cursor) const {
    const CliResultLevels& levels = request.levels;
    ExplainResults(context, request, drill_.has_value());
    const CliResult<> opened =
        OpenCursor(context, levels.levels.levels, request.calculations.Variables(), cursor);
    if (!opened) {
        return opened.Failure();
    }
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    auto filler = ETabulonScoreFiller::Make(&cursor.Seen(), nullptr);
    filler->SetParams(&request.calculations.collection, &sort, static_cast<unsigned int>(depth));
    cursor.Seen().AddNotifier(filler.Get());
    CliBystander listener;
    if (const CliResult<> walked = Walk(context, cursor, levels.place, listener); !walked) {
        return walked.Failure();
    }
    if (!listener.HasRecords() && !levels.place.IsRoot()) {
        return ExplainNothingThere(context, levels.levels, levels.place);
    }
    return filler;
}

CliResult<> ScoreCommand::Drill(const CliEnvironment& environment, const CliWalkContext& context,
                                const CliResultRequest& request, std::size_t depth,
                                const ECrossTable& table) const {
    const CliResult<std::vector<CliWordChoice>> words = ParseWords(*drill_);
    if (!words) {
        return words.Failure();
    }
    const CliLevels& levels = request.levels.levels;
    const std::span axis(request.levels.details.data(), depth);
    const bool isNamed = words->size() == 1 && !words->front().isQuoted &&
                         (words->front().text == kTotal || words->front().text == kOthers);
    if (words->size() != depth && !isNamed) {
        return CliFailure{CliExit::Usage,
                          fmt::format("--drill takes {}, or total or others (an empty label is "
                                      "written \"\")",
                                      depth == 1 ? "the label of a line"
                                                 : fmt::format("the {} labels of a line", depth))};
    }
    const CliResult<std::uint32_t> line =
        FindEntry(table, ECrossSide::Lines, levels, axis, *words, top_ ? "--top" : "");
    if (!line) {
        return line.Failure();
    }
    const ECrossSelection selection = table.Selection(*line, ECrossTable::kTotal);
    const std::vector<CliVariable> values = AllValues(levels);
    return PrintRecords(context, {levels, selection.Tag(), values, Limit().Most(), {}, &selection},
                        Output().Printing(environment));
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
    const CliResult<Arrangement> arrangement = Arrange(context.table, *request, *depth);
    if (!arrangement) {
        return arrangement.Failure();
    }
    CliCursor cursor(context.interrupt);
    const CliResult<ERef<ETabulonScoreFiller>> filler =
        Calculate(context, *request, *depth, cursor);
    if (!filler) {
        return filler.Failure();
    }
    CliRanking ranking;
    ranking.SetColumns(request->levels, *depth, request->calculations, arrangement->shares);
    const bool isArranged = !sort_.empty() || !arrangement->shares.empty() || others_;
    if (isArranged || drill_) {
        const ECrossTable table(**filler, arrangement->order);
        if (drill_) {
            return Drill(environment, context, *request, *depth, table);
        }
        ranking.Take(table, request->levels, *depth, arrangement->shares);
    } else {
        const EReportNames names = NamesOf(request->levels.levels, request->calculations);
        const auto ranked = request->levels.details.begin();
        EReportScoreView view(names, {ranked, ranked + static_cast<std::ptrdiff_t>(*depth)},
                              ranking,
                              top_ ? static_cast<std::uint64_t>(*top_) : EReportScoreView::kAll);
        (*filler)->SendTo(&view);
    }
    ranking.CompleteTotals(request->calculations);
    const std::size_t lines = ranking.lines.size();
    ranking.lines.resize(std::min<std::uint64_t>(lines, Limit().Most()));
    NoteLimit(environment.output, ranking.lines.size(), lines, "lines");
    PrintRanking(Output().Printing(environment), ranking);
    return {};
}

}  // namespace etabulon
