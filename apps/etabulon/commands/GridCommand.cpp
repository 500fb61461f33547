#include "apps/etabulon/commands/GridCommand.h"

#include "apps/etabulon/views/CliAlikeLabels.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "apps/etabulon/views/CliDrill.h"
#include "apps/etabulon/views/CliRecords.h"
#include "apps/etabulon/walk/CliBystander.h"
#include "etabulon/cross/ECrossFiller.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/grid/ETabulonGridCumuls.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace etabulon {
namespace {

constexpr unsigned int kMostAxes = 2;

/// The number of axes that the calculations take in a grid together with data axes.
unsigned int CalculationAxes(const CliResultLevels& levels, const ETabulonSortDesc& sort,
                             const ETabulonCumulFuncOnVarCollection& calculations) {
    const auto grid = ETabulonGridCumuls::Make(levels.place, /*axesCount=*/0, &sort, &calculations);
    return grid->GridAxesCount();
}

}  // namespace

void GridCommand::DeclareView(CLI::App& app) {
    AddList(app, "--axes", axes_,
            "Up to two levels: lines, columns; without it those of --levels that aren't in --at");
    DeclareCalculations(
        app, "What to calculate: FUNCTION:column, separated by commas (COUNT:id,SUM:cost)");
    DeclareSort(app);
    arrangement_.Declare(app);
    app.add_option("--priority", priority_,
                   "Of several calculations on two axes show only this one: 1 is the first")
        ->check(CheckNumberFrom1)
        ->type_name("N");
    app.add_option("--drill", drill_,
                   "Print the records behind a cell instead: the labels line,column, any of them "
                   "total or others")
        ->type_name("CELL");
    DeclareLimit(app,
                 "Print at most this many lines of what the other options make, and the "
                 "totals of all; with --drill so many records");
    DeclareOutput(app, /*hasPictures=*/true);
    DeclareBars(app, "A bar behind the first calculation of each line, in a grid of one level");
    app.footer(
        "Levels are written as for walk. Numbers offer AVG, CODEMAX, CODEMIN, COMMONVAL, "
        "COUNT, LAST, MAX, MIN and SUM, everything else COMMONVAL, COUNT and LAST: for these a "
        "record without a value counts as any other. Of the values that are there, numbers offer "
        "MEAN, MEDIAN, P1 to P99, STDDEV and STDDEVP, numbers and dates CODELOWEST and "
        "CODEHIGHEST, everything COUNTVAL, DISTINCT, FIRST, HIGHEST and LOWEST. A total is "
        "calculated from its records, not from its cells.\n"
        "Several calculations are columns, and tables of their own where both axes are "
        "levels.\n"
        "Keys of an order: without :asc or :desc levels rise, and totals and cells fall. The total "
        "of a limited table is that of all records.\n"
        "No value, values that differ (COMMONVAL) and empty text are told apart: table blank, "
        "≠ and \"\", JSON null, {\"special\":\"differ\"} and \"\".");
}

CliResult<CliResultRequest> GridCommand::Read(const CliTable& table) const {
    const std::string nested = arrangement_.NamedAxes();
    if (!nested.empty() && !JoinLists(axes_).empty()) {
        return CliFailure{CliExit::Usage,
                          "--axes names a line and a column, --lines and --columns several of "
                          "each: only one of both can be given"};
    }
    CliResult<CliResultRequest> request = nested.empty()
                                              ? ReadRequest(table, JoinLists(axes_), "--axes")
                                              : ReadRequest(table, nested, "--lines and --columns");
    if (!request) {
        return request;
    }
    const std::size_t axes = request->levels.details.size();
    if (axes > kMostAxes && nested.empty()) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("a grid has two axes, not {}: --axes names those that it is to have, "
                        "--lines and --columns nest several, and --at gives a level one value",
                        axes)};
    }
    const std::size_t count = request->calculations.all.size();
    if (priority_.value_or(0) > count) {
        return CliFailure{
            CliExit::Usage,
            fmt::format("--priority is {}, but --calc has {}", *priority_,
                        count == 1 ? "one calculation" : fmt::format("{} calculations", count))};
    }
    if (priority_) {
        request->calculations.collection.SetPriorityCalculationPos(static_cast<int>(*priority_) -
                                                                   1);
    }
    return request;
}

