#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/cursors/ETabulonCursorRelay.h"
#include "support/MemoryTable.h"
#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace etabulon::test {
namespace {
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
    std::string Walk(const ETabulonTag& tag, CursorStatus status = StatusOk) {
        EXPECT_EQ(relay.Browse(tag), status);
        return heard->Take();
    }

    ScriptCursor source{{"country", "city"},
                        {{"FR", "Paris"}, {"DE", "Berlin"}, {"FR", "Lyon"}, {"DE", "Bonn"}}};
    OpenRelay first{&source};
    OpenRelay relay{&first};
    ERef<WalkTrace> heard = MakeRef<WalkTrace>();
    ERef<WalkTrace> sourceHeard = MakeRef<WalkTrace>();
};

TEST_F(RelayedCities, AreWalkedByTheBareStepsOfTheSource) {
    EXPECT_EQ(Walk(ETabulonTag::Null), "reset [] | Paris | Berlin | Lyon | Bonn");
    EXPECT_EQ(sourceHeard->Take(), "");
    EXPECT_EQ(source.TakeSteps(), "reset next next next next");
    EXPECT_EQ(&relay.Fields(), &source.Fields());
    source.GiveAt("next", 2, static_cast<CursorStatus>(1099));
    EXPECT_EQ(Walk(ETabulonTag::Null, static_cast<CursorStatus>(1099)),
              "reset [] | Paris | Berlin | error(1099)");
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

    VentesData data;
    FailingTable table(*data.table);
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

class OpenPending : public ETabulonCursorPending {
public:
    OpenPending(ETabulonCursor* source, const ETabulonPendingChanges* changes)
        : ETabulonCursorPending(source, changes) {
        Init(source->Levels());
    }
    using ETabulonCursor::CallGetNext;
    using ETabulonCursor::CallReset;
};

ETabulonTag City(const char* country, const char* city) { return Tag({{0, country}, {1, city}}); }

class PendingCities : public ::testing::Test {
protected:
    PendingCities() { cursor.AddNotifier(heard.Get()); }
    std::string Walk(const ETabulonTag& tag = ETabulonTag::Null, CursorStatus status = StatusOk) {
        EXPECT_EQ(cursor.Browse(tag), status);
        return heard->Take();
    }

    ScriptCursor source{{"country", "city"},
                        {{"FR", "Paris"}, {"DE", "Berlin"}, {"FR", "Lyon"}, {"DE", "Bonn"}}};
    ETabulonPendingChanges changes;
    OpenPending cursor{&source, &changes};
    ERef<WalkTrace> heard = MakeRef<WalkTrace>();
};

TEST_F(PendingCities, AreSeenAsTheScriptMakesThem) {
    const auto expect = [this](const char* all, const char* inFrance) {
        EXPECT_EQ(Walk(), std::string("reset [] | ") + all);
        EXPECT_EQ(Walk(Tag({{0, "FR"}})), std::string("reset [FR]") + inFrance);
        changes.Reset();
    };
    expect("Paris | Berlin | Lyon | Bonn", " | Paris | Lyon");
    for (const ETabulonTag& tag : {City("DE", "Ulm"), City("FR", "Nice"), City("FR", "Albi")}) {
        changes.AppendInsert(tag);
    }
    expect("Paris | Berlin | Lyon | Bonn | Ulm | Nice | Albi", " | Paris | Lyon | Nice | Albi");
    changes.AppendDelete(City("FR", "Paris"));
    expect("Berlin | Lyon | Bonn", " | Lyon");
    changes.AppendDelete(Tag({{0, "FR"}}));
    expect("Berlin | Bonn", "");
    changes.AppendDelete(City("FR", "Paris"));
    changes.AppendInsert(City("FR", "Paris"));
    expect("Paris | Berlin | Lyon | Bonn | Paris", " | Paris | Lyon | Paris");
    changes.AppendUpdate(City("FR", "Lyon"), "city", "Nice");
    expect("Paris | Berlin | Nice | Bonn", " | Paris | Nice");
    changes.AppendUpdate(City("FR", "Lyon"), "country", "IT");
    expect("Paris | Berlin | Lyon | Bonn", " | Paris");
}

TEST_F(PendingCities, MovesOnlyTheFirstRecordUnderTheTag) {
    changes.AppendUpdate(City("FR", "Paris"), "country", "DE");
    changes.AppendUpdate(City("FR", "Lyon"), "country", "DE");
    EXPECT_EQ(Walk(Tag({{0, "DE"}})), "reset [DE] | Paris | Berlin | Bonn");
}

TEST_F(PendingCities, UpdateOfALevelMovesARecordAwayFromItsDelete) {
    changes.AppendDelete(City("FR", "Paris"));
    changes.AppendUpdate(City("FR", "Paris"), "city", "Nice");
    changes.AppendUpdate(City("FR", "Lyon"), "city", "Paris");
    EXPECT_EQ(Walk(), "reset [] | Nice | Berlin | Bonn");
}

TEST_F(PendingCities, TellTheListenersOfTheSourceInItsPhaseOnly) {
    const auto sourceHeard = MakeRef<WalkTrace>();
    source.AddNotifier(sourceHeard.Get());
    changes.AppendInsert(City("DE", "Ulm"));
    changes.AppendDelete(City("DE", "Berlin"));
    EXPECT_EQ(Walk(Tag({{0, "DE"}})), "reset [DE] | Bonn | Ulm");
    EXPECT_EQ(sourceHeard->Take(), "reset [DE] | Berlin | Bonn");
}

TEST_F(PendingCities, EndWithTheFailureOfTheSourceBeforeTheInserts) {
    changes.AppendInsert(City("DE", "Ulm"));
    constexpr auto kBroken = static_cast<CursorStatus>(1099);
    for (const CursorStatus status : {kBroken, StatusCancelled}) {
        const std::string end = status == kBroken ? "error(1099)" : "cancel";
        static_cast<void>(source.TakeSteps());
        source.GiveAt("next", 2, status);
        EXPECT_EQ(Walk(ETabulonTag::Null, status), "reset [] | Paris | Berlin | " + end);
        static_cast<void>(source.TakeSteps());
        source.GiveAt("reset", 1, status);
        EXPECT_EQ(Walk(ETabulonTag::Null, status), (status == kBroken ? "reset [] | " : "") + end);
        source.GiveAt("reset", 1, StatusOk);
        EXPECT_EQ(cursor.CurrentTag(), City("FR", "Paris"));  // not an insert
    }
}

TEST_F(PendingCities, KeepTheInsertsOfTheResetAndCanBeCancelledAmongThem) {
    changes.AppendInsert(City("DE", "Ulm"));
    changes.AppendInsert(City("DE", "Jena"));
    heard->At("move", 1, [&] {
        changes.AppendInsert(City("DE", "Kiel"));
        changes.AppendDelete(City("DE", "Ulm"));
        changes.AppendDelete(City("DE", "Bonn"));
        return StatusOk;
    });
    EXPECT_EQ(Walk(), "reset [] | Paris | Berlin | Lyon | Ulm | Jena");
    heard->At("move", 4, [&] {
        source.Cancel();
        return StatusOk;
    });
    heard->AnswerAt("move", 1, StatusOk);
    EXPECT_EQ(Walk(ETabulonTag::Null, StatusCancelled),
              "reset [] | Paris | Berlin | Lyon | Jena | cancel");
}

TEST(PendingEmptySource, GoesToTheInsertsAtOnce) {
    ScriptCursor source({"country", "city"}, {});
    ETabulonPendingChanges changes;
    OpenPending cursor(&source, &changes);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusEnd);
    changes.AppendInsert(City("FR", "Nice"));
    changes.AppendInsert(City("DE", "Ulm"));
    EXPECT_EQ(cursor.CallReset(Tag({{0, "DE"}})), StatusOk);
    EXPECT_EQ(cursor.CurrentTag(), City("DE", "Ulm"));
    for (int behind = 0; behind < 3; ++behind) {
        EXPECT_EQ(cursor.CallGetNext(), StatusEnd);
        EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[, ]"));
    }
    EXPECT_EQ(cursor.CallReset(Tag({{0, "IT"}})), StatusEnd);
}

