#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/EDataTable.h"
#include "etabulon/foundation/EExtract.h"
#include "support/Tags.h"
#include "support/WalkTrace.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::test {

/// A table to be made: nullable columns are of text, or of one byte more than natural.
struct TableSchema {
    struct Column {
        const char* name;
        int type;
        unsigned int size;
    };
    struct Link {
        const char* name;
        std::vector<Chaine> variables;
        const char* target;  // a table made before, or this one
    };
    const char* name;
    std::vector<Column> columns;
    std::vector<Chaine> key;
    std::vector<Link> links;
};

using TableRows = std::vector<std::vector<EVariant>>;  // in the order of the key

inline DRubric* MakeRubric(DDico& dico, const TableSchema& schema) {
    DRubric* const rubric = dico.AddRubric(schema.name);
    for (const auto& [name, type, size] : schema.columns) {
        rubric->AddVariable(name, name, type, size);
    }
    rubric->SetKey(schema.key);
    for (const auto& [name, variables, target] : schema.links) {
        rubric->AddLink(name, variables, dico.Find(target));
    }
    return rubric;
}

/// Where the suite gets its tables from. What it makes goes with it, after the tables.
class TableFactory {
public:
    virtual ~TableFactory() = default;
    /// The table's rubric with its variables, key and links, a source for links to it, and rows.
    virtual void Make(const TableSchema& schema, const TableRows& rows) = 0;
    /// A further table object on the records of a table that was made. Walks in the order of the
    /// key.
    [[nodiscard]] virtual std::unique_ptr<EDataTable> Open(const char* name) = 0;
};

/// Instantiated by each kind of table, and WritableTableSuite by those that can be written:
/// INSTANTIATE_TEST_SUITE_P(Memory, TableCursorSuite, Values(TableMaker([] {...})));
using TableMaker = std::function<std::unique_ptr<TableFactory>()>;

/// Opens the steps of a table cursor, and narrows as it is told.
class OpenTableCursor : public ETabulonCursorEData {
public:
    using ETabulonCursorEData::CallGetNext;
    using ETabulonCursorEData::CallReset;
    using ETabulonCursorEData::IsInInsertMode;
    CursorStatus rangeAnswer = StatusOk;
    mutable std::string rangesAsked;

    CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const override {
        rangesAsked += table == Data() ? tag.DisplayID().c_str() : "another table";
        return rangeAnswer;
    }
};

/// Sales in cities, cities in countries. City 3 is unknown, sale 5 has no city, Rome no country.
class TableCursorSuite : public ::testing::TestWithParam<TableMaker> {
protected:
    static constexpr unsigned int kNullableLong = 5;

    TableCursorSuite() {
        factory->Make(
            {"Countries", {{"code", TYPE_CHAINE, 0}, {"title", TYPE_CHAINE, 0}}, {"code"}, {}},
            {{"DE", "Germany"}, {"FR", "France"}});
        factory->Make(
            {"Cities",
             {{"id", TYPE_LONG, 0}, {"name", TYPE_CHAINE, 0}, {"country", TYPE_CHAINE, 0}},
             {"id"},
             {{"land", {"country"}, "Countries"}}},
            {{1, "Paris", "FR"}, {2, "Ulm", "DE"}, {4, "Rome", EVariant()}});
        factory->Make({"Sales",
                       {{"id", TYPE_LONG, 0},
                        {"city", TYPE_LONG, kNullableLong},
                        {"year", TYPE_LONG, kNullableLong},
                        {"note", TYPE_CHAINE, 0}},
                       {"id"},
                       {{"place", {"city"}, "Cities"}}},
                      {{1, 1, 2021, "a"},
                       {2, 2, 2021, "b"},
                       {3, 1, 2022, ""},
                       {4, 3, 2022, EVariant()},
                       {5, EVariant(), EVariant(), "e"},
                       {6, 4, 2022, "f"}});
        sales = factory->Open("Sales");
    }
    ~TableCursorSuite() override { cursor.RemNotifier(trace.Get()); }

