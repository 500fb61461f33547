#pragma once

#include "controls/EDataTreeCtrlPart.h"

namespace etabulon::detail {

/// Changes of a tree control's levels and of what it shows of them: by setters, by moves, by drag
/// and drop, and from outside.
class EDataTreeCtrlLevels final : public EDataTreeCtrlPart {
public:
    using SortKeyArray = ETabulonSortDesc::SortKeyArray;
    using HideFlag = ETabulonSortDesc::HideFlag;
    using DropData = EDropData;
    using SortChange = EDataTreeCtrl::SortChange;
    using EDataTreeCtrlPart::EDataTreeCtrlPart;

    void SetRootParams(const Chaine& rootName, HICON rootIcon);
    void SetDisplay(EDataTreeCtrl::DisplayMode mode, bool refresh);
    void SetSortLevels(const SortKeyArray& keys, bool refresh);
    bool SetHideLevelFlags(unsigned int level, HideFlag flag, bool refresh);
    bool SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag, bool refresh);
    void SetCompareSource(ETabulonSortDesc::SortCompareSource source, bool refresh);
    void SetAttachHiddenLevelsToCurrent(bool attach, bool refresh);
    [[nodiscard]] bool AreHiddenLevelsAttachedToCurrent() const noexcept {
        return attachHiddenLevels_;
    }
    /// Moves the hidden levels after the selected item's level, or after all levels.
    void RestoreHiddenLevelsPosition();

    bool MoveSelectedLevelUp();
    bool MoveSelectedLevelDown();
    bool CanBeginDrag(_TREEITEM* item);
    [[nodiscard]] bool CanDrop(const DropData* data) const;
    void OnDrop(const DropData* data);

    bool OnSortChanging();
    void OnSortChanged(SortChange change);
    /// Gives back the locks of changes that won't be answered.
    void ReleaseLocks();

private:
    bool MoveSortLevel(unsigned int from, unsigned int to, bool resync);
    bool AfterHideChange(bool changed, bool refresh);

    bool attachHiddenLevels_ = false;
    unsigned int sortLocks_ = 0;  // locks taken for sort changes that are still to be answered
};

}  // namespace etabulon::detail
