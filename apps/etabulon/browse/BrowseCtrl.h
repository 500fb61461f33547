#pragma once

#include "apps/etabulon/browse/BrowseAlerts.h"
#include "apps/etabulon/browse/BrowseTreeView.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/tree/EDataTreeRaisedAlerts.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace etabulon {

class BrowseCursor;

/// The tree control of the browser. It follows the runs of its worker, counts the leaves of nodes,
/// and raises alerts on the lines that are about to be drawn.
///
/// Waiting    no operation waits for a walk. Nodes are read while no run is active; during a run
///            their last known state is shown. A caller of an operation that needs the cursor
///            checks IsRunActive first.
/// Ownership  cursor and alerts aren't owned and must outlive the control.
class BrowseCtrl final : public EDataTreeCtrl, public BrowseTreeView::IRows {
public:
    BrowseCtrl(IScreen& screen, BrowseCursor& cursor, const BrowseAlerts& alerts);

    /// A run was started, and its end hasn't been reported yet.
    [[nodiscard]] bool IsRunActive() const noexcept { return runs_ > 0; }
    /// The control started the run by itself, because the selection moved.
    [[nodiscard]] bool IsAutomatic() const noexcept { return IsRunActive() && isAutomatic_; }
    /// Ends the run at its next step.
    void Stop();
    /// Reads all records again; fills a tree that has no items.
    void RefreshAll();
    void HideLevel(unsigned int level);
    void ShowLevel(unsigned int level);
    bool MoveUp();
    bool MoveDown();

    /// The levels of the sort that are shown, and those that are hidden.
    [[nodiscard]] std::vector<unsigned int> Levels(bool isHidden) const;
    /// Gets the level of the selected node; false for the root, or without a selection.
    [[nodiscard]] bool SelectedLevel(unsigned int& level) const;
    /// The text of the status line: the active run, or how the last one ended.
    [[nodiscard]] std::string Status() const;
    void SetStatus(const std::string& status) { status_ = status; }

    void OnBrowseStart() override;
    void OnBrowseDone() override;
    void OnBrowseCancel() override;
    void OnBrowseError(CursorStatus status) override;
    void OnConsultNode(const ETabulonTag& tag) override;
    void OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) override;

    void OnNewItem(_TREEITEM* item) override;
    void OnPaint(const std::vector<_TREEITEM*>& rows) override;
    [[nodiscard]] BrowseLabel Label(_TREEITEM* item, std::string_view text) const override;
    [[nodiscard]] std::string Note(_TREEITEM* item) const override;
    /// The level, label and data of an item's node; none for the root.
    [[nodiscard]] std::string Tip(_TREEITEM* item) const;

private:
    /// An alert, and the node that raises it: the item's or, if the alert propagates, one below.
    struct Raised {
        const BrowseAlert* alert;
        ETabulonTag tag;
    };
    /// The last known state of an item's node.
    struct Facts {
        std::uint32_t leaves = 0;
        std::uint64_t stamp = 0;  // the value of stamp_ when the alerts were computed
        std::vector<Raised> raised;
    };
    template <class Call>
    void Run(const char* doing, bool isAutomatic, Call call);
    void SetLevelHidden(unsigned int level, bool isHidden);
    void EndRun(const std::string& status, const char* emptyText);
    void TidyUp();
    [[nodiscard]] unsigned int DepthOf(_TREEITEM* item) const;
    void LookAt(_TREEITEM* item, Facts& facts) const;
    void FindAlert(const EDataTreeNode& node, const BrowseAlert& alert, Facts& facts) const;

    BrowseCursor& cursor_;
    const BrowseAlerts& alerts_;
    EDataTreeRaisedAlerts raised_;
    std::unordered_map<_TREEITEM*, Facts> facts_;
    std::uint64_t stamp_ = 1;  // increases whenever nodes may have changed
    unsigned int runs_ = 0;    // runs that were started and haven't ended
    bool isAutomatic_ = false;
    const char* doing_ = "filling";  // the work of the active or the next run, for the status line
    std::string status_;
};

}  // namespace etabulon
