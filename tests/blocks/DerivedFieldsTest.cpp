#include "RandomWalk.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/foundation/EDerivation.h"
#include "support/FailingSource.h"

namespace etabulon::test {
namespace {

using Kind = EDerivation::Kind;

/// Orders of a day, an amount and a customer, who has a birthday and a name.
struct DatedOrders {
    static constexpr int kRecords = 3000;

    DatedOrders() {
        AddVariables(*customers,
                     {{"id", TYPE_LONG}, {"born", TYPE_DATE, kNullableLong}, {"name", TYPE_CHAINE}},
                     {"id"});
        AddVariables(*orders,
                     {{"id", TYPE_LONG},
                      {"day", TYPE_DATE, kNullableLong},
                      {"amount", TYPE_DOUBLE, kNullableDouble},
                      {"customer", TYPE_LONG, kNullableLong}},
                     {"id"});
        orders->AddLink("by", {"customer"}, customers);
        customerTable = MakeTable(customers);
        for (int id = 0; id < 20; ++id) {
            customerTable->Append({id, DayOf(id * 500, id % 7 == 0), id % 5 == 0 ? "Åsa" : "Éva"});
        }
        table = MakeTable(orders);
        for (int id = 0; id < kRecords; ++id) {
            const EVariant amount = id % 11 == 0 ? EVariant::Missing(TYPE_DOUBLE, 8)
                                                 : EVariant::FromDouble((id * 37 % 1000) / 8.0);
            table->Append({id, DayOf(id, id % 13 == 0), amount, id % 23});
        }
        source = FailingSource::Before(*customers);
    }
    static EVariant DayOf(int number, bool isMissing) {
        const int date = (1990 + number % 9) * 10000 + (1 + number % 12) * 100 + 1 + number % 28;
        EVariant day = EVariant::Missing(TYPE_DATE, 4);
        if (!isMissing) {
            EXPECT_TRUE(day.Init(TYPE_DATE, 4, &date));
        }
        return day;
    }
    void Init(ETabulonCursorEData& cursor) {
        cursor.Init(LevelsBy({"day.year", "by>born.month", "amount.group", "by>name.letter"}),
                    table.get(), /*ownsTable=*/false);
        EXPECT_TRUE(cursor.DeclareDerivedField("day.year", "day", EDerivation(Kind::Year)));
        EXPECT_TRUE(
            cursor.DeclareDerivedField("by>born.month", "by>born", EDerivation(Kind::Month)));
        EXPECT_TRUE(cursor.DeclareDerivedField("amount.group", "amount", EDerivation::Bin(12.5)));
        EXPECT_TRUE(cursor.DeclareDerivedField("by>name.letter", "by>name", EDerivation::First(1)));
        EXPECT_TRUE(cursor.DeclareDerivedField("day.year", "day", EDerivation(Kind::Year)));
    }

    DDico dico;
    DRubric* customers = dico.AddRubric("Customers");
    DRubric* orders = dico.AddRubric("Orders");
    std::unique_ptr<EDataMemory> customerTable, table;
    std::shared_ptr<FailingSource> source;
};

std::string Walked(ETabulonCursor& cursor, bool byBlocks, const ETabulonTag& tag,
                   std::size_t& blocks) {
    const BlocksEnabled enabled(byBlocks);
    RecordTrace trace(byBlocks, 0);
    const ECursorListening listening(cursor, trace);
    EXPECT_EQ(cursor.Browse(tag), StatusOk);
    blocks = trace.blocks;
    return trace.trace;
}

TEST(DerivedFields, AreMadeAlikeInBlocksAndInSteps) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
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
        for (unsigned level = 1; level < 4; ++level) {
            tree.SetHideLevelFlags(level, ETabulonSortDesc::HideInTree);
        }
        ASSERT_EQ(tree.Fill(), StatusOk);
        texts[byBlocks] = TreeText(*tree.Root());
    }
    EXPECT_EQ(texts[0], "root{- 1990 1993 1994 1995 1996 1997 1998}");
    EXPECT_EQ(texts[1], texts[0]);
}

TEST(StandingFilter, HoldsForEveryWalkAndForDerivedOnes) {
    DatedOrders data;
    ETabulonCursorEData cursor;
    data.Init(cursor);
    ETabulonTag standing;
    standing.SetValue(0, ETabulonValue(1993, "", /*modified=*/false));
    ETabulonTag both = standing;
    both.SetValue(3, ETabulonValue("\xC3\x89", "", /*modified=*/false));
    ETabulonTag letter;
    letter.SetValue(3, both.Value(3));
    const auto records = [&cursor](bool byBlocks, const ETabulonTag& tag) {
        std::size_t blocks = 0;
        const std::string trace = Walked(cursor, byBlocks, tag, blocks);
        return trace.substr(trace.find('\n'));  // without the reset's tag
    };
    const std::string wanted = records(true, both);
    cursor.SetStandingFilter(standing);
    EXPECT_EQ(records(true, letter), wanted);
    EXPECT_EQ(records(false, letter), wanted);
    cursor.SetStandingFilter(ETabulonTag());
    EXPECT_NE(records(false, letter), wanted);
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
