#include "apps/etabulon/commands/TreeCommand.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliOrder.h"
#include "apps/etabulon/views/CliTreePrinter.h"
#include "apps/etabulon/views/CliTreeRecords.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "etabulon/sql/ESqlSchema.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace etabulon {
namespace {

/// The columns of the key; none for a view, whose records have no key.
std::vector<CliColumn> KeyParts(const ESqlTableInfo& table) {
    if (table.keyKind == ESqlKeyKind::RowId) {
        return {{table.rowIdName, true}};
    }
    std::vector<CliColumn> parts;
    for (const unsigned int index : table.key) {
        const ESqlColumn& column = table.columns[index];
        parts.push_back({std::string(column.name.View()), IsNumber(column.type)});
    }
    return parts;
}

/// Copies the labels of the place from a record: --at gives only values.
void TakeLabels(ETabulonTag& place, const ETabulonTag& met) {
    for (unsigned int index = 0; index < place.KnownLevelsCount(); ++index) {
        if (const ETabulonValue* const value = met.Find(place.LevelAt(index))) {
            place.ValueAt(index) = *value;
        }
    }
}

}  // namespace

void TreeCommand::DeclareView(CLI::App& app) {
    DeclareCalculations(app,
                        "Columns beside the nodes: FUNCTION:column, separated by commas "
                        "(SUM:cost,COUNT:id); functions are those of grid");
    app.add_option("--sort", order_,
                   "Sort siblings by this calculation of --calc, the largest first; :asc behind it "
                   "turns it")
        ->type_name("CALCULATION");
    app.add_option(
           "--percent", percent_,
           "Print what COUNT, COUNTVAL and SUM give as percents of the node above, or of the total")
        ->check(CLI::IsMember({"parent", "total"}))
        ->type_name("BASE");
    DeclareSort(app);
    app.add_option("--depth", depth_, "Show this many levels below the root")
        ->check(CheckNumberFrom0)
        ->type_name("N");
    app.add_flag("--leaves", showsLeaves_, "Show the key of each record below its node");
    DeclareLimit(app, "Print at most this many nodes below the root, and keys of --leaves");
    DeclareOutput(app);
    DeclareBars(app,
                "A bar behind the first calculation of each node below the root, or without "
                "--calc behind its count");
    app.footer(
        "Levels are written as for walk. The count of a node is its number of records. With "
        "--at the tree is that of the place, which all its nodes have in common. A result of "
        "--calc is calculated from the records of the node: a mean above isn't one of means.\n"
        "json nests the nodes, ndjson has a line for each node with its path, csv and tsv "
        "have a line for each of the deepest nodes shown (with --leaves: for each record).");
}

CliResult<CliTreeView> TreeCommand::MakeView(const ESqlTableInfo& table, const CliTreeOrder& order,
                                             const CliCalculations& calculations) const {
    CliTreeView view;
    view.rootName = table.name.View();
    for (const CliCalculation& calculation : calculations.all) {
        view.results.push_back({calculation.shown, calculation.isNumber, false, true});
    }
    view.ofNoRecords = calculations.OfNoRecords();
    std::size_t depth = 0;
    for (unsigned int id = 0; id < order.levels.all.size(); ++id) {
        if (order.marked.hidden.contains(id)) {
            continue;
        }
        const CliLevel& level = order.levels.all[id];
        const bool isFixed = order.place.HasValue(id);
        const bool isNumber = !level.HasLabel() && IsNumber(level.data.variable->TypeCode());
        view.levels.push_back({{level.shown, isNumber}, id, level.HasLabel(), isFixed});
        if (isFixed) {
            view.place.SetValue(id, order.place.Value(id));
        } else {
            ++depth;
        }
    }
    view.limit = Limit().Most();
    view.depth = std::min<std::size_t>(depth, depth_.value_or(depth));
    if (!showsLeaves_) {
        return view;
    }
    if (view.depth < depth) {
        return CliFailure{CliExit::Usage,
                          fmt::format("--leaves stand below the last level, which --depth {} "
                                      "doesn't reach; here that takes {}",
                                      view.depth, depth)};
    }
    view.keyParts = KeyParts(table);
    if (view.keyParts.empty()) {
        return CliFailure{CliExit::Failed,
                          fmt::format("{} is a view: it has no key that --leaves could show",
                                      Quoted(view.rootName))};
    }
    return view;
}

