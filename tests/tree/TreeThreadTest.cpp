#include "etabulon/pending/ETabulonPendingChanges.h"
#include "support/Storm.h"
#include "tree/ThreadFixture.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace etabulon::test {
namespace {
const ETabulonTag& France() {
    static const ETabulonTag tag = Tag({{0, "FR"}});
    return tag;
}

// ------------------------------------------------------------------------------------ one run

struct Ending {
    const char* name;
    std::function<CursorStatus(int record)> onRecord;
    const char* fill;
    const char* refresh;
};

void PrintTo(const Ending& ending, std::ostream* out) { *out << ending.name; }

struct RunThatEnds : testing::TestWithParam<Ending>, ThreadedSales {};

TEST_P(RunThatEnds, ReportsExactlyOnce) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    hooked.onRecord = GetParam().onRecord;
    thread.Fill();
    EXPECT_EQ(thread.Await(), std::string("start[] ") + GetParam().fill);
    thread.Refresh();
    EXPECT_EQ(thread.Await(), std::string("start[] ") + GetParam().refresh + "[]");
    thread.Refresh(France());
    EXPECT_EQ(thread.Await(), std::string("start[FR] ") + GetParam().refresh + "[FR]");
    EXPECT_FALSE(thread.IsBusy());
    thread.Stop();
    EXPECT_EQ(thread.Take(), "");
    tree.Root()->Reset();
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Tree, RunThatEnds,
    testing::Values(
        Ending{"Well", nullptr, "fill done", "refresh done"},
        Ending{"WithoutRecords", [](int) { return StatusEnd; }, "fill done", "refresh done"},
        Ending{"Cancelled", [](int record) { return record == 2 ? StatusCancelled : StatusOk; },
               "fill cancel", "refresh cancel"},
        Ending{"WithAStatus", [](int) { return static_cast<CursorStatus>(DataConnectionLost); },
               "fill error(1003)", "refresh error(1003)"},
        Ending{"WithoutMemory", [](int) -> CursorStatus { throw std::bad_alloc(); },
               "fill error(1098)", "refresh error(1098)"},
        Ending{"InAnException", [](int) -> CursorStatus { throw std::runtime_error("broken"); },
               "fill error(1099)", "refresh error(1099)"},
        Ending{"InANumberThrown", [](int) -> CursorStatus { throw 5; }, "fill error(1099)",
               "refresh error(1099)"}),
    [](const auto& tested) { return std::string(tested.param.name); });

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
        HoldAt2(gate);
    }
    void HoldAt2(Gate& gate) {
        hooked.onRecord = [&gate](int record) {
            if (record == 2) {
                gate.Pass();
            }
            return StatusOk;
        };
    }
    std::atomic<int> cancels{0};
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
    HoldAt2(gate);
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

// ----------------------------------------------------------------------------------- two runs

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
    thread.onReport = [&] { HoldAt2(second); };
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
    // The second run waits at its tree's lock, before its walk.
    std::atomic<int> locks{0};
    hooked.onLock = [&](int) {
        if (++locks == 2) {
            gate.Pass();
        }
    };
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

// -------------------------------------------------------------------------------- cancel, stop

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
    // The first lock is the run's own, the second the tree's, before the walk's reset.
    std::atomic<int> locks{0};
    hooked.onLock = [&](int) {
        if (++locks == 2) {
            gate.Pass();
        }
    };
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

// ----------------------------------------------------------------------------------- failures

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

// Threads under a sanitizer are slow; 10'000 are a matter of ten seconds there.
constexpr int kOrders = 3000;

/// Counts, and does nothing else.
class CountingThread : public EDataTreeThread {
public:
    explicit CountingThread(EDataTree* tree) : EDataTreeThread(tree) {}
    ~CountingThread() override { Stop(); }
    using EDataTreeThread::Stop;

    int starts = 0;
    std::atomic<int> done{0};
    std::atomic<int> cancelled{0};
    std::atomic<int> failed{0};

    void OnThreadStart(const ETabulonTag&) override { ++starts; }
    void OnThreadFillDone() override { ++done; }
    void OnThreadRefreshDone(const ETabulonTag&) override { ++done; }
    void OnThreadFillCancel() override { ++cancelled; }
    void OnThreadRefreshCancel(const ETabulonTag&) override { ++cancelled; }
    void OnThreadFillError(CursorStatus) override { ++failed; }
    void OnThreadRefreshError(const ETabulonTag&, CursorStatus) override { ++failed; }
};

