#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "support/LinkedSales.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon {
namespace {

using test::Tag;
using test::WalkTrace;

constexpr auto kLocked = static_cast<CursorStatus>(DataLocked);

class LinkFailures : public ::testing::Test, protected test::LinkedSales {};

TEST_F(LinkFailures, EndAWalkAtEachReadAndTheNextIsWhole) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(Tag({{0, "France"}}), "id", 11);
    changes.AppendDelete(Tag({{0, EVariant()}, {1, EVariant()}}));
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init(cursor.Levels());
    ETabulonCursorCache cache(&cursor);
    const ERef<WalkTrace> trace = MakeRef<WalkTrace>();
    for (ETabulonCursor* const front :
         {static_cast<ETabulonCursor*>(&cursor), static_cast<ETabulonCursor*>(&overlay),
          static_cast<ETabulonCursor*>(&cache)}) {
        const ECursorListening listening(*front, *trace);
        const auto walk = [&] {
            cache.ClearCache();
            return front->Browse(ETabulonTag::Null);
        };
        ASSERT_EQ(walk(), StatusOk);
        const std::string whole = trace->Take();
        ASSERT_EQ(whole.find("reset [] | Paris | Ulm | "), 0U) << whole;
        for (const auto& source : sources) {
            int reads = source->reads;
            ASSERT_EQ(walk(), StatusOk);
            reads = source->reads - reads;
            ASSERT_GT(reads, 1);
            static_cast<void>(trace->Take());
            for (int failing = 1; failing <= reads; ++failing) {
                SCOPED_TRACE(failing);
                source->FailAt(failing, DataLocked);
                EXPECT_EQ(walk(), kLocked);
                EXPECT_EQ(cursor.LinkError().text, Chaine("linked table can't be read"));
                const std::string seen = trace->Take();
                const std::size_t end = seen.rfind(" | error(1001)");
                ASSERT_NE(end, std::string::npos) << seen;
                EXPECT_EQ(seen.substr(0, end), front == &cache ? "reset []" : whole.substr(0, end));
                EXPECT_EQ(walk(), StatusOk);
                EXPECT_EQ(cursor.LinkError().status, DataOk);
                EXPECT_EQ(trace->Take(), whole);
            }
        }
    }
}

TEST_F(LinkFailures, EndTheResetWhereNoLookupCanBeOpened) {
    const ERef<WalkTrace> trace = MakeRef<WalkTrace>();
    const ECursorListening listening(cursor, *trace);
    sources[1]->openFailure = {DataConnectionLost, 14, "cities can't be opened"};
    const auto empty = test::MakeTable(rubric);  // of which no record would ask for a link
    const ETabulonLevels levels = cursor.Levels();
    for (EDataMemory* const each : {empty.get(), table.get()}) {
        cursor.Init(levels, each, /*ownsTable=*/false);
        for (int turn = 0; turn < 2; ++turn) {
            EXPECT_EQ(cursor.Browse(ETabulonTag::Null),
                      static_cast<CursorStatus>(DataConnectionLost));
            EXPECT_EQ(cursor.LinkError().text, Chaine("cities can't be opened"));
            EXPECT_EQ(trace->Take(), "reset [] | error(1003)");
        }
    }
    sources[1]->openFailure = EDataError{};
    EXPECT_EQ(cursor.Browse(Tag({{0, "France"}})), StatusOk);
    EXPECT_EQ(trace->Take(), "reset [France] | Paris | Paris");
}

// Of levels, their labels and calculations, behind links and not, also through a relay.
TEST_F(LinkFailures, AndMisspelledNamesAreFoundBeforeAWalk) {
    EXPECT_TRUE(cursor.DeclareLinkField("place>land>code"));
    EXPECT_FALSE(cursor.DeclareLinkField("place>ghost"));
    EXPECT_FALSE(cursor.DeclareLinkField("place>ghost"));
    const auto codes = [](ETabulonCursor& asked) {
        std::string text;
        for (const ETabulonVariableID& variable :
             asked.FindUnresolved({"id", "Sales.city", "place>land>code", "place>ghost", "ID2",
                                   "place>land>capital", "ghost", "id2"})) {
            text += std::string(variable.Code().View()) + " ";
        }
        return text;
    };
    EXPECT_EQ(codes(cursor), "place>ghost ID2 place>land>capital ghost ");
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    ETabulonLevels levels;
    levels.AddLevel("City", "place>name", "plaec>name", nullptr, /*addRef=*/false);
    ETabulonCursorRelay relay(&cursor);
    relay.Init(levels);
    EXPECT_EQ(codes(relay), "plaec>name place>ghost ID2 place>land>capital ghost ");
}

TEST(CursorOnNoTable, FailsEachStepAndHasNoUpdater) {
    ETabulonCursorEData cursor;
#if defined(ETABULON_CHECKS)
    EXPECT_DEATH(cursor.Browse(ETabulonTag::Null), "expected: table_ != nullptr");
    EXPECT_DEATH(cursor.Init(ETabulonLevels(), nullptr, false), "expected: table != nullptr");
#else
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), static_cast<CursorStatus>(DataOther));
        EXPECT_EQ(cursor.Updater(), nullptr);
        EXPECT_FALSE(cursor.CanResolve("id"));
        cursor.Init(ETabulonLevels(), nullptr, /*ownsTable=*/true);
    }
#endif
}

}  // namespace
}  // namespace etabulon
