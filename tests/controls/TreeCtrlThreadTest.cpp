#include "controls/EDataTreeCtrlThread.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/controls/EMessagePort.h"
#include "support/AllocationCount.h"
#include "tree/ThreadFixture.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>

namespace etabulon::test {
namespace {

/// Writes down what comes: "1127[FR]", "1326(5)"; a message sent has a "!" behind it.
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
    hooked.onRecord = [](int) { return StatusCancelled; };
    EXPECT_EQ(Run(), "1125[]! 1125[FR]! 1226 1227");
    hooked.onRecord = [](int) { return static_cast<CursorStatus>(DataConnectionLost); };
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

}  // namespace
}  // namespace etabulon::test
