#include "ControlFixture.h"
#include "support/SortTrace.h"

namespace etabulon::test {
namespace {

using TreeCtrlLevels = TreeScreen;

TEST_F(TreeCtrlLevels, MoveUpWithTheSelection) {
    Fill();
    view.Click("all/FR/Paris");
    view.TakeLog();
    sales.cursor.onRecord = AtRecord(1, [] { ADD_FAILURE() << "the table is walked"; });
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(view.Items(), "-all{+Berlin +Bonn +Lyon *-Paris{-FR{2021 2022}}}");
    const std::string log = view.TakeLog("delete owner timer");
    EXPECT_EQ(log.substr(0, 12), "delete all; ");
    EXPECT_EQ(log.find("owner"), std::string::npos);
    EXPECT_EQ(screen.waitCursors, 0);
    EXPECT_TRUE(view.IsRedrawOn());
    EXPECT_EQ(view.ImageOf(view.At("all")), "root");
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp());
    view.Click("all");
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp());
}

TEST_F(TreeCtrlLevels, MoveDownWithTheSelection) {
    Fill();
    view.Click("all");
    EXPECT_FALSE(ctrl->MoveSelectedLevelDown());
    view.Click("all/FR/Paris/2021");
    EXPECT_FALSE(ctrl->MoveSelectedLevelDown());  // a leaf
    view.Click("all/FR");
    EXPECT_TRUE(ctrl->MoveSelectedLevelDown());
    EXPECT_EQ(view.Items(), "-all{+Berlin +Bonn -Lyon{*-FR{2021}} -Paris{-FR{2021 2022}}}");
    view.SelectItem(nullptr);
    EXPECT_FALSE(ctrl->MoveSelectedLevelDown());
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp());
}

TEST_F(TreeCtrlLevels, MoveDownToTheFirstBranchThatHasTheSelection) {
    Fill();
    view.Click("all/FR/Paris");
    EXPECT_TRUE(ctrl->MoveSelectedLevelDown());
    EXPECT_EQ(view.Items(), "-all{-DE{-2022{Berlin Bonn}} -FR{-2021{Lyon *Paris} +2022}}");
}

TEST_F(TreeCtrlLevels, DropAlongOneBranch) {
    const Table<const char*, const char*, bool, const char*> rows = {
        {"all/FR/Paris", "all/FR", true, "-all{+Berlin +Bonn +Lyon *-Paris{-FR{2021 2022}}}"},
        {"all/FR/Paris/2021", "all/FR", true,
         "-all{*-2021{-FR{Lyon Paris}} -2022{-DE{Berlin Bonn} "
         "+FR}}"},
        {"all/FR", "all/FR/Paris", true, "-all{+Berlin +Bonn +Lyon -Paris{*-FR{2021 2022}}}"},
        {"all/FR/Paris", "all/DE", false, kAllItems},
        {"all/FR/Paris", "all/FR/Lyon", false, kAllItems},
        {"all/DE", "all/FR/Paris", false, kAllItems},
        {"all/FR", "all", false, kAllItems},
        {"all", "all/FR", false, kAllItems},
        {"all/FR", "all/FR", false, kAllItems},
        {"all/FR", "nowhere", false, kAllItems}};
    for (const auto& [from, to, taken, items] : rows) {
        ctrl->SetSortLevels(ETabulonSortDesc::SortKeyArray(sales.levels), /*refresh=*/false);
        Fill();
        view.Click("all");
        screen.Advance(1000);
        EXPECT_EQ(view.Drag(from, to), taken) << from << ">" << to;
        EXPECT_EQ(view.Items(), items) << from << ">" << to;
        screen.Advance(1000);
        WaitForRuns();
    }
}

TEST_F(TreeCtrlLevels, SettingTheSameLevelsRefillsOnlyIfAsked) {
    Fill();
    const auto keys = InOrder({1, 0});
    ctrl->SetSortLevels(keys, /*refresh=*/true);
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{+Berlin +Bonn +Lyon +Paris}");
    EXPECT_EQ(view.TakeLog("owner delete"), "delete all; owner 1569; owner 1570; ");
    ctrl->SetSortLevels(keys, /*refresh=*/true);
    ctrl->SetSortLevels(InOrder({0}), /*refresh=*/false);
    EXPECT_EQ(view.TakeLog("owner delete"), "");
    EXPECT_EQ(ctrl->SortLevels().Size(), 1U);
}

TEST_F(TreeCtrlLevels, HiddenOnesGoAndComeBack) {
    Fill();
    PUniqueT<unsigned int> cityAndYear;
    cityAndYear.Add(1);
    cityAndYear.Add(2);
    EXPECT_TRUE(ctrl->SetHideLevelFlags(cityAndYear, kInTree, /*refresh=*/true));
    WaitForRuns();
    // What was opened says so, though it is a leaf.
    EXPECT_EQ(view.Items(), "*-all{-DE -FR}");
    EXPECT_FALSE(view.ItemHasChildren(view.At("all/FR")));
    EXPECT_FALSE(ctrl->SetHideLevelFlags(1, kInTree, /*refresh=*/true));
    EXPECT_TRUE(ctrl->SetHideLevelFlags(1, 0, /*refresh=*/true));
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{-DE{Berlin Bonn} -FR{Lyon Paris}}");
    EXPECT_TRUE(view.ItemHasChildren(view.At("all/FR")));
    EXPECT_TRUE(ctrl->SetHideLevelFlags(2, 0, /*refresh=*/false));
    EXPECT_EQ(view.Items(), "");
}

