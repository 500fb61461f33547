#include "etabulon/controls/EDataTreeCtrl.h"

#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/foundation/EExpects.h"

#include <vector>

namespace etabulon {
namespace {

constexpr unsigned kWaitIconID = 13000;
constexpr int kWaitIconSize = 16;
constexpr unsigned kAutoRefreshTimer = 1;
constexpr unsigned kAutoRefreshMilliseconds = 200;
constexpr unsigned kBehindAllLevels = static_cast<unsigned>(-1);

}  // namespace

EDataTreeCtrl::EDataTreeCtrl() : EDataTreeCtrl(IScreen::Installed()) {}

EDataTreeCtrl::EDataTreeCtrl(IScreen& screen)
    : screen_(screen),
      port_(std::make_shared<EMessagePort>(static_cast<EMessagePort::IReceiver&>(*this))),
      images_(screen, IScreen::ImagesColour32 | IScreen::ImagesMasked),
      normalCursor_(screen.LoadCursor(IScreen::CursorArrow)),
      busyCursor_(screen.LoadCursor(IScreen::CursorAppStarting)),
      waitCursor_(screen.LoadCursor(IScreen::CursorWait)),
      waitIcon_(screen.LoadIcon(kWaitIconID, kWaitIconSize, kWaitIconSize)) {}

EDataTreeCtrl::~EDataTreeCtrl() {
    port_->Close();
    thread_.reset();  // waits for one step of a walk
    while (sortLocks_ > 0) {
        --sortLocks_;
        tree_->Cursor()->CursorUnlock();
    }
    Detach();
    for (const HCURSOR cursor : {normalCursor_, busyCursor_, waitCursor_}) {
        DestroyIcon(cursor);
    }
    DestroyIcon(waitIcon_);
    if (tree_ != nullptr) {
        tree_->SortDesc()->RemNotifier(this);
        tree_.reset();
    }
    for (std::uint32_t index = 0; index < fonts_.Size(); ++index) {
        if (fonts_.Value(index) != nullptr) {
            screen_.DeleteFont(fonts_.Value(index));
        }
    }
}

void EDataTreeCtrl::Init(ETabulonCursor* cursor, const Chaine& rootName, HICON rootIcon) {
    E_EXPECTS(!InitDone());
    tree_ = std::make_unique<EDataTree>(cursor, rootName, rootIcon);
    tree_->SortDesc()->AddNotifier(this);
    thread_ = std::make_unique<EDataTreeCtrlThread>(tree_.get(), port_);
}

void EDataTreeCtrl::OnAttached() { port_->SetWaker(View().MakeWaker(port_)); }

void EDataTreeCtrl::OnDetaching() {
    View().AttachImages(nullptr);
    for (const unsigned timer : {autoRefreshTimer_, waitTimer_}) {
        if (timer != 0) {
            View().KillTimer(timer);
        }
    }
}

void EDataTreeCtrl::OnDetached() {
    port_->SetWaker({});
    autoRefreshTimer_ = 0;
    waitTimer_ = 0;
    waitStep_ = WaitStepNone;
    items_.RemoveAll();
}

// --- runs ---

bool EDataTreeCtrl::IsBusy() const { return thread_ != nullptr && thread_->IsBusy(); }

/// A run takes the cursor on another thread and is waited for: not by one that holds it.
bool EDataTreeCtrl::Postpone(std::uint32_t message, const ETabulonTag& tag) {
    if (!Cursor()->IsLockedByThisThread()) {
        return false;
    }
    port_->Post({message, 0, std::make_unique<ETabulonTag>(tag)});
    return true;
}

void EDataTreeCtrl::BeginRun() {
    SetWndCursor(busyCursor_);
    StartWait();
    RestoreHiddenLevelsPosition();
}

void EDataTreeCtrl::Fill() {
    E_EXPECTS(InitDone());
    if (Postpone(AskFill, ETabulonTag::Null)) {
        return;
    }
    View().AttachImages(images_.List());
    BeginRun();
    thread_->Fill();
    View().Invalidate();
}

void EDataTreeCtrl::Refresh() {
    E_EXPECTS(InitDone());
    if (Postpone(AskRefresh, ETabulonTag::Null)) {
        return;
    }
    BeginRun();
    thread_->Refresh();
    View().Invalidate();
}

void EDataTreeCtrl::Refresh(const ETabulonTag& tag) {
    E_EXPECTS(InitDone());
    const ETabulonTag wanted = tag;  // it may be a node's, which BeginRun makes anew
    if (Postpone(AskRefresh, wanted)) {
        return;
    }
    BeginRun();
    thread_->Refresh(wanted);
}

void EDataTreeCtrl::RefreshDeletedNode(const ETabulonTag& tag) {
    const ETabulonTag deleted = tag;
    if (items_.Has(deleted)) {
        const Updating updating(*this);
        _TREEITEM* item = items_.Find(deleted);
        while (item != nullptr && item != View().FirstItem() && IsAlone(item)) {
            item = View().ParentItem(item);  // it would be left empty
        }
        if (DataOf(item) != nullptr) {
            const ETabulonTag branch = Tag(item);
            const Section section(*this);
            Delete(branch);
        }
        View().UpdateNow();
    }
    if (deleted.IsRoot()) {
        Refresh();
    } else {
        Refresh(SortDesc()->GetParentTag(deleted, kInTree));
    }
}

void EDataTreeCtrl::RestoreHiddenLevelsPosition() {
    const unsigned position =
        attachHiddenLevels_ ? GetDepth(View().SelectedItem()) : kBehindAllLevels;
    const TreeCall tree(*this);
    tree->MoveHiddenLevelsTo(position);
}

// --- selection ---

ETabulonTag EDataTreeCtrl::Selected() const {
    _TREEITEM* item = View().SelectedItem();
    if (item == nullptr) {
        item = View().FirstItem();
    }
    return item != nullptr ? Tag(item) : ETabulonTag();
}

void EDataTreeCtrl::Show(_TREEITEM* item) {
    SelectItem(item);
    View().EnsureVisible(item);
}

void EDataTreeCtrl::Select(const ETabulonTag& tag) {
    const ETabulonTag wanted = tag;
    if (!items_.Has(wanted)) {
        if (wanted.IsRoot()) {
            return;
        }
        OpenAbove(wanted);
        // Deliberate: a tag that the model doesn't hold gets an entry without an item. It then
        // counts as known: a later refresh of it climbs to the parent and not to the root.
        // SelectOfAnUnknownTag holds it.
        View().Expand(items_.FindOrAdd(wanted), TreeExpand);
    }
    if (_TREEITEM* item = items_.Find(wanted)) {
        Show(item);
    }
}

/// Opens the branch from the first item that is there down to the parent, each item bringing its
/// children.
void EDataTreeCtrl::OpenAbove(const ETabulonTag& tag) {
    std::vector<ETabulonTag> branch = {AboveOf(tag)};
    while (!branch.back().IsRoot() && !items_.Has(branch.back())) {
        branch.push_back(AboveOf(branch.back()));
    }
    for (auto step = branch.rbegin(); step != branch.rend(); ++step) {
        View().Expand(items_.FindOrAdd(*step), TreeExpand);
    }
}

/// Selects the item of a node that the model has, unless it is selected. Opens the items above
/// only.
void EDataTreeCtrl::SelectAgain(const ETabulonTag& tag) {
    if (!items_.Has(tag)) {
        OpenAbove(tag);
    }
    _TREEITEM* const item = items_.Find(tag);
    if (item != nullptr && item != View().SelectedItem()) {
        Show(item);
    }
}

/// The tag one level up, for climbs: the root's where a level stands twice among the keys, so that
/// a tag is its own parent.
ETabulonTag EDataTreeCtrl::AboveOf(const ETabulonTag& tag) const {
    ETabulonTag above = SortDesc()->GetParentTag(tag, kInTree);
    return above == tag ? ETabulonTag() : above;
}

int EDataTreeCtrl::SelectItem(_TREEITEM* item) {
    return item != nullptr && View().SelectItem(item) ? 1 : 0;
}

_TREEITEM* EDataTreeCtrl::Get(const ETabulonTag& tag) const {
    return tag.IsRoot() ? View().FirstItem() : items_.Find(tag);
}

ETabulonTag EDataTreeCtrl::Tag(_TREEITEM* item) const {
    const EDataTreeItemData* data = DataOf(item);
    E_EXPECTS(data != nullptr);
    return data != nullptr ? data->tag : ETabulonTag();
}

unsigned EDataTreeCtrl::GetDepth(_TREEITEM* item) const {
    if (item == nullptr) {
        return static_cast<unsigned>(-1);
    }
    unsigned depth = 0;
    for (_TREEITEM* const first = View().FirstItem();
         item != nullptr && item != kTreeRoot && item != first; ++depth) {
        item = View().ParentItem(item);
    }
    return depth;
}

bool EDataTreeCtrl::IsAlone(_TREEITEM* item) const {
    return View().PreviousItem(item) == nullptr && View().NextItem(item) == nullptr;
}

bool EDataTreeCtrl::IsWithin(_TREEITEM* item, _TREEITEM* branch) const {
    _TREEITEM* const first = View().FirstItem();
    while (item != nullptr && item != first && item != branch) {
        item = View().ParentItem(item);
    }
    return item == branch;
}

void EDataTreeCtrl::OnSelchanged() { StartAutoRefreshTimer(); }

void EDataTreeCtrl::StartAutoRefreshTimer() {
    autoRefreshTimer_ = View().SetTimer(
        autoRefreshTimer_ != 0 ? autoRefreshTimer_ : kAutoRefreshTimer, kAutoRefreshMilliseconds);
}

void EDataTreeCtrl::OnTimer(unsigned timerID) {
    EDragTreeCtrl::OnTimer(timerID);
    if (timerID != 0 && timerID == autoRefreshTimer_ && !inUpdate_) {
        View().KillTimer(autoRefreshTimer_);
        autoRefreshTimer_ = 0;
        const ETabulonTag selected = Selected();
        if (!(selected == lastTag_)) {
            // Deliberate: without a refresh the tag isn't remembered, so that a selection that
            // comes back to the former tag is told again. ConsultedAgainWithoutRefresh holds it.
            if (refreshOnSelChange_) {
                Refresh(selected);
                lastTag_ = selected;
            }
            OnConsultNode(selected);
        }
    } else if (timerID != 0 && timerID == waitTimer_) {
        UpdateWait(WaitStepNext);
        port_->WakeAgain();  // a run may have ended without being heard
    }
}

// --- what is read through the tree ---

ETabulonCursor* EDataTreeCtrl::Cursor() const { return tree_->Cursor(); }

ETabulonSortDesc* EDataTreeCtrl::SortDesc() const { return tree_->SortDesc(); }

const ETabulonLevels& EDataTreeCtrl::AvailableLevels() const { return tree_->AvailableLevels(); }

const EDataTreeCtrl::SortKeyArray& EDataTreeCtrl::SortLevels() const { return tree_->SortLevels(); }

EDataTreeCtrl::SortCompareSource EDataTreeCtrl::CompareSource() const {
    return tree_->CompareSource();
}

}  // namespace etabulon