    void Start(std::initializer_list<const char*> variables) {
        cursor.Init(LevelsBy(variables), sales.get(), /*ownsTable=*/false);
        cursor.RemNotifier(trace.Get());
        cursor.AddNotifier(trace.Get());
    }
    std::string Walk(const ETabulonTag& tag = ETabulonTag::Null) {
        EXPECT_EQ(cursor.Browse(tag), StatusOk);
        return trace->Take();
    }
    /// Leaves the cursor on the n-th record under the root, from 1.
    void WalkTo(int record) {
        trace->AnswerAt("move", record, StatusEnd);
        static_cast<void>(Walk());
        trace->AnswerAt("move", record, StatusOk);
    }
    /// The records as stored, one by one: "1:1:2021:a 2:2:2021:b", "-" for what is missing.
    std::string Stored(const char* name = "Sales") {
        const auto table = factory->Open(name);
        std::string text;
        for (EPosition at = table->GetFirst(); at != kNoPosition; at = table->GetNext()) {
            for (std::size_t index = 0; index < table->Fields().Size(); ++index) {
                const EField& field = table->Fields().At(static_cast<std::uint16_t>(index));
                text += index != 0 ? ":" : (text.empty() ? "" : " ");
                text += field.IsMissing() ? "-" : field.AsChaine().c_str();
            }
        }
        EXPECT_EQ(table->status, DataEnd);
        return text;
    }
    /// The rest of a record's key and tag, for the updater.
    struct Place {
        ETabulonPrimaryKey key;
        ETabulonTag tag;
    };
    Place PlaceOf(int record) {
        WalkTo(record);
        return {cursor.PrimaryKey(), cursor.CurrentTag()};
    }

    std::unique_ptr<TableFactory> factory = GetParam()();
    std::unique_ptr<EDataTable> sales;
    OpenTableCursor cursor;
    ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
};

/// The same for a table that can be written.
class WritableTableSuite : public TableCursorSuite {};

inline constexpr const char* kStoredSales =
    "1:1:2021:a 2:2:2021:b 3:1:2022: 4:3:2022:- 5:-:-:e 6:4:2022:f";

TEST_P(TableCursorSuite, WalksTheRecordsUnderATag) {
    Start({"year", "city"});
    EXPECT_EQ(Walk(), "reset [] | 1 | 2 | 3 | 4 | 5 | 6");
    EXPECT_EQ(Walk(Tag({{0, 2021}})), "reset [2021] | 1 | 2");
    EXPECT_EQ(Walk(Tag({{1, 1}})), "reset [1] | 1 | 3");
    EXPECT_EQ(Walk(Tag({{0, EVariant()}})), "reset [] | 5");
    EXPECT_EQ(Walk(Tag({{0, 2022}, {1, 4}})), "reset [2022, 4] | 6");
    EXPECT_EQ(Walk(Tag({{0, 1999}})), "reset [1999]");
    EXPECT_EQ(Stored(), kStoredSales);
}

TEST_P(TableCursorSuite, TellsKeyAndTagOfEachRecord) {
    Start({"year", "city/note"});
    const Place place = PlaceOf(2);
    EXPECT_EQ(place.tag.DisplayID(), Chaine("[2021, b]"));
    EXPECT_EQ(place.key.SingleCode().DisplayValue(), Chaine("2"));
    EXPECT_EQ(place.key.SingleCode().Data(), EVariant(2));
    EXPECT_EQ(place.key.Position(), sales->position);
    // A label without text leaves the data's; a missing value has none.
    EXPECT_EQ(PlaceOf(3).tag.DisplayID(), Chaine("[2022, 1]"));
    EXPECT_EQ(PlaceOf(5).tag.DisplayID(), Chaine("[, ]"));
    EXPECT_TRUE(PlaceOf(5).tag.Value(0).IsNull());
}

TEST_P(TableCursorSuite, EndsAnEmptyTableAtItsReset) {
    factory->Make({"Nothing", {{"id", TYPE_LONG, 0}}, {"id"}, {}}, {});
    sales = factory->Open("Nothing");
    Start({"id"});
    EXPECT_EQ(Walk(), "reset [] | done");
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusEnd);
    EXPECT_EQ(sales->status, DataEnd);
}

TEST_P(TableCursorSuite, IgnoresARangeThatCouldNotBeSet) {
    Start({"year"});
    cursor.rangeAnswer = static_cast<CursorStatus>(DataBadStatement);
    EXPECT_EQ(Walk(Tag({{0, 2021}})), "reset [2021] | 1 | 2");
    EXPECT_EQ(cursor.rangesAsked, "[2021]");
}

