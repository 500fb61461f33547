#pragma once

#include "controls/EDataTreeCtrlPart.h"

namespace etabulon::detail {

/// The selection of a tree control: selects by tag, and refreshes a node shortly after the user has
/// selected it.
class EDataTreeCtrlSelection final : public EDataTreeCtrlPart {
public:
    using EDataTreeCtrlPart::EDataTreeCtrlPart;

    [[nodiscard]] ETabulonTag Selected() const;
    void Select(const ETabulonTag& tag);
    /// Selects the item of a node that the model has, unless it is selected. Opens only the items
    /// above it.
    void SelectAgain(const ETabulonTag& tag);
    int SelectItem(_TREEITEM* item);
    /// Selects the item and scrolls to it.
    void Show(_TREEITEM* item);

    void SetRefreshOnSelChange(bool refresh) noexcept { refreshOnSelChange_ = refresh; }
    [[nodiscard]] bool RefreshOnSelChange() const noexcept { return refreshOnSelChange_; }

    void StartAutoRefreshTimer();
    /// Returns whether the tick was this part's.
    bool OnTimer(unsigned int timerID);
    void KillTimer();
    /// The timers went with the view.
    void ForgetTimer() noexcept { autoRefreshTimer_ = 0; }

private:
    void OpenAbove(const ETabulonTag& tag);

    ETabulonTag lastTag_;                // the last one that a change of the selection refreshed
    unsigned int autoRefreshTimer_ = 0;  // 0 while it doesn't run
    bool refreshOnSelChange_ = true;
};

}  // namespace etabulon::detail
