#include "etabulon/controls/EMessagePort.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <thread>
#include <vector>

namespace etabulon {
namespace {

/// Writes the numbers that it hears; closes the port at number 9.
class Receiver : public EMessagePort::IReceiver {
public:
    void OnMessage(EMessage& message) override {
        log += std::to_string(message.number) + (message.tag ? "t " : " ");
        if (message.number == 9) {
            port.Close();
        }
    }
    std::string log;
    EMessagePort port{*this};
};

EMessage Message(std::uint32_t number, bool withTag = false) {
    return {number, 0, withTag ? std::make_unique<ETabulonTag>() : nullptr};
}

TEST(MessagePort, DeliversInOrderOneAtATimeAndSendsAtOnce) {
    Receiver receiver;
    receiver.port.Post(Message(1, true));
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
    receiver.port.Post(Message(1, true));
    receiver.port.SetWaker([&woken] { ++woken; });
    EXPECT_TRUE(receiver.port.Dispatch());
    receiver.port.Post(Message(2, true));
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
        const test::FailingAllocation failing(0);
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
                receiver.port.Post(Message(1, true));
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
}  // namespace etabulon
