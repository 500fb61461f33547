// The items in step with the model.

#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <algorithm>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

namespace etabulon {
namespace {

constexpr std::uint32_t kManyLeaves = 100;  // from here on nothing but the root opens by itself

struct TagHash {
    std::size_t operator()(const ETabulonTag& tag) const noexcept { return tag.Hash(); }
};

}  // namespace

void EDataTreeCtrl::ReSync() { ReSync(ETabulonTag::Null); }

// Deliberate: a flag and not a depth, so that the sync of an opened child clears it for the rest of
// the sync of its parent, which shows in the pointer. InUpdateIsAFlag holds it.
void EDataTreeCtrl::ReSync(const ETabulonTag& tag) {
    SetWndCursor(waitCursor_);
    UpdateWait(WaitStepEnding);
    {
        // Without a cancel: whoever opens an item during a walk waits for its end.
        const Section section(*this);
        const Updating updating(*this);
        Following following(*this);
        try {
            if (ReSync(tag, /*redrawOff=*/false)) {
                View().SetRedraw(true);
            }
        } catch (...) {
            View().SetRedraw(true);
            throw;
        }
        following.End();
    }
    SetWndCursor(normalCursor_);
}

bool EDataTreeCtrl::ReSync(const ETabulonTag& tag, bool redrawOff) {
    Redraw redraw(View(), redrawOff);
    EDataTreeNode* node = NodeToSync(tag);
    _TREEITEM* item = ItemOf(*node);
    while (item == nullptr && !node->IsRoot()) {
        node = node->Parent();  // what has no item yet shows where it hangs
        item = ItemOf(*node);
    }
    if (node->IsRoot()) {
        SyncRootItem(redraw);
        item = items_.Has(ETabulonTag::Null) ? View().FirstItem() : nullptr;
    }
    if (item != nullptr) {
        DeleteStrangers(*node, item, redraw);
        SyncChildren(*node, item, redraw);
    }
    return redraw.IsOff();
}

_TREEITEM* EDataTreeCtrl::ItemOf(const EDataTreeNode& node) const {
    ETabulonTag tag;
    node.ExtractTag(tag);
    return Get(tag);
}

/// The node of the tag, or where what has happened to it can be shown.
EDataTreeNode* EDataTreeCtrl::NodeToSync(const ETabulonTag& tag) const {
    EDataTreeNode* const root = tree_->Root();
    EDataTreeNode* node = root->Get(tag);
    if (node != nullptr && (node->IsRoot() || items_.Has(tag))) {
        return node;
    }
    if (!SortDesc()->IsSortCompatible(tag, kInTree)) {
        return root;
    }
    for (ETabulonTag above = AboveOf(tag);; above = AboveOf(above)) {
        node = root->Get(above);
        // Deliberate: the tag asked for, and not the one climbed to. A tag without an entry climbs
        // to the root, whichever of its ancestors are shown. RefreshedAboveItsGoneRecord holds it.
        if (node == root || (node != nullptr && items_.Has(tag))) {
            return node;
        }
    }
}

void EDataTreeCtrl::SyncRootItem(Redraw& redraw) {
    EDataTreeNode& root = *tree_->Root();
    _TREEITEM* const first = View().FirstItem();
    if (root.Size() == 0 && first != nullptr) {
        redraw.Off();
        DropItem(first);
    } else if (root.Size() != 0 && first == nullptr) {
        redraw.Off();
        Show(InsertItem(root, kTreeRoot, kTreeLast));
    }
}

/// Deletes the children of the item whose nodes are gone.
void EDataTreeCtrl::DeleteStrangers(const EDataTreeNode& node, _TREEITEM* item, Redraw& redraw) {
    // As a rule nothing has changed, or something is new: then the items are those of the first
    // nodes, one by one, and no set is needed.
    ETabulonTag tag;
    unsigned index = 0;
    _TREEITEM* child = View().FirstChild(item);
    for (; child != nullptr && index < node.Size(); ++index) {
        node.Get(index)->ExtractTag(tag);
        if (!(DataOf(child)->tag == tag)) {
            break;
        }
        child = View().NextItem(child);
    }
    if (child == nullptr) {
        return;
    }
    std::unordered_set<ETabulonTag, TagHash> known;
    known.reserve(node.Size() - index);
    for (; index < node.Size(); ++index) {
        node.Get(index)->ExtractTag(tag);
        known.insert(tag);
    }
    std::vector<_TREEITEM*> strangers;
    for (; child != nullptr; child = View().NextItem(child)) {
        if (!known.contains(DataOf(child)->tag)) {
            strangers.push_back(child);
        }
    }
    // The one that the selection leaves goes last: its heir is none of the others then.
    std::stable_partition(strangers.begin(), strangers.end(), [this](_TREEITEM* stranger) {
        return !IsWithin(View().SelectedItem(), stranger);
    });
    for (_TREEITEM* stranger : strangers) {
        redraw.Off();
        DropItem(stranger);
    }
}

void EDataTreeCtrl::SyncChildren(EDataTreeNode& node, _TREEITEM* item, Redraw& redraw) {
    _TREEITEM* current = View().FirstChild(item);
    _TREEITEM* previous = kTreeFirst;
    ETabulonTag tag;
    for (unsigned index = 0; index < node.Size(); ++index) {
        EDataTreeNode& child = *node.Get(index);
        child.ExtractTag(tag);
        if (current != nullptr && DataOf(current)->tag == tag) {
            SyncItem(child, current, tag, redraw);
        } else {
            redraw.Off();
            // One that stands elsewhere among its siblings would be found by nobody afterwards.
            _TREEITEM* const twin = items_.Find(tag);
            if (twin != nullptr && View().ParentItem(twin) == item) {
                DropItem(twin);
            }
            current = InsertItem(child, item, previous);
        }
        previous = current;
        current = View().NextItem(current);
    }
}

/// An item that was opened once is kept in step below, a closed one catches up when it opens.
void EDataTreeCtrl::SyncItem(EDataTreeNode& node, _TREEITEM* item, const ETabulonTag& tag,
                             Redraw& redraw) {
    ETreeItemChange change;
    if (Chaine text = DisplayName(node); !(View().ItemText(item) == text)) {
        change.text = std::move(text);
    }
    // Hidden levels that are shown again give children to what was a leaf.
    if (const bool hasChildren = !node.IsTreeLeaf(); View().ItemHasChildren(item) != hasChildren) {
        change.hasChildren = hasChildren;
    }
    if (change.text || change.hasChildren) {
        redraw.Off();
        View().SetItem(item, change);
    }
    // A model that is behind a change of the levels may not find its own node: it has nothing
    // to say of what is below, and the climb would come back here.
    if (View().ItemState(item, ITreeView::StateExpansionMask) != 0 &&
        tree_->Root()->Get(tag) == &node) {
        ReSync(ETabulonTag(tag));
    }
}

_TREEITEM* EDataTreeCtrl::InsertItem(EDataTreeNode& node, _TREEITEM* parent, _TREEITEM* after) {
    if (node.IsRoot() && node.Size() == 0) {
        return nullptr;
    }
    auto data = std::make_unique<EDataTreeItemData>();
    node.ExtractTag(data->tag);
    if (!node.IsRoot()) {
        data->tip = TipOf(data->tag, GetDepth(parent));
    }
    const int image = images_.IndexOf(node.Icon());
    _TREEITEM* const item = View().InsertItem(DisplayName(node), image, image, parent, after);
    if (item == nullptr) {
        return nullptr;
    }
    if (!node.IsRoot()) {
        node.SetParam(reinterpret_cast<std::intptr_t>(item));
    }
    const ETabulonTag& tag = data->tag;
    ETreeItemChange change;
    change.data = reinterpret_cast<std::intptr_t>(data.release());
    if (!node.IsTreeLeaf()) {
        change.hasChildren = true;
    }
    View().SetItem(item, change);
    items_.Set(tag, item);
    if (OpensByItself(node)) {
        View().Expand(item, TreeExpand);
        if (_TREEITEM* const selected = View().SelectedItem()) {
            View().EnsureVisible(selected);
        }
    }
    return item;
}

bool EDataTreeCtrl::OpensByItself(const EDataTreeNode& node) const {
    if (node.IsRoot()) {
        return true;
    }
    return expand_ != ExpandNone && tree_->Root()->LeafCount() < kManyLeaves &&
           (node.LeafCount() > 1 || expand_ == ExpandAll);
}

Chaine EDataTreeCtrl::TipOf(const ETabulonTag& tag, unsigned position) const {
    if (position >= SortDesc()->SortLevelCount(kInTree)) {
        return Chaine();  // the model is behind a change of the levels
    }
    const unsigned level = SortDesc()->SortLevel(position, kInTree).Level();
    const ETabulonValue* value = tag.Find(level);
    if (value == nullptr || !AvailableLevels().ExistLevel(level)) {
        return Chaine();
    }
    Chaine tip = AvailableLevels().GetLevel(level).Header();
    tip.Append(": ");
    tip += value->DisplayText();
    tip.Append(" (");
    tip += value->Data().AsChaine();
    tip.Append(")");
    return tip;
}

Chaine EDataTreeCtrl::DisplayName(const ETabulonValue& value) const {
    return display_ == DisplayRawValue ? value.Data().AsChaine() : value.DisplayText();
}

Chaine EDataTreeCtrl::DisplayName(const EDataTreeNode& node) const {
    return DisplayName(node.DisplayValue());
}

const EDataTreeItemData* EDataTreeCtrl::DataOf(_TREEITEM* item) const {
    return reinterpret_cast<const EDataTreeItemData*>(View().ItemData(item));
}

// --- deleting ---

void EDataTreeCtrl::DeleteAllItems() {
    items_.RemoveAll();
    View().DeleteItem(kTreeRoot);
}

/// Deletes an item whose node has gone, or stands at another place.
///
/// Deliberate: the selection leaves a branch that goes, as it leaves an item, and ends where it was
/// if the sync makes that item again. DeleteItem alone would select nothing and tell nobody, since
/// it looks at the item itself only. SelectionBelowWhatGoes holds it.
void EDataTreeCtrl::DropItem(_TREEITEM* item) {
    _TREEITEM* const selected = View().SelectedItem();
    if (selected != item && selected != nullptr && IsWithin(selected, item)) {
        _TREEITEM* next = View().NextVisibleItem(item);
        while (next != nullptr && IsWithin(next, item)) {
            next = View().NextVisibleItem(next);
        }
        SelectHeir(next, item);
    }
    DeleteItem(item);
    if (View().SelectedItem() != selected) {
        following_->NoteHeir();
    }
}

void EDataTreeCtrl::DeleteItem(_TREEITEM* item) {
    if (item == View().SelectedItem()) {
        // Deliberate: the next visible item, also where it is a child that is about to go as well:
        // then nothing is selected in the end. DeletingAnOpenSelectedItemSelectsNone holds it.
        SelectHeir(View().NextVisibleItem(item), item);
    }
    View().DeleteItem(item);
}

/// Selects the item behind one that goes; without one, that before it.
void EDataTreeCtrl::SelectHeir(_TREEITEM* next, _TREEITEM* item) {
    inUpdate_ = false;
    _TREEITEM* heir = next;
    if (heir == nullptr) {
        heir = View().PreviousVisibleItem(item);
    }
    if (heir == nullptr) {
        heir = View().FirstItem();
    }
    if (heir != nullptr) {
        Show(heir);
    }
    // Whatever it was before: each caller clears it in the end.
    inUpdate_ = true;
}

void EDataTreeCtrl::Delete(const ETabulonTag& tag) {
    const ETabulonTag deleted = tag;
    if (_TREEITEM* const item = Get(deleted)) {
        _TREEITEM* child = View().FirstChild(item);
        while (child != nullptr) {
            _TREEITEM* const next = View().NextItem(child);
            Delete(DataOf(child)->tag);
            child = next;
        }
        DeleteItem(item);
    }
    if (_TREEITEM* const first = deleted.IsRoot() ? View().FirstItem() : nullptr) {
        DeleteItem(first);
    }
}

// --- what the view tells ---

bool EDataTreeCtrl::OnItemexpanding(_TREEITEM* item, ETreeExpand action) {
    const EDataTreeItemData* data = DataOf(item);
    if (action != TreeExpand || data == nullptr) {
        return true;
    }
    const ETabulonTag tag = data->tag;  // the item may go
    ReSync(tag);
    if (waitTimer_ == 0) {
        StopWait();
    }
    return items_.Has(tag);
}

void EDataTreeCtrl::OnDeleteitem(_TREEITEM* item, std::intptr_t itemData) {
    const std::unique_ptr<EDataTreeItemData> data(reinterpret_cast<EDataTreeItemData*>(itemData));
    // Deliberate: the root's entry stays, with an item that is gone, until all items are deleted or
    // a new root item takes its place. RootEntryOutlivesItsItem holds it.
    if (data != nullptr && !data->tag.IsRoot()) {
        items_.Remove(data->tag, item);
    }
}

}  // namespace etabulon
