#include "ControlFixture.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

using TreeCtrlItems = TreeScreen;

TEST_F(TreeCtrlItems, OpenAsTheModeSays) {
    const Table<EDataTreeCtrl::ExpandMode, const char*> rows = {
        {EDataTreeCtrl::ExpandNone, "*-all{+DE +FR}"},
        {EDataTreeCtrl::ExpandAll,
         "*-all{-DE{-Berlin{2022} -Bonn{2022}} -FR{-Lyon{2021} -Paris{2021 2022}}}"},
        {EDataTreeCtrl::ExpandBranches, kAllItems}};
    for (const auto& [mode, items] : rows) {
        ctrl->SetExpand(mode);
        ctrl->SetSortLevels(InOrder({0}), /*refresh=*/false);
        ctrl->SetSortLevels(InOrder({0, 1, 2}), /*refresh=*/true);
        WaitForRuns();
        EXPECT_EQ(view.Items(), items) << mode;
    }
}

TEST_F(TreeCtrlItems, StayClosedInATreeOfAHundredLeaves) {
    for (int year = 0; year < 94; ++year) {
        sales.Append(100 + year, "FR", "Brest", 1900 + year);
    }
    Fill();
    EXPECT_EQ(view.Items().substr(0, 26), "*-all{-DE{+Berlin +Bonn} -");  // 99 leaves
    sales.Append(300, "FR", "Brest", 2020);
    view.DeleteItem(kTreeRoot);
    ctrl->Fill();
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{+DE +FR}");
}

TEST_F(TreeCtrlItems, CatchUpWhenTheyOpen) {
    ctrl->SetExpand(EDataTreeCtrl::ExpandNone);
    Fill();
    EXPECT_TRUE(view.Open("all/FR"));
    EXPECT_EQ(view.Items(), "*-all{+DE -FR{+Lyon +Paris}}");
    EXPECT_TRUE(view.Fold("all/FR"));
    sales.Append(6, "FR", "Metz", 2020);
    sales.Append(7, "DE", "Ulm", 2020);
    Refresh();
    // Opened once is kept in step though it is closed; never opened is not.
    EXPECT_EQ(view.Items(), "*-all{+DE +FR{+Lyon +Metz +Paris}}");
}

TEST_F(TreeCtrlItems, RefuseToOpenWhatIsGone) {
    Fill();
    sales.Delete({4});
    ctrl->Refresh(Place("DE"));  // the model is ahead of the items: nobody has heard of its end
    EXPECT_FALSE(view.Open("all/DE/Berlin"));
    EXPECT_EQ(view.Items(), "*-all{-DE{+Bonn} -FR{+Lyon -Paris{2021 2022}}}");
    WaitForRuns();
}

TEST_F(TreeCtrlItems, TellTheirLevelInTheirTips) {
    Fill();
    EXPECT_EQ(view.Tip(view.At("all")), "");
    EXPECT_EQ(view.Tip(view.At("all/FR/Paris")), "city: Paris (Paris)");
    EXPECT_EQ(view.Tip(view.At("all/FR/Paris/2021")), "year: 2021 (2021)");
    EXPECT_EQ(view.Tip(view.At("all/FR"), 9), "country:");
    EXPECT_EQ(view.Tip(nullptr), "");
    sales.Append(6, "\xC3\x89", "x", 1);
    Refresh();
    EXPECT_EQ(view.Tip(view.At("all/\xC3\x89"), 11), "country: ");  // no half of a letter
}

TEST_F(TreeCtrlItems, SelectOpensTheBranchFromTheTop) {
    ctrl->SetExpand(EDataTreeCtrl::ExpandNone);
    Fill();
    ctrl->Select(Place("FR", "Paris", 2022));
    EXPECT_EQ(view.Items(), "-all{+DE -FR{+Lyon -Paris{2021 *2022}}}");
    EXPECT_EQ(view.TakeLog("open select show"), "open FR; open Paris; select 2022; show 2022; ");
    EXPECT_EQ(ctrl->Selected(), Place("FR", "Paris", 2022));
    ctrl->Select(ETabulonTag::Null);
    EXPECT_TRUE(ctrl->Selected().IsRoot());
}

