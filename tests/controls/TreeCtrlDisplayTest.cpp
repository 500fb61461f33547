#include "ControlFixture.h"
#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/controls/EIconImages.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/tree/EDataTreeAvailableAlerts.h"
#include "etabulon/tree/EDataTreeRaisedAlerts.h"

namespace etabulon::test {
namespace {
constexpr const char* kWaiting = "13000:16x16";

class TreeCtrlWait : public TreeScreen {
protected:
    /// A run that is held at its first record until Release.
    void Hold(bool isFill) {
        sales.cursor.HoldAt(gate_);
        isFill ? ctrl->Fill() : ctrl->Refresh();
        gate_.WaitReached();
    }
    void Release() { gate_.Open(); }
    std::string RootImage() { return view.ImageOf(view.At("all")); }

private:
    Gate gate_;
};

TEST_F(TreeCtrlWait, BlinksTheRootUntilTheRunEnds) {
    Fill();
    EXPECT_EQ(RootImage(), "root");
    Hold(/*isFill=*/false);
    std::string seen;
    for (int tick = 0; tick < 4; ++tick) {
        seen += RootImage() + " ";
        screen.Advance(500);
    }
    EXPECT_EQ(seen, "13000:16x16 - 13000:16x16 - ");
    Release();
    WaitForRuns();
    EXPECT_EQ(RootImage(), "root");
    view.TakeLog();
    screen.Advance(1500);
    EXPECT_EQ(view.TakeLog(), "");
}

TEST_F(TreeCtrlWait, EndsAtATickIfNobodyStopsIt) {
    Fill();
    Hold(/*isFill=*/false);
    ctrl->Port()->Send({MsgFillCancel, 0, nullptr});  // of an earlier run: busy, so it goes on
    --startsOnly;
    EXPECT_EQ(view.Items(), "");
    view.TakeLog();
    screen.Advance(1000);
    EXPECT_EQ(view.TakeLog(), "");  // ending, and tried again at each tick
    Release();
    WaitForRuns();
    EXPECT_EQ(view.Items(), kAllItems);
    EXPECT_EQ(RootImage(), "root");
}

TEST_F(TreeCtrlWait, CancelledOrFailedRefreshBlinksOn) {
    for (const auto& [status, owner] : Table<CursorStatus, const char*>{
             {StatusCancelled, "owner 1569; owner 1571; "},
             {static_cast<CursorStatus>(77), "owner 1569; owner 1572 77; "}}) {
        sales.cursor.onRecord = nullptr;
        Fill();
        sales.cursor.onRecord = EndAt(2, status);
        Refresh();
        EXPECT_EQ(view.TakeLog("owner"), owner);
        EXPECT_EQ(RootImage(), kWaiting);
        screen.Advance(500);
        EXPECT_EQ(RootImage(), "-");
        EXPECT_TRUE(view.Fold("all/FR"));
        EXPECT_TRUE(view.Open("all/FR"));  // a sync
        EXPECT_EQ(RootImage(), kWaiting);
        screen.Advance(500);
        EXPECT_EQ(RootImage(), "root");
    }
}

TEST_F(TreeCtrlWait, OpeningAnItemShowsNoWaitAfterwards) {
    ctrl->SetExpand(EDataTreeCtrl::ExpandNone);
    Fill();
    EXPECT_TRUE(view.Open("all/FR"));
    EXPECT_EQ(view.TakeLog("image timer"), "image all 13000:16x16; image all root; ");
}

TEST_F(TreeCtrlWait, SetsThePointerOverItsWindowOnly) {
    const auto pointer = [this] { return screen.NameOf(screen.Pointer()); };
    Fill();
    EXPECT_TRUE(ctrl->OnSetCursor());
    EXPECT_EQ(pointer(), "arrow");
    Hold(/*isFill=*/false);
    EXPECT_EQ(pointer(), "arrow");  // it lies outside
    EXPECT_TRUE(ctrl->OnSetCursor());
    EXPECT_EQ(pointer(), "busy");
    screen.MovePointer({10, 10});
    Release();
    std::string seen;
    view.owner = [&](std::uint32_t, std::intptr_t) { seen += pointer(); };
    WaitForRuns();
    EXPECT_EQ(seen, "arrow");
    ctrl->Refresh();
    EXPECT_EQ(seen, "arrowbusy");
    WaitForRuns();
}

class TreeCtrlBackground : public TreeCtrlWait {
protected:
    std::string Background() {
        EMemorySurface surface;
        return ctrl->OnEraseBkgnd(surface) ? surface.TakeLog() : "by the view";
    }
};

TEST_F(TreeCtrlBackground, SaysThatItIsEmpty) {
    EXPECT_EQ(Background(), "by the view");
    view.TakeLog();
    ctrl->SetEmptyText("Nothing");
    EXPECT_EQ(view.TakeLog(), "invalidate; ");
    EXPECT_EQ(Background(),
              "fill 0,0,200,100 ffffff; measure 'Nothing' c10; colour 6d6d6d; "
              "text 'Nothing' 0,45,200,100 811; colour 0; ");
    view.SetBackgroundColour(0x112233);
    EXPECT_EQ(Background().substr(0, 25), "fill 0,0,200,100 112233; ");
    Fill();
    EXPECT_EQ(Background(), "by the view");
}

TEST_F(TreeCtrlBackground, BlinksTheMessageOfAFirstFill) {
    ctrl->SetEmptyText("Nothing");
    Hold(/*isFill=*/true);
    EXPECT_NE(Background().find("'Préparation de l'arbre en cours...'"), std::string::npos);
    view.TakeLog();
    screen.Advance(500);
    EXPECT_EQ(Background(), "by the view");
    EXPECT_EQ(view.TakeLog(), "invalidate; ");
    screen.Advance(500);
    EXPECT_NE(Background().find("Pr"), std::string::npos);
    Release();
    WaitForRuns();
}

TEST_F(TreeCtrlBackground, FollowsTheSizeOfAnEmptyControl) {
    view.TakeLog();
    view.Resize(ITreeViewEvents::SizeRestored, 300, 50);
    EXPECT_EQ(view.TakeLog(), "invalidate; update; ");
    view.Resize(ITreeViewEvents::SizeMinimised, 0, 0);
    EXPECT_EQ(view.TakeLog(), "");
    Fill();
    view.Resize(ITreeViewEvents::SizeMaximised, 300, 300);
    EXPECT_EQ(view.TakeLog(), "");
}

TEST_F(TreeCtrlBackground, IsDrawnAgainForAnEmptyResult) {
    sales.Delete({1, 2, 3, 4, 5});
    ctrl->Fill();
    view.TakeLog();
    WaitForRuns();
    EXPECT_EQ(view.TakeLog(),
              "invalidate; owner 1570; invalidate; timer 2 off; invalidate; update; ");
}

class TreeCtrlAlerts : public TreeScreen {
protected:
    TreeCtrlAlerts() {
        EDataTreeAlertDesc late("late");
        late.SetTextColor(0x0000FF);
        late.SetTextBold(true);
        late.SetPropagateToParent(true);
        EDataTreeAlertDesc draft("draft");
        draft.SetTextItalic(true);
        available_.DeclareAlert(late);
        available_.DeclareAlert(draft);
        Fill();
    }
    /// How the item is drawn: the answer, the text's colour, the font selected.
    std::string Draw(std::string_view path, std::int32_t weight = ELogFont::kNormal) {
        EMemorySurface surface;
        ELogFont font;
        font.weight = weight;
        surface.SetFont(font);
        ETreeDraw draw;
        draw.stage = ETreeDraw::ItemPrePaint;
        draw.item = view.At(path);
        draw.itemData = view.ItemData(draw.item);
        draw.surface = &surface;
        const std::uint32_t answer = ctrl->OnCustomdraw(draw);
        return std::to_string(answer) + " " + std::to_string(draw.textColour) + " " +
               surface.TakeLog();
    }