TEST_F(TreeCtrlLevels, HiddenOnesFollowTheSelectionIfAttached) {
    ctrl->SetHideLevelFlags(0, kInTree, /*refresh=*/false);
    Fill();
    const auto order = [this] {
        std::string text;
        for (unsigned int place = 0; place < ctrl->SortLevels().Size(); ++place) {
            text += std::to_string(ctrl->SortLevels()[place].Level());
        }
        return text;
    };
    EXPECT_EQ(order(), "120");
    view.Click("all/Paris");
    EXPECT_FALSE(ctrl->AreHiddenLevelsAttachedToCurrent());
    ctrl->SetAttachHiddenLevelsToCurrent(/*attach=*/true, /*refresh=*/true);
    EXPECT_EQ(order(), "102");
    WaitForRuns();
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
    ctrl->SetAttachHiddenLevelsToCurrent(/*attach=*/true, /*refresh=*/true);
    EXPECT_EQ(view.TakeLog("owner"), "");
    view.DeleteItem(view.SelectedItem());
    ASSERT_EQ(view.SelectedItem(), nullptr);
    ctrl->Refresh(ETabulonTag::Null);
    EXPECT_EQ(order(), "120") << "behind all levels, where none is selected";
    WaitForRuns();
}

TEST_F(TreeCtrlLevels, MovedByARefreshLeaveItsTagAlone) {
    ctrl->SetHideLevelFlags(0, kInTree, /*refresh=*/false);
    Fill();
    view.Click("all/Paris");
    ctrl->SetAttachHiddenLevelsToCurrent(/*attach=*/true, /*refresh=*/false);
    ctrl->Refresh(ctrl->Tree()->Root()->Get(3U)->Tag());  // a node that goes with the old order
    WaitForRuns();
    EXPECT_EQ(view.Items(), "-all{+Berlin +Bonn +Lyon *-Paris{2021 2022}}");
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
}

TEST_F(TreeCtrlLevels, ComparedOtherwiseStandInAnotherOrder) {
    sales.Append(6, "de", "Ulm", 2020);
    Fill();
    EXPECT_EQ(view.Items(), "*-all{+de -DE{+Berlin +Bonn} -FR{+Lyon -Paris{2021 2022}}}");
    view.Click("all/FR/Paris/2022");
    ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/true);
    WaitForRuns();
    EXPECT_EQ(view.Items(), "-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{2021 *2022}} +de}");
    EXPECT_EQ(view.TakeLog("owner delete"), "delete all; owner 1569; owner 1570; ");
    ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/true);
    EXPECT_EQ(ctrl->CompareSource(), ETabulonSortDesc::CompareOnData);
    EXPECT_EQ(view.TakeLog("owner delete"), "");
}

TEST_F(TreeCtrlLevels, ChangedFromOutsideFillAgain) {
    Fill();
    ctrl->SortDesc()->MoveSortLevel(0, 1, kInTree);
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{+Berlin +Bonn +Lyon -Paris{-FR{2021 2022}}}");
    ctrl->SortDesc()->SetHideLevelFlags(0, kInTree);
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{+Berlin +Bonn +Lyon -Paris{2021 2022}}");
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; owner 1569; owner 1570; ");
    ctrl->SortDesc()->MoveHiddenLevelsTo(0, kInTree);
    ctrl->SortDesc()->MoveSortLevel(0, 0, kInTree);
    EXPECT_EQ(view.TakeLog("owner"), "");
    EXPECT_EQ(sales.cursor.depth, 0);
}

TEST_F(TreeCtrlLevels, RefusedChangeGivesBackOnlyTheLocksTaken) {
    Fill();
    const auto refuser = MakeRef<SortTrace>();
    for (const bool askedFirst : {false, true}) {
        ctrl->SortDesc()->AddNotifier(refuser.Get());
        refuser->RefuseAt(1);
        if (askedFirst) {  // the control is told of the end of what it wasn't asked
            ctrl->SortDesc()->RemNotifier(ctrl.get());
            ctrl->SortDesc()->AddNotifier(ctrl.get());
        }
        EXPECT_FALSE(ctrl->SortDesc()->MoveSortLevel(0, 1, kInTree));
        EXPECT_EQ(sales.cursor.depth, 0);
        ctrl->SortDesc()->RemNotifier(refuser.Get());
    }
    view.Click("all/FR/Paris");
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(sales.cursor.depth, 0);
}

TEST_F(TreeCtrlLevels, NewNameOfTheRootBelongsBeforeAFill) {
    Fill();
    ctrl->SetRootParams("Sales", screen.NewIcon("sales"));
    ctrl->Fill();
    WaitForRuns();
    EXPECT_EQ(view.Items().substr(0, 6), "*-all{");  // the root item is as it was inserted
    EXPECT_EQ(view.ImageOf(view.At("all")), "sales");
}

// A tag is its own parent where a level stands twice.
TEST_F(TreeCtrlLevels, StandingTwiceLetNoClimbGoOnForEver) {
    ctrl->SetSortLevels(InOrder({0, 0}), /*refresh=*/true);
    WaitForRuns();
    const std::string items = view.Items();
    ctrl->Select(Place("ES"));
    Refresh(Place("IT"));
    EXPECT_EQ(view.Items(), items);
}

}  // namespace
}  // namespace etabulon::test
