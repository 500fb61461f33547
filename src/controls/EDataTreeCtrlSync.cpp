#include "controls/EDataTreeCtrlSync.h"

#include "controls/EDataTreeCtrlParts.h"
#include "controls/EDataTreeCtrlSection.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <algorithm>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

namespace etabulon::detail {
namespace {

// Trees of so many leaves open only the root by themselves: each item that opens costs a sync.
constexpr std::uint32_t kManyLeaves = 100;

struct TagHash {
    std::size_t operator()(const ETabulonTag& tag) const noexcept { return tag.Hash(); }
};

}  // namespace

/// Keeps the selection through the outermost sync. The steps of the sync select, delete and open
/// items without regard to it.
class [[nodiscard]] EDataTreeCtrlSync::Following {
public:
    explicit Following(EDataTreeCtrlSync& sync)
        : sync_(sync), isOutermost_(sync.following_ == nullptr) {
        if (isOutermost_) {
            wanted_[0] = SelectedTag();
            sync_.following_ = this;  // last: nothing clears it if this constructor throws
        }
    }
    ~Following() {
        if (isOutermost_) {
            sync_.following_ = nullptr;
        }
    }
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;

    /// The selection has left an item that is deleted. If its heir is deleted too, because its node
    /// has moved, and leaves no heir, the sync selects the first heir's node again.
    void NoteHeir() {
        if (sync_.View().SelectedItem() != nullptr) {
            wanted_[1] = SelectedTag();
        }
    }
    /// Selects the node that was selected, otherwise the last heir, unless it has gone or is
    /// selected.
    void End() {
        for (const ETabulonTag& tag : wanted_) {
            if (isOutermost_ && !tag.IsRoot() && sync_.parts_.tree->Get(tag) != nullptr) {
                sync_.parts_.selection.SelectAgain(tag);
                return;
            }
        }
    }

private:
    [[nodiscard]] ETabulonTag SelectedTag() const {
        _TREEITEM* const item = sync_.View().SelectedItem();
        return item != nullptr ? sync_.parts_.items.Tag(item) : ETabulonTag();
    }