TEST(PendingTable, ShowsInsertsAsTheSaveWillWriteThem) {
    VentesData data;
    ETabulonLevels levels = LevelsBy({"country", "city"});
    ETabulonCursorEData source;
    source.Init(levels, data.table.get(), /*ownsTable=*/false);
    ETabulonPendingChanges changes;
    OpenPending cursor(&source, &changes);
    changes.AppendInsert(City("IT", "Rome"));
    changes.AppendInsert(Tag({{0, "FR"}}));
    changes.AppendUpdate(City("IT", "Rome"), "year", 2023);
    changes.AppendUpdate(Tag({{0, "FR"}}), "amount", 7);

    const auto row = [&] {
        std::string text;
        for (const char* name : {"id", "country", "city", "year", "amount"}) {
            const EField& field = cursor.Field(name);
            text += std::string(text.empty() ? "" : " ") +
                    (field.IsMissing() ? "-" : field.AsChaine().c_str());
        }
        return text;
    };
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(row(), "1 FR Paris 2021 7");
    EXPECT_EQ(cursor.PrimaryKey().Position(), 0);
    for (int record = 1; record < 5; ++record) {
        EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    }
    EXPECT_EQ(row(), "5 - Berlin 2022 2.25");
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(row(), "- IT Rome 2023 -");
    EXPECT_EQ(cursor.PrimaryKey().Position(), kNoPosition);
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(row(), "- FR - - 7");
    EXPECT_EQ(cursor.CallGetNext(), StatusEnd);
    EXPECT_EQ(row(), "- - - - -");
    EXPECT_EQ(data.table->Count(), 5U);  // the table isn't touched
    EXPECT_EQ(source.Browse(Tag({{0, "FR"}})), StatusOk);
}

}  // namespace
}  // namespace etabulon::test