TEST_F(TreeCtrlItems, SelectOfAnUnknownTag) {
    Fill();
    view.Click("all/FR");
    ctrl->Select(Place("FR", "Metz"));
    EXPECT_EQ(ctrl->Selected(), Place("FR"));
    EXPECT_EQ(ctrl->Get(Place("FR", "Metz")), nullptr);
    // Known without an item: what comes of a refresh shows in France alone.
    sales.Append(6, "FR", "Nice", 2020);
    sales.Append(7, "ES", "Vigo", 2020);
    Refresh(Place("FR", "Metz"));
    EXPECT_EQ(view.TakeLog("image insert"),
              "image all 13000:16x16; image all 13000:16x16; insert Nice; "
              "image all 13000:16x16; image all root; ");
    ctrl->RefreshDeletedNode(Place("FR", "Metz"));
    WaitForRuns();
    EXPECT_EQ(view.Items(), "-all{-DE{+Berlin +Bonn} *-FR{+Lyon +Nice -Paris{2021 2022}}}");
}

TEST_F(TreeCtrlItems, SelectsNothingInAnEmptyView) {
    EXPECT_TRUE(ctrl->Selected().IsRoot());
    ctrl->Select(Place("FR"));
    EXPECT_EQ(ctrl->SelectItem(nullptr), 0);
    EXPECT_EQ(view.Items(), "");
    Fill();
    EXPECT_EQ(view.Items(), kAllItems);
}

TEST_F(TreeCtrlItems, DeletedOneGoesAtOnceWithTheBranchThatItLeavesEmpty) {
    const Table<const char*, ETabulonTag, std::vector<int>, const char*> rows = {
        {"all/FR/Paris/2022", Place("FR", "Paris", 2022), std::vector{2},
         "-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{*2021}}}"},
        {"all/FR/Lyon", Place("FR", "Lyon", 2021), std::vector{3},
         "-all{-DE{+Berlin +Bonn} -FR{*-Paris{2021 2022}}}"},
        {"all", Place("FR", "Paris"), std::vector{1, 2}, "*-all{-DE{+Berlin +Bonn} -FR{+Lyon}}"}};
    for (const auto& [selected, deleted, records, atOnce] : rows) {
        SalesTable fresh;
        Reopen(fresh.cursor);
        ctrl->Fill();
        WaitForRuns();
        ctrl->Select(deleted);  // opens it
        view.Click(selected);
        fresh.Delete(records);
        Gate gate;
        fresh.cursor.HoldAt(gate);
        ctrl->RefreshDeletedNode(deleted);
        EXPECT_EQ(view.Items(), atOnce);
        gate.Open();
        WaitForRuns();
        EXPECT_EQ(view.Items(), atOnce);
        ctrl.reset();
    }
}

TEST_F(TreeCtrlItems, RefreshOfTheRootsRecordRefreshesAll) {
    Fill();
    sales.Delete({1, 2, 3, 4, 5});
    ctrl->RefreshDeletedNode(ETabulonTag::Null);
    EXPECT_EQ(view.Items(), "");
    WaitForRuns();
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
}

TEST_F(TreeCtrlItems, DeletingAnOpenSelectedItemSelectsNone) {
    Fill();
    view.Click("all/FR/Paris");
    sales.Delete({1, 2});
    Refresh(Place("FR"));
    EXPECT_EQ(view.Items(), "-all{-DE{+Berlin +Bonn} -FR{+Lyon}}");
    EXPECT_EQ(view.SelectedItem(), nullptr);
    EXPECT_TRUE(ctrl->Selected().IsRoot());
}

struct VanishingCase {
    const char* selected;
    std::string deleted;  // records
    bool isReordered;     // new items for DE and FR, which stand elsewhere among their siblings
    const char* items;
    const char* consulted;
};

class SelectionBelowWhatGoes : public TreeScreen,
                               public testing::WithParamInterface<VanishingCase> {};

TEST_P(SelectionBelowWhatGoes, PassesToANeighbourOrStaysWithItsTag) {
    const VanishingCase& c = GetParam();
    sales.Append(6, "de", "Ulm", 2020);
    Fill();
    view.Click(c.selected);
    screen.Advance(500);
    WaitForRuns();
    ctrl->consulted.clear();
    for (const char id : c.deleted) {
        sales.Delete({id - '0'});
    }
    if (c.isReordered) {
        ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/false);
    }
    Refresh();
    EXPECT_EQ(view.Items(), c.items);
    screen.Advance(500);
    WaitForRuns();
    EXPECT_EQ(ctrl->consulted, c.consulted);
}

