#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/cursors/LoadColumns.h"
#include "etabulon/foundation/EColumnsBuilder.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {

class LoadedSales : public ::testing::Test {
protected:
    LoadedSales() {
        cursor.Init(LevelsBy({"country", "city"}), data.table.get(), /*ownsTable=*/false);
    }
    std::unique_ptr<EDataColumns> Load(const ETabulonTag& tag = ETabulonTag::Null) {
        return LoadColumns(cursor, tag, data.rubric, status);
    }

    VentesData data;
    ETabulonCursorEData cursor;
    CursorStatus status = StatusOk;
};

TEST_F(LoadedSales, AreTheRecordsUnderTheTagWithTheirPositions) {
    ASSERT_NE(data.table->GetLast(), kNoPosition);
    ASSERT_TRUE(data.table->DeleteOne(1));
    const auto columns = Load(Tag({{0, "FR"}}));
    ASSERT_NE(columns, nullptr);
    EXPECT_EQ(columns->Count(), 2U);
    EXPECT_EQ(columns->RePos(1, false), kNoPosition);
    EXPECT_EQ(columns->status, DataNoSuchPosition);
    EXPECT_EQ(columns->GetNext(), kNoPosition);
    EXPECT_EQ(columns->status, DataNoCurrent);
    ASSERT_EQ(columns->RePos(2, false), 2);
    EXPECT_EQ(columns->CurKey().At(0), EVariant(3));
    EXPECT_TRUE(columns->Fields()["city"].IsMissing());
    const std::uint16_t city = static_cast<std::uint16_t>(columns->Fields().IndexOf("city"));
    EXPECT_EQ(columns->CountDistinct(city), 1U);
    EXPECT_GT(Load()->MemoryBytes(), columns->MemoryBytes() + 3 * sizeof(EPosition));
    EXPECT_EQ(Load(Tag({{0, "XX"}}))->GetFirst(), kNoPosition);
}

TEST(LoadedNames, HaveTheirTextsAsKeys) {
    DDico dico;
    DRubric* const rubric = dico.AddRubric("Names");
    AddVariables(*rubric, {{"name", TYPE_CHAINE}}, {"name"});
    const auto stored = MakeTable(rubric, {{"Ada"}, {"Bea"}, {"Cleo"}});
    ETabulonCursorEData cursor;
    cursor.Init(LevelsBy({"name"}), stored.get(), /*ownsTable=*/false);
    CursorStatus status = StatusOk;
    const auto columns = LoadColumns(cursor, ETabulonTag::Null, rubric, status);
    ASSERT_NE(columns, nullptr);
    columns->GetFirst();
    for (const char* const name : {"Ada", "Bea", "Cleo"}) {
        EXPECT_EQ(columns->CurKey().At(0), EVariant(name));
        columns->GetNext();
    }
}

TEST_F(LoadedSales, AreNoneIfTheWalkFailsOrIsCancelled) {
    FailingTable failing(*data.table);
    failing.FailAt("next", 3, DataConnectionLost);
    cursor.Init(LevelsBy({"country"}), &failing, /*ownsTable=*/false);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(status, static_cast<CursorStatus>(DataConnectionLost));
    const auto trace = MakeRef<WalkTrace>("id");
    const ECursorListening listening(cursor, *trace);
    trace->AnswerAt("move", 2, StatusCancelled);
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(status, StatusCancelled);
}

TEST_F(LoadedSales, StandBehindPendingChangesAsTheirTableDoes) {
    ETabulonPendingChanges changes;
    changes.AppendUpdate(Tag({{0, "FR"}, {1, "Paris"}}), "amount", EVariant::FromDouble(7));
    changes.AppendDelete(Tag({{0, "DE"}, {1, "Berlin"}}));
    const auto columns = Load();
    ETabulonCursorEData onColumns;
    onColumns.Init(cursor.Levels(), columns.get(), /*ownsTable=*/false);
    const auto seen = [&changes](ETabulonCursor& source) {
        ETabulonCursorPending pending(&source, &changes);
        pending.Init(source.Levels());
        const auto trace = MakeRef<WalkTrace>("amount");
        const ECursorListening listening(pending, *trace);
        EXPECT_EQ(pending.Browse(ETabulonTag::Null), StatusOk);
        return trace->Take();
    };
    const std::string expected = seen(cursor);
    EXPECT_NE(expected.find('7'), std::string::npos);
    EXPECT_EQ(seen(onColumns), expected);

    changes.AppendInsert(Tag({{0, "IT"}, {1, "Rome"}}));
    ETabulonCursorPending pending(&cursor, &changes);
    pending.Init(cursor.Levels());
    EXPECT_EQ(LoadColumns(pending, ETabulonTag::Null, nullptr, status), nullptr);
    EXPECT_EQ(status, static_cast<CursorStatus>(DataNoSuchPosition));
}

TEST(ColumnsBuilder, KeepsKeysThatAreNoFieldsAndPositionsInAnyOrder) {
    DDico dico;
    DRubric* const rubric = dico.AddRubric("T");
    AddVariables(*rubric, {{"a", TYPE_CHAINE}});
    EColumnsBuilder builder(rubric->MakeFields(), rubric);
    ASSERT_TRUE(builder.NeedsKeys());
    // The first two keys are what their positions stand for; the third is another number.
    const std::pair<EPosition, EVariant> keys[] = {{7, EVariant::FromInt64(7)},
                                                   {-5, EVariant::FromInt64(-4)},
                                                   {3, EVariant::FromInt64(30)},
                                                   {4, EVariant::Missing(TYPE_INT64, 8)}};
    for (const auto& [position, value] : keys) {
        EFieldKey key;
        key.Add(value);
        builder.At(0).Append(EVariant("x"));
        builder.AppendPosition(position);
        builder.AppendKey(key);
    }
    const auto table = builder.Finish();
    for (const auto& [position, value] : keys) {
        ASSERT_EQ(table->RePos(position, false), position);
        ASSERT_EQ(table->CurKey().Size(), 1);
        EXPECT_EQ(table->CurKey().At(0), value);
    }
    EXPECT_EQ(table->RePos(5, false), kNoPosition);
    EXPECT_EQ(table->GetFirst(), 7);
    EXPECT_EQ(table->Lock(kNoPosition, true), DataOk);
    EXPECT_EQ(table->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(table->status, DataReadOnly);
    EXPECT_EQ(table->position, 7);
}

}  // namespace
}  // namespace etabulon::test