CliResult<GridCommand::Grids> GridCommand::Calculate(const CliWalkContext& context,
                                                     const CliResultRequest& request,
                                                     CliCursor& cursor) {
    Grids grids;
    const CliResultLevels& levels = request.levels;
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    const auto& calculations = request.calculations.collection;
    const auto dataAxes = static_cast<unsigned int>(levels.details.size());
    const unsigned int allAxes = dataAxes + CalculationAxes(levels, sort, calculations);
    const auto addFiller = [&](const ETabulonCumulFuncOnVarCollection& filled, unsigned int axes) {
        grids.fillers.push_back(ETabulonGridFiller::Make(&cursor.Seen(), nullptr));
        grids.fillers.back()->SetParams(&filled, axes, &sort);
        cursor.Seen().AddNotifier(grids.fillers.back().Get());
    };
    if (allAxes <= kMostAxes) {
        addFiller(calculations, allAxes);
    } else {
        // A view shows two axes: a single grid would send only one of the calculations.
        for (unsigned int index = 0; index < calculations.Size(); ++index) {
            ETabulonCumulFuncOnVarCollection one;
            one.AddCalculation(calculations.Calculation(index), /*addRef=*/false);
            addFiller(one, dataAxes);
        }
    }
    const CliAlikeLabels alike(levels, cursor.Seen(), /*mergesEqual=*/true);
    CliBystander listener;
    if (const CliResult<> walked = Walk(context, cursor, levels.place, listener); !walked) {
        return walked.Failure();
    }
    grids.notes = alike.Sentences();
    grids.hasRecords = listener.HasRecords();
    return grids;
}

void GridCommand::Send(const CliResultRequest& request, Grids& grids) const {
    const bool isPriorityShown = priority_ && grids.fillers.size() == 1;
    const EReportNames names = NamesOf(request.levels.levels, request.calculations);
    for (std::size_t index = 0; index < grids.fillers.size(); ++index) {
        EReportGridView view(names, grids.crosses.emplace_back());
        view.SetShown(isPriorityShown ? *priority_ - 1 : index);
        grids.fillers[index]->SendTo(&view);
    }
    if (request.levels.details.size() < kMostAxes) {
        grids.crosses = {SideBySide(std::move(grids.crosses))};
    }
}

CliResult<> GridCommand::Drill(const CliEnvironment& environment, const CliWalkContext& context,
                               const CliResultRequest& request, const Grids& grids) const {
    const CliCross& cross = grids.crosses.front();
    if (!cross.lines.isData) {
        return CliFailure{CliExit::Usage,
                          "--drill needs an axis: without one a grid has the cells of all records"};
    }
    const CliResult<CliCellPlace> place = FindCell(cross, *drill_);
    if (!place) {
        return place.Failure();
    }
    // If calculations are columns, all of them have the same records, and the grid may have only
    // one column.
    const unsigned int column = cross.columns.isData ? place->column : 0;
    ETabulonVariableID variable;
    ETabulonTag tag;
    if (!grids.fillers.front()->GetSelection(static_cast<int>(column),
                                             static_cast<int>(place->line), &variable, &tag)) {
        return CliFailure{CliExit::Failed, "there is no such cell"};
    }
    const CliLevels& levels = request.levels.levels;
    const std::vector<CliVariable> values = AllValues(levels);
    return PrintRecords(context, {levels, tag, values, Limit().Most()},
                        Output().Printing(environment));
}

void GridCommand::Print(const CliEnvironment& environment, std::vector<CliCross>& crosses,
                        bool areNumbers) const {
    const std::size_t lines = crosses.front().lines.labels.size();
    for (CliCross& cross : crosses) {
        cross.KeepLines(Limit().Most());
    }
    PrintCrosses(Output().Printing(environment), crosses, areNumbers);
    NoteLimit(environment.output, crosses.front().lines.labels.size(), lines, "lines");
}

CliResult<> GridCommand::Show(CliEnvironment& environment, const CliWalkContext& context) {
    const CliResult<CliResultRequest> request = Read(context.table);
    if (!request) {
        return request.Failure();
    }
    if (arrangement_.IsUsed()) {
        return ShowArranged(environment, context, *request);
    }
    const CliResultLevels& levels = request->levels;
    ExplainResults(context, *request, drill_.has_value());
    CliCursor cursor(environment.interrupt);
    CliResult<> opened =
        OpenCursor(context, levels.levels.levels, request->calculations.Variables(), cursor);
    if (!opened) {
        return opened;
    }
    CliResult<Grids> grids = Calculate(context, *request, cursor);
    if (!grids) {
        return grids.Failure();
    }
    Send(*request, *grids);
    if (!grids->hasRecords && !levels.place.IsRoot()) {
        return ExplainNothingThere(context, levels.levels, levels.place);
    }
    if (drill_) {
        return Drill(environment, context, *request, *grids);
    }
    Print(environment, grids->crosses, request->calculations.AreNumbers());
    for (const std::string& note : grids->notes) {
        TellUser(note);
    }
    return {};
}

// ---------------------------------------------------------------------------------------- arranged

