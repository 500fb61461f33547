#include "ControlFixture.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "support/SortTrace.h"

#include <stdexcept>

namespace etabulon::test {
namespace {

constexpr auto kFailure = static_cast<CursorStatus>(77);

using TreeCtrlRuns = TreeScreen;

TEST_F(TreeCtrlRuns, FillShowsTheTreeAndTellsTheOwner) {
    ctrl->Fill();
    EXPECT_EQ(view.TakeLog(), "images; timer 2 500; invalidate; update; owner 1569; invalidate; ");
    WaitForRuns();
    EXPECT_EQ(view.Items(), kAllItems);
    EXPECT_EQ(ctrl->consulted, "[]");
    EXPECT_EQ(
        view.TakeLog("owner timer select redraw"),
        "redraw off; redraw off; redraw off; redraw on; redraw off; redraw off; redraw on; "
        "redraw on; redraw on; select all; timer 1 200; redraw on; owner 1570; timer 2 off; ");
}

TEST_F(TreeCtrlRuns, FillOfAnEmptyTableShowsNothing) {
    sales.Delete({1, 2, 3, 4, 5});
    ctrl->Fill();
    WaitForRuns();
    EXPECT_EQ(view.Items(), "");
    EXPECT_TRUE(ctrl->Selected().IsRoot());
    EXPECT_EQ(view.TakeLog("owner insert"), "owner 1569; owner 1570; ");
}

TEST_F(TreeCtrlRuns, EachMessageEndsAsItsNumberSays) {
    const Table<std::uint32_t, int, const char*, bool> rows = {
        {MsgBrowseStart, 1, "owner 1569; ", true},
        {MsgFillDone, -1, "owner 1570; ", true},
        {MsgRefreshDone, -1, "owner 1570; ", true},
        {MsgFillCancel, -1, "delete all; owner 1571; ", false},
        {MsgRefreshCancel, -1, "owner 1571; ", true},
        {MsgFillError, -1, "delete all; owner 1572 77; ", false},
        {MsgRefreshError, -1, "owner 1572 77; ", true},
        {1128, 0, "", true}};
    for (const auto& [number, startsMoreThanEnds, log, keepsItems] : rows) {
        Fill();
        ctrl->Port()->Post({number, 77, nullptr});
        screen.Pump();
        EXPECT_EQ(view.TakeLog("owner delete insert"), log) << number;
        EXPECT_EQ(view.Items(), keepsItems ? kAllItems : "") << number;
        startsOnly += startsMoreThanEnds;
    }
}

TEST_F(TreeCtrlRuns, RefreshShowsWhatIsNewAndWhatIsGone) {
    Fill();
    sales.Delete({1});
    sales.Append(6, "FR", "Metz", 2020);
    sales.Append(7, "ES", "Vigo", 2020);
    Refresh(Place("FR"));
    EXPECT_EQ(view.Items(), "*-all{-DE{+Berlin +Bonn} -FR{+Lyon +Metz -Paris{2022}}}");
    EXPECT_EQ(view.TakeLog("insert delete"), "insert Metz; delete 2021; ");
    Refresh();
    EXPECT_EQ(view.TakeLog("insert delete invalidate"),
              "invalidate all; invalidate; invalidate all; invalidate all; insert ES; "
              "invalidate all; invalidate all; invalidate all; ");
}

TEST_F(TreeCtrlRuns, FailedFillDeletesAllAndFailedRefreshNothing) {
    Fill();
    sales.cursor.onRecord = EndAt(3, kFailure);
    ctrl->RefreshCurrentNode();
    WaitForRuns();
    EXPECT_EQ(view.Items(), kAllItems);
    ctrl->Fill();
    WaitForRuns();
    EXPECT_EQ(view.Items(), "");
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1572 77; owner 1569; owner 1572 77; ");
}

TEST_F(TreeCtrlRuns, NewerRunCancelsAndBothAreHeardInOrder) {
    Gate gate;
    sales.cursor.HoldAt(gate);
    ctrl->Fill();
    gate.WaitReached();
    sales.cursor.onCancel = [&gate] { gate.Open(); };
    ctrl->Fill();
    WaitForRuns();
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1569; owner 1571; owner 1570; ");
    EXPECT_EQ(view.Items(), kAllItems);
}

TEST_F(TreeCtrlRuns, RefreshedAboveItsGoneRecord) {
    Fill();
    sales.Delete({1, 2});
    sales.Append(6, "DE", "Ulm", 2021);
    // The walk climbs from Paris to France. The message says Paris, which still has an item: the
    // sync climbs to France as well.
    Refresh(Place("FR", "Paris"));
    EXPECT_EQ(view.Items(), "*-all{-DE{+Berlin +Bonn} -FR{+Lyon}}");
    // Metz has neither node nor item: the walk is France's, and the sync is the root's.
    sales.Append(7, "FR", "Nice", 2021);
    Refresh(Place("FR", "Metz"));
    EXPECT_EQ(view.Items(), "*-all{-DE{+Berlin +Bonn} -FR{+Lyon +Nice}}");
}

TEST_F(TreeCtrlRuns, AskedForInALockedSectionComeAsMessages) {
    Fill();
    const auto asker = MakeRef<SortTrace>();
    asker->OnCalled([this](bool asked) { asked ? ctrl->Fill() : void(); });
    ctrl->SortDesc()->AddNotifier(asker.Get());
    ctrl->SetHideLevelFlags(1, kInTree, /*refresh=*/false);
    EXPECT_EQ(view.TakeLog("owner"), "");
    ctrl->SortDesc()->RemNotifier(asker.Get());
    screen.Pump();
    WaitForRuns();
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
    EXPECT_EQ(view.Items(), "*-all{+DE -FR{2021 2022}}");
}

TEST_F(TreeCtrlRuns, AreQueuedWhereTheirThreadHoldsTheCursor) {
    Fill();
    {
        const ECursorExclusive exclusive(sales.cursor);
        ctrl->Refresh(Place("FR"));
        ctrl->SetSortLevels(InOrder({1}), /*refresh=*/true);
        EXPECT_EQ(view.TakeLog("owner"), "");
    }
    screen.Pump();
    screen.Pump();
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{Berlin Bonn Lyon Paris}");
}

TEST_F(TreeCtrlRuns, DestroyedControlWaitsForOneStepAndHearsNothing) {
    Gate gate;
    int records = 0;
    sales.cursor.onRecord = [&](int record) {
        records = record;
        gate.Pass();
        return StatusOk;
    };
    ctrl->Fill();
    gate.WaitReached();
    sales.cursor.onCancel = [&gate] { gate.Open(); };
    const std::shared_ptr<EMessagePort> port = ctrl->Port();
    view.TakeLog();
    ctrl.reset();
    EXPECT_EQ(records, 1);
    EXPECT_TRUE(port->IsClosed());
    EXPECT_EQ(screen.PumpWaiting(), 0);
    screen.Advance(5000);
    EXPECT_EQ(view.TakeLog("owner"), "");
}

TEST_F(TreeCtrlRuns, ViewThatGoesFirstTakesTheItemsAndIsNotAsked) {
    auto other = std::make_unique<EMemoryTreeView>(screen);
    Fill();
    ctrl->Attach(other.get());
    EXPECT_EQ(view.Items(), "");
    ctrl->Fill();
    screen.PumpUntil([&other] { return other->Notified(NotifyBrowseDone) > 0; });
    EXPECT_EQ(other->Items(), kAllItems);
    other.reset();
    screen.Advance(1000);
    EXPECT_EQ(ctrl->Get(Place("FR")), nullptr);
    ctrl->Attach(&view);
    Fill();
    EXPECT_EQ(view.Items(), kAllItems);
}

TEST_F(TreeCtrlRuns, WhoseStartIsThrownBackLeaveTheControlIdle) {
    Fill();
    view.owner = [](std::uint32_t, std::intptr_t) { throw std::runtime_error("broken"); };
    EXPECT_THROW(ctrl->Refresh(), std::runtime_error);
    view.owner = nullptr;
    startsOnly = 1;
    view.Click("all/FR");
    screen.Advance(200);  // not while items are updated
    EXPECT_EQ(ctrl->consulted, "[FR]");
    WaitForRuns();
}

using TreeCtrlTimer = TreeScreen;

TEST_F(TreeCtrlTimer, RefreshesTheSelectionAfterAPause) {
    Fill();
    view.Click("all/FR");
    screen.Advance(150);
    view.Click("all/DE");
    screen.Advance(199);
    EXPECT_EQ(view.TakeLog("owner timer"), "timer 1 200; timer 1 200; ");
    screen.Advance(1);
    WaitForRuns();
    EXPECT_EQ(view.TakeLog("owner timer"),
              "timer 1 off; timer 2 500; owner 1569; owner 1570; timer 2 off; ");
    EXPECT_EQ(ctrl->consulted, "[DE]");
}

TEST_F(TreeCtrlTimer, SelectionThatComesBackInTimeIsNoNews) {
    Fill();
    view.Click("all/FR");
    screen.Advance(500);
    WaitForRuns();
    view.TakeLog();
    view.Click("all/DE");
    view.Click("all/FR");
    screen.Advance(500);
    EXPECT_EQ(view.TakeLog("owner timer"), "timer 1 200; timer 1 200; timer 1 off; ");
    EXPECT_EQ(ctrl->consulted, "[FR]");
}

TEST_F(TreeCtrlTimer, ConsultedAgainWithoutRefresh) {
    Fill();
    ctrl->SetRefreshOnSelChange(false);
    view.Click("all/FR");
    screen.Advance(200);
    view.Click("all");
    view.Click("all/FR");
    screen.Advance(200);
    EXPECT_EQ(ctrl->consulted, "[FR][FR]");
    EXPECT_EQ(view.TakeLog("owner"), "");
}

TEST_F(TreeCtrlTimer, WaitsWhileItemsAreUpdated) {
    Fill();
    view.owner = [this](std::uint32_t number, std::intptr_t) {
        if (number == NotifyBrowseStart) {
            view.Click("all/FR");
            screen.Advance(450);  // two ticks within the handler
        }
    };
    ctrl->Refresh();
    EXPECT_EQ(ctrl->consulted, "");
    WaitForRuns();
    screen.Advance(200);
    EXPECT_EQ(ctrl->consulted, "[FR]");
    view.owner = nullptr;
    WaitForRuns();
}

}  // namespace
}  // namespace etabulon::test
