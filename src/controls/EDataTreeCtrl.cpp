#include "etabulon/controls/EDataTreeCtrl.h"

#include "controls/EDataTreeCtrlParts.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/foundation/EExpects.h"

namespace etabulon {

// ---------------------------------------------------------- from the constructor to the destructor

detail::EDataTreeCtrlParts::EDataTreeCtrlParts(EDataTreeCtrl& owner, IScreen& ownScreen)
    : ctrl(owner),
      screen(ownScreen),
      runs(*this),
      images(screen, IScreen::ImagesColour32 | IScreen::ImagesMasked),
      display(*this),
      items(*this),
      selection(*this),
      sync(*this),
      levels(*this),
      wait(*this, screen) {}

EDataTreeCtrl::EDataTreeCtrl() : EDataTreeCtrl(IScreen::Installed()) {}

EDataTreeCtrl::EDataTreeCtrl(IScreen& screen)
    : parts_(std::make_unique<detail::EDataTreeCtrlParts>(*this, screen)) {}

EDataTreeCtrl::~EDataTreeCtrl() {
    parts_->runs.Close();
    parts_->levels.ReleaseLocks();
    Detach();
    if (InitDone()) {
        SortDesc()->RemNotifier(this);
    }
}

void EDataTreeCtrl::Init(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon) {
    E_EXPECTS(!InitDone() && cursor != nullptr);
    parts_->tree = std::make_unique<EDataTree>(cursor, rootName, rootIcon);
    SortDesc()->AddNotifier(this);
    parts_->runs.Init(parts_->tree.get());
}

bool EDataTreeCtrl::InitDone() const noexcept { return parts_->tree != nullptr; }

EDataTree* EDataTreeCtrl::Tree() const noexcept { return parts_->tree.get(); }

const std::shared_ptr<EMessagePort>& EDataTreeCtrl::Port() const noexcept {
    return parts_->runs.Port();
}

void EDataTreeCtrl::OnAttached() { Port()->SetWaker(View().MakeWaker(Port())); }

void EDataTreeCtrl::OnDetaching() {
    View().AttachImages(nullptr);
    parts_->selection.KillTimer();
    parts_->wait.KillTimer();
}

void EDataTreeCtrl::OnDetached() {
    Port()->SetWaker({});
    parts_->selection.ForgetTimer();
    parts_->wait.Forget();
    parts_->items.RemoveAll();
}

// -------------------------------------------------------------------------------------------- runs

void EDataTreeCtrl::Fill() { parts_->runs.Fill(); }

void EDataTreeCtrl::Refresh() { parts_->runs.Refresh(); }

void EDataTreeCtrl::Refresh(const ETabulonTag& tag) { parts_->runs.Refresh(tag); }

void EDataTreeCtrl::RefreshDeletedNode(const ETabulonTag& tag) {
    parts_->runs.RefreshDeletedNode(tag);
}

void EDataTreeCtrl::OnBrowseStart() { View().SendToOwner(NotifyBrowseStart, 0, 0); }

void EDataTreeCtrl::OnBrowseDone() {
    View().SendToOwner(NotifyBrowseDone, 0, 0);
    if (View().ItemCount() == 0) {
        View().Invalidate();  // for the empty text
    }
}

void EDataTreeCtrl::OnBrowseCancel() { View().SendToOwner(NotifyBrowseCancel, 0, 0); }

void EDataTreeCtrl::OnBrowseError(CursorStatus status) {
    View().SendToOwner(NotifyBrowseError, status, 0);
}

// ----------------------------------------------------------------------------- selection and items

ETabulonTag EDataTreeCtrl::Selected() const { return parts_->selection.Selected(); }

void EDataTreeCtrl::Select(const ETabulonTag& tag) { parts_->selection.Select(tag); }

int EDataTreeCtrl::SelectItem(_TREEITEM* item) { return parts_->selection.SelectItem(item); }

_TREEITEM* EDataTreeCtrl::Get(const ETabulonTag& tag) const { return parts_->items.Get(tag); }

ETabulonTag EDataTreeCtrl::Tag(_TREEITEM* item) const { return parts_->items.Tag(item); }

void EDataTreeCtrl::SetRefreshOnSelChange(bool refresh) noexcept {
    parts_->selection.SetRefreshOnSelChange(refresh);
}

bool EDataTreeCtrl::RefreshOnSelChange() const noexcept {
    return parts_->selection.RefreshOnSelChange();
}

void EDataTreeCtrl::OnSelchanged() { parts_->selection.StartAutoRefreshTimer(); }

bool EDataTreeCtrl::OnItemexpanding(_TREEITEM* item, ETreeExpand action) {
    return parts_->sync.OnItemexpanding(item, action);
}

void EDataTreeCtrl::OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) {
    parts_->items.OnDeleteitem(item, itemData);
}

void EDataTreeCtrl::OnTimer(unsigned int timerID) {
    EDragTreeCtrl::OnTimer(timerID);
    if (!parts_->selection.OnTimer(timerID) && parts_->wait.OnTimer(timerID)) {
        Port()->WakeAgain();  // the waker may have thrown at the end of a run
    }
}

