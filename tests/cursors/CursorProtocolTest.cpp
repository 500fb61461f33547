#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <ostream>

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
    EXPECT_EQ(cursor.Browse(france), StatusOk);
    EXPECT_EQ(trace->Take(), "reset [FR] | Lyon | Paris");
    EXPECT_EQ(cursor.TakeSteps(),
              "prepare reset calc accept next calc refuse next calc accept next");
    EXPECT_EQ(cursor.Browse(Tag({{kCountry, "FR"}, {1, "Paris"}})), StatusOk);
    EXPECT_EQ(trace->Take(), "reset [FR, Paris] | Paris");
    EXPECT_EQ(cursor.Browse(Tag({{kCountry, "IT"}})), StatusOk);
    EXPECT_EQ(trace->Take(), "reset [IT]");
    cursor.RemNotifier(trace.Get());
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(trace->Take(), "");
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

/// A situation in a walk over everything with two listeners, and what comes of it.
struct Situation {
    const char* name;
    std::function<void(ScriptCursor&, WalkTrace& first, WalkTrace& second)> arrange;
    std::string trace;
    CursorStatus result;
    std::string steps;
};
void PrintTo(const Situation& situation, std::ostream* out) { *out << situation.name; }

class WalkSituation : public CitiesCursor, public ::testing::WithParamInterface<Situation> {};

TEST_P(WalkSituation, GivesTraceStepsAndResult) {
    Listen();
    GetParam().arrange(cursor, *first, *second);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), GetParam().result);
    EXPECT_EQ(log, GetParam().trace);
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
    EXPECT_EQ(cursor.Browse(germany), StatusOk);
    EXPECT_EQ(log, "a:reset [DE] | b:reset [DE] | a:Berlin | b:Berlin");
}

const auto kGive = [](const char* step, int count, CursorStatus status) {
    return
        [=](ScriptCursor& cursor, WalkTrace&, WalkTrace&) { cursor.GiveAt(step, count, status); };
};
const auto kAnswer = [](const char* event, int count, CursorStatus status) {
    return
        [=](ScriptCursor&, WalkTrace& first, WalkTrace&) { first.AnswerAt(event, count, status); };
};
const auto kCancelAt = [](const char* event, int count, bool bySecond) {
    return [=](ScriptCursor& cursor, WalkTrace& first, WalkTrace& second) {
        (bySecond ? second : first).At(event, count, [&cursor] {
            cursor.Cancel();
            return StatusOk;
        });
    };
};

constexpr const char* kReset = "prepare reset";
constexpr const char* kFirst = "prepare reset calc accept";
constexpr const char* kSecond = "prepare reset calc accept next calc accept";
constexpr const char* kResetHeard = "a:reset [] | b:reset []";
constexpr const char* kFirstHeard = "a:reset [] | b:reset [] | a:Lyon | b:Lyon";

