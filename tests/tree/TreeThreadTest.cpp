#include "tree/ThreadFixture.h"

#include <new>
#include <stdexcept>

namespace etabulon::test {
namespace {
const ETabulonTag& France() {
    static const ETabulonTag tag = Tag({{0, "FR"}});
    return tag;
}

// ----------------------------------------------------------------------------------------- one run

struct Ending {
    RecordAction onRecord;
    std::string fill;
    std::string refresh;
};

TEST(RunThatEnds, ReportsExactlyOnce) {
    const Ending endings[] = {
        {nullptr, "fill done", "refresh done"},
        {[](int) { return StatusEnd; }, "fill done", "refresh done"},  // no records
        {EndAt(2, StatusCancelled), "fill cancel", "refresh cancel"},
        {EndAt(1, static_cast<CursorStatus>(DataConnectionLost)), "fill error(1003)",
         "refresh error(1003)"},
        {[](int) -> CursorStatus { throw std::bad_alloc(); }, "fill error(1098)",
         "refresh error(1098)"},
        {[](int) -> CursorStatus { throw std::runtime_error("broken"); }, "fill error(1099)",
         "refresh error(1099)"},
        {[](int) -> CursorStatus { throw 5; }, "fill error(1099)", "refresh error(1099)"}};
    for (const Ending& ending : endings) {
        ThreadedSales sales;
        ThreadTrace& thread = sales.thread;
        const std::int64_t before = ECountedUnknown::LiveObjects();
        sales.hooked.onRecord = ending.onRecord;
        thread.Fill();
        EXPECT_EQ(thread.Await(), "start[] " + ending.fill);
        thread.Refresh();
        EXPECT_EQ(thread.Await(), "start[] " + ending.refresh + "[]");
        thread.Refresh(France());
        EXPECT_EQ(thread.Await(), "start[FR] " + ending.refresh + "[FR]");
        EXPECT_FALSE(thread.IsBusy());
        thread.Stop();
        EXPECT_EQ(thread.Take(), "");
        sales.tree.Root()->Reset();
        EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
    }
}

struct TreeThread : testing::Test, ThreadedSales {
    TreeThread() {
        hooked.onCancel = [this] { ++cancels; };
    }
    /// Holds the walk at its second record, until the cursor is cancelled.
    void HoldUntilCancelled(Gate& gate) {
        hooked.onCancel = [this, &gate] {
            if (++cancels > 2) {  // those of the run itself
                gate.Open();
            }
        };
        hooked.HoldAt(gate, 2);
    }
    /// Holds the run before its walk: the first lock is its own, the second the tree's.
    void HoldAtSecondLock(Gate& gate) {
        hooked.onLock = [this, &gate](int) {
            if (++locks == 2) {
                gate.Pass();
            }
        };
    }
    std::atomic<int> cancels{0};
    std::atomic<int> locks{0};
};

TEST_F(TreeThread, FillsAndRefreshesTheTreesNodes) {
    thread.Fill();
    EXPECT_EQ(thread.Await(), "start[] fill done");
    EXPECT_EQ(TreeNow(), "root{-{Berlin} DE{Berlin} FR{- Paris}}");
    Delete({1, 2, 5});
    thread.Refresh(France());
    EXPECT_EQ(thread.Await(), "start[FR] refresh done[FR]");
    EXPECT_EQ(TreeNow(), "root{-{Berlin} DE{Berlin} FR{-}}");
    // What isn't there is looked for above.
    thread.Refresh(Tag({{0, "IT"}, {1, "Roma"}}));
    EXPECT_EQ(thread.Await(), "start[IT, Roma] refresh done[IT, Roma]");
    EXPECT_EQ(TreeNow(), "root{DE{Berlin} FR{-}}");
}

TEST_F(TreeThread, HoldsTheCursorWhenStartReturns) {
    Gate gate;
    hooked.HoldAt(gate, 2);
    thread.Fill();
    EXPECT_TRUE(thread.IsBusy());
    EXPECT_EQ(thread.Take(), "start[]");
    gate.Open();
    hooked.CursorLock(true);  // not before the end of the run
    EXPECT_EQ(thread.Take(), "fill done");
    EXPECT_FALSE(thread.IsBusy());
    hooked.CursorUnlock();
}

TEST_F(TreeThread, ReportsUnderTheLockAndAsIdle) {
    std::string seen;
    thread.onReport = [&] {
        seen = std::to_string(hooked.depth) + (thread.IsBusy() ? " busy" : " idle");
    };
    thread.Fill();
    thread.Stop();
    EXPECT_EQ(seen, "1 idle");
    EXPECT_EQ(hooked.depth, 0);
}

// ---------------------------------------------------------------------------------------- two runs

TEST_F(TreeThread, SecondFillCancelsTheFirst) {
    Gate gate;
    HoldUntilCancelled(gate);
    thread.Fill();
    gate.WaitReached();
    thread.Fill();
    EXPECT_EQ(thread.Await(), "start[] start[] fill cancel fill done");
    EXPECT_EQ(TreeNow(), "root{-{Berlin} DE{Berlin} FR{- Paris}}");
}

TEST_F(TreeThread, OverlappingRunsLookIdleAfterTheFirst) {
    Gate first;
    HoldUntilCancelled(first);
    thread.Fill();
    first.WaitReached();
    Gate second;
    // On the first worker, before the second one has the lock.
    thread.onReport = [&] { hooked.HoldAt(second, 2); };
    thread.Refresh();
    second.WaitReached();
    EXPECT_FALSE(thread.IsBusy());
    EXPECT_EQ(thread.Take(), "start[] start[] fill cancel");
    thread.onReport = nullptr;
    second.Open();
    EXPECT_EQ(thread.Await(), "refresh done[]");
}

TEST_F(TreeThread, RunStartedAtTheToldStartOfAnotherIsCancelled) {
    Gate gate;
    HoldAtSecondLock(gate);
    hooked.onCancel = [&] {
        if (++cancels > 2) {
            gate.Open();
        }
    };
    thread.onStart = [&] {
        thread.onStart = nullptr;
        thread.Fill();
        gate.WaitReached();
    };
    thread.Refresh();
    EXPECT_EQ(thread.Await(), "start[] start[] fill cancel refresh done[]");
}

// ------------------------------------------------------------------------------------ cancel, stop

TEST_F(TreeThread, CancelEndsTheRunThatIsOutAndNoOther) {
    thread.Cancel();
    EXPECT_EQ(cancels, 0);
    Gate gate;
    HoldUntilCancelled(gate);
    thread.Fill();
    gate.WaitReached();
    thread.Cancel();
    EXPECT_EQ(thread.Await(), "start[] fill cancel");
    const int before = cancels;
    thread.Cancel();
    EXPECT_EQ(cancels, before);
}

TEST_F(TreeThread, CancelReachesAWalkThatHasNotBegun) {
    ASSERT_EQ(tree.Fill(), StatusOk);
    Gate gate;
    HoldAtSecondLock(gate);
    thread.Fill();
    gate.WaitReached();
    thread.Cancel();
    gate.Open();
    EXPECT_EQ(thread.Await(), "start[] fill cancel");
    EXPECT_EQ(TreeNow(), "root");
}

TEST_F(TreeThread, StopWaitsForOneStepAndNothingIsReportedAfterwards) {
    Gate gate;
    int records = 0;
    HoldUntilCancelled(gate);
    const auto hold = hooked.onRecord;
    hooked.onRecord = [&](int record) {
        records = record;
        return hold(record);
    };
    thread.Fill();
    gate.WaitReached();
    thread.Stop();
    EXPECT_EQ(thread.Take(), "start[] fill cancel");
    EXPECT_EQ(records, 2);
    thread.Stop();
    thread.Refresh();
    EXPECT_EQ(thread.Await(), "start[] refresh done[]");
}

// ---------------------------------------------------------------------------------------- failures

TEST_F(TreeThread, StartWithoutAThreadStaysBusy) {
    thread.hasNoThreads = true;
    thread.Fill();
    EXPECT_EQ(thread.Take(), "start[]");
    EXPECT_TRUE(thread.IsBusy());
    thread.hasNoThreads = false;
    thread.Refresh();
    EXPECT_EQ(thread.Await(), "start[] refresh done[]");
    EXPECT_FALSE(thread.IsBusy());
}

TEST_F(TreeThread, ReportThatThrowsIsTheOnlyOneAndFreesTheCursor) {
    thread.onReport = [] { throw std::runtime_error("nobody listens"); };
    thread.Fill();
    EXPECT_EQ(thread.Await(), "start[] fill done");
    EXPECT_FALSE(thread.IsBusy());
}

TEST_F(TreeThread, RunThatCannotLockReportsAndFreesTheStarter) {
    hooked.onLock = [](int) { throw std::bad_alloc(); };
    thread.Refresh(France());
    thread.Stop();
    EXPECT_EQ(thread.Take(), "start[FR] refresh error(1098)[FR]");
}

}  // namespace
}  // namespace etabulon::test
