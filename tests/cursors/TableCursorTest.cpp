#include "support/AllocationCount.h"
#include "support/MemoryTable.h"
#include "support/TableCursorSuite.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace etabulon {
namespace test {
namespace {

/// Tables in memory.
class MemoryFactory : public TableFactory {
public:
    void Make(const TableSchema& schema, const TableRows& rows) override {
        DRubric* const rubric = dico_.AddRubric(schema.name);
        for (const TableSchema::Column& column : schema.columns) {
            rubric->AddVariable(column.name, column.name, column.type, column.size);
        }
        rubric->SetKey(schema.key);
        for (const TableSchema::Link& link : schema.links) {
            rubric->AddLink(link.name, link.variables, dico_.Find(link.target));
        }
        const auto& table = made_[schema.name] = std::make_unique<EDataMemory>(rubric);
        for (const std::vector<EVariant>& row : rows) {
            EXPECT_NE(table->Append(row), kNoPosition);
        }
    }
    std::unique_ptr<EDataTable> Open(const char* name) override {
        return std::make_unique<EDataMemory>(*made_.at(name));
    }

private:
    DDico dico_;
    std::map<std::string, std::unique_ptr<EDataMemory>> made_;
};

INSTANTIATE_TEST_SUITE_P(Memory, TableCursorSuite, ::testing::Values(TableMaker([] {
                             return std::make_unique<MemoryFactory>();
                         })));

}  // namespace
}  // namespace test

namespace {

using test::AllocationCount;
using test::FailingTable;
using test::OpenTableCursor;
using test::Tag;
using test::WalkTrace;

constexpr std::int32_t kBroken = 1099;
constexpr auto kBrokenStatus = static_cast<CursorStatus>(kBroken);

ETabulonLevels CountryAndCity() {
    ETabulonLevels levels;
    levels.AddLevel("Country", "country", nullptr, /*addRef=*/false);
    levels.AddLevel("City", "city", nullptr, /*addRef=*/false);
    return levels;
}

/// A cursor on a table that writes down what it is asked for. Records 1 to 5, places 0 to 4.
class TracedTable : public ::testing::Test {
protected:
    TracedTable() {
        cursor.Init(CountryAndCity(), &table, /*ownsTable=*/false);
        cursor.AddNotifier(trace.Get());
        static_cast<void>(table.Take());
    }
    ~TracedTable() override { cursor.RemNotifier(trace.Get()); }
    /// Leaves the cursor on the n-th record, from 1, and nothing in the traces.
    void WalkTo(int record) {
        CursorStatus status = cursor.CallReset(ETabulonTag::Null);
        for (int at = 1; at < record; ++at) {
            status = cursor.CallGetNext();
        }
        ASSERT_EQ(status, StatusOk);
        static_cast<void>(table.Take());
        static_cast<void>(trace->Take());
    }

    test::VentesData data;
    FailingTable table{*data.table};
    OpenTableCursor cursor;
    ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
};

TEST_F(TracedTable, IsLockedByTheBias) {
    struct Case {
        int bias;
        const char* lock;
        const char* unlock;
    };
    for (const Case& c : {
             Case{0, "", ""},
             Case{-1, " lock(-1,1)", "unlock"},
             Case{1, " lock(-1,1)", "unlock"},
             Case{150, " lock(-1,1)", "unlock"},
             Case{199, " lock(-1,1)", "unlock"},
             Case{200, " lock(-1,0)", "unlock"},
             Case{201, " lockrecord(-1,0)", "unlockrecord(-1)"},
             Case{250, " lockrecord(-1,0)", "unlockrecord(-1)"},
             Case{300, " lockrecord(-1,1)", "unlockrecord(-1)"},
             Case{301, " lockrecord(-1,0)", "unlockrecord(-1)"},
         }) {
        SCOPED_TRACE(c.bias);
        cursor.SetRecordLockBias(c.bias);
        EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
        EXPECT_EQ(table.Take(), std::string("first") + c.lock);
        EXPECT_EQ(cursor.CallGetNext(), StatusOk);
        EXPECT_EQ(table.Take(), std::string("next") + c.lock);
        cursor.RecordUnlock();
        EXPECT_EQ(table.Take(), c.unlock);
        // What the filter refuses isn't locked.
        EXPECT_EQ(cursor.CallReset(Tag({{0, "DE"}})), StatusOk);
        EXPECT_EQ(table.Take(), "first");
        EXPECT_EQ(cursor.CallGetNext(), StatusOk);
        EXPECT_EQ(table.Take(), std::string("next next next") + c.lock);
        cursor.RecordUnlock();
        static_cast<void>(table.Take());
    }
}

TEST_F(TracedTable, FailsAWalkWithItsOwnStatus) {
    struct Case {
        const char* operation;
        int count;
        int bias;
        const char* heard;
    };
    for (const Case& c : {
             Case{"first", 1, 0, "reset [] | error(1099)"},
             Case{"next", 1, 0, "reset [] | 1 | error(1099)"},
             Case{"next", 2, 0, "reset [] | 1 | 2 | error(1099)"},
             Case{"lock", 1, 150, "reset [] | error(1099)"},
             Case{"lock", 2, 200, "reset [] | 1 | error(1099)"},
             Case{"lockrecord", 1, 300, "reset [] | error(1099)"},
             Case{"lockrecord", 3, 250, "reset [] | 1 | 2 | error(1099)"},
         }) {
        SCOPED_TRACE(std::string(c.operation) + " " + c.heard);
        cursor.SetRecordLockBias(c.bias);
        table.FailAt(c.operation, c.count, kBroken);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), kBrokenStatus);
        EXPECT_EQ(trace->Take(), c.heard);
        cursor.RecordUnlock();
    }
    cursor.SetRecordLockBias(0);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(trace->Take(), "reset [] | 1 | 2 | 3 | 4 | 5");
}

