#pragma once

#include "controls/EDataTreeCtrlDisplay.h"
#include "controls/EDataTreeCtrlItems.h"
#include "controls/EDataTreeCtrlLevels.h"
#include "controls/EDataTreeCtrlRuns.h"
#include "controls/EDataTreeCtrlSelection.h"
#include "controls/EDataTreeCtrlSync.h"
#include "controls/EDataTreeCtrlWait.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EIconImages.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/tree/EDataTree.h"

#include <memory>

namespace etabulon::detail {

/// What a tree control consists of behind its contract: the model, and one part for each duty.
struct EDataTreeCtrlParts {
    EDataTreeCtrlParts(EDataTreeCtrl& ctrl, IScreen& screen);

    [[nodiscard]] ETabulonCursor* Cursor() const { return tree->Cursor(); }
    [[nodiscard]] ETabulonSortDesc* SortDesc() const { return tree->SortDesc(); }
    [[nodiscard]] const ETabulonLevels& AvailableLevels() const { return tree->AvailableLevels(); }
    /// The tag one level up, for climbs: the root's where a level stands twice among the keys, so
    /// that a tag is its own parent.
    [[nodiscard]] ETabulonTag AboveOf(const ETabulonTag& tag) const;

    EDataTreeCtrl& ctrl;
    IScreen& screen;
    EDataTreeCtrlRuns runs;
    EIconImages images;
    EDataTreeCtrlDisplay display;
    std::unique_ptr<EDataTree> tree;  // null until Init; goes before the fonts of `display`
    EDataTreeCtrlItems items;
    EDataTreeCtrlSelection selection;
    EDataTreeCtrlSync sync;
    EDataTreeCtrlLevels levels;
    EDataTreeCtrlWait wait;
    bool inUpdate = false;  // the control changes items itself
};

inline ITreeView& EDataTreeCtrlPart::View() const noexcept { return parts_.ctrl.View(); }

}  // namespace etabulon::detail
