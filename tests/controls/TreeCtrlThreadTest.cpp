#include "ControlFixture.h"
#include "controls/EDataTreeCtrlThread.h"
#include "etabulon/controls/EMessagePort.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "support/AllocationCount.h"
#include "support/ResultTrace.h"

#include <new>
#include <stdexcept>

namespace etabulon::test {
namespace {
/// Writes down what comes: "1127[FR]", "1326(5)"; a message sent has a "!" after it.
class Listener : public EMessagePort::IReceiver {
public:
    void OnMessage(EMessage& message) override {
        log += (log.empty() ? "" : " ") + std::to_string(message.number);
        log += message.wParam == 0 ? "" : "(" + std::to_string(message.wParam) + ")";
        log += message.tag ? message.tag->DisplayID().c_str() : "";
        log += isDispatching_ ? "" : "!";
        onThisThread = onThisThread && std::this_thread::get_id() == screen_;
    }
    [[nodiscard]] std::string Dispatch() {
        isDispatching_ = true;
        while (port->Dispatch()) {
        }
        isDispatching_ = false;
        return std::exchange(log, std::string());
    }
    const std::shared_ptr<EMessagePort> port = std::make_shared<EMessagePort>(*this);
    std::string log;
    bool onThisThread = true;

private:
    std::thread::id screen_ = std::this_thread::get_id();
    bool isDispatching_ = false;
};

struct TreeCtrlThread : testing::Test, ThreadedSales {
    ~TreeCtrlThread() override { listener.port->Close(); }
    /// What is heard of a fill and of a refresh, both to their ends.
    std::string Run() {
        EDataTreeCtrlThread reporting(&tree, listener.port);
        reporting.Fill();
        AwaitEnd();
        reporting.Refresh(Tag({{0, "FR"}}));
        AwaitEnd();
        return listener.Dispatch();
    }
    void AwaitEnd() {
        hooked.CursorLock(true);
        hooked.CursorUnlock();
    }
    Listener listener;
};

TEST_F(TreeCtrlThread, SendsTheStartAndPostsTheEnds) {
    EXPECT_EQ(Run(), "1125[]! 1125[FR]! 1126 1127[FR]");
    EXPECT_TRUE(listener.onThisThread);
}

TEST_F(TreeCtrlThread, RefreshThatDoesntEndWellComesWithoutItsTag) {
    hooked.onRecord = EndAt(1, StatusCancelled);
    EXPECT_EQ(Run(), "1125[]! 1125[FR]! 1226 1227");
    hooked.onRecord = EndAt(1, static_cast<CursorStatus>(DataConnectionLost));
    EXPECT_EQ(Run(), "1125[]! 1125[FR]! 1326(1003) 1327(1003)");
    hooked.onRecord = [](int) -> CursorStatus { throw std::bad_alloc(); };
    EXPECT_EQ(Run(), "1125[]! 1125[FR]! 1326(1098) 1327(1098)");
}

// Whichever allocation of the run fails. A run that couldn't be started is not heard, and looks
// busy if its start was told.
TEST_F(TreeCtrlThread, EachRunIsHeardOnceWithoutMemory) {
    struct Counter : EMessagePort::IReceiver {
        void OnMessage(EMessage& message) override {
            ++(message.number == MsgBrowseStart ? starts : ends);
        }
        int starts = 0;
        int ends = 0;
    };
    const ETabulonTag france = Tag({{0, "FR"}});
    bool failed = true;
    for (std::uint64_t allowed = 0; failed; ++allowed) {
        Counter counter;
        const auto port = std::make_shared<EMessagePort>(counter);
        EDataTreeCtrlThread reporting(&tree, port);
        {
            const FailingAllocation failing(allowed);
            try {
                reporting.Refresh(france);
            } catch (const std::bad_alloc&) {
                EXPECT_FALSE(reporting.IsBusy()) << allowed;
            }
            AwaitEnd();
            failed = failing.HasFailed();
        }
        while (port->Dispatch()) {
        }
        EXPECT_EQ(counter.ends, reporting.IsBusy() ? 0 : counter.starts) << allowed;
        port->Close();
        ASSERT_LT(allowed, 1000U);
    }
}

TEST_F(TreeCtrlThread, ThatGoesWithItsPortClosedIsNotHeard) {
    Gate gate;
    std::atomic<int> cancels{0};
    int records = 0;
    hooked.onCancel = [&] {
        if (++cancels > 2) {  // those of the run itself
            gate.Open();
        }
    };
    hooked.onRecord = [&](int record) {
        records = record;
        gate.Pass();
        return StatusOk;
    };
    {
        EDataTreeCtrlThread reporting(&tree, listener.port);
        reporting.Fill();
        gate.WaitReached();
        listener.port->Close();
    }
    EXPECT_EQ(records, 1);
    EXPECT_EQ(listener.Dispatch(), "1125[]!");
}

// The runs that are started. The time grows with them: 10'000 take three seconds, and a quarter of
// a minute where other programs keep the threads waiting or under a sanitizer.
constexpr int kStarts = 10000;

/// Fills the grid on each walk, and sends it from a thread of its own again and again.
class GridSide {
public:
    GridSide(SalesTable& sales, const ETabulonPendingChanges& script)
        : sales_(sales),
          filler_(
              ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&sales.cursor, &script))) {
        calculations_.AddCalculation("SUM", ETabulonVariableID("year"), TYPE_LONG, 0, "Year");
        sort_.SetSortLevels(InOrder({0, 1}));
        filler_->SetParams(&calculations_, 2, &sort_);
        sales_.cursor.AddNotifier(filler_.Get());
        EXPECT_EQ(sales_.cursor.Browse(ETabulonTag::Null), StatusOk);
        thread_ = std::jthread([this](const std::stop_token& stop) { Send(stop); });
    }
    ~GridSide() {
        thread_.request_stop();
        thread_.join();
        const ECursorExclusive exclusive(sales_.cursor);
        sales_.cursor.RemNotifier(filler_.Get());
    }
    GridSide(const GridSide&) = delete;
    GridSide& operator=(const GridSide&) = delete;

