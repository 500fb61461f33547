#pragma once

#include "etabulon/controls/EDataTreeCtrl.h"

namespace etabulon::detail {

inline constexpr ETabulonSortDesc::HideFlag kInTree = ETabulonSortDesc::HideInTree;

/// A part of a tree control. It keeps its own state and reaches its siblings through `parts_`.
class EDataTreeCtrlPart {
public:
    explicit EDataTreeCtrlPart(EDataTreeCtrlParts& parts) noexcept : parts_(parts) {}
    EDataTreeCtrlPart(const EDataTreeCtrlPart&) = delete;
    EDataTreeCtrlPart& operator=(const EDataTreeCtrlPart&) = delete;

protected:
    ~EDataTreeCtrlPart() = default;
    [[nodiscard]] ITreeView& View() const noexcept;

    EDataTreeCtrlParts& parts_;
};

}  // namespace etabulon::detail
