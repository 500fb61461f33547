#include "ControlFixture.h"
#include "LevelFixture.h"
#include "support/SortTrace.h"

namespace etabulon::test {
namespace {

class LevelCtrl : public testing::Test {
protected:
    LevelCtrl() {
        ctrl->Attach(&view);
        ctrl->Init(&levels);
        ctrl->Fill();
        view.TakeLog();
    }
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    const ETabulonLevels levels = LettersAsLevels("abcd", screen);
    std::unique_ptr<ETabulonSelectLevelCtrl> ctrl =
        std::make_unique<ETabulonSelectLevelCtrl>(screen);
};

constexpr const char* kChain = "-a{-b{-c{d}}}";

TEST_F(LevelCtrl, ShowsTheVisibleLevelsAsOneChain) {
    ctrl->Fill();
    EXPECT_EQ(view.Items(), kChain);
    EXPECT_EQ(view.TakeLog(),
              "redraw off; delete all; images; insert a; insert b; open a; insert "
              "c; open b; insert d; open c; redraw on; ");
    EXPECT_EQ(view.ImageOf(view.At("a/b/c/d")) + view.ImageOf(view.At("a/b/c")), "d-");
    ctrl->SortDesc()->SetHideLevelFlags(1, ETabulonSortDesc::HideInCalc);
    ctrl->SortDesc()->SetHideLevelFlags(2, kHidden);
    EXPECT_EQ(view.Items(), "-a{-b{d}}");
    EXPECT_EQ(view.ItemData(view.At("a/b/d")), 2);
    Hide(*ctrl->SortDesc(), "abcd", "abcd");
    EXPECT_EQ(view.Items(), "");
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp() || ctrl->MoveSelectedLevelDown());
}

TEST_F(LevelCtrl, MovesTheSelectedLevel) {
    struct Row {
        const char* selected;
        bool up;
        bool moved;
        const char* items;
    };
    static const Row kRows[] = {
        {"a", false, true, "-b{*-a{-c{d}}}"},      {"a/b", false, true, "-a{-c{*-b{d}}}"},
        {"a/b/c", false, true, "-a{-b{-d{*c}}}"},  {"a/b/c/d", false, false, "-a{-b{-c{*d}}}"},
        {"a", true, false, "*-a{-b{-c{d}}}"},      {"a/b", true, true, "*-b{-a{-c{d}}}"},
        {"a/b/c/d", true, true, "-a{-b{*-d{c}}}"}, {"nowhere", true, false, kChain},
        {"nowhere", false, false, kChain},
    };
    for (const Row& row : kRows) {
        ctrl->SortDesc()->SetSortLevels(ETabulonSortDesc::SortKeyArray(levels));
        ctrl->Fill();
        view.Click(row.selected);
        EXPECT_EQ(row.up ? ctrl->MoveSelectedLevelUp() : ctrl->MoveSelectedLevelDown(), row.moved);
        EXPECT_EQ(view.Items(), row.items) << row.selected << (row.up ? " up" : " down");
    }
}

TEST_F(LevelCtrl, RefusedMoveStillMovesTheSelection) {
    const auto refuser = MakeRef<SortTrace>();
    refuser->RefuseAt(1);
    ctrl->SortDesc()->AddNotifier(refuser.Get());
    view.Click("a/b");
    view.TakeLog();
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(view.Items(), "*-a{-b{-c{d}}}");
    EXPECT_EQ(view.TakeLog() + refuser->Take(), "select a; ?move !none");
}

TEST_F(LevelCtrl, MoveAmongHiddenLevelsMayShowNothing) {
    Hide(*ctrl->SortDesc(), "abcd", "ac");
    view.Click("b/d");
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(Order(*ctrl->SortDesc()), "(a) (c) b d");
    EXPECT_EQ(view.Items(), "*-b{d}");
}

TEST_F(LevelCtrl, DropMovesAndSelectsNothing) {
    view.Click("a");
    EXPECT_TRUE(view.Drag("a/b/c/d", "a/b"));
    EXPECT_EQ(view.Items(), "-a{-d{-b{c}}}");
    EXPECT_TRUE(view.Drag("a", "a/d/b"));
    EXPECT_EQ(view.Items(), "-d{-b{-a{c}}}");
    for (const char* target : {"d", "nowhere"}) {
        EXPECT_FALSE(view.Drag("d", target));
        EXPECT_FALSE(view.Drag("nowhere", target));
    }
    EXPECT_EQ(Order(*ctrl->SortDesc()), "d b a c");
}

TEST_F(LevelCtrl, ChainCantBeClosed) {
    for (const ETreeExpand action : {TreeCollapse, TreeToggle, TreeCollapseReset}) {
        EXPECT_FALSE(view.Expand(view.At("a/b"), action));
        EXPECT_FALSE(ctrl->OnItemexpanding(view.At("a"), action));
    }
    EXPECT_TRUE(ctrl->OnItemexpanding(view.At("a"), TreeExpand));
    EXPECT_EQ(view.Items(), kChain);
}

TEST_F(LevelCtrl, FillsOnlyWhenTheChainMayHaveChanged) {
    ETabulonSortDesc& sort = *ctrl->SortDesc();
    const auto drawn = [this] { return !view.TakeLog("delete").empty(); };
    EXPECT_TRUE(sort.MoveSortLevel(0, 1, kHidden) && drawn());
    EXPECT_TRUE(sort.SetHideLevelFlags(0, kHidden) && drawn());
    EXPECT_TRUE(sort.MoveHiddenLevelsTo(0, kHidden) && !drawn());
    EXPECT_FALSE(sort.MoveSortLevel(1, 1, kHidden) || drawn());
    ctrl->AttachSortDesc(&sort);
    EXPECT_FALSE(drawn());
}

TEST_F(LevelCtrl, InitLeavesTheItems) {
    const auto former = ERef<ETabulonSortDesc>::Retain(ctrl->SortDesc());
    const ETabulonLevels others = LettersAsLevels("xy", screen);
    ctrl->Init(&others);
    EXPECT_EQ(view.Items() + view.TakeLog(), kChain);
    EXPECT_EQ(former->Notifiers().Size(), 0U);
    EXPECT_EQ(Order(*ctrl->SortDesc()), "x y");
    ctrl->AttachSortDesc(former.Get());  // with levels that Init didn't name
    EXPECT_EQ(view.TakeLog("images delete"), "delete all; images; ");
    ctrl->AttachSortDesc(nullptr);
    EXPECT_EQ(view.Items(), "");
    EXPECT_EQ(former->Notifiers().Size(), 0U);
    ctrl->Fill();
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp() || ctrl->MoveSelectedLevelDown());
}

