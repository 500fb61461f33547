#include "apps/etabulon/browse/BrowseCtrl.h"

#include "apps/etabulon/browse/BrowseCursor.h"
#include "apps/etabulon/output/CliCell.h"
#include "apps/etabulon/output/CliUtf8.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/tree/EDataTree.h"

#include <fmt/format.h>

namespace etabulon {
namespace {

constexpr auto kInTree = ETabulonSortDesc::HideFlag{ETabulonSortDesc::HideInTree};

/// A node of that depth below `node` with more than that many leaves; null if there is none. A node
/// without more leaves has none such below it.
const EDataTreeNode* FindCrowded(const EDataTreeNode& node, unsigned int depth,
                                 std::uint32_t most) {
    for (unsigned int index = 0; index < node.Size(); ++index) {
        const EDataTreeNode& child = *node.Get(index);
        if (child.LeafCount() <= most) {
            continue;
        }
        const EDataTreeNode* const found =
            child.Depth() == depth ? &child : FindCrowded(child, depth, most);
        if (found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

constexpr const char* kNull = "NULL";

std::string InQuotes(std::string_view text) {
    std::string shown;
    AppendInQuotes(shown, text);
    return shown;
}

/// The value in the form of the table format.
std::string ShownData(const ETabulonValue& value) {
    CliCellMaker maker;
    const CliCell cell = maker.Of(value.Data());
    switch (cell.kind) {
        case CliCellKind::Null:
            return kNull;
        case CliCellKind::Bytes: {
            std::string digits;
            AppendHex(digits, cell.text);
            return digits.empty() ? InQuotes({}) : digits;
        }
        default:
            return IsMistakable(cell.text) ? InQuotes(cell.text) : std::string(cell.text);
    }
}

}  // namespace

BrowseCtrl::BrowseCtrl(IScreen& screen, BrowseCursor& cursor, const BrowseAlerts& alerts)
    : EDataTreeCtrl(screen), cursor_(cursor), alerts_(alerts), raised_(alerts.Available()) {
    // The base class's refresh of the selected node would end a run that the user asked for.
    SetRefreshOnSelChange(false);
    if (!alerts.All().empty()) {
        AttachAlerts(&raised_);
    }
}

// -------------------------------------------------------------------------------------------- runs

template <class Call>
void BrowseCtrl::Run(const char* doing, bool isAutomatic, Call call) {
    doing_ = doing;
    isAutomatic_ = isAutomatic;
    call();
}

void BrowseCtrl::Stop() {
    if (IsRunActive()) {
        cursor_.Stop();
    }
}

void BrowseCtrl::RefreshAll() {
    if (View().ItemCount() == 0) {
        Run("filling", /*isAutomatic=*/false, [this] { Fill(); });
    } else {
        Run("refreshing", /*isAutomatic=*/false, [this] { Refresh(); });
    }
}

void BrowseCtrl::OnBrowseStart() {
    ++runs_;
    cursor_.Allow();
    EDataTreeCtrl::OnBrowseStart();
}

void BrowseCtrl::EndRun(const std::string& status, const char* emptyText) {
    --runs_;
    ++stamp_;
    if (!status.empty()) {
        status_ = status;
    }
    if (View().ItemCount() == 0) {
        SetEmptyText(emptyText);
    }
    View().Invalidate();
}

/// After a cancelled refresh: shows the nodes found so far, and removes the waiting mark.
void BrowseCtrl::TidyUp() {
    if (!IsRunActive() && View().ItemCount() != 0) {
        SetDisplay(Display(), /*refresh=*/true);
    }
}

void BrowseCtrl::OnBrowseDone() {
    EndRun(isAutomatic_ ? std::string() : fmt::format("done, {} records", cursor_.Count()),
           "There are no records. F5 looks again.");
    EDataTreeCtrl::OnBrowseDone();
}

void BrowseCtrl::OnBrowseCancel() {
    EndRun(
        isAutomatic_ ? std::string() : fmt::format("cancelled after {} records", cursor_.Count()),
        "Cancelled. F5 fills the tree.");
    EDataTreeCtrl::OnBrowseCancel();
    TidyUp();
}

void BrowseCtrl::OnBrowseError(CursorStatus status) {
    std::string text;
    if (runs_ == 1) {  // no other run uses the table
        const ECursorLocking locking(cursor_);
        text = cursor_.Table()->LastErrorText().View();
    }
    EndRun(fmt::format("failed (status {}){}{}", static_cast<int>(status), text.empty() ? "" : ": ",
                       text),
           "The records can't be read. F5 tries again.");
    EDataTreeCtrl::OnBrowseError(status);
    TidyUp();
}

void BrowseCtrl::OnConsultNode(const ETabulonTag& tag) {
    if (!IsRunActive() && !tag.IsRoot()) {
        Run("refreshing", /*isAutomatic=*/true, [&] { Refresh(tag); });
    }
}

std::string BrowseCtrl::Status() const {
    return IsRunActive() ? fmt::format("{}: {} records", doing_, cursor_.Count()) : status_;
}

// ------------------------------------------------------------------------------------------ levels

std::vector<unsigned int> BrowseCtrl::Levels(bool isHidden) const {
    std::vector<unsigned int> levels;
    for (const auto& key : SortLevels()) {
        if (SortDesc()->IsHiddenSortLevel(key.Level(), kInTree) == isHidden) {
            levels.push_back(key.Level());
        }
    }
    return levels;
}

unsigned int BrowseCtrl::DepthOf(_TREEITEM* item) const {
    unsigned int depth = 0;
    for (; View().ParentItem(item) != nullptr; item = View().ParentItem(item)) {
        ++depth;
    }
    return depth;
}

bool BrowseCtrl::SelectedLevel(unsigned int& level) const {
    const unsigned int depth = DepthOf(View().SelectedItem());
    if (depth == 0 || depth > SortDesc()->SortLevelCount(kInTree)) {
        return false;
    }
    level = SortDesc()->SortLevel(depth - 1, kInTree).Level();
    return true;
}

void BrowseCtrl::SetLevelHidden(unsigned int level, bool isHidden) {
    Run("filling", /*isAutomatic=*/false,
        [&] { SetHideLevelFlags(level, isHidden ? kInTree : HideFlag{0}, /*refresh=*/true); });
}

void BrowseCtrl::HideLevel(unsigned int level) { SetLevelHidden(level, /*isHidden=*/true); }

void BrowseCtrl::ShowLevel(unsigned int level) { SetLevelHidden(level, /*isHidden=*/false); }

bool BrowseCtrl::MoveUp() {
    ++stamp_;
    return MoveSelectedLevelUp();
}

bool BrowseCtrl::MoveDown() {
    ++stamp_;
    return MoveSelectedLevelDown();
}

// ----------------------------------------------------------------------------- the states of nodes

void BrowseCtrl::OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) {
    facts_.erase(item);
    EDataTreeCtrl::OnDeleteitem(item, itemData);
}

/// Called while the control holds the cursor, so that the count is known even if a run is active
/// when the line is drawn.
void BrowseCtrl::OnNewItem(_TREEITEM* item) {
    if (View().ItemHasChildren(item)) {
        if (const EDataTreeNode* const node = Tree()->Get(Tag(item))) {
            facts_[item].leaves = node->LeafCount();
        }
    }
}

void BrowseCtrl::OnPaint(const std::vector<_TREEITEM*>& rows) {
    if (!IsRunActive() && InitDone()) {
        const ECursorLocking locking(cursor_);
        for (_TREEITEM* const row : rows) {
            Facts& facts = facts_[row];
            if (facts.stamp != stamp_) {
                LookAt(row, facts);
            }
        }
    }
    // Only for these lines: the cost of styles grows with the number of raised alerts.
    raised_.Reset();
    for (_TREEITEM* const row : rows) {
        const auto known = facts_.find(row);
        if (known == facts_.end()) {
            continue;
        }
        for (const Raised& raised : known->second.raised) {
            raised_.Raise(raised.tag, raised.alert->id);
        }
    }
}

void BrowseCtrl::LookAt(_TREEITEM* item, Facts& facts) const {
    facts.stamp = stamp_;
    facts.leaves = 0;
    facts.raised.clear();
    const EDataTreeNode* const node = Tree()->Get(Tag(item));
    if (node == nullptr) {
        return;
    }
    facts.leaves = node->LeafCount();
    for (const BrowseAlert& alert : alerts_.All()) {
        if (facts.leaves > alert.most) {
            FindAlert(*node, alert, facts);
        }
    }
}

void BrowseCtrl::FindAlert(const EDataTreeNode& node, const BrowseAlert& alert,
                           Facts& facts) const {
    unsigned int depth = 0;
    for (const unsigned int level : SortDesc()->VisibleLevels(kInTree)) {
        ++depth;
        if (level != alert.level) {
            continue;
        }
        const EDataTreeNode* on = nullptr;
        if (node.Depth() == depth) {
            on = &node;
        } else if (node.Depth() < depth && alert.propagates) {
            on = FindCrowded(node, depth, alert.most);
        }
        if (on != nullptr) {
            facts.raised.push_back({&alert, ETabulonTag()});
            on->ExtractTag(facts.raised.back().tag);
        }
    }
}

BrowseLabel BrowseCtrl::Label(_TREEITEM* item, std::string_view text) const {
    const unsigned int depth = DepthOf(item);
    if (depth == 0 || !IsMistakable(text) || depth > SortDesc()->SortLevelCount(kInTree)) {
        return {std::string(text)};
    }
    const unsigned int level = SortDesc()->SortLevel(depth - 1, kInTree).Level();
    const ETabulonTag tag = Tag(item);
    const ETabulonValue* const value = tag.Find(level);
    if (value == nullptr) {
        return {std::string(text)};
    }
    if (value->IsNull()) {
        return {kNull, /*isNull=*/true};
    }
    const ETabulonLevels::Level& description = AvailableLevels().GetLevel(level);
    return {description.DataID() == description.DescID() ? ShownData(*value) : InQuotes(text)};
}

std::string BrowseCtrl::Tip(_TREEITEM* item) const {
    const unsigned int depth = DepthOf(item);
    if (item == nullptr || depth == 0 || depth > SortDesc()->SortLevelCount(kInTree)) {
        return {};
    }
    const unsigned int level = SortDesc()->SortLevel(depth - 1, kInTree).Level();
    const ETabulonTag tag = Tag(item);
    const ETabulonValue* const value = tag.Find(level);
    if (value == nullptr) {
        return {};
    }
    const Chaine text = value->DisplayValue();
    return fmt::format("{}: {} ({})", AvailableLevels().GetLevel(level).Header().View(),
                       Label(item, text.View()).text, ShownData(*value));
}

std::string BrowseCtrl::Note(_TREEITEM* item) const {
    const auto known = facts_.find(item);
    return known != facts_.end() && known->second.leaves != 0
               ? fmt::format(" ({})", known->second.leaves)
               : std::string();
}

}  // namespace etabulon
