#include "ControlFixture.h"
#include "etabulon/cursors/ECursorScopes.h"

#include <unordered_set>

namespace etabulon::test {
namespace {

/// Those below an item that was never opened: a refresh of it alone has brought them, and they wait
/// for it to open.
std::string CheckWaiting(const EDataTreeCtrl& ctrl, _TREEITEM* item, unsigned int& count) {
    std::string faults;
    for (_TREEITEM* at = ctrl.View().FirstChild(item); at; at = ctrl.View().NextItem(at)) {
        ++count;
        faults += ctrl.Get(ctrl.Tag(at)) == at ? "" : "tag of one that waits; ";
        faults += CheckWaiting(ctrl, at, count);
    }
    return faults;
}

/// What is wrong with the items below `item`, which shows `node`; "" if nothing is. One that was
/// opened has an item for each child, in order.
std::string CheckItems(const EDataTreeCtrl& ctrl, const EDataTreeNode& node, _TREEITEM* item,
                       unsigned int& count) {
    const ITreeView& view = ctrl.View();
    const std::string name = node.Tag().DisplayID().c_str();
    std::string faults;
    ++count;
    if (!(ctrl.Tag(item) == node.Tag()) || ctrl.Get(node.Tag()) != item) {
        faults += "tag of " + name + "; ";
    }
    if (!node.IsRoot() && !(view.ItemText(item) == node.DisplayValue().DisplayValue())) {
        faults += "text of " + name + "; ";
    }
    if (view.ItemHasChildren(item) != !node.IsTreeLeaf()) {
        faults += "button of " + name + "; ";
    }
    _TREEITEM* child = view.FirstChild(item);
    if (view.ItemState(item, ITreeView::StateExpansionMask) == 0) {
        return faults + CheckWaiting(ctrl, item, count);
    }
    for (unsigned int index = 0; index < node.Size(); ++index, child = view.NextItem(child)) {
        if (child == nullptr) {
            return faults + "missing in " + name + "; ";
        }
        faults += CheckItems(ctrl, *node.Get(index), child, count);
    }
    return faults + (child != nullptr ? "too many in " + name + "; " : "");
}

class TreeCtrlStorm : public TreeScreen,
                      public testing::WithParamInterface<unsigned int>,
                      protected LetterStorm {
protected:
    TreeCtrlStorm() : LetterStorm(GetParam()) {}

    _TREEITEM* AnyItem() {
        std::vector<_TREEITEM*> items;
        for (_TREEITEM* at = view.FirstItem(); at != nullptr; at = view.NextVisibleItem(at)) {
            items.push_back(at);
        }
        return items.empty() ? nullptr : items[Any(items.size())];
    }
    ETabulonTag AnyTag() {
        _TREEITEM* const item = AnyItem();
        if (item != nullptr && Any(4) != 0) {
            return ctrl->Tag(item);
        }
        return AnyPlace();
    }
    EDataTreeCtrl::SortCompareSource AnySource() {
        return static_cast<EDataTreeCtrl::SortCompareSource>(Any(2));
    }

    void Edit() {
        for (unsigned int count = Any(6); count > 0; --count) {
            sales.Append(++lastId, Letter().c_str(), Letter().c_str(),
                         2000 + static_cast<int>(Any(4)));
        }
        for (unsigned int count = Any(7); count > 0; --count) {
            sales.Delete({static_cast<int>(Any(static_cast<std::size_t>(lastId))) + 1});
        }
    }
    /// What becomes of the walks of this round.
    void PlanTrouble() {
        const int at = static_cast<int>(Any(12)) + 1;
        DoOne(
            6, [&] { sales.cursor.onRecord = EndAt(at, StatusCancelled); },
            [&] { sales.cursor.onRecord = EndAt(at, static_cast<CursorStatus>(77)); },
            [&] { sales.cursor.onRecord = nullptr; });
    }
    void DoInView() {
        DoOne(
            6, [&] { view.Expand(AnyItem(), TreeToggle); }, [&] { view.SelectItem(AnyItem()); },
            [&] { ctrl->Select(AnyTag()); },
            [&] {
                const EDropData data{AnyItem(), AnyItem()};
                if (ctrl->CanBeginDrag(data.dragged) && ctrl->CanDrop(&data)) {
                    ctrl->OnDrop(&data);
                }
            },
            [&] { Any(2) == 0 ? ctrl->MoveSelectedLevelUp() : ctrl->MoveSelectedLevelDown(); },
            [&] { screen.Advance(Any(800)); });
    }
    void DoInLevels() {
        const unsigned int level = Any(3);
        DoOne(
            5, [&] { ctrl->SetHideLevelFlags(level, Any(3) == 0 ? kInTree : 0, Any(4) != 0); },
            [&] { ctrl->SetCompareSource(AnySource(), /*refresh=*/true); },
            [&] { ctrl->SetAttachHiddenLevelsToCurrent(Any(2) == 0, Any(2) == 0); },
            [&] {
                if (const unsigned int count = ctrl->SortDesc()->SortLevelCount(kInTree)) {
                    ctrl->SortDesc()->MoveSortLevel(Any(count), Any(count), kInTree);
                }
            },
            [&] { ctrl->SetExpand(static_cast<EDataTreeCtrl::ExpandMode>(Any(3))); });
    }
    /// A run moves the selection only where its node has gone.
    void DoInRuns() {
        _TREEITEM* const selected = view.SelectedItem();
        followed = selected != nullptr ? ctrl->Tag(selected) : ETabulonTag();
        DoOne(
            6, [&] { ctrl->Fill(); },
            [&] {
                ctrl->SetCompareSource(AnySource(), /*refresh=*/false);
                ctrl->Refresh();
            },
            [&] { ctrl->RefreshCurrentNode(); },
            [&] {
                ctrl->RefreshDeletedNode(AnyTag());
                followed = ETabulonTag();  // its item went for a while
            },
            [&] { ctrl->Refresh(AnyTag()); });
    }
    void Event() {
        followed = ETabulonTag();
        const unsigned int what = Any(10);
        what < 5 ? DoInView() : what < 6 ? DoInLevels() : DoInRuns();
    }
    void Rest() {
        WaitForRuns();
        screen.Advance(1000);
        WaitForRuns();
    }
    /// After a run that ended badly the model is ahead of the items.
    void CatchUp() {
        sales.cursor.onRecord = nullptr;
        ctrl->Refresh();
        Rest();
    }
    std::string Check() {
        unsigned int count = 0;
        const ECursorExclusive exclusive(sales.cursor);
        const EDataTreeNode& root = *ctrl->Tree()->Root();
        if (view.FirstItem() == nullptr) {
            return root.Size() != 0 ? "no root item" : "";
        }
        const std::string faults = CheckItems(*ctrl, root, view.FirstItem(), count);
        return faults + (count != view.ItemCount() ? "items beside the tree; " : "") +
               (view.IsRedrawOn() && screen.waitCursors == 0 && sales.cursor.depth == 1
                    ? ""
                    : "redraw, pointer or lock") +
               (view.ImageOf(view.FirstItem()) == "root" ? "" : "wait is shown; ");
    }

    int lastId = 5;
    ETabulonTag followed;  // the root: none
};

TEST_P(TreeCtrlStorm, LeavesItemsLikeTheModelAfterEachEvent) {
    Fill();
    for (int round = 0; round < 400; ++round) {
        const int before = Troubles();
        Edit();
        if (Any(3) == 0) {
            PlanTrouble();
        }
        Event();
        Rest();
        if (Troubles() != before || sales.cursor.onRecord) {
            CatchUp();
        } else if (ctrl->Tree()->Get(followed) != nullptr && !followed.IsRoot()) {
            ASSERT_EQ(ctrl->Selected().DisplayID(), followed.DisplayID()) << "round " << round;
        }
        ASSERT_EQ(Check(), "") << "round " << round << " " << view.Items() << "\n"
                               << view.TakeLog();
        view.TakeLog();
    }
}

TEST_P(TreeCtrlStorm, LeavesItemsLikeTheModelInTheEnd) {
    Fill();
    for (int round = 0; round < 150; ++round) {
        Edit();
        PlanTrouble();
        for (unsigned int count = 1 + Any(6); count > 0; --count) {
            Event();
            if (Any(4) == 0) {
                screen.PumpWaiting();
            }
        }
        Rest();
        CatchUp();
        ASSERT_EQ(Check(), "") << "round " << round << " " << view.Items() << "\n"
                               << view.TakeLog();
        view.TakeLog();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TreeCtrlStorm, testing::Range(1U, 9U));

}  // namespace
}  // namespace etabulon::test