TEST_P(TableCursorSuite, ReachesOtherTablesThroughLinks) {
    const auto tags = [this] {
        std::string text;
        for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status == StatusOk;
             status = cursor.CallGetNext()) {
            text += cursor.CurrentTag().DisplayID().c_str();
        }
        return text;
    };
    Start({"place>name", "year"});
    EXPECT_EQ(tags(), "[Paris, 2021][Ulm, 2021][Paris, 2022][, 2022][, ][Rome, 2022]");
    // Two hops, and the rubric that the path starts at told.
    Start({"Sales.place>land>title", "year"});
    EXPECT_EQ(tags(), "[France, 2021][Germany, 2021][France, 2022][, 2022][, ][, 2022]");
    // A label through a link, beside data of the table's own.
    Start({"city/place>name"});
    EXPECT_EQ(tags(), "[Paris][Ulm][Paris][3][][Rome]");
    // What doesn't resolve reads as missing, and harms no other level.
    Start({"place>ghost", "ghost>name", "place>name", "ghost", "year/ghost>ghost"});
    EXPECT_EQ(tags(),
              "[, , Paris, , 2021][, , Ulm, , 2021][, , Paris, , 2022][, , , , 2022][, , , , ]"
              "[, , Rome, , 2022]");
    EXPECT_FALSE(ETabulonVariableID("place>ghost").ExistsIn(cursor.Fields()));
}

TEST_P(TableCursorSuite, FiltersByWhatIsBehindALink) {
    Start({"place>land>title/city", "year"});
    EXPECT_EQ(Walk(Tag({{0, "France"}})), "reset [France] | 1 | 3");
    EXPECT_EQ(Walk(Tag({{0, EVariant()}})), "reset [] | 4 | 5 | 6");
}

TEST_P(TableCursorSuite, DeclaresLinkFieldsForLinksOnly) {
    Start({"year", "city"});
    static_cast<void>(Walk());
    EXPECT_EQ(cursor.Fields().Size(), sales->Fields().Size());
    Start({"year", "place>name/place>land>title", "place>name"});
    cursor.DeclareLinkField("place>country");
    cursor.DeclareLinkField("PLACE>COUNTRY");
    static_cast<void>(Walk());
    EXPECT_EQ(cursor.Fields().Size(), sales->Fields().Size() + 3);
    WalkTo(1);
    EXPECT_EQ(cursor.Field("place>country").AsChaine(), Chaine("FR"));
    // The table itself knows none of them.
    EXPECT_FALSE(ETabulonVariableID("place>name").ExistsIn(sales->Fields()));
}

TEST_P(WritableTableSuite, InsertsARecordThatHasTheTagsVariablesOnly) {
    Start({"year", "city", "place>name"});
    WalkTo(1);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->StartInsert(Tag({{0, 2030}, {1, 2}, {2, "Ulm"}})), StatusOk);
    EXPECT_TRUE(cursor.IsInInsertMode());
    EXPECT_EQ(updater->SetValue("id", ETabulonValue(9, "", false)), StatusOk);
    EXPECT_EQ(updater->Save(), StatusOk);
    EXPECT_EQ(Stored(), std::string(kStoredSales) + " 9:2:2030:-");
    EXPECT_EQ(Stored("Cities"), "1:Paris:FR 2:Ulm:DE 4:Rome:-");
    EXPECT_EQ(Walk(Tag({{0, 2030}})), "reset [2030] | 9");
}

TEST_P(WritableTableSuite, RefusesASecondRecordOfOneKey) {
    Start({"year"});
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->StartInsert(Tag({{0, 2030}})), StatusOk);
    updater->SetValue("id", ETabulonValue(3, "", false));
    EXPECT_EQ(updater->Save(), static_cast<CursorStatus>(DataDuplicate));
    EXPECT_EQ(Stored(), kStoredSales);
}

TEST_P(WritableTableSuite, UpdatesWhereItStandsOrWhereTheKeyPoints) {
    Start({"year", "city"});
    const Place third = PlaceOf(3);
    const Place second = PlaceOf(2);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->StartUpdate(second.key, second.tag), StatusOk);
    EXPECT_FALSE(cursor.IsInInsertMode());
    EXPECT_EQ(sales->position, second.key.Position());
    updater->SetValue("note", ETabulonValue("second", "", false));
    updater->SetValue("year", ETabulonValue::Null);
    updater->SetValue("ghost", ETabulonValue(1, "", false));
    EXPECT_EQ(updater->Save(), StatusOk);
    EXPECT_EQ(updater->StartUpdate(third.key, third.tag), StatusOk);
    EXPECT_EQ(sales->position, third.key.Position());
    updater->SetValue("note", ETabulonValue("third", "", false));
    EXPECT_EQ(updater->Save(), StatusOk);
    EXPECT_EQ(Stored(), "1:1:2021:a 2:2:-:second 3:1:2022:third 4:3:2022:- 5:-:-:e 6:4:2022:f");
}