    EDataTreeAvailableAlerts available_;
    EDataTreeRaisedAlerts raised_{available_};
};

TEST_F(TreeCtrlAlerts, StyleTheirNodesAndThoseAbove) {
    ETreeDraw all;
    EXPECT_EQ(ctrl->OnCustomdraw(all), 0U);
    ctrl->AttachAlerts(&raised_);
    EXPECT_EQ(view.TakeLog(), "invalidate; update; ");
    EXPECT_EQ(ctrl->OnCustomdraw(all), 0x22U);
    raised_.Raise(Place("FR", "Paris"), "late");
    raised_.Raise(Place("FR", "Lyon"), "draft");
    EXPECT_EQ(Draw("all/FR/Paris"), "2 255 font; ");
    EXPECT_EQ(Draw("all/FR"), "2 255 font; ");
    EXPECT_EQ(Draw("all"), "2 255 font; ");
    EXPECT_EQ(Draw("all/FR/Lyon"), "2 0 font; ");
    EXPECT_EQ(Draw("all/DE"), "0 0 ");
    EXPECT_EQ(Draw("nowhere"), "0 0 ");
    EXPECT_EQ(screen.fonts, 2);
    ctrl.reset();
    EXPECT_EQ(screen.fonts, 0);
}

TEST_F(TreeCtrlAlerts, PlainAlertOnABoldViewGivesAPlainFont) {
    ctrl->AttachAlerts(&raised_);
    EXPECT_EQ(Draw("all/DE", ELogFont::kBold), "2 0 font; ");
    raised_.Raise(Place("DE"), "late");
    EXPECT_EQ(Draw("all/DE", ELogFont::kBold), "0 255 ");
}

TEST_F(TreeCtrlAlerts, FontThatCantBeMadeIsSelectedAsNull) {
    ctrl->AttachAlerts(&raised_);
    raised_.Raise(Place("FR"), "draft");
    screen.refusesFonts = true;
    EXPECT_EQ(Draw("all/FR"), "2 0 font null; ");
    screen.refusesFonts = false;
    EXPECT_EQ(Draw("all/FR"), "2 0 font null; ");
    EXPECT_EQ(screen.fonts, 0);
}

TEST(TreeCtrlIcons, AreKeptOnceForEachHandle) {
    EMemoryScreen screen;
    EIconImages images(screen, 0);
    const HICON one = screen.NewIcon("one");
    EXPECT_EQ(images.IndexOf(nullptr), -1);
    EXPECT_EQ(images.IndexOf(one), 0);
    EXPECT_EQ(images.IndexOf(screen.NewIcon("two")), 1);
    EXPECT_EQ(images.IndexOf(one), 0);
}

TEST(TreeCtrlWithoutAWindow, TakesEverythingAndShowsNothing) {
    SalesTable sales;
    EDataTreeCtrl ctrl;  // on the screen that shows nothing
    ctrl.SetEmptyText("x");
    EXPECT_FALSE(ctrl.InitDone());
    ctrl.Init(&sales.cursor, "all", nullptr);
    ctrl.Fill();
    { const ECursorExclusive exclusive(sales.cursor); }
    EXPECT_TRUE(ctrl.Port()->Dispatch());
    EXPECT_TRUE(ctrl.Selected().IsRoot());
    ctrl.Select(Place("FR"));
    EXPECT_FALSE(ctrl.MoveSelectedLevelUp());
}

/// Writes down what it hears of: "-3 -2" for deletions by item data, "sel", "open 3".
class Listener : public EDragTreeCtrl {
public:
    ~Listener() override { Detach(); }
    void OnSelchanged() override { log += "sel "; }
    bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override {
        log += (action == TreeExpand ? "open " : "close ") + std::to_string(View().ItemData(item)) +
               " ";
        return accepts;
    }
    void OnDeleteitem(_TREEITEM* item, std::intptr_t data) override {
        log += "-" + std::to_string(data) + (View().ItemText(item).IsEmpty() ? " " : "? ");
    }
    std::string log;
    bool accepts = true;
};

class TreeViewItems : public testing::Test {
protected:
    TreeViewItems() { listener.Attach(&view); }
    _TREEITEM* Add(int number, _TREEITEM* parent, _TREEITEM* after = kTreeLast) {
        _TREEITEM* item =
            view.InsertItem(Chaine(std::to_string(number).c_str()), -1, -1, parent, after);
        ETreeItemChange change;
        change.data = number;
        view.SetItem(item, change);
        return item;
    }
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    Listener listener;
};

TEST_F(TreeViewItems, TellOfDeletionsChildrenFirst) {
    _TREEITEM* one = Add(1, kTreeRoot);
    _TREEITEM* two = Add(2, one);
    _TREEITEM* three = Add(3, two);
    Add(4, one, kTreeFirst);
    Add(5, one, two);
    EXPECT_EQ(view.Items(), "1{4 2{3} 5}");
    view.SelectItem(three);
    listener.log.clear();
    view.DeleteItem(two);
    EXPECT_EQ(listener.log, "-3 -2 ");
    EXPECT_EQ(view.SelectedItem(), nullptr);
    view.DeleteItem(two);
    view.DeleteItem(kTreeRoot);
    EXPECT_EQ(listener.log, "-3 -2 -4 -5 -1 ");
    EXPECT_EQ(view.ItemCount(), 0U);
}

TEST_F(TreeViewItems, AnswerNothingForAnItemThatIsGone) {
    _TREEITEM* const gone = Add(1, kTreeRoot);
    view.DeleteItem(gone);
    EXPECT_NE(Add(2, kTreeRoot), gone);
    listener.log.clear();
    for (_TREEITEM* item : {gone, static_cast<_TREEITEM*>(nullptr)}) {
        EXPECT_EQ(view.NextItem(item), nullptr);
        EXPECT_EQ(view.PreviousItem(item), nullptr);
        EXPECT_EQ(view.ParentItem(item), nullptr);
        EXPECT_EQ(view.FirstChild(item), nullptr);
        EXPECT_EQ(view.NextVisibleItem(item), nullptr);
        EXPECT_EQ(view.PreviousVisibleItem(item), nullptr);
        EXPECT_EQ(view.ItemData(item), 0);
        EXPECT_EQ(view.ItemState(item, ITreeView::StateExpansionMask), 0U);
        EXPECT_FALSE(view.ItemHasChildren(item));
        EXPECT_FALSE(view.Expand(item, TreeExpand));
        view.SetItem(item, {});
        view.EnsureVisible(item);
    }
    EXPECT_FALSE(view.SelectItem(gone));
    EXPECT_EQ(view.InsertItem("x", -1, -1, gone, kTreeLast), nullptr);
    EXPECT_EQ(listener.log, "");
}

TEST_F(TreeViewItems, AskBeforeTheyOpenAndRememberThatTheyDid) {
    _TREEITEM* const one = Add(1, kTreeRoot);
    const auto state = [&] { return view.ItemState(one, ITreeView::StateExpansionMask); };
    EXPECT_FALSE(view.Expand(one, TreeExpand));  // nothing below
    _TREEITEM* const two = Add(2, one);
    listener.accepts = false;
    EXPECT_FALSE(view.Expand(one, TreeToggle));
    EXPECT_EQ(state(), 0U);
    listener.accepts = true;
    EXPECT_TRUE(view.Expand(one, TreeToggle));
    EXPECT_TRUE(view.Expand(one, TreeExpand));  // already expanded: no event
    EXPECT_EQ(state(), 0x60U);
    view.SelectItem(two);
    EXPECT_TRUE(view.Expand(one, TreeToggle));
    EXPECT_EQ(view.SelectedItem(), one);
    EXPECT_EQ(state(), 0x40U);
    EXPECT_TRUE(view.Expand(one, TreeCollapseReset));
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(listener.log, "open 1 open 1 open 1 sel close 1 sel close 1 -2 ");
}

TEST_F(TreeViewItems, AreOpenedDownToTheOneThatIsToBeSeen) {
    _TREEITEM* const one = Add(1, kTreeRoot);
    _TREEITEM* const three = Add(3, Add(2, one));
    view.EnsureVisible(three);
    EXPECT_EQ(listener.log, "open 1 open 2 ");
}

TEST_F(TreeViewItems, StandInOneOrderWhicheverWayTheyAreWalked) {
    std::mt19937 random(5);
    std::vector<_TREEITEM*> items;
    for (int number = 1; number <= 300; ++number) {
        _TREEITEM* const parent =
            items.empty() || random() % 8 == 0 ? kTreeRoot : items[random() % items.size()];
        items.push_back(Add(number, parent, random() % 2 == 0 ? kTreeFirst : kTreeLast));
        if (random() % 3 == 0) {
            view.Expand(items[random() % items.size()], TreeToggle);
        }
        if (random() % 6 == 0) {
            view.DeleteItem(items[random() % items.size()]);
        }
    }
    std::vector<_TREEITEM*> forward;
    for (_TREEITEM* at = view.FirstItem(); at != nullptr; at = view.NextVisibleItem(at)) {
        forward.push_back(at);
        const _TREEITEM* next = view.NextItem(at);
        EXPECT_TRUE(next == nullptr || view.PreviousItem(view.NextItem(at)) == at);
    }
    ASSERT_GT(forward.size(), 20U);
    std::vector<_TREEITEM*> backward;
    for (_TREEITEM* at = forward.back(); at != nullptr; at = view.PreviousVisibleItem(at)) {
        backward.insert(backward.begin(), at);
    }
    EXPECT_EQ(forward, backward);
}

TEST_F(TreeViewItems, RingTheirTimersInTheOrderOfTime) {
    struct Clock : EDragTreeCtrl {
        void OnTimer(unsigned int timerID) override {
            log += std::to_string(timerID);
            if (timerID == 3) {
                View().KillTimer(3);
            }
        }
        std::string log;
    } clock;
    EMemoryTreeView other(screen);
    clock.Attach(&other);
    static_cast<void>(other.SetTimer(1, 100));
    static_cast<void>(other.SetTimer(2, 250));
    static_cast<void>(other.SetTimer(3, 120));
    screen.Advance(250);
    EXPECT_EQ(clock.log, "1312");
    static_cast<void>(other.SetTimer(1, 100));  // restarts the timer
    screen.Advance(99);
    EXPECT_EQ(clock.log, "1312");
    screen.Advance(1);
    EXPECT_EQ(clock.log, "13121");
}

}  // namespace
}  // namespace etabulon::test
