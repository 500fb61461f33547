#include "etabulon/cursors/ECursorScopes.h"
#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {

constexpr unsigned int kCountry = 0;
constexpr auto kBroken = static_cast<CursorStatus>(77);

/// Three records, the middle one out of France.
class CitiesCursor : public ::testing::Test {
protected:
    CitiesCursor() { static_cast<void>(cursor.TakeSteps()); }
    ~CitiesCursor() override {
        cursor.RemNotifier(first.Get());
        cursor.RemNotifier(second.Get());
    }
    /// What `trace` hears of a walk under `tag`.
    std::string Heard(WalkTrace& trace, const ETabulonTag& tag, CursorStatus status = StatusOk) {
        EXPECT_EQ(cursor.Browse(tag), status);
        return trace.Take();
    }
    void Listen() {
        cursor.AddNotifier(first.Get());
        cursor.AddNotifier(second.Get());
    }

    ScriptCursor cursor{{"country", "city"}, {{"FR", "Lyon"}, {"DE", "Berlin"}, {"FR", "Paris"}}};
    std::string log;
    ERef<WalkTrace> first = MakeRef<WalkTrace>("a", log);
    ERef<WalkTrace> second = MakeRef<WalkTrace>("b", log);
    const ETabulonTag france = Tag({{kCountry, "FR"}});
    const ETabulonTag germany = Tag({{kCountry, "DE"}});
};

TEST_F(CitiesCursor, WalksUnderATagAndSkipsTheRest) {
    const auto trace = MakeRef<WalkTrace>();
    cursor.AddNotifier(trace.Get());
    EXPECT_EQ(Heard(*trace, france), "reset [FR] | Lyon | Paris");
    EXPECT_EQ(cursor.TakeSteps(),
              "prepare reset calc accept next calc refuse next calc accept next");
    EXPECT_EQ(Heard(*trace, Tag({{kCountry, "FR"}, {1, "Paris"}})), "reset [FR, Paris] | Paris");
    EXPECT_EQ(Heard(*trace, Tag({{kCountry, "IT"}})), "reset [IT]");
    cursor.RemNotifier(trace.Get());
    EXPECT_EQ(Heard(*trace, ETabulonTag::Null), "");
}

TEST_F(CitiesCursor, WalkThatEndsTellsNobody) {
    Listen();
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    static_cast<void>(first->Take());
    EXPECT_EQ(cursor.CallGetNext(), StatusEnd);
    EXPECT_EQ(log, "");
}

constexpr auto kCancels = static_cast<CursorStatus>(1000);  // cancels, and answers StatusOk

/// What the cursor gives at a step, or a listener answers at an event.
struct Plan {
    enum Actor { Cursor, First, Second } actor;
    const char* call;
    int count;
    CursorStatus status;
};
using Plans = std::vector<Plan>;
Plans Give(const char* step, int count, CursorStatus status) {
    return {{Plan::Cursor, step, count, status}};
}
Plans Answer(const char* event, int count, CursorStatus status, Plan::Actor actor = Plan::First) {
    return {{actor, event, count, status}};
}
Plans operator+(Plans plans, const Plans& more) {
    plans.insert(plans.end(), more.begin(), more.end());
    return plans;
}

/// A situation in a walk over everything with two listeners, and what comes of it.
struct Situation {
    const char* name;
    Plans plans;
    std::string trace;
    CursorStatus result;
    std::string steps;
};

class WalkSituation : public CitiesCursor, public ::testing::WithParamInterface<Situation> {};

TEST_P(WalkSituation, GivesTraceStepsAndResult) {
    Listen();
    cursor.Cancel();  // which the reset forgets
    for (const Plan& plan : GetParam().plans) {
        if (plan.actor == Plan::Cursor) {
            cursor.GiveAt(plan.call, plan.count, plan.status);
            continue;
        }
        (plan.actor == Plan::First ? first : second)->At(plan.call, plan.count, [this, plan] {
            if (plan.status != kCancels) {
                return plan.status;
            }
            cursor.Cancel();
            return StatusOk;
        });
    }
    EXPECT_EQ(Heard(*first, ETabulonTag::Null, GetParam().result), GetParam().trace);
    EXPECT_EQ(cursor.TakeSteps(), GetParam().steps);
    // Whatever happened, the next walk begins anew.
    cursor.isQuiet = true;
    for (WalkTrace* trace : {first.Get(), second.Get()}) {
        for (const char* event : {"reset", "move", "cancel", "error"}) {
            trace->AnswerAt(event, 1, StatusOk);
            trace->AnswerAt(event, 2, StatusOk);
        }
        static_cast<void>(trace->Take());
    }
    EXPECT_EQ(Heard(*first, germany), "a:reset [DE] | b:reset [DE] | a:Berlin | b:Berlin");
}