const VanishingCase kVanishing[] = {
    {"all/FR/Paris/2022", "12", false, "-all{+de -DE{+Berlin +Bonn} -FR{*+Lyon}}", "[FR, Lyon]"},
    {"all/FR/Paris/2022", "123", false, "-all{+de -DE{+Berlin *+Bonn}}", "[DE, Bonn]"},
    {"all/de", "456", false, "-all{*-FR{+Lyon -Paris{2021 2022}}}", "[FR]"},
    {"all/DE/Bonn", "45", false, "-all{+de *-FR{+Lyon -Paris{2021 2022}}}", "[FR]"},
    {"all/DE/Bonn", "12345", false, "-all{*+de}", "[de]"},
    {"all/DE/Bonn", "123456", false, "", "[]"},
    {"all/FR/Paris/2022", "", true, "-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{2021 *2022}} +de}",
     ""},
    {"all/FR/Lyon", "", true, "-all{-DE{+Berlin +Bonn} -FR{*+Lyon -Paris{2021 2022}} +de}", ""},
    {"all/FR", "", true, "-all{-DE{+Berlin +Bonn} *-FR{+Lyon -Paris{2021 2022}} +de}", ""},
    {"all/FR/Paris/2022", "12", true, "-all{-DE{+Berlin +Bonn} +FR *+de}", "[de]"}};
INSTANTIATE_TEST_SUITE_P(All, SelectionBelowWhatGoes, testing::ValuesIn(kVanishing));

TEST_F(TreeCtrlItems, GoWithoutTakingMemory) {
    Fill();
    view.SelectItem(nullptr);
    const AllocationCount count;
    view.ETreeViewItems::DeleteItem(kTreeRoot);  // as destructors do
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(view.ItemCount(), 0U);
}

TEST_F(TreeCtrlItems, HeirThatMovesKeepsTheSelection) {
    sales.Append(6, "de", "Ulm", 2020);
    Fill();
    view.Expand(view.At("all/DE"), TreeCollapse);
    view.Click("all/DE");
    sales.Delete({4, 5});
    ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/false);
    Refresh();
    EXPECT_EQ(view.Items(), "-all{*-FR{+Lyon -Paris{2021 2022}} +de}");
}

TEST_F(TreeCtrlItems, RootEntryOutlivesItsItem) {
    Fill();
    view.DeleteItem(view.At("all"));
    EXPECT_EQ(ctrl->Get(Place("FR")), nullptr);
    Refresh();
    EXPECT_EQ(view.Items(), kAllItems);
    view.DeleteItem(view.At("all"));
    ctrl->Select(ETabulonTag::Null);  // has an entry, and no item any more
    EXPECT_EQ(view.Items(), "");
}

TEST_F(TreeCtrlItems, InUpdateIsAFlag) {
    Fill();
    const auto pointer = [this] {
        static_cast<void>(ctrl->OnSetCursor());
        return screen.NameOf(screen.Pointer());
    };
    std::string seen;  // at the last message
    view.owner = [&](std::uint32_t, std::intptr_t) { seen = pointer(); };
    Refresh();
    // The sync has cleared what the handler had set before it.
    EXPECT_EQ(seen, "arrow");
    ctrl->Port()->Send({MsgFillCancel, 0, nullptr});
    EXPECT_EQ(seen, "wait");
    --startsOnly;
    EXPECT_EQ(pointer(), "arrow");
}

TEST_F(TreeCtrlItems, FollowADisplayMode) {
    ETabulonLevels levels = LevelsBy({"city/country"});
    ETabulonCursorEData cursor;
    cursor.Init(levels, sales.table.get(), /*ownsTable=*/false);
    Reopen(cursor);
    Fill();
    EXPECT_EQ(view.Items(), "*-all{DE DE FR FR}");
    view.Click("all/FR");
    ctrl->SetDisplay(EDataTreeCtrl::DisplayRawValue, /*refresh=*/false);
    EXPECT_EQ(view.Items(), "-all{DE DE *FR FR}");
    ctrl->SetDisplay(EDataTreeCtrl::DisplayRawValue, /*refresh=*/true);
    EXPECT_EQ(view.Items(), "-all{Bonn Berlin *Lyon Paris}");
    EXPECT_EQ(ctrl->Display(), EDataTreeCtrl::DisplayRawValue);
    EXPECT_TRUE(view.IsRedrawOn());
    ctrl.reset();
}

}  // namespace
}  // namespace etabulon::test
