#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "support/MemoryTable.h"
#include "support/ScriptCursor.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace etabulon {
namespace {

using test::ScriptCursor;
using test::Tag;
using test::WalkTrace;

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
    std::string Walk(const ETabulonTag& tag = ETabulonTag::Null) {
        EXPECT_EQ(cursor.Browse(tag), StatusOk);
        return heard->Take();
    }

    ScriptCursor source{{"country", "city"},
                        {{"FR", "Paris"}, {"DE", "Berlin"}, {"FR", "Lyon"}, {"DE", "Bonn"}}};
    ETabulonPendingChanges changes;
    OpenPending cursor{&source, &changes};
    ERef<WalkTrace> heard = MakeRef<WalkTrace>();
};

struct Case {
    const char* name;
    std::function<void(ETabulonPendingChanges&)> fill;
    const char* all;
    const char* inFrance;
};

TEST_F(PendingCities, AreSeenAsTheScriptMakesThem) {
    using Script = ETabulonPendingChanges;
    for (const Case& c : {
             Case{"an empty script", [](Script&) {}, "Paris | Berlin | Lyon | Bonn",
                  "Paris | Lyon"},
             Case{"inserts at the end, those under the tag",
                  [](Script& s) {
                      s.AppendInsert(City("DE", "Ulm"));
                      s.AppendInsert(City("FR", "Nice"));
                      s.AppendInsert(City("FR", "Albi"));
                  },
                  "Paris | Berlin | Lyon | Bonn | Ulm | Nice | Albi", "Paris | Lyon | Nice | Albi"},
             Case{"a deleted record", [](Script& s) { s.AppendDelete(City("FR", "Paris")); },
                  "Berlin | Lyon | Bonn", "Lyon"},
             Case{"a deleted branch",
                  [](Script& s) {
                      s.AppendDelete(Tag({{0, "FR"}}));
                  },
                  "Berlin | Bonn", ""},
             Case{"a record deleted and inserted again, both",
                  [](Script& s) {
                      s.AppendDelete(City("FR", "Paris"));
                      s.AppendInsert(City("FR", "Paris"));
                  },
                  "Paris | Berlin | Lyon | Bonn | Paris", "Paris | Lyon | Paris"},
             Case{"an updated level",
                  [](Script& s) { s.AppendUpdate(City("FR", "Lyon"), "city", "Nice"); },
                  "Paris | Berlin | Nice | Bonn", "Paris | Nice"},
             Case{"a record moved away",
                  [](Script& s) { s.AppendUpdate(City("FR", "Lyon"), "country", "IT"); },
                  "Paris | Berlin | Lyon | Bonn", "Paris"},
         }) {
        SCOPED_TRACE(c.name);
        changes.Reset();
        c.fill(changes);
        EXPECT_EQ(Walk(), std::string("reset [] | ") + c.all);
        EXPECT_EQ(Walk(Tag({{0, "FR"}})),
                  std::string("reset [FR]") + (*c.inFrance != 0 ? " | " : "") + c.inFrance);
    }
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
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), status);
        EXPECT_EQ(heard->Take(), "reset [] | Paris | Berlin | " + end);
        static_cast<void>(source.TakeSteps());
        source.GiveAt("reset", 1, status);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), status);
        EXPECT_EQ(heard->Take(), (status == kBroken ? "reset [] | " : "") + end);
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
    changes.Reset();
    changes.AppendInsert(City("DE", "Ulm"));
    changes.AppendInsert(City("DE", "Jena"));
    heard->At("move", 5, [&] {
        source.Cancel();
        return StatusOk;
    });
    heard->AnswerAt("move", 1, StatusOk);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(heard->Take(), "reset [] | Paris | Berlin | Lyon | Bonn | Ulm | cancel");
}

TEST(PendingEmptySource, GoesToTheInsertsAtOnce) {
    ScriptCursor source({"country", "city"}, {});
    ETabulonPendingChanges changes;
    OpenPending cursor(&source, &changes);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusEnd);
    changes.AppendInsert(City("FR", "Nice"));
    changes.AppendInsert(City("DE", "Ulm"));
    changes.AppendInsert(City("FR", "Albi"));
    EXPECT_EQ(cursor.CallReset(Tag({{0, "FR"}})), StatusOk);
    EXPECT_EQ(cursor.CurrentTag(), City("FR", "Nice"));
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.CurrentTag(), City("FR", "Albi"));
    for (int behind = 0; behind < 3; ++behind) {
        EXPECT_EQ(cursor.CallGetNext(), StatusEnd);
        EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[, ]"));
    }
    EXPECT_EQ(cursor.CallReset(Tag({{0, "IT"}})), StatusEnd);
}

TEST(PendingTable, ShowsInsertsAsTheSaveWillWriteThem) {
    test::VentesData data;
    ETabulonLevels levels;
    levels.AddLevel("Country", "country", nullptr, /*addRef=*/false);
    levels.AddLevel("City", "city", nullptr, /*addRef=*/false);
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
}  // namespace etabulon