std::string Behind(const char* start, const char* rest) {
    return std::string(start) + " | " + rest;
}
INSTANTIATE_TEST_SUITE_P(
    Protocol, WalkSituation,
    ::testing::Values(
        Situation{"cancelled before, which the reset forgets",
                  [](ScriptCursor& cursor, WalkTrace&, WalkTrace&) {
                      cursor.Cancel();
                      cursor.GiveAt("next", 1, StatusEnd);
                  },
                  kFirstHeard, StatusOk, std::string(kFirst) + " next"},
        Situation{"reset ends", kGive("reset", 1, StatusEnd),
                  Behind(kResetHeard, "a:done | b:done"), StatusOk, kReset},
        Situation{"reset fails", kGive("reset", 1, kBroken),
                  Behind(kResetHeard, "a:error(77) | b:error(77)"), kBroken, kReset},
        Situation{"reset is cancelled", kGive("reset", 1, StatusCancelled), "a:cancel | b:cancel",
                  StatusCancelled, kReset},
        Situation{"reset refuses, which is a failure once",
                  [](ScriptCursor& cursor, WalkTrace&, WalkTrace&) {
                      cursor.GiveAt("reset", 1, StatusRefused);
                      cursor.GiveAt("next", 1, StatusEnd);
                  },
                  Behind(kResetHeard, "a:error(-3) | b:error(-3)"), StatusOk, "prepare reset next"},
        Situation{"listener stops the reset", kAnswer("reset", 1, kBroken), "a:reset []", kBroken,
                  kReset},
        Situation{"listener ends the reset", kAnswer("reset", 1, StatusEnd), "a:reset []", StatusOk,
                  kReset},
        Situation{"listener stops a reset that failed",
                  [](ScriptCursor& cursor, WalkTrace& first, WalkTrace&) {
                      cursor.GiveAt("reset", 1, kBroken);
                      first.AnswerAt("reset", 1, static_cast<CursorStatus>(5));
                  },
                  "a:reset []", static_cast<CursorStatus>(5), kReset},
        Situation{"first record fails", kGive("accept", 1, kBroken),
                  Behind(kResetHeard, "a:error(77) | b:error(77)"), kBroken, kFirst},
        Situation{"first record is accepted as the end", kGive("accept", 1, StatusEnd),
                  Behind(kResetHeard, "a:error(9) | b:error(9)"), StatusOk, kFirst},
        Situation{"first record is cancelled", kGive("accept", 1, StatusCancelled),
                  Behind(kResetHeard, "a:cancel | b:cancel"), StatusCancelled, kFirst},
        Situation{"listener ends at the first record", kAnswer("move", 1, StatusEnd),
                  Behind(kResetHeard, "a:Lyon"), StatusOk, kFirst},
        Situation{"listener fails at the first record", kAnswer("move", 1, kBroken),
                  Behind(kResetHeard, "a:Lyon"), kBroken, kFirst},
        Situation{"listener refuses at the first record, and the walk goes on",
                  [](ScriptCursor& cursor, WalkTrace& first, WalkTrace&) {
                      cursor.GiveAt("next", 2, StatusEnd);
                      first.AnswerAt("move", 1, StatusRefused);
                  },
                  Behind(kResetHeard, "a:Lyon | a:Berlin | b:Berlin"), StatusOk,
                  std::string(kSecond) + " next"},
        Situation{"listener refuses later, and the walk ends", kAnswer("move", 2, StatusRefused),
                  Behind(kFirstHeard, "a:Berlin"), StatusRefused, kSecond},
        Situation{"listener ends at a later record", kAnswer("move", 2, StatusEnd),
                  Behind(kFirstHeard, "a:Berlin"), StatusOk, kSecond},
        Situation{"listener fails at a later record", kAnswer("move", 2, kBroken),
                  Behind(kFirstHeard, "a:Berlin"), kBroken, kSecond},
        Situation{"step fails", kGive("next", 1, kBroken),
                  Behind(kFirstHeard, "a:error(77) | b:error(77)"), kBroken,
                  "prepare reset calc accept next"},
        Situation{"step is cancelled", kGive("next", 1, StatusCancelled),
                  Behind(kFirstHeard, "a:cancel | b:cancel"), StatusCancelled,
                  "prepare reset calc accept next"},
        Situation{"step and filter refuse, which nobody hears",
                  [](ScriptCursor& cursor, WalkTrace&, WalkTrace&) {
                      cursor.GiveAt("next", 1, StatusRefused);
                      cursor.GiveAt("accept", 2, StatusRefused);
                  },
                  kFirstHeard, StatusOk, "prepare reset calc accept next next calc accept next"},
        Situation{"later record fails", kGive("accept", 2, kBroken),
                  Behind(kFirstHeard, "a:error(77) | b:error(77)"), kBroken, kSecond},
        Situation{"later record is accepted as the end, which tells nobody",
                  kGive("accept", 2, StatusEnd), kFirstHeard, StatusOk, kSecond},
        Situation{"cancelled by who hears the reset, seen at the next step",
                  kCancelAt("reset", 1, false), Behind(kFirstHeard, "a:cancel | b:cancel"),
                  StatusCancelled, kFirst},
        Situation{"cancelled within a round, which is finished", kCancelAt("move", 1, false),
                  Behind(kFirstHeard, "a:cancel | b:cancel"), StatusCancelled, kFirst},
        Situation{"cancelled later, by the last one called", kCancelAt("move", 2, true),
                  Behind(kFirstHeard, "a:Berlin | b:Berlin | a:cancel | b:cancel"), StatusCancelled,
                  kSecond}),
    [](const auto& situation) {
        std::string name;
        bool isStart = true;
        for (const char* c = situation.param.name; *c != '\0'; ++c) {
            if (*c < 'a' || *c > 'z') {
                isStart = true;
            } else {
                name += isStart ? static_cast<char>(*c - 'a' + 'A') : *c;
                isStart = false;
            }
        }
        return name;
    });

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
    EXPECT_EQ(log, "a:cancel | b:cancel");
    // It stays until the next reset.
    EXPECT_EQ(cursor.CallGetNext(), StatusCancelled);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_FALSE(cursor.IsCancelled());
}

/// Cancels itself in a step of its own.
class SelfCancelling : public ScriptCursor {
public:
    using ScriptCursor::ScriptCursor;
    bool inPrepare = false;
    bool inRefusal = false;

protected:
    void PrepareFields() override {
        ScriptCursor::PrepareFields();
        if (inPrepare) {
            Cancel();
        }
    }
    void OnRefusedByFilter() override {
        ScriptCursor::OnRefusedByFilter();
        if (inRefusal) {
            Cancel();
        }
    }
};

TEST(CancelledInAStep, IsSeenBeforeTheResetAndBeforeEachRefusedRecord) {
    SelfCancelling cursor{{"country", "city"}, {{"FR", "Lyon"}, {"FR", "Nice"}, {"DE", "Ulm"}}};
    const auto trace = MakeRef<WalkTrace>();
    const ECursorListening listening(cursor, *trace);
    static_cast<void>(cursor.TakeSteps());
    cursor.inPrepare = true;
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(trace->Take(), "cancel");
    EXPECT_EQ(cursor.TakeSteps(), "prepare");
    cursor.inRefusal = true;
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
    EXPECT_EQ(cursor.Browse(cursor.CurrentTag()), StatusOk);
    EXPECT_EQ(log, "a:reset [DE, Berlin] | b:reset [DE, Berlin] | a:Berlin | b:Berlin");
}

}  // namespace
}  // namespace etabulon::test
