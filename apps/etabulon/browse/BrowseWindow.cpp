#include "apps/etabulon/browse/BrowseWindow.h"

#include "apps/etabulon/browse/BrowseCtrl.h"
#include "apps/etabulon/browse/BrowseTreeView.h"
#include "apps/etabulon/browse/BrowseWake.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace etabulon {
namespace {

constexpr int kProgressMilliseconds = 100;  // between two updates of a run's count
constexpr int kLinesAround = 3;             // title, status, keys
constexpr const char* kKeys =
    "q quit  arrows, Enter, + - open, close  Alt+Up Alt+Down move level  h hide  s show  F5 "
    "refresh  Esc cancel  w save view";

}  // namespace

BrowseWindow::BrowseWindow(const BrowseParts& parts, std::string title,
                           std::set<unsigned int> fixedLevels, BrowseSaving saving)
    : terminal_(parts.terminal),
      wake_(parts.wake),
      view_(parts.view),
      ctrl_(parts.ctrl),
      title_(std::move(title)),
      fixedLevels_(std::move(fixedLevels)),
      saving_(std::move(saving)) {
    for (const unsigned int level : ctrl_.Levels(/*isHidden=*/true)) {
        if (!fixedLevels_.contains(level)) {
            hidden_.push_back(level);
        }
    }
    std::reverse(hidden_.begin(), hidden_.end());
}

int BrowseWindow::Run() {
    Layout();
    ctrl_.RefreshAll();
    do {
        Paint();
    } while (Await());
    return signal_;
}

// ----------------------------------------------------------------------------------------- drawing

/// A terminal with too few lines shows the tree first, then the status.
void BrowseWindow::Layout() {
    const EPoint size = terminal_.Size();
    const int top = size.y > kLinesAround ? 1 : 0;
    const int below = size.y > kLinesAround ? 2 : size.y > 1 ? 1 : 0;
    view_.Resize({0, top, size.x, std::max(size.y - below, top + 1)});
}

void BrowseWindow::Paint() {
    view_.Paint();
    const EPoint size = terminal_.Size();
    if (size.y > kLinesAround) {
        PaintLine(0, TitleText(), {}, /*isReverse=*/false);
        PaintLine(size.y - 1, kKeys, {}, /*isReverse=*/false);
    }
    if (size.y > 1) {
        PaintLine(size.y > kLinesAround ? size.y - 2 : size.y - 1, StatusText(),
                  ctrl_.Tip(view_.SelectedItem()),
                  /*isReverse=*/true);
    }
    terminal_.Show();
}

void BrowseWindow::PaintLine(int line, const std::string& left, const std::string& right,
                             bool isReverse) {
    const int width = terminal_.Size().x;
    BrowseStyle style;
    style.reverse = isReverse;
    terminal_.Clear({0, line, width, line + 1});
    if (isReverse) {
        terminal_.Put({0, line}, std::string(static_cast<std::size_t>(width), ' '), width, style);
    }
    const int used = terminal_.Put({0, line}, left, width, style);
    const int needed = terminal_.WidthOf(right);
    if (needed > 0 && needed + 2 <= width - used) {
        terminal_.Put({width - needed, line}, right, needed, style);
    }
}

std::string BrowseWindow::TitleText() const {
    const auto names = [this](bool isHidden) {
        std::string text;
        for (const unsigned int level : ctrl_.Levels(isHidden)) {
            if (!fixedLevels_.contains(level)) {
                text += text.empty() ? "" : ", ";
                text += ctrl_.AvailableLevels().GetLevel(level).Header().View();
            }
        }
        return text;
    };
    const std::string hidden = names(/*isHidden=*/true);
    return title_ + "  " + names(/*isHidden=*/false) +
           (hidden.empty() ? "" : "  (hidden: " + hidden + ")");
}

std::string BrowseWindow::StatusText() const {
    return ctrl_.Status() + (waiting_ ? "; a key waits for its end, Esc cancels" : "");
}

// ---------------------------------------------------------------------------------------- the loop

