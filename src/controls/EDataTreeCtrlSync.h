#pragma once

#include "controls/EDataTreeCtrlPart.h"

namespace etabulon::detail {

/// Keeps the items of a tree control in step with the model, under the cursor's lock: inserts,
/// changes and deletes them.
class EDataTreeCtrlSync final : public EDataTreeCtrlPart {
public:
    using EDataTreeCtrlPart::EDataTreeCtrlPart;

    [[nodiscard]] EDataTreeCtrl::DisplayMode Display() const noexcept { return display_; }
    void SetDisplay(EDataTreeCtrl::DisplayMode mode) noexcept { display_ = mode; }
    void SetExpand(EDataTreeCtrl::ExpandMode expand) noexcept { expand_ = expand; }

    void ReSync();
    /// Only the branch of the tag.
    void ReSync(const ETabulonTag& tag);
    /// Deletes the tag's item, and before it each item below, one by one.
    void Delete(const ETabulonTag& tag);
    /// Returns whether the item may open.
    bool OnItemexpanding(_TREEITEM* item, ETreeExpand action);

private:
    class Redraw;     // redraw off from the first change on
    class Following;  // the selection, through a sync

    bool ReSync(const ETabulonTag& tag, bool redrawOff);
    [[nodiscard]] EDataTreeNode* NodeToSync(const ETabulonTag& tag) const;
    [[nodiscard]] _TREEITEM* ItemOf(const EDataTreeNode& node) const;
    void SyncRootItem(Redraw& redraw);
    void DeleteStrangers(const EDataTreeNode& node, _TREEITEM* item, Redraw& redraw);
    void SyncChildren(EDataTreeNode& node, _TREEITEM* item, Redraw& redraw);
    void SyncItem(EDataTreeNode& node, _TREEITEM* item, const ETabulonTag& tag, Redraw& redraw);
    _TREEITEM* InsertItem(EDataTreeNode& node, _TREEITEM* parent, _TREEITEM* after);
    [[nodiscard]] bool OpensByItself(const EDataTreeNode& node) const;
    [[nodiscard]] Chaine TipOf(const ETabulonTag& tag, unsigned int position) const;
    [[nodiscard]] Chaine DisplayName(const EDataTreeNode& node) const;
    void DropItem(_TREEITEM* item);
    void DeleteItem(_TREEITEM* item);
    void SelectHeir(_TREEITEM* next, _TREEITEM* item);

    EDataTreeCtrl::DisplayMode display_ = EDataTreeCtrl::DisplayText;
    EDataTreeCtrl::ExpandMode expand_ = EDataTreeCtrl::ExpandBranches;
    Following* following_ = nullptr;  // of the outermost running sync
};

}  // namespace etabulon::detail