TEST_F(TracedTable, LockedByAnotherStopsTheWalk) {
    FailingTable other(*data.table);
    ASSERT_EQ(other.LockRecord(1, false), DataOk);
    cursor.SetRecordLockBias(300);
    EXPECT_EQ(cursor.Browse(ETabulonTag::Null), static_cast<CursorStatus>(DataLocked));
    EXPECT_EQ(trace->Take(), "reset [] | 1 | error(1001)");
}

TEST_F(TracedTable, HasOneSessionForAllHoldersOfTheUpdater) {
    auto first = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    auto second = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(table.Take(), "begin");
    auto third = second;
    first = nullptr;
    second = nullptr;
    EXPECT_EQ(table.Take(), "");
    EXPECT_EQ(third->Release(), 1);
    EXPECT_EQ(table.Take(), "end");
    // One release too many is nothing.
    EXPECT_EQ(third->Release(), 1);
    EXPECT_EQ(table.Take(), "");
    static_cast<void>(third.Detach());
    const auto again = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(table.Take(), "begin");
}

TEST_F(TracedTable, IsMovedOnlyToAnotherTag) {
    WalkTo(4);
    const ETabulonPrimaryKey key = cursor.PrimaryKey();
    const ETabulonTag tag = cursor.CurrentTag();
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    static_cast<void>(table.Take());
    EXPECT_EQ(updater->StartUpdate(key, tag), StatusOk);
    EXPECT_EQ(table.Take(), "");
    // The tag decides, not the key: the first two records share one.
    WalkTo(1);
    const ETabulonTag twins = cursor.CurrentTag();
    EXPECT_EQ(updater->StartUpdate(key, twins), StatusOk);
    EXPECT_EQ(table.Take(), "");
    EXPECT_EQ(updater->StartUpdate(key, tag), StatusOk);
    EXPECT_EQ(table.Take(), "repos(3)");
    // Tag and key of the walk stay.
    EXPECT_EQ(cursor.CurrentTag(), twins);
    EXPECT_EQ(cursor.PrimaryKey().Position(), 0);
    EXPECT_EQ(updater->Delete(key, tag), StatusOk);
    EXPECT_EQ(table.Take(), "repos(3) delete(0)");
}