// ------------------------------------------------------------------- what is read through the tree

ETabulonCursor* EDataTreeCtrl::Cursor() const { return parts_->Cursor(); }

ETabulonSortDesc* EDataTreeCtrl::SortDesc() const { return parts_->SortDesc(); }

const ETabulonLevels& EDataTreeCtrl::AvailableLevels() const { return parts_->AvailableLevels(); }

const EDataTreeCtrl::SortKeyArray& EDataTreeCtrl::SortLevels() const {
    return parts_->tree->SortLevels();
}

EDataTreeCtrl::SortCompareSource EDataTreeCtrl::CompareSource() const {
    return parts_->tree->CompareSource();
}

ETabulonTag detail::EDataTreeCtrlParts::AboveOf(const ETabulonTag& tag) const {
    ETabulonTag above = SortDesc()->GetParentTag(tag, kInTree);
    return above == tag ? ETabulonTag() : above;
}

// ------------------------------------------------------------------------------------------ levels

void EDataTreeCtrl::SetRootParams(const Chaine& rootName, HICON rootIcon) {
    parts_->levels.SetRootParams(rootName, rootIcon);
}

void EDataTreeCtrl::SetSortLevels(const SortKeyArray& keys, bool refresh) {
    parts_->levels.SetSortLevels(keys, refresh);
}

bool EDataTreeCtrl::SetHideLevelFlags(unsigned int level, HideFlag flag, bool refresh) {
    return parts_->levels.SetHideLevelFlags(level, flag, refresh);
}

bool EDataTreeCtrl::SetHideLevelFlags(const PUniqueT<unsigned int>& levels, HideFlag flag,
                                      bool refresh) {
    return parts_->levels.SetHideLevelFlags(levels, flag, refresh);
}

void EDataTreeCtrl::SetCompareSource(SortCompareSource source, bool refresh) {
    parts_->levels.SetCompareSource(source, refresh);
}

bool EDataTreeCtrl::MoveSelectedLevelUp() { return parts_->levels.MoveSelectedLevelUp(); }

bool EDataTreeCtrl::MoveSelectedLevelDown() { return parts_->levels.MoveSelectedLevelDown(); }

void EDataTreeCtrl::SetAttachHiddenLevelsToCurrent(bool attach, bool refresh) {
    parts_->levels.SetAttachHiddenLevelsToCurrent(attach, refresh);
}

bool EDataTreeCtrl::AreHiddenLevelsAttachedToCurrent() const noexcept {
    return parts_->levels.AreHiddenLevelsAttachedToCurrent();
}

bool EDataTreeCtrl::CanBeginDrag(_TREEITEM* item) { return parts_->levels.CanBeginDrag(item); }

bool EDataTreeCtrl::CanDrop(const DropData* data) const { return parts_->levels.CanDrop(data); }

void EDataTreeCtrl::OnDrop(const DropData* data) { parts_->levels.OnDrop(data); }

bool EDataTreeCtrl::OnSortChanging(const ETabulonSortDesc*, SortChange) {
    return parts_->levels.OnSortChanging();
}

void EDataTreeCtrl::OnSortChanged(const ETabulonSortDesc*, SortChange change) {
    parts_->levels.OnSortChanged(change);
}

// ----------------------------------------------------------------------------------------- display

EDataTreeCtrl::DisplayMode EDataTreeCtrl::Display() const noexcept {
    return parts_->sync.Display();
}

void EDataTreeCtrl::SetDisplay(DisplayMode mode, bool refresh) {
    parts_->levels.SetDisplay(mode, refresh);
}

void EDataTreeCtrl::SetExpand(ExpandMode expand) noexcept { parts_->sync.SetExpand(expand); }

void EDataTreeCtrl::SetEmptyText(const Chaine& text) { parts_->display.SetEmptyText(text); }

void EDataTreeCtrl::AttachAlerts(const EDataTreeRaisedAlerts* alerts) {
    parts_->display.AttachAlerts(alerts);
}

std::uint32_t EDataTreeCtrl::OnCustomdraw(ETreeDraw& draw) {
    return parts_->display.OnCustomdraw(draw);
}

void EDataTreeCtrl::OnGetinfotip(_TREEITEM* item, std::span<char> buffer) {
    parts_->display.OnGetinfotip(item, buffer);
}

bool EDataTreeCtrl::OnEraseBkgnd(IDrawSurface& surface) {
    return parts_->display.OnEraseBkgnd(surface) || EDragTreeCtrl::OnEraseBkgnd(surface);
}

bool EDataTreeCtrl::OnSetCursor() { return parts_->wait.OnSetCursor(); }

void EDataTreeCtrl::OnSize(unsigned int sizeType, int width, int height) {
    EDragTreeCtrl::OnSize(sizeType, width, height);
    parts_->display.OnSize(sizeType);
}

}  // namespace etabulon