CliResult<> GridCommand::DrillArranged(const CliEnvironment& environment,
                                       const CliWalkContext& context,
                                       const CliResultRequest& request,
                                       const GridArrangement::Arranged& arranged,
                                       const ECrossTable& table) const {
    const CliResult<std::vector<CliWordChoice>> words = ParseWords(*drill_);
    if (!words) {
        return words.Failure();
    }
    const CliLevels& levels = request.levels.levels;
    const std::size_t lines = arranged.lines.size();
    const std::size_t axes = lines + arranged.columns.size();
    if (words->size() != axes) {
        return CliFailure{CliExit::Usage,
                          fmt::format("--drill takes {} here: of the lines' levels "
                                      "first, then of the columns'",
                                      axes == 1 ? "one label" : fmt::format("{} labels", axes))};
    }
    const std::span<const CliWordChoice> all(*words);
    const CliResult<std::uint32_t> line =
        FindEntry(table, ECrossSide::Lines, levels, arranged.lines, all.first(lines),
                  arranged.order.lines.most.empty() ? "" : "--top-lines");
    if (!line) {
        return line.Failure();
    }
    const CliResult<std::uint32_t> column =
        FindEntry(table, ECrossSide::Columns, levels, arranged.columns, all.subspan(lines),
                  arranged.order.columns.most.empty() ? "" : "--top-columns");
    if (!column) {
        return column.Failure();
    }
    const ECrossSelection selection = table.Selection(*line, *column);
    const std::vector<CliVariable> values = AllValues(levels);
    return PrintRecords(context, {levels, selection.Tag(), values, Limit().Most(), {}, &selection},
                        Output().Printing(environment));
}

CliResult<> GridCommand::PrintArranged(const CliEnvironment& environment,
                                       const CliWalkContext& context,
                                       const CliResultRequest& request,
                                       const GridArrangement::Arranged& arranged,
                                       const ECrossTable& table) const {
    const CliLevels& levels = request.levels.levels;
    for (const ECrossSide side : {ECrossSide::Lines, ECrossSide::Columns}) {
        const bool isOfLines = side == ECrossSide::Lines;
        const ECrossAxisOrder& order = isOfLines ? arranged.order.lines : arranged.order.columns;
        for (const ECrossKey& key : order.keys) {
            if (key.source == ECrossKey::Cell &&
                !table.HasLabel(isOfLines ? ECrossSide::Columns : ECrossSide::Lines, key.across)) {
                return ExplainNothingThere(context, levels, key.across);
            }
        }
    }
    if (drill_) {
        return DrillArranged(environment, context, request, arranged, table);
    }
    std::vector<CliCross> crosses;
    const bool isPriorityShown = priority_ && !arranged.columns.empty();
    for (unsigned int index = 0; index < request.calculations.all.size(); ++index) {
        if (!isPriorityShown || index + 1 == *priority_) {
            crosses.push_back(TakeCross(table, levels, arranged.lines, arranged.columns,
                                        request.calculations, index, arranged.shown));
        }
    }
    if (arranged.columns.empty()) {
        crosses = {SideBySide(std::move(crosses))};
    }
    Print(environment, crosses, arranged.shown.percent || request.calculations.AreNumbers());
    return {};
}

CliResult<> GridCommand::ShowArranged(const CliEnvironment& environment,
                                      const CliWalkContext& context,
                                      const CliResultRequest& request) const {
    const CliResultLevels& levels = request.levels;
    const unsigned int calculation =
        priority_ && levels.details.size() > 1 ? static_cast<unsigned int>(*priority_) - 1 : 0;
    const CliResult<GridArrangement::Arranged> arranged = arrangement_.Read(request, calculation);
    if (!arranged) {
        return arranged.Failure();
    }
    ExplainResults(context, request, drill_.has_value());
    CliCursor cursor(context.interrupt);
    CliResult<> opened =
        OpenCursor(context, levels.levels.levels, request.calculations.Variables(), cursor);
    if (!opened) {
        return opened;
    }
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    const auto filler = ECrossFiller::Make(&cursor.Seen(), nullptr);
    filler->SetParams(&request.calculations.collection, &sort,
                      {arranged->lines.begin(), arranged->lines.end()},
                      {arranged->columns.begin(), arranged->columns.end()});
    cursor.Seen().AddNotifier(filler.Get());
    const CliAlikeLabels alike(levels, cursor.Seen(), /*mergesEqual=*/false);
    CliBystander listener;
    if (const CliResult<> walked = Walk(context, cursor, levels.place, listener); !walked) {
        return walked.Failure();
    }
    const ECrossTable table(*filler, arranged->order);
    if (table.IsEmpty() && !levels.place.IsRoot()) {
        return ExplainNothingThere(context, levels.levels, levels.place);
    }
    CliResult<> printed = PrintArranged(environment, context, request, *arranged, table);
    if (printed && !drill_) {
        for (const std::string& note : alike.Sentences()) {
            TellUser(note);
        }
    }
    return printed;
}

}  // namespace etabulon
