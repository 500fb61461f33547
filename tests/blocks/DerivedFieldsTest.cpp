#include "DatedOrders.h"
#include "etabulon/cursors/ETabulonCursorPending.h"

namespace etabulon::test {
namespace {

using Kind = EDerivation::Kind;

TEST(DerivedFields, AreMadeAlikeInBlocksAndInSteps) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    // Of a value that blocks make per record, and one that they look up.
    EXPECT_TRUE(cursor.DeclareDerivedField("both", {"amount.group", "day.year"}, TYPE_DOUBLE,
                                           [](std::span<const EVariant* const> values) {
                                               return EVariant::FromDouble(values[0]->AsDouble() +
                                                                           values[1]->AsDouble());
                                           }));
    ETabulonTag place;
    place.SetValue(0, ETabulonValue(1993, "", /*modified=*/false));
    place.SetValue(3, ETabulonValue("É", "", /*modified=*/false));
    for (const ETabulonTag& tag : {ETabulonTag(), place}) {
        std::size_t blocks = 0;
        std::size_t none = 0;
        const std::string byBlocks = Walked(cursor, /*byBlocks=*/true, tag, blocks);
        EXPECT_EQ(byBlocks, Walked(cursor, false, tag, none));
        EXPECT_GT(blocks, 0U);
        EXPECT_EQ(none, 0U);
    }
    std::size_t none = 0;
    EXPECT_NE(Walked(cursor, true, place, none).find("1993"), std::string::npos);
}

TEST(DerivedFields, OfManyMomentsAreMadePerRecord) {
    DDico dico;
    DRubric* const rubric = dico.AddRubric("Moments");
    AddVariables(*rubric, {{"id", TYPE_LONG}, {"at", TYPE_TIMESTAMP, 9}}, {"id"});
    const auto table = MakeTable(rubric);
    for (int id = 0; id < 2000; ++id) {
        const std::int64_t at = 63'000'000'000'000 + id * 7'654'321LL;
        EVariant moment = EVariant::Missing(TYPE_TIMESTAMP, 8);
        EXPECT_TRUE(id % 17 == 0 || moment.Init(TYPE_TIMESTAMP, 8, &at));
        table->Append({id, moment});
    }
    for (const Kind kind : {Kind::Year, Kind::Week, Kind::Weekday, Kind::Hour}) {
        ETabulonCursorEData cursor;
        cursor.Init(LevelsBy({"part"}), table.get(), /*ownsTable=*/false);
        EXPECT_TRUE(cursor.DeclareDerivedField("part", "at", EDerivation(kind)));
        std::size_t blocks = 0;
        std::size_t none = 0;
        EXPECT_EQ(Walked(cursor, /*byBlocks=*/true, ETabulonTag(), blocks),
                  Walked(cursor, false, ETabulonTag(), none));
        EXPECT_GT(blocks, 0U);
    }
}

TEST(DerivedFields, FollowPendingUpdatesOfWhatTheyAreMadeOf) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    ETabulonPendingChanges changes;
    ETabulonTag of1991;
    of1991.SetValue(0, ETabulonValue(1991, "", /*modified=*/false));
    changes.AppendUpdate(of1991, "day", DatedOrders::DayOf(8, /*isMissing=*/false));  // in 1998
    ETabulonTag of1992;
    of1992.SetValue(0, ETabulonValue(1992, "", /*modified=*/false));
    changes.AppendDelete(of1992);
    ETabulonCursorPending overlay(&cursor, &changes);
    overlay.Init(cursor.Levels());
    std::string texts[2];
    for (const bool byBlocks : {false, true}) {
        const BlocksEnabled enabled(byBlocks);
        EDataTree tree(&overlay, "root", nullptr);
        tree.SetCompareSource(ETabulonSortDesc::CompareOnValue);
        for (unsigned int level = 1; level < 4; ++level) {
            tree.SetHideLevelFlags(level, ETabulonSortDesc::HideInTree);
        }
        ASSERT_EQ(tree.Fill(), StatusOk);
        texts[byBlocks] = TreeText(*tree.Root());
    }
    EXPECT_EQ(texts[0], "root{- 1990 1993 1994 1995 1996 1997 1998}");
    EXPECT_EQ(texts[1], texts[0]);
}

TEST(DerivedFields, AreRefusedWithoutAnExistingVariableOfTheirType) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    EXPECT_FALSE(cursor.DeclareDerivedField("x", "nothing", EDerivation(Kind::Year)));
    EXPECT_FALSE(cursor.DeclareDerivedField("x", "by>nothing", EDerivation(Kind::Year)));
    EXPECT_FALSE(cursor.DeclareDerivedField("x", "amount", EDerivation(Kind::Year)));
    EXPECT_FALSE(cursor.DeclareDerivedField("x", "day", EDerivation(Kind::Hour)));
    EXPECT_FALSE(cursor.DeclareDerivedField("amount", "day", EDerivation(Kind::Year)));
    EXPECT_TRUE(cursor.FindUnresolved().empty());
}

}  // namespace
}  // namespace etabulon::test
