#include "controls/EDataTreeCtrlSelection.h"

#include "controls/EDataTreeCtrlParts.h"

#include <vector>

namespace etabulon::detail {
namespace {

constexpr unsigned int kAutoRefreshTimer = 1;
constexpr unsigned int kAutoRefreshMilliseconds = 200;

}  // namespace

ETabulonTag EDataTreeCtrlSelection::Selected() const {
    _TREEITEM* item = View().SelectedItem();
    if (item == nullptr) {
        item = View().FirstItem();
    }
    return item != nullptr ? parts_.items.Tag(item) : ETabulonTag();
}

int EDataTreeCtrlSelection::SelectItem(_TREEITEM* item) {
    return item != nullptr && View().SelectItem(item) ? 1 : 0;
}

void EDataTreeCtrlSelection::Show(_TREEITEM* item) {
    SelectItem(item);
    View().EnsureVisible(item);
}

void EDataTreeCtrlSelection::Select(const ETabulonTag& tag) {
    const ETabulonTag wanted = tag;
    if (!parts_.items.Has(wanted)) {
        if (wanted.IsRoot()) {
            return;
        }
        OpenAbove(wanted);
        // Deliberate: a tag that the model doesn't hold gets an entry without an item. It then
        // counts as known: a later refresh of it climbs to the parent and not to the root.
        // SelectOfAnUnknownTag holds it.
        View().Expand(parts_.items.FindOrAdd(wanted), TreeExpand);
    }
    if (_TREEITEM* item = parts_.items.Find(wanted)) {
        Show(item);
    }
}

/// Opens the branch from the nearest ancestor that has an entry down to the parent. Each item that
/// opens gets its children, so that the next one can be found.
void EDataTreeCtrlSelection::OpenAbove(const ETabulonTag& tag) {
    std::vector<ETabulonTag> branch = {parts_.AboveOf(tag)};
    while (!branch.back().IsRoot() && !parts_.items.Has(branch.back())) {
        branch.push_back(parts_.AboveOf(branch.back()));
    }
    for (auto step = branch.rbegin(); step != branch.rend(); ++step) {
        View().Expand(parts_.items.FindOrAdd(*step), TreeExpand);
    }
}

void EDataTreeCtrlSelection::SelectAgain(const ETabulonTag& tag) {
    if (!parts_.items.Has(tag)) {
        OpenAbove(tag);
    }
    _TREEITEM* const item = parts_.items.Find(tag);
    if (item != nullptr && item != View().SelectedItem()) {
        Show(item);
    }
}

// --------------------------------------------------------------------------------------- the timer

void EDataTreeCtrlSelection::StartAutoRefreshTimer() {
    autoRefreshTimer_ = View().SetTimer(
        autoRefreshTimer_ != 0 ? autoRefreshTimer_ : kAutoRefreshTimer, kAutoRefreshMilliseconds);
}

void EDataTreeCtrlSelection::KillTimer() {
    if (autoRefreshTimer_ != 0) {
        View().KillTimer(autoRefreshTimer_);
    }
}

bool EDataTreeCtrlSelection::OnTimer(unsigned int timerID) {
    if (timerID == 0 || timerID != autoRefreshTimer_ || parts_.inUpdate) {
        return false;
    }
    View().KillTimer(autoRefreshTimer_);
    autoRefreshTimer_ = 0;
    const ETabulonTag selected = Selected();
    if (!(selected == lastTag_)) {
        // Deliberate: without a refresh the tag isn't remembered, so that a selection that comes
        // back to the former tag is reported again. ConsultedAgainWithoutRefresh holds it.
        if (refreshOnSelChange_) {
            parts_.runs.Refresh(selected);
            lastTag_ = selected;
        }
        parts_.ctrl.OnConsultNode(selected);
    }
    return true;
}

}  // namespace etabulon::detail
