#include "controls/EDataTreeCtrlDisplay.h"

#include "controls/EDataTreeCtrlParts.h"
#include "etabulon/tree/EDataTreeRaisedAlerts.h"

#include <algorithm>

namespace etabulon::detail {
namespace {

constexpr unsigned int kPreparingTextID = 10712;

}  // namespace

EDataTreeCtrlDisplay::~EDataTreeCtrlDisplay() {
    for (std::uint32_t index = 0; index < fonts_.Size(); ++index) {
        if (fonts_.Value(index) != nullptr) {
            parts_.screen.DeleteFont(fonts_.Value(index));
        }
    }
}

// -------------------------------------------------------------------------------- an empty control

void EDataTreeCtrlDisplay::SetEmptyText(const Chaine& text) {
    emptyText_ = text;
    View().Invalidate();
}

bool EDataTreeCtrlDisplay::OnEraseBkgnd(IDrawSurface& surface) {
    const bool running = parts_.runs.IsBusy();
    const bool hasText = running ? parts_.wait.IsTextShown() : !emptyText_.IsEmpty();
    _TREEITEM* const first = View().FirstItem();
    if (!hasText || (first != nullptr && View().FirstChild(first) != nullptr)) {
        return false;
    }
    EColour background = View().BackgroundColour();
    if (background == kDefaultColour) {
        background = parts_.screen.Colour(IScreen::ColourWindow);
    }
    ERect client = View().ClientRect();
    surface.FillRect(client, background);
    const Chaine text = running ? parts_.screen.String(kPreparingTextID) : emptyText_;
    const ERect measured = surface.MeasureText(
        text, client,
        IDrawSurface::TextMeasure | IDrawSurface::TextWordBreak | IDrawSurface::TextNoPrefix);
    client.top = (measured.top - measured.bottom + client.bottom + client.top) / 2;
    const EColour former = surface.SetTextColour(parts_.screen.Colour(IScreen::ColourGrayText));
    surface.DrawText(
        text, client,
        IDrawSurface::TextCenter | IDrawSurface::TextWordBreak | IDrawSurface::TextNoPrefix);
    surface.SetTextColour(former);
    return true;
}

void EDataTreeCtrlDisplay::OnSize(unsigned int sizeType) {
    if (sizeType != ITreeViewEvents::SizeMinimised && View().FirstItem() == nullptr) {
        View().Invalidate();
        View().UpdateNow();
    }
}

// --------------------------------------------------------------------------------- alerts and tips

void EDataTreeCtrlDisplay::AttachAlerts(const EDataTreeRaisedAlerts* alerts) {
    alerts_ = alerts;
    View().Invalidate();
    View().UpdateNow();
}

std::uint32_t EDataTreeCtrlDisplay::OnCustomdraw(ETreeDraw& draw) {
    if (draw.stage == ETreeDraw::PrePaint) {
        return alerts_ != nullptr ? ETreeDraw::NotifyItems | ETreeDraw::NewFont
                                  : ETreeDraw::DoDefault;
    }
    if (draw.stage != ETreeDraw::ItemPrePaint || alerts_ == nullptr || draw.itemData == 0) {
        return ETreeDraw::DoDefault;
    }
    const auto& data = *reinterpret_cast<const EDataTreeItemData*>(draw.itemData);
    const EDataTreeAlertDesc alert = alerts_->GetDisplayAlert(data.tag);
    if (alert.HasTextColor()) {
        draw.textColour = alert.TextColor();
    }
    // Deliberate: an alert without a style gives a plain font even if the view's font is bold: the
    // raised alerts alone decide a node's style. PlainAlertOnABoldViewGivesAPlainFont holds it.
    ELogFont font = draw.surface->Font();
    const ELogFont present = font;
    font.weight = alert.TextBold() ? ELogFont::kBold : ELogFont::kNormal;
    font.italic = alert.TextItalic() ? 1 : 0;
    if (font == present) {
        return ETreeDraw::DoDefault;
    }
    draw.surface->SelectFont(FontFor(font));
    return ETreeDraw::NewFont;
}

HFONT EDataTreeCtrlDisplay::FontFor(const ELogFont& font) {
    if (const HFONT* known = fonts_.FindValue(font)) {
        return *known;
    }
    // Deliberate: a font that can't be made is kept as null and selected like others, and isn't
    // tried again. FontThatCantBeMadeIsSelectedAsNull holds it.
    return fonts_[font] = parts_.screen.NewFont(font);
}

void EDataTreeCtrlDisplay::OnGetinfotip(_TREEITEM* item, std::span<char> buffer) {
    const EDataTreeItemData* data = parts_.items.DataOf(item);
    if (data == nullptr || data->tag.IsRoot() || buffer.empty()) {
        return;
    }
    const std::string_view tip = data->tip.View();
    std::size_t length = std::min(tip.size(), buffer.size() - 1);
    const auto continues = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
    };
    while (length > 0 && length < tip.size() && continues(tip[length])) {
        --length;  // cuts before a whole character
    }
    std::copy_n(tip.data(), length, buffer.data());
    buffer[length] = '\0';
}

}  // namespace etabulon::detail