/// Waits for events and handles them; false at the end of the loop.
bool BrowseWindow::Await() {
    int wait = view_.Wait();
    if (ctrl_.IsRunActive()) {
        wait = wait < 0 ? kProgressMilliseconds : std::min(wait, kProgressMilliseconds);
    }
    std::array<pollfd, 2> ends{{{STDIN_FILENO, POLLIN, 0}, {wake_.Descriptor(), POLLIN, 0}}};
    poll(ends.data(), ends.size(), wait);
    if (!OnSignals()) {
        return false;
    }
    // Posted messages go before timers and keys, which may start new runs.
    wake_.Dispatch();
    view_.OnTimers();
    if (!OnKeys()) {
        return false;
    }
    wake_.Dispatch();
    PerformWaiting();
    OpenAtFirst();
    if ((ends[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        signal_ = SIGHUP;  // the terminal is gone
        return false;
    }
    return true;
}

bool BrowseWindow::OnSignals() {
    while (const int signal = wake_.TakeSignal()) {
        if (signal != SIGWINCH) {
            signal_ = signal;
            return false;
        }
        terminal_.TakeSize();
        Layout();
    }
    return true;
}

bool BrowseWindow::OnKeys() {
    for (;;) {
        const BrowseKey key = terminal_.ReadKey();
        if (key == BrowseKey::None) {
            return true;
        }
        if (key == BrowseKey::Quit) {
            return false;
        }
        OnKey(key);
        wake_.Dispatch();
    }
}

void BrowseWindow::OnKey(BrowseKey key) {
    switch (key) {
        case BrowseKey::Up:
            return view_.Step(-1);
        case BrowseKey::Down:
            return view_.Step(1);
        case BrowseKey::PageUp:
            return view_.Page(-1);
        case BrowseKey::PageDown:
            return view_.Page(1);
        case BrowseKey::Home:
            return view_.GoToStart();
        case BrowseKey::End:
            return view_.GoToEnd();
        case BrowseKey::Left:
        case BrowseKey::Right:
        case BrowseKey::Plus:
        case BrowseKey::Minus:
            return OnArrow(key);
        case BrowseKey::Enter:
            return OnEnter();
        case BrowseKey::LevelUp:
        case BrowseKey::LevelDown:
        case BrowseKey::Hide:
        case BrowseKey::Show:
        case BrowseKey::Refresh:
        case BrowseKey::SaveView:
            return Ask(key);
        case BrowseKey::Cancel:
            waiting_.reset();
            return ctrl_.Stop();
        case BrowseKey::Redraw:
            terminal_.Invalidate();
            return Layout();
        case BrowseKey::None:
        case BrowseKey::Other:
        case BrowseKey::Quit:
            return;
    }
}

void BrowseWindow::OnArrow(BrowseKey key) {
    _TREEITEM* const item = view_.SelectedItem();
    const bool opens = key == BrowseKey::Right || key == BrowseKey::Plus;
    if (opens && !view_.IsExpanded(item)) {
        if (view_.ItemHasChildren(item)) {
            Ask(BrowseKey::Plus);
        }
    } else if (opens) {
        if (key == BrowseKey::Right && view_.FirstChild(item) != nullptr) {
            view_.Step(1);
        }
    } else if (view_.IsExpanded(item)) {
        view_.Expand(item, TreeCollapse);
    } else if (_TREEITEM* const parent = view_.ParentItem(item);
               parent != nullptr && key == BrowseKey::Left) {
        view_.GoTo(parent);
    }
}

void BrowseWindow::OnEnter() {
    OnArrow(view_.IsExpanded(view_.SelectedItem()) ? BrowseKey::Minus : BrowseKey::Plus);
}

// -------------------------------------------------------------------- actions that need the cursor

void BrowseWindow::Ask(BrowseKey key) {
    waiting_ = Waiting{key, view_.SelectedItem()};
    if (ctrl_.IsAutomatic()) {
        ctrl_.Stop();  // the user's key goes before a run that the control started by itself
    }
    PerformWaiting();
}

void BrowseWindow::PerformWaiting() {
    if (!waiting_ || ctrl_.IsRunActive()) {
        return;
    }
    const Waiting waiting = *std::exchange(waiting_, std::nullopt);
    if (waiting.item != nullptr && view_.ItemData(waiting.item) == 0) {
        return;  // the item is gone
    }
    if (waiting.item != nullptr && waiting.key == BrowseKey::Plus) {
        view_.Expand(waiting.item, TreeExpand);
        return;
    }
    if (waiting.item != nullptr) {
        view_.SelectItem(waiting.item);
    }
    Perform(waiting.key);
}

/// Opens a filled tree as the view asks, once.
void BrowseWindow::OpenAtFirst() {
    if (saving_.depth && !ctrl_.IsRunActive() && view_.ItemCount() != 0) {
        view_.OpenTo(*std::exchange(saving_.depth, std::nullopt));
    }
}

void BrowseWindow::Perform(BrowseKey key) {
    switch (key) {
        case BrowseKey::LevelUp:
            return ctrl_.SetStatus(ctrl_.MoveUp() ? "level moved up"
                                                  : "this level can't be moved up");
        case BrowseKey::LevelDown:
            return ctrl_.SetStatus(ctrl_.MoveDown() ? "level moved down"
                                                    : "this level can't be moved down");
        case BrowseKey::Hide:
            return Hide();
        case BrowseKey::Show:
            return ShowAgain();
        case BrowseKey::SaveView:
            return ctrl_.SetStatus(saving_.save());
        default:
            return ctrl_.RefreshAll();
    }
}

void BrowseWindow::Hide() {
    unsigned int level = 0;
    if (!ctrl_.SelectedLevel(level)) {
        ctrl_.SetStatus("no level is selected");
    } else if (ctrl_.Levels(/*isHidden=*/false).size() == 1) {
        ctrl_.SetStatus("the last level can't be hidden");
    } else {
        hidden_.push_back(level);
        ctrl_.HideLevel(level);
    }
}

void BrowseWindow::ShowAgain() {
    if (hidden_.empty()) {
        ctrl_.SetStatus("no level is hidden");
        return;
    }
    const unsigned int level = hidden_.back();
    hidden_.pop_back();
    ctrl_.ShowLevel(level);
}

}  // namespace etabulon