constexpr const char* kReset = "prepare reset";
constexpr const char* kFirst = "prepare reset calc accept";
constexpr const char* kSecond = "prepare reset calc accept next calc accept";
constexpr const char* kResetHeard = "a:reset [] | b:reset []";
constexpr const char* kFirstHeard = "a:reset [] | b:reset [] | a:Lyon | b:Lyon";

constexpr const char* kErrors = "a:error(77) | b:error(77)";
constexpr const char* kCancelHeard = "a:cancel | b:cancel";

std::string Behind(const char* start, const char* rest) {
    return std::string(start) + " | " + rest;
}
INSTANTIATE_TEST_SUITE_P(
    Protocol, WalkSituation,
    ::testing::Values(
        Situation{"NextEnds", Give("next", 1, StatusEnd), kFirstHeard, StatusOk,
                  std::string(kFirst) + " next"},
        Situation{"ResetEnds", Give("reset", 1, StatusEnd), Behind(kResetHeard, "a:done | b:done"),
                  StatusOk, kReset},
        Situation{"ResetFails", Give("reset", 1, kBroken), Behind(kResetHeard, kErrors), kBroken,
                  kReset},
        Situation{"ResetIsCancelled", Give("reset", 1, StatusCancelled), kCancelHeard,
                  StatusCancelled, kReset},
        Situation{"ResetRefusesWhichIsAFailureOnce",
                  Give("reset", 1, StatusRefused) + Give("next", 1, StatusEnd),
                  Behind(kResetHeard, "a:error(-3) | b:error(-3)"), StatusOk, "prepare reset next"},
        Situation{"ListenerStopsTheReset", Answer("reset", 1, kBroken), "a:reset []", kBroken,
                  kReset},
        Situation{"ListenerEndsTheReset", Answer("reset", 1, StatusEnd), "a:reset []", StatusOk,
                  kReset},
        Situation{"ListenerStopsAResetThatFailed",
                  Give("reset", 1, kBroken) + Answer("reset", 1, static_cast<CursorStatus>(5)),
                  "a:reset []", static_cast<CursorStatus>(5), kReset},
        Situation{"FirstRecordFails", Give("accept", 1, kBroken), Behind(kResetHeard, kErrors),
                  kBroken, kFirst},
        Situation{"FirstRecordIsAcceptedAsTheEnd", Give("accept", 1, StatusEnd),
                  Behind(kResetHeard, "a:error(9) | b:error(9)"), StatusOk, kFirst},
        Situation{"FirstRecordIsCancelled", Give("accept", 1, StatusCancelled),
                  Behind(kResetHeard, kCancelHeard), StatusCancelled, kFirst},
        Situation{"ListenerEndsAtTheFirstRecord", Answer("move", 1, StatusEnd),
                  Behind(kResetHeard, "a:Lyon"), StatusOk, kFirst},
        Situation{"ListenerFailsAtTheFirstRecord", Answer("move", 1, kBroken),
                  Behind(kResetHeard, "a:Lyon"), kBroken, kFirst},
        Situation{"ListenerRefusesAtTheFirstRecordAndTheWalkGoesOn",
                  Give("next", 2, StatusEnd) + Answer("move", 1, StatusRefused),
                  Behind(kResetHeard, "a:Lyon | a:Berlin | b:Berlin"), StatusOk,
                  std::string(kSecond) + " next"},
        Situation{"ListenerRefusesLaterAndTheWalkEnds", Answer("move", 2, StatusRefused),
                  Behind(kFirstHeard, "a:Berlin"), StatusRefused, kSecond},
        Situation{"ListenerEndsAtALaterRecord", Answer("move", 2, StatusEnd),
                  Behind(kFirstHeard, "a:Berlin"), StatusOk, kSecond},
        Situation{"ListenerFailsAtALaterRecord", Answer("move", 2, kBroken),
                  Behind(kFirstHeard, "a:Berlin"), kBroken, kSecond},
        Situation{"StepFails", Give("next", 1, kBroken), Behind(kFirstHeard, kErrors), kBroken,
                  "prepare reset calc accept next"},
        Situation{"StepIsCancelled", Give("next", 1, StatusCancelled),
                  Behind(kFirstHeard, kCancelHeard), StatusCancelled,
                  "prepare reset calc accept next"},
        Situation{"StepAndFilterRefuseWhichNobodyHears",
                  Give("next", 1, StatusRefused) + Give("accept", 2, StatusRefused), kFirstHeard,
                  StatusOk, "prepare reset calc accept next next calc accept next"},
        Situation{"LaterRecordFails", Give("accept", 2, kBroken), Behind(kFirstHeard, kErrors),
                  kBroken, kSecond},
        Situation{"LaterRecordIsAcceptedAsTheEndWhichTellsNobody", Give("accept", 2, StatusEnd),
                  kFirstHeard, StatusOk, kSecond},
        Situation{"CancelledByWhoHearsTheResetSeenAtTheNextStep", Answer("reset", 1, kCancels),
                  Behind(kFirstHeard, kCancelHeard), StatusCancelled, kFirst},
        Situation{"CancelledWithinARoundWhichIsFinished", Answer("move", 1, kCancels),
                  Behind(kFirstHeard, kCancelHeard), StatusCancelled, kFirst},
        Situation{"CancelledLaterByTheLastOneCalled", Answer("move", 2, kCancels, Plan::Second),
                  Behind(kFirstHeard, "a:Berlin | b:Berlin | a:cancel | b:cancel"), StatusCancelled,
                  kSecond}),
    [](const auto& situation) { return std::string(situation.param.name); });

