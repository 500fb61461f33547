#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace etabulon {
namespace {

using test::ScriptCursor;
using test::WalkTrace;

std::int32_t References(ETabulonCursor::INotifier& notifier) {
    notifier.AddRef();
    return notifier.Release();
}

class Listeners : public ::testing::Test {
protected:
    ~Listeners() override {
        for (const auto& listener : {a, b, c}) {
            cursor.RemNotifier(listener.Get());
        }
    }
    /// What is heard in one walk.
    std::string Walk() {
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        return a->Take();
    }

    std::string log;
    ERef<WalkTrace> a = MakeRef<WalkTrace>("a", log);
    ERef<WalkTrace> b = MakeRef<WalkTrace>("b", log);
    ERef<WalkTrace> c = MakeRef<WalkTrace>("c", log);
    ScriptCursor cursor{{"city"}, {{"1"}, {"2"}}};
};

TEST_F(Listeners, AreCalledOnceForEachEntryAndRemovedAtOnce) {
    cursor.AddNotifier(a.Get());
    cursor.AddNotifier(b.Get());
    cursor.AddNotifier(a.Get());
    EXPECT_EQ(References(*a), 3);
    EXPECT_EQ(Walk(), "a:reset [] | b:reset [] | a:reset [] | a:1 | b:1 | a:1 | a:2 | b:2 | a:2");
    cursor.RemNotifier(a.Get());
    EXPECT_EQ(References(*a), 1);
    EXPECT_EQ(cursor.Notifiers().Size(), 1U);
    cursor.RemNotifier(a.Get());
    EXPECT_EQ(References(*a), 1);
    EXPECT_EQ(References(*b), 2);
}

TEST_F(Listeners, MayBeTakenOverFromAnyArrayTheOwnIncluded) {
    PTableau<ETabulonCursor::INotifier*> both;
    both.Add(a.Get());
    both.Add(b.Get());
    cursor.AddNotifiers(both);
    cursor.AddNotifiers(cursor.Notifiers());
    EXPECT_EQ(cursor.Notifiers().Size(), 4U);
    EXPECT_EQ(References(*b), 3);
    cursor.RemNotifiers(both);
    EXPECT_EQ(cursor.Notifiers().Size(), 0U);
    cursor.AddNotifiers(both);
    cursor.RemNotifiers(cursor.Notifiers());
    EXPECT_EQ(cursor.Notifiers().Size(), 0U);
    EXPECT_EQ(References(*a), 1);
    EXPECT_EQ(References(*b), 1);
}

TEST_F(Listeners, AddedInARoundAreReachedInIt) {
    cursor.AddNotifier(a.Get());
    a->At("move", 1, [this] {
        cursor.AddNotifier(b.Get());
        return StatusOk;
    });
    EXPECT_EQ(Walk(), "a:reset [] | a:1 | b:1 | a:2 | b:2");
}

TEST_F(Listeners, MovingUpInARoundArePassedOver) {
    for (const auto& listener : {a, b, c}) {
        cursor.AddNotifier(listener.Get());
    }
    a->At("move", 1, [this] {
        cursor.RemNotifier(a.Get());
        return StatusOk;
    });
    EXPECT_EQ(Walk(), "a:reset [] | b:reset [] | c:reset [] | a:1 | c:1 | b:2 | c:2");
}

TEST_F(Listeners, RemovedBeforeTheirTurnAreNotCalled) {
    for (const auto& listener : {a, b, c}) {
        cursor.AddNotifier(listener.Get());
    }
    a->At("reset", 1, [this] {
        cursor.RemNotifier(b.Get());
        return StatusOk;
    });
    EXPECT_EQ(Walk(), "a:reset [] | c:reset [] | a:1 | c:1 | a:2 | c:2");
}

TEST(LastReference, MayGoInTheListenersOwnCall) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (const char* event : {"reset", "move", "done", "error", "cancel"}) {
        ScriptCursor cursor{{"city"}, {{"1"}}};
        std::string log;
        auto listener = MakeRef<WalkTrace>("a", log);
        WalkTrace* const borrowed = listener.Get();
        cursor.AddNotifier(borrowed);
        listener = nullptr;
        const std::string name(event);
        if (name == "done" || name == "error" || name == "cancel") {
            static_cast<void>(cursor.TakeSteps());
            cursor.GiveAt("reset", 1,
                          name == "done" ? StatusEnd
                                         : (name == "cancel" ? StatusCancelled
                                                             : static_cast<CursorStatus>(5)));
        }
        borrowed->At(event, 1, [&cursor, borrowed] {
            cursor.RemNotifier(borrowed);
            return StatusOk;
        });
        cursor.Browse(ETabulonTag::Null);
        EXPECT_EQ(cursor.Notifiers().Size(), 0U) << event;
        EXPECT_EQ(ECountedUnknown::LiveObjects(), before) << event;
    }
}

TEST(CursorThatGoes, ReleasesItsListeners) {
    const auto listener = MakeRef<WalkTrace>();
    {
        ScriptCursor cursor{{"city"}, {}};
        cursor.AddNotifier(listener.Get());
        cursor.AddNotifier(listener.Get());
        {
            const ECursorListening listening(cursor, *listener);
            EXPECT_EQ(References(*listener), 4);
        }
        // Listening ends for all entries of a listener.
        EXPECT_EQ(References(*listener), 1);
        cursor.AddNotifier(listener.Get());
    }
    EXPECT_EQ(References(*listener), 1);
}

TEST(CursorLock, InTryModeBlocksUntilItIsFree) {
    ScriptCursor cursor{{"city"}, {}};
    std::string order;  // written by whoever holds the lock
    ASSERT_TRUE(cursor.CursorLock(true));
    std::thread other([&] {
        EXPECT_TRUE(cursor.CursorLock(/*wait=*/false));
        order += "other ";
        cursor.CursorUnlock();
    });
    std::this_thread::yield();
    order += "first ";
    cursor.CursorUnlock();
    other.join();
    EXPECT_EQ(order, "first other ");
}

TEST(ExclusiveCursor, IsCancelledAndLockedForTheScope) {
    ScriptCursor cursor{{"city"}, {}};
    {
        const ECursorExclusive exclusive(cursor);
        EXPECT_TRUE(cursor.IsCancelled());
        EXPECT_TRUE(cursor.CursorLock(true));  // again by the same thread
        cursor.CursorUnlock();
    }
    EXPECT_TRUE(cursor.IsCancelled());
    std::thread([&cursor] {
        EXPECT_TRUE(cursor.CursorLock(false));
        cursor.CursorUnlock();
    }).join();
}

}  // namespace
}  // namespace etabulon