    EDataTreeCtrlSync& sync_;
    const bool isOutermost_;
    ETabulonTag wanted_[2];  // the selected node's tag, and its last heir's
};

/// Turns redraw off at the first change.
class EDataTreeCtrlSync::Redraw {
public:
    Redraw(ITreeView& view, bool isOff) noexcept : view_(view), isOff_(isOff) {}
    void Off() {
        if (!isOff_) {
            view_.SetRedraw(/*on=*/false);
            isOff_ = true;
        }
    }
    [[nodiscard]] bool IsOff() const noexcept { return isOff_; }

private:
    ITreeView& view_;
    bool isOff_;
};

void EDataTreeCtrlSync::ReSync() { ReSync(ETabulonTag::Null); }

// Deliberate: inUpdate is a flag and not a depth, so that the sync of an opened child clears it for
// the rest of its parent's sync, which shows in the pointer. InUpdateIsAFlag holds it.
void EDataTreeCtrlSync::ReSync(const ETabulonTag& tag) {
    parts_.wait.ShowWaitPointer();
    parts_.wait.UpdateWait(EDataTreeCtrl::WaitStepEnding);
    {
        // Cancels no walk: a user who opens an item during a walk waits for its end.
        const CursorSection section(parts_);
        const Updating updating(parts_);
        Following following(*this);
        try {
            if (ReSync(tag, /*redrawOff=*/false)) {
                View().SetRedraw(/*on=*/true);
            }
        } catch (...) {
            View().SetRedraw(/*on=*/true);
            throw;
        }
        following.End();
    }
    parts_.wait.ShowNormalPointer();
}

bool EDataTreeCtrlSync::ReSync(const ETabulonTag& tag, bool redrawOff) {
    Redraw redraw(View(), redrawOff);
    EDataTreeNode* node = NodeToSync(tag);
    _TREEITEM* item = ItemOf(*node);
    while (item == nullptr && !node->IsRoot()) {
        node = node->Parent();  // a node without an item shows in the nearest one above
        item = ItemOf(*node);
    }
    if (node->IsRoot()) {
        SyncRootItem(redraw);
        item = parts_.items.Has(ETabulonTag::Null) ? View().FirstItem() : nullptr;
    }
    if (item != nullptr) {
        DeleteStrangers(*node, item, redraw);
        SyncChildren(*node, item, redraw);
    }
    return redraw.IsOff();
}

_TREEITEM* EDataTreeCtrlSync::ItemOf(const EDataTreeNode& node) const {
    ETabulonTag tag;
    node.ExtractTag(tag);
    return parts_.items.Get(tag);
}

/// The node whose items show what has happened to the tag: its own node or one above.
EDataTreeNode* EDataTreeCtrlSync::NodeToSync(const ETabulonTag& tag) const {
    EDataTreeNode* const root = parts_.tree->Root();
    EDataTreeNode* node = root->Get(tag);
    if (node != nullptr && (node->IsRoot() || parts_.items.Has(tag))) {
        return node;
    }
    if (!parts_.SortDesc()->IsSortCompatible(tag, kInTree)) {
        return root;
    }
    for (ETabulonTag above = parts_.AboveOf(tag);; above = parts_.AboveOf(above)) {
        node = root->Get(above);
        // Deliberate: Has looks for the requested tag and not for the tag climbed to. A tag without
        // an entry climbs to the root, even if an ancestor is shown. RefreshedAboveItsGoneRecord
        // holds it.
        if (node == root || (node != nullptr && parts_.items.Has(tag))) {
            return node;
        }
    }
}

void EDataTreeCtrlSync::SyncRootItem(Redraw& redraw) {
    EDataTreeNode& root = *parts_.tree->Root();
    _TREEITEM* const first = View().FirstItem();
    if (root.Size() == 0 && first != nullptr) {
        redraw.Off();
        DropItem(first);
    } else if (root.Size() != 0 && first == nullptr) {
        redraw.Off();
        parts_.selection.Show(InsertItem(root, kTreeRoot, kTreeLast));
    }
}

/// Deletes those children of the item whose nodes have gone.
void EDataTreeCtrlSync::DeleteStrangers(const EDataTreeNode& node, _TREEITEM* item,
                                        Redraw& redraw) {
    // As a rule no node has gone: then the items match the first nodes in order, and no set is
    // needed.
    ETabulonTag tag;
    unsigned int index = 0;
    _TREEITEM* child = View().FirstChild(item);
    for (; child != nullptr && index < node.Size(); ++index) {
        node.Get(index)->ExtractTag(tag);
        if (!(parts_.items.DataOf(child)->tag == tag)) {
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
        if (!known.contains(parts_.items.DataOf(child)->tag)) {
            strangers.push_back(child);
        }
    }
    // The one that holds the selection goes last, so that its heir isn't another stranger.
    std::stable_partition(strangers.begin(), strangers.end(), [this](_TREEITEM* stranger) {
        return !parts_.items.IsWithin(View().SelectedItem(), stranger);
    });
    for (_TREEITEM* stranger : strangers) {
        redraw.Off();
        DropItem(stranger);
    }
}

void EDataTreeCtrlSync::SyncChildren(EDataTreeNode& node, _TREEITEM* item, Redraw& redraw) {
    _TREEITEM* current = View().FirstChild(item);
    _TREEITEM* previous = kTreeFirst;
    ETabulonTag tag;
    for (unsigned int index = 0; index < node.Size(); ++index) {
        EDataTreeNode& child = *node.Get(index);
        child.ExtractTag(tag);
        if (current != nullptr && parts_.items.DataOf(current)->tag == tag) {
            SyncItem(child, current, tag, redraw);
        } else {
            redraw.Off();
            // An item of this tag elsewhere among its siblings would lose its entry, and never be
            // found.
            _TREEITEM* const twin = parts_.items.Find(tag);
            if (twin != nullptr && View().ParentItem(twin) == item) {
                DropItem(twin);
            }
            current = InsertItem(child, item, previous);
        }
        previous = current;
        current = View().NextItem(current);
    }
}

/// Brings an item in step, and the items below it if it was ever open; the others are synced when
/// they open.
void EDataTreeCtrlSync::SyncItem(EDataTreeNode& node, _TREEITEM* item, const ETabulonTag& tag,
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
    // A model that is behind a change of the levels may not find its own node by its tag. ReSync
    // would climb from that tag back to this item.
    if (View().ItemState(item, ITreeView::StateExpansionMask) != 0 &&
        parts_.tree->Root()->Get(tag) == &node) {
        ReSync(ETabulonTag(tag));
    }
}

_TREEITEM* EDataTreeCtrlSync::InsertItem(EDataTreeNode& node, _TREEITEM* parent, _TREEITEM* after) {
    if (node.IsRoot() && node.Size() == 0) {
        return nullptr;
    }
    auto data = std::make_unique<EDataTreeItemData>();
    node.ExtractTag(data->tag);
    if (!node.IsRoot()) {
        data->tip = TipOf(data->tag, parts_.items.GetDepth(parent));
    }
    const int image = parts_.images.IndexOf(node.Icon());
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
    parts_.items.Set(tag, item);
    if (OpensByItself(node)) {
        View().Expand(item, TreeExpand);
        if (_TREEITEM* const selected = View().SelectedItem()) {
            View().EnsureVisible(selected);
        }
    }
    return item;
}

bool EDataTreeCtrlSync::OpensByItself(const EDataTreeNode& node) const {
    if (node.IsRoot()) {
        return true;
    }
    return expand_ != EDataTreeCtrl::ExpandNone && parts_.tree->Root()->LeafCount() < kManyLeaves &&
           (node.LeafCount() > 1 || expand_ == EDataTreeCtrl::ExpandAll);
}

Chaine EDataTreeCtrlSync::TipOf(const ETabulonTag& tag, unsigned int position) const {
    if (position >= parts_.SortDesc()->SortLevelCount(kInTree)) {
        return Chaine();  // the model is behind a change of the levels
    }
    const unsigned int level = parts_.SortDesc()->SortLevel(position, kInTree).Level();
    const ETabulonValue* value = tag.Find(level);
    if (value == nullptr || !parts_.AvailableLevels().ExistLevel(level)) {
        return Chaine();
    }
    Chaine tip = parts_.AvailableLevels().GetLevel(level).Header();
    tip.Append(": ");
    tip += value->DisplayText();
    tip.Append(" (");
    tip += value->Data().AsChaine();
    tip.Append(")");
    return tip;
}

Chaine EDataTreeCtrlSync::DisplayName(const EDataTreeNode& node) const {
    const ETabulonValue& value = node.DisplayValue();
    return display_ == EDataTreeCtrl::DisplayRawValue ? value.Data().AsChaine()
                                                      : value.DisplayText();
}

// ---------------------------------------------------------------------------------------- deleting

/// Deletes an item whose node has gone, or has moved among its siblings.
///
/// Deliberate: the selection leaves a branch that is deleted, as it leaves a deleted item, and
/// returns to its node if the sync makes the node's item again. DeleteItem alone would select
/// nothing and raise no event, since it regards only the item itself. SelectionBelowWhatGoes holds
/// it.
void EDataTreeCtrlSync::DropItem(_TREEITEM* item) {
    _TREEITEM* const selected = View().SelectedItem();
    if (selected != item && selected != nullptr && parts_.items.IsWithin(selected, item)) {
        _TREEITEM* next = View().NextVisibleItem(item);
        while (next != nullptr && parts_.items.IsWithin(next, item)) {
            next = View().NextVisibleItem(next);
        }
        SelectHeir(next, item);
    }
    DeleteItem(item);
    if (View().SelectedItem() != selected) {
        following_->NoteHeir();
    }
}

void EDataTreeCtrlSync::DeleteItem(_TREEITEM* item) {
    if (item == View().SelectedItem()) {
        // Deliberate: the heir is the next visible item, even if that is a child, which is deleted
        // with the item: then nothing is selected in the end. DeletingAnOpenSelectedItemSelectsNone
        // holds it.
        SelectHeir(View().NextVisibleItem(item), item);
    }
    View().DeleteItem(item);
}

/// Selects `next`, otherwise the visible item before `item`, otherwise the first one. `inUpdate` is
/// off meanwhile.
void EDataTreeCtrlSync::SelectHeir(_TREEITEM* next, _TREEITEM* item) {
    parts_.inUpdate = false;
    _TREEITEM* heir = next;
    if (heir == nullptr) {
        heir = View().PreviousVisibleItem(item);
    }
    if (heir == nullptr) {
        heir = View().FirstItem();
    }
    if (heir != nullptr) {
        parts_.selection.Show(heir);
    }
    // On, even if it was off before: each caller clears it in the end.
    parts_.inUpdate = true;
}

void EDataTreeCtrlSync::Delete(const ETabulonTag& tag) {
    const ETabulonTag deleted = tag;
    if (_TREEITEM* const item = parts_.items.Get(deleted)) {
        _TREEITEM* child = View().FirstChild(item);
        while (child != nullptr) {
            _TREEITEM* const next = View().NextItem(child);
            Delete(parts_.items.DataOf(child)->tag);
            child = next;
        }
        DeleteItem(item);
    }
    if (_TREEITEM* const first = deleted.IsRoot() ? View().FirstItem() : nullptr) {
        DeleteItem(first);
    }
}

// ------------------------------------------------------------------------------ events of the view

bool EDataTreeCtrlSync::OnItemexpanding(_TREEITEM* item, ETreeExpand action) {
    const EDataTreeItemData* data = parts_.items.DataOf(item);
    if (action != TreeExpand || data == nullptr) {
        return true;
    }
    const ETabulonTag tag = data->tag;  // the sync may delete the item
    ReSync(tag);
    parts_.wait.StopWaitWithoutTimer();
    return parts_.items.Has(tag);
}

}  // namespace etabulon::detail
