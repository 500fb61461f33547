#include "apps/etabulon/commands/GridCommand.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/views/CliCrossPrinter.h"
#include "apps/etabulon/views/CliDrill.h"
#include "apps/etabulon/views/CliRecords.h"
#include "etabulon/grid/ETabulonGridCumuls.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

constexpr unsigned int kMostAxes = 2;

/// Hears each record until the walk ends, for fillers that listen beside it.
class SilentListener final : public CliListener {};

/// The axes that calculations take when they have to share one grid with data axes.
unsigned int CalculationAxes(const CliResultLevels& levels, const ETabulonSortDesc& sort,
                             const ETabulonCumulFuncOnVarCollection& calculations) {
    const auto grid = ERef<ETabulonGridCumuls>::Adopt(
        ETabulonGridCumuls::Build(levels.place, /*axesCount=*/0, &sort, &calculations));
    return grid->GridAxesCount();
}

bool AreNumbers(const CliCalculations& calculations) {
    return std::all_of(calculations.all.begin(), calculations.all.end(),
                       [](const CliCalculation& each) { return each.isNumber; });
}

}  // namespace

void GridCommand::DeclareView(CLI::App& app) {
    AddList(app, "--axes", axes_,
            "Up to two levels: lines, columns; without it those of --levels that aren't in --at");
    AddList(app, "--calc", calculations_,
            "What to calculate: FUNCTION:column, separated by commas (COUNT:id,SUM:cost)");
    sort_.Declare(app);
    app.add_option("--priority", priority_,
                   "Of several calculations on two axes show only this one: 1 is the first")
        ->check(CLI::PositiveNumber)
        ->type_name("N");
    app.add_option("--drill", drill_,
                   "Print the records behind a cell instead: the labels line,column, either of "
                   "them total")
        ->type_name("CELL");
    DeclareOutput(app);
    app.footer(
        "Levels are written as for walk. Numbers offer AVG, CODEMAX, CODEMIN, COMMONVAL, "
        "COUNT, LAST, MAX, MIN and SUM, everything else COMMONVAL, COUNT and LAST. A total is "
        "calculated from its records, not from its cells.\n"
        "Several calculations are columns, and tables of their own where both axes are "
        "levels.\n"
        "No value, values that differ (COMMONVAL) and empty text are told apart: table blank, "
        "≠ and \"\", JSON null, {\"special\":\"differ\"} and \"\".");
}

bool GridCommand::Read(const CliDictionary& dictionary, const ESqlTableInfo& table,
                       Request& request, CliFailure& failure) const {
    if (!MakeCalculations(dictionary, table, JoinLists(calculations_), request.calculations,
                          failure) ||
        !sort_.Read(dictionary, table, JoinLists(axes_), "--axes", request.levels, failure)) {
        return false;
    }
    const std::size_t axes = request.levels.details.size();
    if (axes > kMostAxes) {
        return failure.Set(
            CliExit::Usage,
            fmt::format("a grid has two axes, not {}: --axes names those that it is to have, and "
                        "--at gives a level one value",
                        axes));
    }
    const std::size_t count = request.calculations.all.size();
    if (priority_.value_or(0) > count) {
        return failure.Set(
            CliExit::Usage,
            fmt::format("--priority is {}, but --calc has {}", *priority_,
                        count == 1 ? "one calculation" : fmt::format("{} calculations", count)));
    }
    if (priority_) {
        request.calculations.collection.SetPriorityCalculationPos(static_cast<int>(*priority_) - 1);
    }
    return true;
}

