#include "apps/etabulon/commands/BrowseCommand.h"

#include "apps/etabulon/browse/BrowseCtrl.h"
#include "apps/etabulon/browse/BrowseCursor.h"
#include "apps/etabulon/browse/BrowseScreen.h"
#include "apps/etabulon/browse/BrowseTerminal.h"
#include "apps/etabulon/browse/BrowseTreeView.h"
#include "apps/etabulon/browse/BrowseWake.h"
#include "apps/etabulon/browse/BrowseWindow.h"
#include "apps/etabulon/walk/CliInterrupt.h"
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

bool CheckLevels(const CliTreeOrder& order, CliFailure& failure) {
    for (unsigned id = 0; id < order.levels.all.size(); ++id) {
        if (order.IsShown(id)) {
            return true;
        }
    }
    return failure.Set(CliExit::Usage,
                       "no level is left to browse: all of them are in --hide or --at");
}

}  // namespace

void BrowseCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    sort_.Declare(app);
    alerts_.Declare(app);
    app.footer(
        "Levels are written as for walk. Behind a node stands the number of leaves below it: "
        "of places at the last level.\n"
        "Keys: arrows, page keys, Home and End move; Enter, + and - open and close; Alt+Up "
        "and Alt+Down (or < and >) move the level of the selected node; h hides it, s shows "
        "the level hidden last; F5 (or r) reads all records again, Esc cancels, q and Ctrl+C "
        "quit.\n"
        "An alert is a level, the number of leaves that is still allowed, and its style: "
        "bold, italic, red, green, yellow, blue, magenta, cyan, white, and up to mark the "
        "nodes above too.");
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
    CliTreeOrder order;
    if (table == nullptr || !sort_.ReadTree(dictionary, *table, order, failure) ||
        !CheckLevels(order, failure) || !alerts_.Read(dictionary, *table, order.levels, failure)) {
        return false;
    }
    return Browse(environment, {dictionary, *table, environment.interrupt}, order, failure);
}

bool BrowseCommand::Browse(const CliEnvironment& environment, const CliWalkContext& context,
                           const CliTreeOrder& order, CliFailure& failure) {
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
                        const std::string& tableName, const CliTreeOrder& order) const {
    BrowseWake wake;
    const CliInterrupt::Handling handling(interrupt, [&wake] { wake.Raise(SIGINT); });
    BrowseScreen screen;
    BrowseTreeView view(terminal, wake);
    BrowseCtrl ctrl(screen, cursor, alerts_);
    const std::string place = sort_.Levels().At();
    ctrl.Init(&cursor, Chaine(place.empty() ? tableName : place), nullptr);
    view.SetRows(&ctrl);
    ctrl.Attach(&view);
    ctrl.SetSortLevels(order.Keys(), /*refresh=*/false);
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
