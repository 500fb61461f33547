// What is shown besides the items: waiting, alerts, tips, the text of an empty control.

#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/tree/EDataTreeRaisedAlerts.h"

#include <algorithm>

namespace etabulon {
namespace {

constexpr unsigned kWaitTimer = 2;
constexpr unsigned kPreparingTextID = 10712;
constexpr int kNoImage = -1;

}  // namespace

// --- the pointer ---

void EDataTreeCtrl::SetWndCursor(HCURSOR cursor) {
    if (screen_.Pointer() != cursor && View().WindowRect().Contains(screen_.PointerPosition())) {
        screen_.SetPointer(cursor);
    }
}

bool EDataTreeCtrl::OnSetCursor() {
    if (IsBusy()) {
        screen_.SetPointer(busyCursor_);
    } else {
        screen_.SetPointer(inUpdate_ ? waitCursor_ : normalCursor_);
    }
    return true;
}

// --- waiting ---

void EDataTreeCtrl::StartWait() {
    waitTimer_ =
        View().SetTimer(waitTimer_ != 0 ? waitTimer_ : kWaitTimer, screen_.CaretBlinkTime());
    UpdateWait(WaitStepShown);
    View().UpdateNow();
}

void EDataTreeCtrl::UpdateWait(eShowWaitStep step) {
    if (step != WaitStepNext) {
        waitStep_ = step;
    } else if (waitStep_ == WaitStepEnding) {
        return StopWait();
    } else if (waitStep_ == WaitStepShown) {
        waitStep_ = WaitStepHidden;
    } else if (waitStep_ == WaitStepHidden) {
        waitStep_ = WaitStepShown;
    }
    if (View().FirstItem() == nullptr) {
        if (waitStep_ != WaitStepNone) {
            View().Invalidate();
        }
        return;
    }
    SetRootImage(waitStep_ == WaitStepShown || waitStep_ == WaitStepEnding ? waitIcon_ : nullptr);
    View().UpdateNow();
}

void EDataTreeCtrl::SetRootImage(HICON icon) {
    const int image = icon != nullptr ? images_.IndexOf(icon) : kNoImage;
    _TREEITEM* const first = View().FirstItem();
    ETreeItemChange change;
    change.image = image;
    change.selectedImage = image;
    View().SetItem(first, change);
    View().InvalidateItem(first);
}

void EDataTreeCtrl::StopWait() {
    if (IsBusy()) {
        return;  // a wait that is ending tries again at each tick
    }
    waitStep_ = WaitStepNone;
    if (waitTimer_ != 0) {
        View().KillTimer(waitTimer_);
        waitTimer_ = 0;
    }
    if (View().FirstItem() != nullptr) {
        HICON icon = nullptr;
        {
            const Section section(*this);
            icon = tree_->Root()->Icon();
        }
        SetRootImage(icon);
    } else {
        View().Invalidate();
        View().UpdateNow();
    }
}

// --- an empty control ---

void EDataTreeCtrl::SetEmptyText(const Chaine& text) {
    emptyText_ = text;
    View().Invalidate();
}

bool EDataTreeCtrl::OnEraseBkgnd(IDrawSurface& surface) {
    const bool running = IsBusy();
    const bool hasText = running ? waitStep_ == WaitStepShown : !emptyText_.IsEmpty();
    _TREEITEM* const first = View().FirstItem();
    if (!hasText || (first != nullptr && View().FirstChild(first) != nullptr)) {
        return EDragTreeCtrl::OnEraseBkgnd(surface);
    }
    EColour background = View().BackgroundColour();
    if (background == kDefaultColour) {
        background = screen_.Colour(IScreen::ColourWindow);
    }
    ERect client = View().ClientRect();
    surface.FillRect(client, background);
    const Chaine text = running ? screen_.String(kPreparingTextID) : emptyText_;
    const ERect measured = surface.MeasureText(
        text, client,
        IDrawSurface::TextMeasure | IDrawSurface::TextWordBreak | IDrawSurface::TextNoPrefix);
    client.top = (measured.top - measured.bottom + client.bottom + client.top) / 2;
    const EColour former = surface.SetTextColour(screen_.Colour(IScreen::ColourGrayText));
    surface.DrawText(
        text, client,
        IDrawSurface::TextCenter | IDrawSurface::TextWordBreak | IDrawSurface::TextNoPrefix);
    surface.SetTextColour(former);
    return true;
}

void EDataTreeCtrl::OnSize(unsigned sizeType, int width, int height) {
    EDragTreeCtrl::OnSize(sizeType, width, height);
    if (sizeType != SizeMinimised && View().FirstItem() == nullptr) {
        View().Invalidate();
        View().UpdateNow();
    }
}

// --- alerts and tips ---

void EDataTreeCtrl::AttachAlerts(const EDataTreeRaisedAlerts* alerts) {
    alerts_ = alerts;
    View().Invalidate();
    View().UpdateNow();
}

std::uint32_t EDataTreeCtrl::OnCustomdraw(ETreeDraw& draw) {
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
    // Deliberate: both ways. An alert that asks for nothing gives a plain font where the view's is
    // bold: raised alerts alone decide a node's style. PlainAlertOnABoldViewGivesAPlainFont holds
    // it.
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

HFONT EDataTreeCtrl::FontFor(const ELogFont& font) {
    if (const HFONT* known = fonts_.FindValue(font)) {
        return *known;
    }
    // Deliberate: one that can't be made is kept as null and selected like others, and isn't tried
    // again. FontThatCantBeMadeIsSelectedAsNull holds it.
    return fonts_[font] = screen_.NewFont(font);
}

void EDataTreeCtrl::OnGetinfotip(_TREEITEM* item, std::span<char> buffer) {
    const EDataTreeItemData* data = DataOf(item);
    if (data == nullptr || data->tag.IsRoot() || buffer.empty()) {
        return;
    }
    const std::string_view tip = data->tip.View();
    std::size_t length = std::min(tip.size(), buffer.size() - 1);
    const auto continues = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
    };
    while (length > 0 && length < tip.size() && continues(tip[length])) {
        --length;  // no half of a character
    }
    std::copy_n(tip.data(), length, buffer.data());
    buffer[length] = '\0';
}

}  // namespace etabulon