bool GridCommand::Calculate(const CliWalkContext& context, const Request& request,
                            CliCursor& cursor, Grids& grids, CliFailure& failure) const {
    const CliResultLevels& levels = request.levels;
    ETabulonSortDesc sort(levels.levels.levels);
    SetSort(levels, sort);
    const auto& calculations = request.calculations.collection;
    const auto dataAxes = static_cast<unsigned int>(levels.details.size());
    const unsigned int allAxes = dataAxes + CalculationAxes(levels, sort, calculations);
    const auto addFiller = [&](const ETabulonCumulFuncOnVarCollection& filled, unsigned int axes) {
        grids.fillers.push_back(
            ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor.Seen(), nullptr)));
        grids.fillers.back()->SetParams(&filled, axes, &sort);
        cursor.Seen().AddNotifier(grids.fillers.back().Get());
    };
    if (allAxes <= kMostAxes) {
        addFiller(calculations, allAxes);
    } else {
        // More axes than a view shows: a grid would send one of them only.
        for (unsigned int index = 0; index < calculations.Size(); ++index) {
            ETabulonCumulFuncOnVarCollection one;
            one.AddCalculation(calculations.Calculation(index), /*addRef=*/false);
            addFiller(one, dataAxes);
        }
    }
    SilentListener listener;
    return Walk(context, cursor, levels.place, listener, failure);
}

void GridCommand::Send(const Request& request, Grids& grids) const {
    const bool isPriorityShown = priority_ && grids.fillers.size() == 1;
    for (std::size_t index = 0; index < grids.fillers.size(); ++index) {
        CliGridView view(request.levels.levels, request.calculations, grids.crosses.emplace_back());
        view.SetShown(isPriorityShown ? *priority_ - 1 : index);
        grids.fillers[index]->SendTo(&view);
    }
    if (request.levels.details.size() < kMostAxes) {
        grids.crosses = {SideBySide(std::move(grids.crosses))};
    }
}

bool GridCommand::Drill(const CliEnvironment& environment, const CliWalkContext& context,
                        const Request& request, const Grids& grids, CliFailure& failure) const {
    CliCellPlace place;
    ETabulonVariableID variable;
    ETabulonTag tag;
    const CliCross& cross = grids.crosses.front();
    if (!cross.lines.isData) {
        return failure.Set(
            CliExit::Usage,
            "--drill needs an axis: without one a grid has the cells of all records");
    }
    if (!FindCell(cross, *drill_, place, failure)) {
        return false;
    }
    // Where calculations are columns, they all lie on the same records, and a grid may have but
    // one.
    const unsigned int column = cross.columns.isData ? place.column : 0;
    if (!grids.fillers.front()->GetSelection(static_cast<int>(column), static_cast<int>(place.line),
                                             &variable, &tag)) {
        return failure.Set(CliExit::Failed, "there is no such cell");
    }
    const std::vector<CliVariable> values =
        AllValues(context.dictionary, context.table, request.levels.levels);
    const std::unique_ptr<CliWriter> writer = Output().MakeWriter(environment);
    return PrintRecords(context, {request.levels.levels, tag, values}, *writer, environment.output,
                        failure);
}

bool GridCommand::Prepare(const CliEnvironment& environment, CliFailure& failure) const {
    return sort_.Install(environment, failure);
}

bool GridCommand::Show(CliEnvironment& environment, const CliWalkContext& context,
                       CliFailure& failure) {
    Request request;
    if (!Read(context.dictionary, context.table, request, failure)) {
        return false;
    }
    CliCursor cursor(environment.interrupt);
    Grids grids;
    if (!OpenCursor(context, request.levels.levels.levels, VariablesOf(request.calculations),
                    cursor, failure) ||
        !Calculate(context, request, cursor, grids, failure)) {
        return false;
    }
    Send(request, grids);
    if (grids.crosses.front().IsEmpty() && !request.levels.place.IsRoot()) {
        ExplainNothingThere(context, request.levels.levels, request.levels.place, failure);
        return false;
    }
    if (drill_) {
        return Drill(environment, context, request, grids, failure);
    }
    PrintCrosses(Output().Format(environment), grids.crosses, AreNumbers(request.calculations),
                 environment.output, environment.hasStyle);
    return true;
}

}  // namespace etabulon