/// A screen that gives order after order, and a walk that reads the script of its edits.
class ThreadStorm : public testing::Test, protected Storm {
protected:
    static constexpr int kRecords = 60;

    ThreadStorm() : Storm(11), rubric_(dico_.AddRubric("T", "T")) {
        for (const char* name : {"a", "b", "c"}) {
            rubric_->AddVariable(name, name, TYPE_LONG, 0);
            levels_.AddLevel(name, name, nullptr, /*addRef=*/false);
        }
        rubric_->SetKey({"c"});
        table_ = std::make_unique<EDataMemory>(rubric_);
        for (int record = 0; record < kRecords; ++record) {
            table_->Append({record % 7, record % 31, record});
        }
        cursor_.Init(levels_, table_.get(), /*ownsTable=*/false);
        cursor_.onRecord = [this](int record) {
            // One walk in a while fails, at any record.
            if (++steps_ % 20'011 == 0) {
                throw std::runtime_error("broken");
            }
            if (record % 16 == 0) {
                changed_ += script_.IsModified(cursor_.CurrentTag(), ETabulonVariableID("a"));
            }
            return StatusOk;
        };
        tree_ = std::make_unique<EDataTree>(&cursor_, "root", nullptr);
        ETabulonSortDesc::SortKeyArray keys = Keys({{0, false, 0}, {1, false, 0}, {2, false, 0}});
        tree_->SetSortLevels(keys);
        thread_ = std::make_unique<CountingThread>(tree_.get());
    }
    ~ThreadStorm() override {
        thread_.reset();  // before the tree
    }

    ETabulonTag AnyTag() {
        ETabulonTag tag;
        for (unsigned level = 0, depth = Any(4); level < depth; ++level) {
            tag.SetValue(level, ETabulonValue(EVariant(static_cast<int>(Any(31))), "", false));
        }
        return tag;
    }
    void GiveAnOrder() {
        DoOne(
            8, [&] { thread_->Refresh(); }, [&] { thread_->Refresh(AnyTag()); },
            [&] { thread_->Cancel(); }, [&] { cursor_.Cancel(); },
            [&] { tree_->MoveSortLevel(Any(3), Any(3)); },
            [&] { script_.AppendUpdate(AnyTag(), "a", EVariant(static_cast<int>(Any(9)))); },
            [&] { thread_->Fill(); });
    }

    DDico dico_;
    DRubric* rubric_;
    std::unique_ptr<EDataMemory> table_;
    ETabulonLevels levels_;
    HookedCursor cursor_;
    ETabulonPendingChanges script_;
    std::int64_t steps_ = 0;  // guarded by the cursor's lock
    int changed_ = 0;
    std::unique_ptr<EDataTree> tree_;
    std::unique_ptr<CountingThread> thread_;
};

TEST_F(ThreadStorm, EachRunReportsOnceAndNothingIsLeft) {
    Watchdog watchdog;
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (int order = 0; order < kOrders; ++order) {
        GiveAnOrder();
        watchdog.Feed();
        if (order % 64 == 0) {
            const ECursorExclusive exclusive(cursor_);
            ASSERT_EQ(CheckTree(*tree_->Root()), "") << order;
            script_.Reset();
        }
    }
    thread_->Stop();
    EXPECT_EQ(thread_->starts, thread_->done + thread_->cancelled + thread_->failed);
    EXPECT_GT(thread_->done, 0);
    EXPECT_GT(thread_->cancelled, 0);
    EXPECT_GT(thread_->failed, 0);
    EXPECT_GT(changed_, 0) << "the walks met no edit";
    // What was interrupted is made good by a whole run.
    thread_->Refresh();
    thread_->Stop();
    watchdog.Feed();
    tree_->Root()->Reset();
    script_.Reset();
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

TEST_F(ThreadStorm, ThreadObjectsComeAndGoWithTheirRuns) {
    Watchdog watchdog;
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (int round = 0; round < kOrders / 10; ++round) {
        CountingThread own(tree_.get());
        own.Fill();
        if (Any(2) == 0) {
            own.Refresh(AnyTag());
        }
        own.Stop();
        ASSERT_EQ(own.starts, own.done + own.cancelled + own.failed);
        watchdog.Feed();
    }
    tree_->Root()->Reset();
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

}  // namespace
}  // namespace etabulon::test
