#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "etabulon/controls/EScreenTypes.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace etabulon {

class BrowseCtrl;
class BrowseTreeView;
class BrowseWake;

/// The parts of a browser. The window owns none of them.
struct BrowseParts {
    BrowseTerminal& terminal;
    BrowseWake& wake;
    BrowseTreeView& view;
    BrowseCtrl& ctrl;
};

/// What a saved view asks of the window, and how the window saves one.
struct BrowseSaving {
    std::optional<unsigned int> depth;  // that the tree is opened to at first
    /// Saves the view, and returns a sentence for the status line.
    std::function<std::string()> save;
};

/// The window around the tree: a title, a status line, a line of keys, and the main loop. A key
/// that needs the cursor waits for the end of the active run. Only the last such key is kept, as
/// the meaning of the others may have changed by then.
class BrowseWindow {
public:
    /// The levels in `fixedLevels` are never shown.
    BrowseWindow(const BrowseParts& parts, std::string title, std::set<unsigned int> fixedLevels,
                 BrowseSaving saving);
    BrowseWindow(const BrowseWindow&) = delete;
    BrowseWindow& operator=(const BrowseWindow&) = delete;

    /// Returns when the user quits, with 0, or when a signal ends the loop, with its number.
    int Run();

private:
    struct Waiting {
        BrowseKey key;
        _TREEITEM* item;  // the item that was selected
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
    void OpenAtFirst();
    void Perform(BrowseKey key);
    void Hide();
    void ShowAgain();

    BrowseTerminal& terminal_;
    BrowseWake& wake_;
    BrowseTreeView& view_;
    BrowseCtrl& ctrl_;
    std::string title_;
    std::set<unsigned int> fixedLevels_;
    std::vector<unsigned int> hidden_;  // levels that the user has hidden, the latest last
    std::optional<Waiting> waiting_;
    BrowseSaving saving_;
    int signal_ = 0;
};

}  // namespace etabulon
