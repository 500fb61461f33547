#pragma once

#include "etabulon/foundation/Chaine.h"

#include <cstdint>

namespace etabulon {

/// A named alert: the style of the nodes on which it is raised, and whether their ancestors take
/// that style too. The default has no name and no style, as a node without alerts shows.
/// Example    apps/etabulon/browse/BrowseAlerts.cpp
class ETABULON_API EDataTreeAlertDesc {
public:
    EDataTreeAlertDesc() = default;
    explicit EDataTreeAlertDesc(const Chaine& id) : id_(id) {}
    EDataTreeAlertDesc(const EDataTreeAlertDesc&) = default;
    EDataTreeAlertDesc& operator=(const EDataTreeAlertDesc&) = default;
    virtual ~EDataTreeAlertDesc() = default;

    /// Both styles as one, the same in either order; the name is "a,b".
    [[nodiscard]] static EDataTreeAlertDesc Merge(const EDataTreeAlertDesc& a,
                                                  const EDataTreeAlertDesc& b);

    [[nodiscard]] const Chaine& ID() const noexcept { return id_; }
    [[nodiscard]] bool PropagateToParent() const noexcept { return propagateToParent_; }
    void SetPropagateToParent(bool propagate) noexcept { propagateToParent_ = propagate; }
    [[nodiscard]] bool HasTextColor() const noexcept { return hasTextColor_; }
    /// 0x00BBGGRR; means nothing without HasTextColor().
    [[nodiscard]] std::uint32_t TextColor() const noexcept { return textColor_; }
    void SetTextColor(std::uint32_t color) noexcept {
        textColor_ = color;
        hasTextColor_ = true;
    }
    void ResetTextColor() noexcept { hasTextColor_ = false; }
    [[nodiscard]] bool TextBold() const noexcept { return textBold_; }
    void SetTextBold(bool bold) noexcept { textBold_ = bold; }
    [[nodiscard]] bool TextItalic() const noexcept { return textItalic_; }
    void SetTextItalic(bool italic) noexcept { textItalic_ = italic; }

private:
    Chaine id_;
    bool propagateToParent_ : 1 = false;
    bool hasTextColor_ : 1 = false;
    std::uint32_t textColor_ = 0;
    bool textBold_ : 1 = false;
    bool textItalic_ : 1 = false;
};

}  // namespace etabulon