CliResult<> TreeCommand::Prepare(const CliEnvironment& environment) const {
    if (Sort().Levels().Levels().empty()) {
        return CliFailure{CliExit::Usage,
                          "a tree is made of levels: --levels is missing (see etabulon tree "
                          "--help)"};
    }
    const CliFormat format = Output().Printing(environment).format;
    const bool isNested = format == CliFormat::Table || format == CliFormat::Json ||
                          format == CliFormat::NdJson || format == CliFormat::Xlsx;
    if (showsLeaves_ && !isNested && HasCalculations()) {
        return CliFailure{CliExit::Usage,
                          "with --leaves each line of this format is a record, and --calc gives "
                          "results of nodes: --format table, json, ndjson and xlsx show both"};
    }
    return CliSortedCommand::Prepare(environment);
}

CliResult<> TreeCommand::Show(CliEnvironment& environment, const CliWalkContext& context) {
    const CliResult<CliTreeOrder> order = Sort().ReadTree(context.table);
    if (!order) {
        return order.Failure();
    }
    const CliResult<CliCalculations> calculations = ReadCalculations(context.table);
    if (!calculations) {
        return calculations.Failure();
    }
    CliResult<CliTreeView> view = MakeView(context.table.Info(), *order, *calculations);
    if (!view) {
        return view.Failure();
    }
    if (const CliResult<> arranged = ArrangeResults(context.table, *calculations, *view);
        !arranged) {
        return arranged.Failure();
    }
    return Print(environment, context, *order, *calculations, *view);
}

CliResult<> TreeCommand::ArrangeResults(const CliTable& table, const CliCalculations& calculations,
                                        CliTreeView& view) const {
    if (!order_.empty()) {
        const CliResult<CliResultOrder> order =
            ReadResultOrder(order_, "--sort", table, calculations);
        if (!order) {
            return order.Failure();
        }
        view.order = CliTreeView::ByResult{order->calculation, order->isFalling};
    }
    if (percent_.empty()) {
        return {};
    }
    if (calculations.all.empty()) {
        return CliFailure{CliExit::Usage,
                          "--percent prints calculations in percent: --calc is missing"};
    }
    for (unsigned int index = 0; index < calculations.all.size(); ++index) {
        if (CliResult<> checked = CheckShares(calculations, index, "--percent"); !checked) {
            return checked;
        }
        view.results[index].name += " % of " + percent_;
    }
    view.percent = percent_ == "parent" ? CliTreeView::Base::Parent : CliTreeView::Base::Root;
    return {};
}

CliResult<> TreeCommand::Print(const CliEnvironment& environment, const CliWalkContext& context,
                               const CliTreeOrder& order, const CliCalculations& calculations,
                               CliTreeView& view) const {
    CliCursor cursor(context.interrupt);
    if (CliResult<> opened =
            OpenCursor(context, order.levels.levels, calculations.Variables(), cursor);
        !opened) {
        return opened;
    }
    EDataTree tree(&cursor.Seen(), context.table.Info().name, nullptr);
    tree.SetSortLevels(order.Keys());
    tree.SetCompareSource(Sort().CompareSource());
    const ERef<ETreeTotals> totals = ETreeTotals::Make(tree.SortDesc(), nullptr);
    if (!calculations.all.empty()) {
        static_cast<void>(totals->SetCalculations(calculations.collection));
        cursor.Seen().AddNotifier(totals.Get());
    }
    if (context.explanation != nullptr) {
        constexpr std::size_t kNode = 320;
        constexpr std::size_t kResult = 160;
        context.explanation->Keeps(fmt::format(
            "each node of all levels, about {} bytes{}", kNode + kResult * calculations.all.size(),
            view.keyParts.empty() ? "" : "; the key of each record, about 40 bytes"));
        ExplainCalculations(calculations, *context.explanation);
    }
    CliTreeRecords records(*tree.Root(), view.keyParts.size());
    if (CliResult<> walked = Walk(context, cursor, order.place, records); !walked) {
        return walked;
    }
    records.SumUp();
    if (records.Count(*tree.Root()) == 0 && !order.place.IsRoot()) {
        return ExplainNothingThere(context, order.levels, order.place);
    }
    TakeLabels(view.place, records.FirstTag());
    {
        // SIGINT ends the printing after a whole line, as it ends a walk.
        const CliInterrupt::Cancelling cancelling(environment.interrupt, cursor.Seen());
        const CliPrinting printing = Output().Printing(environment);
        MakeTreePrinter(printing, view, {records, totals.Get()}, environment.interrupt)
            ->Print(tree);
    }
    return environment.interrupt.IsRaised() ? CliFailure{CliExit::Cancelled, {}} : CliResult<>();
}

}  // namespace etabulon