    std::atomic<int> sends{0};

private:
    void Send(const std::stop_token& stop) {
        for (; !stop.stop_requested(); ++sends) {
            GridTrace view;
            filler_->SendTo(&view);
            const std::string heard = view.Take();
            EXPECT_TRUE(heard.starts_with("start reset") && heard.ends_with("end")) << heard;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    SalesTable& sales_;
    ETabulonCumulFuncOnVarCollection calculations_;
    ETabulonSortDesc sort_{sales_.levels};
    ERef<ETabulonGridFiller> filler_;
    std::jthread thread_;
};

/// A user who gives order after order, edits, and closes the control in between.
class TreeCtrlThreadStorm : public TreeScreen, protected LetterStorm {
protected:
    TreeCtrlThreadStorm() : LetterStorm(7) {
        for (int id = 6; id < 60; ++id) {
            sales.Append(id, Letter().c_str(), Letter().c_str(), 2000 + static_cast<int>(Any(4)));
        }
        sales.cursor.onRecord = [this](int record) {
            if (record == 1 && ++walks % 61 == 0) {
                throw std::runtime_error("broken");
            }
            return record == 1 && walks % 17 == 0 ? static_cast<CursorStatus>(77) : StatusOk;
        };
    }
    void GiveAnOrder() {
        DoOne(
            12, [&] { ctrl->Refresh(); }, [&] { ctrl->RefreshDeletedNode(AnyPlace()); },
            [&] { sales.cursor.Cancel(); }, [&] { ctrl->Select(AnyPlace()); },
            [&] {
                const unsigned int count = ctrl->SortDesc()->SortLevelCount(kInTree);
                ctrl->SortDesc()->MoveSortLevel(Any(count), Any(count), kInTree);
            },
            [&] { Any(2) == 0 ? ctrl->MoveSelectedLevelUp() : ctrl->MoveSelectedLevelDown(); },
            [&] {
                script.AppendUpdate(AnyPlace(), "year", EVariant(2000 + static_cast<int>(Any(9))));
            },
            [&] {
                if (Any(2) == 0) {
                    const ECursorLocking ended(sales.cursor);
                }
                screen.PumpWaiting();
                screen.Advance(Any(300));
            },
            [&] { ctrl->Refresh(AnyPlace()); }, [&] { ctrl->Refresh(AnyPlace()); },
            [&] { ctrl->Fill(); });
    }
    /// Closes the control after a whole run. Its nodes have gone then, which the worker lets go of
    /// after the cursor.
    std::int64_t ObjectsWithoutControl() {
        Fill();
        ctrl.reset();
        return ECountedUnknown::LiveObjects();
    }
    /// Closes the control, whatever is under way, and opens another one.
    void CloseAndReopen() {
        const int ends = Ends();
        ctrl.reset();
        screen.PumpWaiting();
        screen.Advance(1000);
        EXPECT_EQ(Ends(), ends) << "a closed control was told";
        startsOnly = Starts() - Ends();
        TreeScreen::Reopen(sales.cursor);
    }

    ETabulonPendingChanges script;
    int walks = 0;  // guarded by the cursor's lock
};

TEST_F(TreeCtrlThreadStorm, EachRunIsHeardOnceUntilItsControlIsClosed) {
    Watchdog watchdog;
    const std::int64_t before = ObjectsWithoutControl();
    TreeScreen::Reopen(sales.cursor);
    int reopened = 0;
    {
        GridSide grid(sales, script);
        while (Starts() < kStarts) {
            GiveAnOrder();
            if (Any(50) == 0) {
                CloseAndReopen();
                ++reopened;
            }
            if (Any(100) == 0) {
                const ECursorExclusive exclusive(sales.cursor);
                ASSERT_EQ(CheckTree(*ctrl->Tree()->Root()), "");
                script.Reset();
                view.TakeLog();
            }
            ASSERT_LE(Ends(), Starts() - startsOnly);
            watchdog.Feed();
        }
        WaitForRuns();
        EXPECT_GT(grid.sends, 0);
    }
    EXPECT_EQ(Starts() - startsOnly, Ends());
    for (const EDataTreeNotification end :
         {NotifyBrowseDone, NotifyBrowseCancel, NotifyBrowseError}) {
        EXPECT_GT(view.Notified(end), kStarts / 100) << end;
    }
    EXPECT_GT(reopened, 0);
    // Every reference and every lock was given back, and the model is sound.
    sales.cursor.onRecord = nullptr;
    CloseAndReopen();
    script.Reset();
    Fill();
    EXPECT_EQ(CheckTree(*ctrl->Tree()->Root()), "");
    EXPECT_EQ(ObjectsWithoutControl(), before);
    EXPECT_EQ(sales.cursor.depth, 0);
}

/// Writes the numbers that it hears; closes the port at number 9.
struct Receiver : EMessagePort::IReceiver {
    void OnMessage(EMessage& message) override {
        log += std::to_string(message.number) + (message.tag ? "t " : " ");
        message.number == 9 ? port.Close() : void();
    }
    std::string log;
    EMessagePort port{*this};
};

EMessage Message(std::uint32_t number, bool withTag = false) {
    return {number, 0, withTag ? std::make_unique<ETabulonTag>() : nullptr};
}

TEST(MessagePort, DeliversInOrderOneAtATimeAndSendsAtOnce) {
    Receiver receiver;
    receiver.port.Post(Message(1, /*withTag=*/true));
    receiver.port.Post(Message(2));
    receiver.port.Send(Message(3));
    EXPECT_EQ(receiver.log, "3 ");
    EXPECT_TRUE(receiver.port.Dispatch());
    EXPECT_EQ(receiver.log, "3 1t ");
    EXPECT_TRUE(receiver.port.Dispatch());
    EXPECT_FALSE(receiver.port.Dispatch());
    EXPECT_EQ(receiver.log, "3 1t 2 ");
}

TEST(MessagePort, WakesOnceForEachMessageAndForThoseThatWait) {
    Receiver receiver;
    int woken = 0;
    receiver.port.Post(Message(1));
    receiver.port.SetWaker([&woken] { ++woken; });
    EXPECT_EQ(woken, 1);
    receiver.port.Post(Message(2));
    receiver.port.Send(Message(3));
    EXPECT_EQ(woken, 2);
}

TEST(MessagePort, ThatIsClosedHearsAndWakesNothing) {
    Receiver receiver;
    int woken = 0;
    receiver.port.Post(Message(9));
    receiver.port.Post(Message(1, /*withTag=*/true));
    receiver.port.SetWaker([&woken] { ++woken; });
    EXPECT_TRUE(receiver.port.Dispatch());
    receiver.port.Post(Message(2, /*withTag=*/true));
    receiver.port.Send(Message(3));
    EXPECT_FALSE(receiver.port.Dispatch());
    EXPECT_EQ(receiver.log, "9 ");
    EXPECT_EQ(woken, 2);
    EXPECT_TRUE(receiver.port.IsClosed());
    EXPECT_EQ(receiver.port.Size(), 0U);
}

TEST(MessagePort, QueuesNothingThatNobodyCouldBeWokenFor) {
    Receiver receiver;
    receiver.port.SetWaker([] { throw std::bad_alloc(); });
    EXPECT_THROW(receiver.port.Post(Message(1, true)), std::bad_alloc);
    EXPECT_EQ(receiver.port.Size(), 0U);
}

TEST(MessagePort, KeepsWhatHasRoomUntilSomebodyCanBeWoken) {
    Receiver receiver;
    int failures = 2;
    int woken = 0;
    receiver.port.SetWaker([&] {
        if (failures-- > 0) {
            throw std::bad_alloc();
        }
        ++woken;
    });
    receiver.port.Reserve(1);
    {
        const FailingAllocation failing(0);
        receiver.port.PostReserved(Message(1));
        EXPECT_FALSE(failing.HasFailed());
    }
    EXPECT_EQ(receiver.port.Size(), 1U);
    receiver.port.WakeAgain();
    EXPECT_EQ(woken, 0);
    receiver.port.Post(Message(2));
    EXPECT_EQ(woken, 2);
    receiver.port.WakeAgain();
    EXPECT_EQ(woken, 2);
    while (receiver.port.Dispatch()) {
    }
    EXPECT_EQ(receiver.log, "1 2 ");
}

TEST(MessagePort, TakesFromManyThreadsWhileItIsClosed) {
    Receiver receiver;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&receiver] {
            for (int turn = 0; turn < 500; ++turn) {
                receiver.port.Post(Message(1, /*withTag=*/true));
            }
        });
    }
    for (int turn = 0; turn < 200; ++turn) {
        receiver.port.Dispatch();
    }
    receiver.port.Close();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(receiver.port.Size(), 0U);
}

}  // namespace
}  // namespace etabulon::test