class RefusedFirstRecord : public CitiesCursor {};

TEST_F(RefusedFirstRecord, LeavesResetRefusedWhenNobodyListens) {
    EXPECT_EQ(cursor.CallReset(germany), StatusRefused);
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.TakeSteps(), "prepare reset calc refuse next calc accept");
    EXPECT_EQ(cursor.Browse(germany), StatusOk);
    EXPECT_EQ(cursor.TakeSteps(), "reset calc refuse next calc accept next calc refuse next");
}

TEST_F(RefusedFirstRecord, LeavesResetOkWhenSomeoneListens) {
    Listen();
    EXPECT_EQ(cursor.CallReset(germany), StatusOk);
    EXPECT_EQ(log, "a:reset [DE] | b:reset [DE]");
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(log, "a:reset [DE] | b:reset [DE] | a:Berlin | b:Berlin");
}

class Cancelling : public CitiesCursor {};

TEST_F(Cancelling, BetweenStepsSparesTheNextStep) {
    Listen();
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    cursor.Cancel();
    EXPECT_TRUE(cursor.IsCancelled());
    static_cast<void>(cursor.TakeSteps());
    static_cast<void>(first->Take());
    EXPECT_EQ(cursor.CallGetNext(), StatusCancelled);
    EXPECT_EQ(cursor.TakeSteps(), "");
    EXPECT_EQ(log, kCancelHeard);
    // It stays until the next reset.
    EXPECT_EQ(cursor.CallGetNext(), StatusCancelled);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_FALSE(cursor.IsCancelled());
}

TEST(CancelledInAStep, IsSeenBeforeTheResetAndBeforeEachRefusedRecord) {
    ScriptCursor cursor{{"country", "city"}, {{"FR", "Lyon"}, {"FR", "Nice"}, {"DE", "Ulm"}}};
    const auto trace = MakeRef<WalkTrace>();
    const ECursorListening listening(cursor, *trace);
    static_cast<void>(cursor.TakeSteps());
    cursor.cancelsIn = "prepare";
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(trace->Take(), "cancel");
    EXPECT_EQ(cursor.TakeSteps(), "prepare");
    cursor.cancelsIn = "refuse";
    EXPECT_EQ(cursor.Browse(Tag({{kCountry, "DE"}})), StatusCancelled);
    EXPECT_EQ(trace->Take(), "reset [DE] | cancel");
    EXPECT_EQ(cursor.TakeSteps(), "reset calc refuse");
}

TEST_F(CitiesCursor, MayBrowseItsOwnCurrentTag) {
    const auto trace = MakeRef<WalkTrace>();
    cursor.AddNotifier(trace.Get());
    trace->AnswerAt("move", 2, StatusEnd);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[DE, Berlin]"));
    cursor.RemNotifier(trace.Get());
    // Whoever looks at the tag during the reset has it built anew: that of the first record.
    Listen();
    first->At("reset", 1, [this] {
        EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[FR, Lyon]"));
        return StatusOk;
    });
    EXPECT_EQ(Heard(*first, cursor.CurrentTag()),
              "a:reset [DE, Berlin] | b:reset [DE, Berlin] | a:Berlin | b:Berlin");
}

}  // namespace
}  // namespace etabulon::test
