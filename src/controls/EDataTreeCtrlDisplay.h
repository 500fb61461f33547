#pragma once

#include "controls/EDataTreeCtrlPart.h"
#include "etabulon/foundation/FAssociative.h"

#include <cstdint>
#include <span>

namespace etabulon::detail {

/// What a tree control draws besides plain items: the style of alerts, tips, and the text of an
/// empty view.
class EDataTreeCtrlDisplay final : public EDataTreeCtrlPart {
public:
    using EDataTreeCtrlPart::EDataTreeCtrlPart;
    ~EDataTreeCtrlDisplay();

    void SetEmptyText(const Chaine& text);
    void AttachAlerts(const EDataTreeRaisedAlerts* alerts);

    std::uint32_t OnCustomdraw(ETreeDraw& draw);
    void OnGetinfotip(_TREEITEM* item, std::span<char> buffer);
    /// Returns whether it drew the background, with a text.
    bool OnEraseBkgnd(IDrawSurface& surface);
    void OnSize(unsigned int sizeType);

private:
    [[nodiscard]] HFONT FontFor(const ELogFont& font);

    const EDataTreeRaisedAlerts* alerts_ = nullptr;  // not owned
    FAssociative<ELogFont, HFONT> fonts_;            // owned
    Chaine emptyText_;
};

}  // namespace etabulon::detail