TEST_P(WritableTableSuite, ReportsARecordThatWentMeanwhile) {
    Start({"year", "city"});
    const Place third = PlaceOf(3);
    const auto other = factory->Open("Sales");
    ASSERT_NE(other->RePos(third.key.Position(), false), kNoPosition);
    ASSERT_TRUE(other->DeleteOne(kNoPosition));
    WalkTo(1);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->StartUpdate(third.key, third.tag), static_cast<CursorStatus>(DataGone));
    EXPECT_EQ(updater->Delete(third.key, third.tag), static_cast<CursorStatus>(DataGone));
    EXPECT_EQ(Stored(), "1:1:2021:a 2:2:2021:b 4:3:2022:- 5:-:-:e 6:4:2022:f");
}

TEST_P(WritableTableSuite, DeletesTheRecordThatItStandsOn) {
    Start({"year", "city"});
    const Place second = PlaceOf(2);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->Delete(second.key, second.tag), StatusOk);
    EXPECT_EQ(Stored(), "1:1:2021:a 3:1:2022: 4:3:2022:- 5:-:-:e 6:4:2022:f");
    // The walk goes on after it.
    EXPECT_EQ(cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(cursor.PrimaryKey().SingleCode().DisplayValue(), Chaine("3"));
}

TEST_P(WritableTableSuite, DeleteUsesTheWalksPosition) {
    Start({"year", "city"});
    const Place third = PlaceOf(3);
    WalkTo(1);
    auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    // The key names the third record; the walk stands on the first.
    EXPECT_EQ(updater->Delete(third.key, third.tag), StatusOk);
    EXPECT_EQ(Stored(), "2:2:2021:b 3:1:2022: 4:3:2022:- 5:-:-:e 6:4:2022:f");
    // A walk that has ended stands nowhere: there the key decides.
    static_cast<void>(Walk());
    EXPECT_EQ(updater->Delete(third.key, third.tag), StatusOk);
    EXPECT_EQ(Stored(), "2:2:2021:b 4:3:2022:- 5:-:-:e 6:4:2022:f");
}

TEST_P(WritableTableSuite, TakesOverADetachedRecord) {
    Start({"place>name", "year", "note"});
    WalkTo(2);
    const EExtract second(cursor.Fields());
    WalkTo(1);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[Paris, 2021, a]"));
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->SetBuffer(second), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[Ulm, 2021, b]"));
    updater->SetValue("id", ETabulonValue(1, "", false));
    EXPECT_EQ(updater->Save(), StatusOk);
    EXPECT_EQ(Stored(), "1:2:2021:b 2:2:2021:b 3:1:2022: 4:3:2022:- 5:-:-:e 6:4:2022:f");
}

TEST_P(TableCursorSuite, ReadsLinksAgainAfterADetachedRecordWasTakenOver) {
    Start({"place>name", "year"});
    WalkTo(2);
    const EExtract second(cursor.Fields());
    WalkTo(1);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->SetBuffer(second), StatusOk);
    // The first record again, as it is stored: the key that its link was read by hasn't changed.
    WalkTo(1);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[Paris, 2021]"));
}

TEST_P(WritableTableSuite, BlanksALinkThatLeadsNowhereAfterARecordWasTakenOver) {
    Start({"place>name"});
    WalkTo(2);
    const EExtract second(cursor.Fields());
    // The first that is left has no city.
    const auto others = factory->Open("Sales");
    while (others->GetFirst() != kNoPosition && others->Fields()["id"].AsInt64() != 5) {
        ASSERT_TRUE(others->DeleteOne(kNoPosition));
    }
    WalkTo(1);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(updater->SetBuffer(second), StatusOk);
    WalkTo(1);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[]"));
}

TEST_P(WritableTableSuite, SeesWhatOthersWrite) {
    Start({"place>name", "year"});
    EXPECT_EQ(Walk(Tag({{0, "Paris"}})), "reset [Paris] | 1 | 3");
    const auto cities = factory->Open("Cities");
    ASSERT_NE(cities->GetFirst(), kNoPosition);
    cities->Fields()["name"] <<= "Lutetia";
    ASSERT_NE(cities->Update(kNoPosition), kNoPosition);
    EXPECT_EQ(Walk(Tag({{0, "Lutetia"}})), "reset [Lutetia] | 1 | 3");
}

TEST_P(TableCursorSuite, LocksEachAcceptedRecordAsItIsTold) {
    Start({"year"});
    for (const int bias : {-1, 0, 150, 200, 201, 250, 300}) {
        SCOPED_TRACE(bias);
        cursor.SetRecordLockBias(bias);
        EXPECT_EQ(cursor.RecordLockBias(), bias);
        WalkTo(1);
        cursor.RecordUnlock();
    }
}

}  // namespace etabulon::test
