#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorRelay.h"
#include "support/MemoryTable.h"
#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace etabulon {
namespace {

using test::ScriptCursor;
using test::Tag;
using test::WalkTrace;

class OpenRelay : public ETabulonCursorRelay {
public:
    explicit OpenRelay(ETabulonCursor* source) : ETabulonCursorRelay(source) {
        Init(source->Levels());
    }
    using ETabulonCursor::CallGetNext;  // the relay's own protocol
    using ETabulonCursor::CallReset;
    using ETabulonCursorRelay::iFields;
    CursorStatus StepSource() { return ETabulonCursorRelay::CallGetNext(); }
    CursorStatus ResetSource(const ETabulonTag& tag) { return ETabulonCursorRelay::CallReset(tag); }
};

class RelayedCities : public ::testing::Test {
protected:
    RelayedCities() {
        relay.AddNotifier(heard.Get());
        source.AddNotifier(sourceHeard.Get());
        static_cast<void>(source.TakeSteps());
    }

    ScriptCursor source{{"country", "city"},
                        {{"FR", "Paris"}, {"DE", "Berlin"}, {"FR", "Lyon"}, {"DE", "Bonn"}}};
    OpenRelay first{&source};
    OpenRelay relay{&first};
    ERef<WalkTrace> heard = MakeRef<WalkTrace>();
    ERef<WalkTrace> sourceHeard = MakeRef<WalkTrace>();
};

TEST_F(RelayedCities, AreWalkedByTheBareStepsOfTheSource) {
    EXPECT_EQ(relay.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(heard->Take(), "reset [] | Paris | Berlin | Lyon | Bonn");
    EXPECT_EQ(sourceHeard->Take(), "");
    EXPECT_EQ(source.TakeSteps(), "reset next next next next");
}

TEST_F(RelayedCities, WalkOfAPlainRelayKeepsTheFilterOfItsSource) {
    source.CallReset(Tag({{0, "FR"}}));
    EXPECT_EQ(relay.Browse(Tag({{0, "DE"}})), StatusOk);
    // The filter judges each record by its own tag, not by the one before.
    EXPECT_EQ(heard->Take(), "reset [DE] | Paris | Lyon");
}

TEST_F(RelayedCities, CanBeDrivenByTheWholeProtocolOfTheSource) {
    EXPECT_EQ(first.ResetSource(Tag({{0, "DE"}})), StatusOk);  // the first is refused
    EXPECT_EQ(first.StepSource(), StatusOk);
    EXPECT_EQ(sourceHeard->Take(), "reset [DE] | Berlin");
    EXPECT_EQ(source.TakeSteps(), "prepare reset calc refuse next calc accept");
    // Over another relay it is that relay's protocol.
    const auto firstHeard = MakeRef<WalkTrace>();
    first.AddNotifier(firstHeard.Get());
    EXPECT_EQ(relay.StepSource(), StatusOk);
    EXPECT_EQ(firstHeard->Take(), "Bonn");
    EXPECT_EQ(sourceHeard->Take(), "");
}

TEST_F(RelayedCities, ShowTheFieldsOfTheSourceAndItsFailures) {
    EXPECT_EQ(&relay.Fields(), &source.Fields());
    source.GiveAt("next", 2, static_cast<CursorStatus>(1099));
    EXPECT_EQ(relay.Browse(ETabulonTag::Null), static_cast<CursorStatus>(1099));
    EXPECT_EQ(heard->Take(), "reset [] | Paris | Berlin | error(1099)");
}

TEST_F(RelayedCities, KeepTheirTagUntilTheirOwnStep) {
    relay.CallReset(ETabulonTag::Null);
    const ETabulonTag paris = relay.CurrentTag();
    const EPosition position = relay.PrimaryKey().Position();
    source.CallGetNext();
    EXPECT_EQ(relay.CurrentTag(), paris);
    EXPECT_EQ(relay.PrimaryKey().Position(), position);
    static_cast<void>(relay.iFields());
    EXPECT_EQ(relay.CurrentTag(), Tag({{0, "DE"}, {1, "Berlin"}}));
    EXPECT_NE(relay.PrimaryKey().Position(), position);
    source.CallGetNext();
    relay.CallGetNext();
    EXPECT_EQ(relay.CurrentTag(), source.CurrentTag());
}

TEST_F(RelayedCities, AreCancelledAndLockedAtTheSource) {
    relay.CallReset(ETabulonTag::Null);
    source.Cancel();
    EXPECT_TRUE(relay.IsCancelled());
    EXPECT_EQ(relay.CallGetNext(), StatusCancelled);
    relay.CallReset(ETabulonTag::Null);
    EXPECT_FALSE(source.IsCancelled());
    relay.Cancel();
    EXPECT_TRUE(source.IsCancelled());

    std::atomic<bool> released{false};
    bool waited = false;
    EXPECT_TRUE(relay.CursorLock(true));
    EXPECT_TRUE(source.IsLockedByThisThread() && relay.IsLockedByThisThread());
    std::jthread other([&] {
        EXPECT_FALSE(relay.IsLockedByThisThread());
        source.CursorLock(true);
        waited = released;
        source.CursorUnlock();
    });
    released = true;
    relay.CursorUnlock();
    other.join();
    EXPECT_TRUE(waited);
}

TEST(Relay, OffersTheUpdaterOfItsSource) {
    ScriptCursor readOnly({"country"}, {});
    EXPECT_EQ(OpenRelay(&readOnly).Updater(), nullptr);

    test::VentesData data;
    test::FailingTable table(*data.table);
    ETabulonCursorEData source;
    source.Init(ETabulonLevels(), &table, /*ownsTable=*/false);
    {
        OpenRelay relay(&source);
        const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(relay.Updater());
        EXPECT_EQ(table.Take(), "begin");
    }
    EXPECT_EQ(table.Take(), "end");
    // It goes and leaves its source as it was.
    EXPECT_EQ(source.Browse(ETabulonTag::Null), StatusOk);
}

}  // namespace
}  // namespace etabulon
