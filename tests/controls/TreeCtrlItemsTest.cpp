#include "ControlFixture.h"
#include "support/AllocationCount.h"

#include <algorithm>

namespace etabulon::test {
namespace {

class TreeCtrlItems : public TreeScreen {};

TEST_F(TreeCtrlItems, OpenAsTheModeSays) {
    struct Row {
        EDataTreeCtrl::ExpandMode mode;
        const char* items;
    };
    static const Row kRows[] = {
        {EDataTreeCtrl::ExpandNone, "*-all{+DE +FR}"},
        {EDataTreeCtrl::ExpandAll,
         "*-all{-DE{-Berlin{2022} -Bonn{2022}} -FR{-Lyon{2021} -Paris{2021 2022}}}"},
        {EDataTreeCtrl::ExpandBranches, kAllItems}};
    for (const Row& row : kRows) {
        ctrl->SetExpand(row.mode);
        ctrl->SetSortLevels(Keys({{0, false, 0}}), /*refresh=*/false);
        ctrl->SetSortLevels(Keys({{0, false, 0}, {1, false, 0}, {2, false, 0}}), true);
        Settle();
        EXPECT_EQ(view.Items(), row.items) << row.mode;
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
    Settle();
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
    ctrl->Refresh();
    Settle();
    // Opened once is kept in step though it is closed; never opened is not.
    EXPECT_EQ(view.Items(), "*-all{+DE +FR{+Lyon +Metz +Paris}}");
}

TEST_F(TreeCtrlItems, RefuseToOpenWhatIsGone) {
    Fill();
    sales.Delete(4);
    ctrl->Refresh(Place("DE"));  // the model is ahead of the items: nobody has heard of its end
    EXPECT_FALSE(view.Open("all/DE/Berlin"));
    EXPECT_EQ(view.Items(), "*-all{-DE{+Bonn} -FR{+Lyon -Paris{2021 2022}}}");
    Settle();
}

TEST_F(TreeCtrlItems, TellTheirLevelInTheirTips) {
    Fill();
    EXPECT_EQ(view.Tip(view.At("all")), "");
    EXPECT_EQ(view.Tip(view.At("all/FR/Paris")), "city: Paris (Paris)");
    EXPECT_EQ(view.Tip(view.At("all/FR/Paris/2021")), "year: 2021 (2021)");
    EXPECT_EQ(view.Tip(view.At("all/FR"), 9), "country:");
    EXPECT_EQ(view.Tip(nullptr), "");
    sales.Append(6, "\xC3\x89", "x", 1);
    ctrl->Refresh();
    Settle();
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
    ctrl->Refresh(Place("FR", "Metz"));
    Settle();
    EXPECT_EQ(view.TakeLog("image insert"),
              "image all 13000:16x16; image all 13000:16x16; insert Nice; "
              "image all 13000:16x16; image all root; ");
    ctrl->RefreshDeletedNode(Place("FR", "Metz"));
    Settle();
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
    struct Row {
        const char* selected;
        ETabulonTag deleted;
        std::vector<int> records;
        const char* atOnce;
        const char* asked;  // the refresh
    };
    const Row rows[] = {
        {"all/FR/Paris/2022",
         Place("FR", "Paris", 2022),
         {2},
         "-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{*2021}}}",
         "[FR, Paris]"},
        {"all/FR/Lyon",
         Place("FR", "Lyon", 2021),
         {3},
         "-all{-DE{+Berlin +Bonn} -FR{*-Paris{2021 2022}}}",
         "[FR, Lyon]"},
        {"all", Place("FR", "Paris"), {1, 2}, "*-all{-DE{+Berlin +Bonn} -FR{+Lyon}}", "[FR]"}};
    for (const Row& row : rows) {
        SalesTable fresh;
        ctrl = std::make_unique<TracedTreeCtrl>(screen);
        ctrl->Attach(&view);
        ctrl->Init(&fresh.cursor, "all", nullptr);
        ctrl->Fill();
        Settle();
        ctrl->Select(row.deleted);  // opens it
        view.Click(row.selected);
        for (const int record : row.records) {
            fresh.Delete(record);
        }
        Gate gate;
        fresh.cursor.onRecord = [&gate](int) {
            gate.Pass();
            return StatusOk;
        };
        ctrl->RefreshDeletedNode(row.deleted);
        const std::string atOnce = view.Items();
        gate.Open();
        Settle();
        EXPECT_EQ(view.Items(), atOnce) << row.asked;
        EXPECT_EQ(view.Items(), row.atOnce) << row.asked;
        ctrl.reset();
    }
}

TEST_F(TreeCtrlItems, RefreshOfTheRootsRecordRefreshesAll) {
    Fill();
    for (int id = 1; id <= 5; ++id) {
        sales.Delete(id);
    }
    ctrl->RefreshDeletedNode(ETabulonTag::Null);
    EXPECT_EQ(view.Items(), "");
    Settle();
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
}

TEST_F(TreeCtrlItems, DeletingAnOpenSelectedItemSelectsNone) {
    Fill();
    view.Click("all/FR/Paris");
    sales.Delete(1);
    sales.Delete(2);
    ctrl->Refresh(Place("FR"));
    Settle();
    EXPECT_EQ(view.Items(), "-all{-DE{+Berlin +Bonn} -FR{+Lyon}}");
    EXPECT_EQ(view.SelectedItem(), nullptr);
    EXPECT_TRUE(ctrl->Selected().IsRoot());
}

struct VanishingCase {
    const char* selected;
    std::vector<int> deleted;  // records
    bool isReordered;  // new items for DE and FR, which stand elsewhere among their siblings
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
    Settle();
    ctrl->consulted.clear();
    std::for_each(c.deleted.begin(), c.deleted.end(), [this](int id) { sales.Delete(id); });
    if (c.isReordered) {
        ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/false);
    }
    ctrl->Refresh();
    Settle();
    EXPECT_EQ(view.Items(), c.items);
    screen.Advance(500);
    Settle();
    EXPECT_EQ(ctrl->consulted, c.consulted);
}

INSTANTIATE_TEST_SUITE_P(
    All, SelectionBelowWhatGoes,
    testing::Values(
        VanishingCase{"all/FR/Paris/2022",
                      {1, 2},
                      false,
                      "-all{+de -DE{+Berlin +Bonn} -FR{*+Lyon}}",
                      "[FR, Lyon]"},
        VanishingCase{
            "all/FR/Paris/2022", {1, 2, 3}, false, "-all{+de -DE{+Berlin *+Bonn}}", "[DE, Bonn]"},
        VanishingCase{"all/de", {4, 5, 6}, false, "-all{*-FR{+Lyon -Paris{2021 2022}}}", "[FR]"},
        VanishingCase{
            "all/DE/Bonn", {4, 5}, false, "-all{+de *-FR{+Lyon -Paris{2021 2022}}}", "[FR]"},
        VanishingCase{"all/DE/Bonn", {1, 2, 3, 4, 5}, false, "-all{*+de}", "[de]"},
        VanishingCase{"all/DE/Bonn", {1, 2, 3, 4, 5, 6}, false, "", "[]"},
        VanishingCase{"all/FR/Paris/2022",
                      {},
                      true,
                      "-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{2021 *2022}} +de}",
                      ""},
        VanishingCase{"all/FR/Lyon",
                      {},
                      true,
                      "-all{-DE{+Berlin +Bonn} -FR{*+Lyon -Paris{2021 2022}} +de}",
                      ""},
        VanishingCase{
            "all/FR", {}, true, "-all{-DE{+Berlin +Bonn} *-FR{+Lyon -Paris{2021 2022}} +de}", ""},
        VanishingCase{
            "all/FR/Paris/2022", {1, 2}, true, "-all{-DE{+Berlin +Bonn} +FR *+de}", "[de]"}));

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
    sales.Delete(4);
    sales.Delete(5);
    ctrl->SetCompareSource(ETabulonSortDesc::CompareOnData, /*refresh=*/false);
    ctrl->Refresh();
    Settle();
    EXPECT_EQ(view.Items(), "-all{*-FR{+Lyon -Paris{2021 2022}} +de}");
}

TEST_F(TreeCtrlItems, RootEntryOutlivesItsItem) {
    Fill();
    view.DeleteItem(view.At("all"));
    EXPECT_EQ(ctrl->Get(Place("FR")), nullptr);
    ctrl->Refresh();
    Settle();
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
    std::string seen;
    view.owner = [&](std::uint32_t number, std::intptr_t) {
        if (number == NotifyBrowseDone) {
            seen = pointer();
        }
    };
    ctrl->Refresh();
    Settle();
    // The sync has cleared what the handler had set before it.
    EXPECT_EQ(seen, "arrow");
    view.owner = [&](std::uint32_t number, std::intptr_t) {
        if (number == NotifyBrowseCancel) {
            seen = pointer();
        }
    };
    ctrl->Port()->Send({MsgFillCancel, 0, nullptr});
    EXPECT_EQ(seen, "wait");
    --startsOnly;
    EXPECT_EQ(pointer(), "arrow");
}

TEST_F(TreeCtrlItems, FollowADisplayMode) {
    ETabulonLevels levels = LevelsBy({"city/country"});
    ETabulonCursorEData cursor;
    cursor.Init(levels, sales.table.get(), /*ownsTable=*/false);
    ctrl = std::make_unique<TracedTreeCtrl>(screen);
    ctrl->Attach(&view);
    ctrl->Init(&cursor, "all", nullptr);
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
