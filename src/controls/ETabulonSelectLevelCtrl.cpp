#include "etabulon/controls/ETabulonSelectLevelCtrl.h"

#include "controls/RedrawOff.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/foundation/EExpects.h"
#include "etabulon/values/ETabulonLevels.h"

namespace etabulon {
namespace {

constexpr ETabulonSortDesc::HideFlag kInTree = ETabulonSortDesc::HideInTree;

}  // namespace

ETabulonSelectLevelCtrl::ETabulonSelectLevelCtrl()
    : ETabulonSelectLevelCtrl(IScreen::Installed()) {}

ETabulonSelectLevelCtrl::ETabulonSelectLevelCtrl(IScreen& screen)
    : images_(screen, IScreen::ImagesColourDevice | IScreen::ImagesMasked) {}

ETabulonSelectLevelCtrl::~ETabulonSelectLevelCtrl() {
    if (sortDesc_) {
        sortDesc_->RemNotifier(this);
    }
    Detach();
}

void ETabulonSelectLevelCtrl::OnDetaching() { View().AttachImages(nullptr); }

// --------------------------------------------------------------------------------- the description

void ETabulonSelectLevelCtrl::Init(const ETabulonLevels* levels) {
    E_EXPECTS(levels != nullptr);
    levels_ = levels;
    if (sortDesc_) {
        sortDesc_->RemNotifier(this);
    }
    sortDesc_ = MakeRef<ETabulonSortDesc>(*levels_);
    sortDesc_->AddNotifier(this);
    // Deliberate: the view keeps its items, unlike in AttachSortDesc, since screens call Init
    // while they are set up and Fill once at the end. InitLeavesTheItems holds it.
}

void ETabulonSelectLevelCtrl::AttachSortDesc(ETabulonSortDesc* sortDesc) {
    if (sortDesc_ == sortDesc) {
        return;
    }
    if (sortDesc_) {
        sortDesc_->RemNotifier(this);
    }
    sortDesc_ = ERef<ETabulonSortDesc>::Retain(sortDesc);
    if (sortDesc_) {
        sortDesc_->AddNotifier(this);
    }
    Fill();
}

void ETabulonSelectLevelCtrl::AttachDataTreeCtrl(EDataTreeCtrl* ctrl) {
    if (ctrl == nullptr) {
        return;
    }
    E_EXPECTS(ctrl->InitDone());
    // Deliberate: a control without levels starts over with the tree's levels, and is thus filled
    // even if it works on the tree's description already; screens rely on a chain after their first
    // tree.
    // FirstTreeFillsInAnyCase holds it.
    if (levels_ == nullptr) {
        Init(&ctrl->SortDesc()->AvailableLevels());
    }
    AttachSortDesc(ctrl->SortDesc());
}

void ETabulonSelectLevelCtrl::OnSortChanged(const ETabulonSortDesc*, SortChange change) {
    if (change == SortChange::SortChangeLevels || change == SortChange::SortChangeMove) {
        Fill();
    }
}

// --------------------------------------------------------------------------------------- the chain

void ETabulonSelectLevelCtrl::Fill() {
    if (!HasView()) {
        return;
    }
    const detail::RedrawOff redrawOff(View());
    View().DeleteItem(kTreeRoot);
    View().AttachImages(images_.List());
    if (!sortDesc_) {
        return;
    }
    _TREEITEM* parent = kTreeRoot;
    std::intptr_t position = 0;
    for (const ETabulonSortDesc::SortKey& key : sortDesc_->SortLevels()) {
        if (key.IsHidden(kInTree)) {
            continue;
        }
        const ETabulonLevels::Level& level = sortDesc_->AvailableLevels().GetLevel(key.Level());
        const int image = images_.IndexOf(level.Icon(EVariant()));
        _TREEITEM* const item = View().InsertItem(level.Header(), image, image, parent, kTreeLast);
        View().Expand(parent, TreeExpand);
        ETreeItemChange change;
        change.data = position++;
        View().SetItem(item, change);
        parent = item;
    }
}

unsigned int ETabulonSelectLevelCtrl::PositionOf(_TREEITEM* item) const {
    return static_cast<unsigned int>(View().ItemData(item));
}

void ETabulonSelectLevelCtrl::SelectPos(unsigned int position) {
    _TREEITEM* item = View().FirstItem();
    for (; position > 0; --position) {
        item = View().FirstChild(item);
    }
    View().SelectItem(item);
}

// Deliberate: all items of the chain are open, so that a toggle could only close one, and is
// refused without a look at the item. ChainCantBeClosed holds it.
bool ETabulonSelectLevelCtrl::OnItemexpanding(_TREEITEM*, ETreeExpand action) {
    return action != TreeCollapse && action != TreeToggle && action != TreeCollapseReset;
}

// ------------------------------------------------------------------------------------------- moves

// Deliberate: the result of the move is ignored. The selection goes to the new position even if the
// description refused the move and another level has that position; the results of the callers
// concern the chain alone. RefusedMoveStillMovesTheSelection holds it.
//
// Deliberate: the description gets positions in the chain, which mean other levels to it where
// hidden levels are mixed with visible ones: such a move may leave the chain as it is. A tree
// control keeps the hidden levels together at the end. MoveAmongHiddenLevelsMayShowNothing holds
// it.
void ETabulonSelectLevelCtrl::MoveAndSelect(unsigned int from, unsigned int to) {
    sortDesc_->MoveSortLevel(from, to, kInTree);
    SelectPos(to);
}

bool ETabulonSelectLevelCtrl::MoveSelectedLevelDown() {
    _TREEITEM* const item = View().SelectedItem();
    if (!sortDesc_ || item == nullptr || View().FirstChild(item) == nullptr) {
        return false;
    }
    const unsigned int position = PositionOf(item);
    MoveAndSelect(position, position + 1);
    return true;
}

bool ETabulonSelectLevelCtrl::MoveSelectedLevelUp() {
    _TREEITEM* const item = View().SelectedItem();
    const unsigned int position = PositionOf(item);
    if (!sortDesc_ || item == nullptr || position == 0) {
        return false;
    }
    MoveAndSelect(position, position - 1);
    return true;
}

bool ETabulonSelectLevelCtrl::CanDrop(const DropData* data) const {
    return data->dragged != nullptr && data->target != nullptr && data->dragged != data->target;
}

void ETabulonSelectLevelCtrl::OnDrop(const DropData* data) {
    if (sortDesc_) {
        // Deliberate: nothing is selected after a drop, whereas the moves select the level that
        // moved: the chain is new, and a user who drags may have selected nothing.
        // DropMovesAndSelectsNothing holds it.
        sortDesc_->MoveSortLevel(PositionOf(data->dragged), PositionOf(data->target), kInTree);
    }
}

}  // namespace etabulon
