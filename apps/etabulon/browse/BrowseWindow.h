#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "etabulon/controls/EScreenTypes.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace etabulon {

class BrowseCtrl;
class BrowseTreeView;
class BrowseWake;

/// What a browser consists of; none of it is owned by the window.
struct BrowseParts {
    BrowseTerminal& terminal;
    BrowseWake& wake;
    BrowseTreeView& view;
    BrowseCtrl& ctrl;
};

/// The window around the tree: a title, a line that tells what is going on, a line of keys, and the
/// main loop. What needs the cursor while a run is out waits until it isn't: the last such key, as
/// the others would mean something else by then.
class BrowseWindow {
public:
    /// `fixedLevels` are never shown.
    BrowseWindow(const BrowseParts& parts, std::string title, std::set<unsigned> fixedLevels);
    BrowseWindow(const BrowseWindow&) = delete;
    BrowseWindow& operator=(const BrowseWindow&) = delete;

    /// Returns when the user quits: 0, or the signal that ended it.
    int Run();

private:
    struct Waiting {
        BrowseKey key;
        _TREEITEM* item;  // that was selected
    };
    void Layout();
    void Paint();
    void PaintLine(int line, const std::string& left, const std::string& right, bool isReverse);
    [[nodiscard]] std::string TitleText() const;
    [[nodiscard]] std::string StatusText() const;
    bool Await();
    bool OnSignals();
    bool OnKeys();
    void OnKey(BrowseKey key);
    void OnArrow(BrowseKey key);
    void OnEnter();
    void Ask(BrowseKey key);
    void PerformWaiting();
    void Perform(BrowseKey key);
    void Hide();
    void ShowAgain();

    BrowseTerminal& terminal_;
    BrowseWake& wake_;
    BrowseTreeView& view_;
    BrowseCtrl& ctrl_;
    std::string title_;
    std::set<unsigned> fixedLevels_;
    std::vector<unsigned> hidden_;  // by the user, the last one last
    std::optional<Waiting> waiting_;
    int signal_ = 0;
};

}  // namespace etabulon
