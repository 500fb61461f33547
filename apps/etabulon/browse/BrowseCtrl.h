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

/// The tree control of the browser: knows which run is out and how it went, counts the leaves of
/// nodes, and raises alerts on what is about to be drawn.
///
/// Waiting    nothing here waits for a walk: nodes are looked at when no run is out, and else what
///            was known of them is shown. Whoever calls an operation that needs the cursor looks at
///            IsOut first.
/// Ownership  cursor and alerts aren't owned and must outlive this.
class BrowseCtrl final : public EDataTreeCtrl, public BrowseTreeView::IRows {
public:
    BrowseCtrl(IScreen& screen, BrowseCursor& cursor, const BrowseAlerts& alerts);

    /// A run was started whose end hasn't been told yet.
    [[nodiscard]] bool IsOut() const noexcept { return runs_ > 0; }
    /// Nobody asked for the run that is out: the selection moved.
    [[nodiscard]] bool IsAutomatic() const noexcept { return IsOut() && isAutomatic_; }
    /// Ends the run that is out at its next step.
    void Stop();
    /// All records anew; a tree without items is filled.
    void RefreshAll();
    void HideLevel(unsigned level);
    void ShowLevel(unsigned level);
    bool MoveUp();
    bool MoveDown();

    /// The levels shown, and those of the sort that aren't.
    [[nodiscard]] std::vector<unsigned> Levels(bool isHidden) const;
    /// That of the selected node; false at the root and without one.
    [[nodiscard]] bool SelectedLevel(unsigned& level) const;
    /// What is going on, or how it ended.
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
    /// What an item stands for: its level, its label and its data; nothing for the root.
    [[nodiscard]] std::string Tip(_TREEITEM* item) const;

private:
    /// An alert, and the node that it is raised on: this one or, if it propagates, one below.
    struct Raised {
        const BrowseAlert* alert;
        ETabulonTag tag;
    };
    /// What is known of the node of an item.
    struct Facts {
        std::uint32_t leaves = 0;
        std::uint64_t stamp = 0;  // of when the alerts were looked for
        std::vector<Raised> raised;
    };
    template <class Call>
    void Run(const char* doing, bool isAutomatic, Call call);
    void SetLevelHidden(unsigned level, bool isHidden);
    void EndRun(const std::string& status, const char* emptyText);
    void TidyUp();
    [[nodiscard]] unsigned DepthOf(_TREEITEM* item) const;
    void LookAt(_TREEITEM* item, Facts& facts) const;
    void FindAlert(const EDataTreeNode& node, const BrowseAlert& alert, Facts& facts) const;

    BrowseCursor& cursor_;
    const BrowseAlerts& alerts_;
    EDataTreeRaisedAlerts raised_;
    std::unordered_map<_TREEITEM*, Facts> facts_;
    std::uint64_t stamp_ = 1;  // changes when nodes may have
    unsigned runs_ = 0;        // started and not ended
    bool isAutomatic_ = false;
    const char* doing_ = "filling";  // what the next run does, or the one that is out
    std::string status_;
};

}  // namespace etabulon
