#include "apps/etabulon/BrowseCommand.h"

#include "apps/etabulon/BrowseCtrl.h"
#include "apps/etabulon/BrowseCursor.h"
#include "apps/etabulon/BrowseScreen.h"
#include "apps/etabulon/BrowseTerminal.h"
#include "apps/etabulon/BrowseTreeView.h"
#include "apps/etabulon/BrowseWake.h"
#include "apps/etabulon/BrowseWindow.h"
#include "apps/etabulon/CliInterrupt.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <CLI/CLI.hpp>
#include <signal.h>
#include <unistd.h>

namespace etabulon {
namespace {

bool CheckOptions(const CliSortOptions& sort, const CliEnvironment& environment,
                  CliFailure& failure) {
    if (sort.Levels().Levels().empty()) {
        return failure.Set(CliExit::Usage,
                           "a tree is made of levels: --levels is missing (see etabulon browse "
                           "--help)");
    }
    return (environment.isOutputTerminal && isatty(STDIN_FILENO) == 1) ||
           failure.Set(CliExit::Usage,
                       "browse needs a terminal for its input and its output; tree prints the "
                       "same anywhere");
}

bool CheckLevels(const BrowseOrder& order, CliFailure& failure) {
    for (unsigned id = 0; id < order.levels.all.size(); ++id) {
        if (!order.hidden.contains(id) && !order.place.HasValue(id)) {
            return true;
        }
    }
    return failure.Set(CliExit::Usage,
                       "no level is left to browse: all of them are in --hide or --at");
}

/// The levels of the place have one value each: the tree begins below them.
ETabulonSortDesc::SortKeyArray SortKeys(const BrowseOrder& order) {
    ETabulonSortDesc::SortKeyArray keys;
    for (unsigned id = 0; id < order.levels.all.size(); ++id) {
        const bool isHidden = order.hidden.contains(id) || order.place.HasValue(id);
        keys.Add({id, order.reversed.contains(id),
                  isHidden ? ETabulonSortDesc::HideFlag{ETabulonSortDesc::HideInTree} : 0U});
    }
    return keys;
}

}  // namespace

void BrowseCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    sort_.Declare(app);
    alerts_.Declare(app);
    app.footer(
        "Levels are written as for walk. Behind a node stands the number of leaves below it: of "
        "places\nat the last level. Keys: arrows, page keys, Home and End move; Enter, + and - "
        "open and close;\nAlt+Up and Alt+Down (or < and >) move the level of the selected node; h "
        "hides it, s shows the\nlevel hidden last; F5 (or r) reads all records again, Esc cancels, "
        "q and Ctrl+C quit.\nAn alert is a level, the number of leaves that is still allowed, and "
        "its style: bold, italic,\nred, green, yellow, blue, magenta, cyan, white, and up to mark "
        "the nodes above too.");
}

bool BrowseCommand::ReadOrder(const CliDictionary& dictionary, const ESqlTableInfo& table,
                              BrowseOrder& order, CliFailure& failure) const {
    return MakeLevels(dictionary, table, sort_.Levels().Levels(), order.levels, failure) &&
           MakeTag(dictionary, table, order.levels, sort_.Levels().At(), order.place, failure) &&
           sort_.FindMarked(dictionary, table, order.levels, order.hidden, order.reversed,
                            failure) &&
           CheckLevels(order, failure);
}

bool BrowseCommand::Run(CliEnvironment& environment, CliFailure& failure) {
    if (!CheckOptions(sort_, environment, failure) || !sort_.Install(environment, failure)) {
        return false;
    }
    const std::unique_ptr<ESqliteSource> source = source_.Open(failure);
    if (source == nullptr) {
        return false;
    }
    const CliDictionary dictionary(*source);
    const ESqlTableInfo* const table = dictionary.FindTable(source_.table, failure);
    BrowseOrder order;
    if (table == nullptr || !ReadOrder(dictionary, *table, order, failure) ||
        !alerts_.Read(dictionary, *table, order.levels, failure)) {
        return false;
    }
    return Browse(environment, {dictionary, *table, environment.interrupt}, order, failure);
}

bool BrowseCommand::Browse(const CliEnvironment& environment, const CliWalkContext& context,
                           const BrowseOrder& order, CliFailure& failure) {
    BrowseCursor cursor(context.interrupt);
    if (!OpenCursor(context, order.levels.levels, {}, cursor, failure)) {
        return false;
    }
    cursor.SetPlace(order.place);
    int ended = 0;
    {
        const std::unique_ptr<BrowseTerminal> terminal =
            BrowseTerminal::Open(environment.hasStyle, failure);
        if (terminal == nullptr) {
            return false;
        }
        ended = Show(*terminal, context.interrupt, cursor, std::string(context.table.name.View()),
                     order);
    }
    if (ended == 0) {
        return true;
    }
    if (ended != SIGINT) {
        signal(ended, SIG_DFL);
        raise(ended);  // with the terminal given back, as if nobody had caught it
    }
    return failure.Set(CliExit::Cancelled, {});
}

int BrowseCommand::Show(BrowseTerminal& terminal, CliInterrupt& interrupt, BrowseCursor& cursor,
                        const std::string& tableName, const BrowseOrder& order) const {
    BrowseWake wake;
    const CliInterrupt::Handling handling(interrupt, [&wake] { wake.Raise(SIGINT); });
    BrowseScreen screen;
    BrowseTreeView view(terminal, wake);
    BrowseCtrl ctrl(screen, cursor, alerts_);
    const std::string place = sort_.Levels().At();
    ctrl.Init(&cursor, Chaine(place.empty() ? tableName : place), nullptr);
    view.SetRows(&ctrl);
    ctrl.Attach(&view);
    ctrl.SetSortLevels(SortKeys(order), /*refresh=*/false);
    ctrl.SetCompareSource(sort_.CompareSource(), /*refresh=*/false);
    std::set<unsigned> fixedLevels;
    for (unsigned index = 0; index < order.place.KnownLevelsCount(); ++index) {
        fixedLevels.insert(order.place.LevelAt(index));
    }
    BrowseWindow window({terminal, wake, view, ctrl}, tableName, std::move(fixedLevels));
    const int signal = window.Run();
    terminal.Close();  // nobody is to wait for a large tree to go
    return signal;
}

}  // namespace etabulon