TEST_F(LevelCtrl, ClosedHearsNothing) {
    const auto sort = ERef<ETabulonSortDesc>::Retain(ctrl->SortDesc());
    ctrl->Detach();
    EXPECT_EQ(view.Items() + view.TakeLog(), "images; delete all; ");
    EXPECT_TRUE(sort->MoveSortLevel(0, 1, kHidden));
    ctrl->Attach(&view);
    EXPECT_EQ(view.Items(), "");
    ctrl->Fill();
    EXPECT_EQ(view.Items(), "-b{-a{-c{d}}}");
    // Asked before the control, somebody closes it within the round that would have told it.
    const auto closer = MakeRef<SortTrace>();
    sort->RemNotifier(ctrl.get());
    sort->AddNotifier(closer.Get());
    sort->AddNotifier(ctrl.get());
    closer->OnCalled([this](bool asked) { asked ? void() : ctrl.reset(); });
    view.TakeLog();
    EXPECT_TRUE(sort->MoveSortLevel(0, 1, kHidden));
    EXPECT_EQ(view.TakeLog() + closer->Take(), "images; delete all; ?move !move");
    EXPECT_EQ(sort->Notifiers().Size(), 1U);
}

// --- with a tree control on one description ---

class LevelCtrlOfATree : public TreeScreen {
protected:
    LevelCtrlOfATree() { levelCtrl.Attach(&levelView); }
    EMemoryTreeView levelView{screen};
    ETabulonSelectLevelCtrl levelCtrl{screen};
};

TEST_F(LevelCtrlOfATree, ShowsItsOrderAndFillsItAgain) {
    ctrl->SetSortLevels(Keys({{1, false, 0}, {0, false, 0}}), /*refresh=*/false);
    Fill();
    levelCtrl.AttachDataTreeCtrl(nullptr);
    EXPECT_EQ(levelCtrl.SortDesc(), nullptr);
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.Items(), "-city{country}");
    levelView.Click("city");
    EXPECT_TRUE(levelCtrl.MoveSelectedLevelDown());
    EXPECT_EQ(levelView.Items(), "-country{*city}");
    Settle();
    EXPECT_EQ(view.Items(), "*-all{-DE{Berlin Bonn} -FR{Lyon Paris}}");
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
    view.Click("all/FR");
    EXPECT_TRUE(ctrl->MoveSelectedLevelDown());  // by the tree, and shown here
    EXPECT_EQ(levelView.Items(), "-city{country}");
    ctrl.reset();
    EXPECT_TRUE(levelView.Drag("city", "city/country"));
    EXPECT_EQ(levelView.Items(), "-country{city}");
}

TEST_F(LevelCtrlOfATree, FirstTreeFillsInAnyCase) {
    levelCtrl.AttachSortDesc(ctrl->SortDesc());
    EXPECT_EQ(levelView.TakeLog("delete"), "delete all; ");
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.TakeLog("delete"), "delete all; ");
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.TakeLog("delete"), "");
}

TEST_F(LevelCtrlOfATree, MoveDuringAFillCancelsItAndFillsInTheNewOrder) {
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    Gate gate;
    sales.cursor.onRecord = [&gate](int) {
        gate.Pass();
        return StatusOk;
    };
    ctrl->Fill();
    gate.WaitReached();
    sales.cursor.onCancel = [&] { gate.Open(); };
    levelView.Click("country/city/year");
    EXPECT_TRUE(levelCtrl.MoveSelectedLevelUp());
    EXPECT_EQ(levelView.Items(), "-country{*-year{city}}");
    Settle();
    EXPECT_EQ(view.Items(), "*-all{-DE{-2022{Berlin Bonn}} -FR{-2021{Lyon Paris} +2022}}");
    EXPECT_EQ(sales.cursor.depth, 0);
}

}  // namespace
}  // namespace etabulon::test