TEST_F(TracedTable, FailsAWriteWithItsOwnStatus) {
    WalkTo(4);
    const ETabulonPrimaryKey key = cursor.PrimaryKey();
    const ETabulonTag tag = cursor.CurrentTag();
    WalkTo(1);
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    static_cast<void>(table.Take());
    table.FailAt("repos", 1, kBroken);
    EXPECT_EQ(updater->StartUpdate(key, tag), kBrokenStatus);
    table.FailAt("repos", 1, kBroken);
    EXPECT_EQ(updater->Delete(key, tag), kBrokenStatus);
    EXPECT_EQ(table.Take(), "repos(3) repos(3)");
    table.FailAt("delete", 1, kBroken);
    EXPECT_EQ(updater->Delete(key, tag), kBrokenStatus);
    EXPECT_EQ(updater->StartUpdate(key, tag), StatusOk);
    table.FailAt("update", 1, kBroken);
    EXPECT_EQ(updater->Save(), kBrokenStatus);
    EXPECT_EQ(updater->StartInsert(tag), StatusOk);
    table.FailAt("insert", 1, kBroken);
    EXPECT_EQ(updater->Save(), kBrokenStatus);
    EXPECT_EQ(table.Take(), "repos(3) delete(0) repos(3) update(-1) insert");
    EXPECT_EQ(data.table->Count(), 5U);
    // The mode stays that of the last start.
    EXPECT_TRUE(cursor.IsInInsertMode());
    EXPECT_EQ(updater->SetValue("id", ETabulonValue(7, "", false)), StatusOk);
    EXPECT_EQ(updater->Save(), StatusOk);
    EXPECT_EQ(data.table->Count(), 6U);
}

/// Says when it goes.
class MortalTable : public EDataMemory {
public:
    MortalTable(const EDataMemory& inner, int& gone) : EDataMemory(inner), gone_(gone) {}
    ~MortalTable() override { ++gone_; }

private:
    int& gone_;
};

TEST(OwnedTable, GoesWithTheCursorOrAtTheNextInit) {
    const test::VentesData data;
    int gone = 0;
    {
        OpenTableCursor cursor;
        cursor.Init(CountryAndCity(), new MortalTable(*data.table, gone), /*ownsTable=*/true);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        auto* const second = new MortalTable(*data.table, gone);
        cursor.Init(CountryAndCity(), second, /*ownsTable=*/true);
        EXPECT_EQ(gone, 1);
        // The same table again is kept.
        cursor.Init(CountryAndCity(), second, /*ownsTable=*/true);
        EXPECT_EQ(gone, 1);
        EXPECT_EQ(cursor.Data(), second);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
        MortalTable borrowed(*data.table, gone);
        cursor.Init(CountryAndCity(), &borrowed, /*ownsTable=*/false);
        EXPECT_EQ(gone, 2);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    }
    EXPECT_EQ(gone, 3);
}

TEST(TableWithoutDictionary, IsWalkedAndHasNoLinks) {
    const test::VentesData data;
    EDataMemory table(*data.table);
    table.dico = nullptr;
    ETabulonLevels levels = CountryAndCity();
    levels.AddLevel("", "city>name", nullptr, /*addRef=*/false);
    OpenTableCursor cursor;
    cursor.Init(levels, &table, /*ownsTable=*/false);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[FR, Paris, ]"));
}

TEST(WarmTableWalk, AllocatesNothingPerRecord) {
    DDico dico;
    DRubric* const cities = dico.AddRubric("Cities");
    cities->AddVariable("id", "", TYPE_LONG, 0);
    cities->AddVariable("name", "", TYPE_CHAINE, 0);
    cities->SetKey({"id"});
    const auto cityTable = test::MakeTable(
        cities, {{0, "a city with quite a long name"}, {1, "another with a name as long"}});
    DRubric* const sales = dico.AddRubric("Sales");
    sales->AddVariable("id", "", TYPE_LONG, 0);
    sales->AddVariable("city", "", TYPE_LONG, 0);
    sales->SetKey({"id"});
    sales->AddLink("place", {"city"}, cities);
    const auto table = test::MakeTable(sales);
    for (int sale = 0; sale < 500; ++sale) {
        table->Append({sale, sale % 2});
    }
    ETabulonLevels levels;
    levels.AddLevel("", "city", "place>name", nullptr, /*addRef=*/false);
    levels.AddLevel("", "id", nullptr, /*addRef=*/false);
    OpenTableCursor cursor;
    cursor.Init(levels, table.get(), /*ownsTable=*/false);
    const auto walk = [&cursor] {
        EPosition last = kNoPosition;
        for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status == StatusOk;
             status = cursor.CallGetNext()) {
            EXPECT_EQ(cursor.CurrentTag().KnownLevelsCount(), 2U);
            last = cursor.PrimaryKey().Position();
        }
        return last;
    };
    EXPECT_EQ(walk(), 499);
    cursor.rangesAsked.reserve(64);
    const AllocationCount count;
    EXPECT_EQ(walk(), 499);
    EXPECT_LE(count.Taken(), 2U);
}

}  // namespace
}  // namespace etabulon
