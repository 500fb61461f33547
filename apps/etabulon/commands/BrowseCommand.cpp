#include "apps/etabulon/commands/BrowseCommand.h"

#include "apps/etabulon/browse/BrowseCtrl.h"
#include "apps/etabulon/browse/BrowseCursor.h"
#include "apps/etabulon/browse/BrowseScreen.h"
#include "apps/etabulon/browse/BrowseTerminal.h"
#include "apps/etabulon/browse/BrowseTreeView.h"
#include "apps/etabulon/browse/BrowseWake.h"
#include "apps/etabulon/browse/BrowseWindow.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliSource.h"
#include "apps/etabulon/request/CliView.h"
#include "apps/etabulon/walk/CliExplanation.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "apps/etabulon/walk/CliReading.h"

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace etabulon {
namespace {

CliResult<> CheckOptions(const CliSortOptions& sort, const CliEnvironment& environment,
                         bool explains, bool readsInput) {
    if (sort.Levels().Levels().empty()) {
        return CliFailure{CliExit::Usage,
                          "a tree is made of levels: --levels is missing (see etabulon browse "
                          "--help)"};
    }
    const bool hasKeys = readsInput || isatty(STDIN_FILENO) == 1;
    if (!explains && !(environment.isOutputTerminal && hasKeys)) {
        return CliFailure{CliExit::Usage,
                          "browse needs a terminal for its input and its output; tree prints the "
                          "same anywhere"};
    }
    return {};
}

/// Keys come from the terminal where standard input was the source.
CliResult<> TakeKeysFromTerminal() {
    const int terminal = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    const bool isTaken = terminal >= 0 && ::dup2(terminal, STDIN_FILENO) >= 0;
    const int error = errno;
    if (terminal >= 0) {
        ::close(terminal);
    }
    if (isTaken) {
        return {};
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("browse - reads keys from /dev/tty, which can't be opened: {}",
                                  std::generic_category().message(error))};
}

/// The levels in the order that they have in the tree. Those that it doesn't show keep the places
/// that they were given: the control puts them behind the others.
std::vector<unsigned int> OrderOf(const BrowseCtrl& ctrl, std::size_t count,
                                  const std::set<unsigned int>& unseen) {
    std::vector<unsigned int> seen;
    for (const auto& key : ctrl.SortLevels()) {
        if (!unseen.contains(key.Level())) {
            seen.push_back(key.Level());
        }
    }
    std::vector<unsigned int> order;
    auto next = seen.begin();
    for (unsigned int id = 0; id < count; ++id) {
        order.push_back(unseen.contains(id) ? id : *next++);
    }
    return order;
}

/// Keeps the order of the levels, what is hidden and how far the tree is open in the view.
void Keep(const BrowseCtrl& ctrl, const BrowseTreeView& view, const CliTreeOrder& order,
          const std::set<unsigned int>& fixedLevels, CliView& saved) {
    CliViewValue levels{CliViewValue::List};
    CliViewValue hidden{CliViewValue::List};
    CliViewValue reversed{CliViewValue::List};
    const std::vector<unsigned int> all = ctrl.Levels(/*isHidden=*/true);
    std::set<unsigned int> unseen(all.begin(), all.end());
    unseen.insert(fixedLevels.begin(), fixedLevels.end());
    std::set<unsigned int> turned;
    for (const auto& key : ctrl.SortLevels()) {
        if (key.IsReverseOrder()) {
            turned.insert(key.Level());
        }
    }
    for (const unsigned int id : OrderOf(ctrl, order.levels.all.size(), unseen)) {
        const std::string written = order.levels.all[id].Written();
        levels.texts.push_back(written);
        if (unseen.contains(id) && !fixedLevels.contains(id)) {
            hidden.texts.push_back(written);
        }
        if (turned.contains(id)) {
            reversed.texts.push_back(written);
        }
    }
    saved.Set("browse", "levels", std::move(levels));
    for (auto& [key, list] : {std::pair{"hide", &hidden}, std::pair{"reverse", &reversed}}) {
        if (!list->texts.empty() || saved.Has("browse", key)) {
            saved.Set("browse", key, std::move(*list));
        }
    }
    if (view.ItemCount() != 0) {
        saved.Set("browse", "depth", {CliViewValue::Number, {std::to_string(view.OpenDepth())}});
    }
}

CliResult<> SaveView(const CliView& saved) {
    return saved.Path().empty()
               ? CliFailure{CliExit::Usage,
                            "the view has no file: --view or --save-view names one at the start"}
               : saved.Save();
}

CliResult<> CheckLevels(const CliTreeOrder& order) {
    for (unsigned int id = 0; id < order.levels.all.size(); ++id) {
        if (order.IsShown(id)) {
            return {};
        }
    }
    return CliFailure{CliExit::Usage,
                      "no level is left to browse: all of them are in --hide or --at"};
}

}  // namespace

void BrowseCommand::Declare(CLI::App& app) {
    source_.Declare(app);
    sort_.Declare(app);
    alerts_.Declare(app);
    colour_.Declare(app);
    app.add_option("--depth", depth_, "Open this many levels below the root at first")
        ->check(CheckNumberFrom0)
        ->type_name("N");
    CliExplanation::Declare(app, explains_);
    app.footer(
        "Levels are written as for walk. Behind a node stands the number of leaves below it: "
        "of places at the last level.\n"
        "Keys: arrows, page keys, Home and End move; Enter, + and - open and close; Alt+Up "
        "and Alt+Down (or < and >) move the level of the selected node; h hides it, s shows "
        "the level hidden last; F5 (or r) reads all records again, Esc cancels, w saves the view, "
        "q and Ctrl+C quit.\n"
        "An alert is a level, the number of leaves that is still allowed, and its style: "
        "bold, italic, red, green, yellow, blue, magenta, cyan, white, and up to mark the "
        "nodes above too.");
}

CliResult<> BrowseCommand::Run(CliEnvironment& environment) {
    const bool readsInput = source_.path == kStandardInput;
    if (CliResult<> checked = CheckOptions(sort_, environment, explains_, readsInput); !checked) {
        return checked;
    }
    if (CliResult<> installed = sort_.Install(environment); !installed) {
        return installed;
    }
    if (CliResult<> chosen = source_.ChooseFile(environment.files); !chosen) {
        return chosen;
    }
    const CliResult<CliOpenTable> opened = ReadTable(source_, environment.interrupt);
    if (!opened) {
        return opened.Failure();
    }
    if (CliResult<> taken = readsInput && !explains_ ? TakeKeysFromTerminal() : CliResult<>();
        !taken) {
        return taken;
    }
    const CliResult<CliTreeOrder> order = sort_.ReadTree(opened->table);
    if (!order) {
        return order.Failure();
    }
    if (CliResult<> checked = CheckLevels(*order); !checked) {
        return checked;
    }
    if (CliResult<> read = alerts_.Read(order->levels); !read) {
        return read;
    }
    CliResult<CliCondition> condition = ReadCondition(opened->table, sort_.Levels());
    if (!condition) {
        return condition.Failure();
    }
    return Browse(environment,
                  {opened->table, environment.interrupt, false, nullptr, std::move(*condition)},
                  *order);
}

CliResult<> BrowseCommand::Browse(const CliEnvironment& environment, const CliWalkContext& context,
                                  const CliTreeOrder& order) {
    BrowseCursor cursor(context.interrupt);
    if (CliResult<> opened = OpenCursor(context, order.levels.levels, {}, cursor); !opened) {
        return opened;
    }
    cursor.SetPlace(order.place);
    if (explains_) {
        CliExplanation explanation(environment.output);
        explanation.Keeps("each node of the levels shown, and each item that was opened");
        explanation.Tell(context, cursor, order.place, /*byBlocks=*/false);
        return {};
    }
    int ended = 0;
    {
        // Signals are caught for as long as the terminal is in the program's mode.
        BrowseWake wake;
        const CliInterrupt::Handling handling(context.interrupt, [&wake] { wake.Raise(SIGINT); });
        const CliResult<std::unique_ptr<BrowseTerminal>> terminal =
            BrowseTerminal::Open(colour_.HasStyle(environment));
        if (!terminal) {
            return terminal.Failure();
        }
        ended = Show({**terminal, wake}, context, cursor, order, environment.view);
    }
    if (ended == 0) {
        return {};
    }
    if (ended != SIGINT) {
        signal(ended, SIG_DFL);
        raise(ended);  // the terminal is restored: end as by an uncaught signal
    }
    return CliFailure{CliExit::Cancelled, {}};
}

int BrowseCommand::Show(const Seat& seat, const CliWalkContext& context, BrowseCursor& cursor,
                        const CliTreeOrder& order, CliView& saved) const {
    const std::string tableName(context.table.Info().name.View());
    BrowseScreen screen;
    BrowseTreeView view(seat.terminal, seat.wake);
    BrowseCtrl ctrl(screen, cursor, alerts_);
    const std::string place = sort_.Levels().At();
    ctrl.Init(&cursor, Chaine(place.empty() ? tableName : place), nullptr);
    view.SetRows(&ctrl);
    ctrl.Attach(&view);
    ctrl.SetSortLevels(order.Keys(), /*refresh=*/false);
    ctrl.SetCompareSource(sort_.CompareSource(), /*refresh=*/false);
    std::set<unsigned int> fixedLevels;
    for (unsigned int index = 0; index < order.place.KnownLevelsCount(); ++index) {
        fixedLevels.insert(order.place.LevelAt(index));
    }
    const auto keep = [&] { Keep(ctrl, view, order, fixedLevels, saved); };
    const auto save = [&]() -> std::string {
        keep();
        const CliResult<> done = SaveView(saved);
        return done ? fmt::format("saved as {}", Quoted(saved.Path())) : done.Failure().text;
    };
    BrowseWindow window({seat.terminal, seat.wake, view, ctrl}, tableName, fixedLevels,
                        {depth_, save});
    const int signal = window.Run();
    keep();
    seat.terminal.Close();  // before a large tree is destroyed, which takes time
    return signal;
}

}  // namespace etabulon
