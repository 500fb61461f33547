#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/cursors/LoadColumns.h"
#include "support/AllocationCount.h"
#include "support/LinkedSales.h"
#include "support/TableCursorSuite.h"

namespace etabulon::test {
namespace {
/// Tables in memory.
class MemoryFactory : public TableFactory {
public:
    void Make(const TableSchema& schema, const TableRows& rows) override {
        const auto& table = made_[schema.name] =
            std::make_unique<EDataMemory>(MakeRubric(dico_, schema));
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

/// The same loaded into columns, which other tables don't follow.
class ColumnsFactory : public MemoryFactory {
public:
    std::unique_ptr<EDataTable> Open(const char* name) override {
        const std::unique_ptr<EDataTable> stored = MemoryFactory::Open(name);
        ETabulonCursorEData cursor;
        cursor.Init(ETabulonLevels(), stored.get(), /*ownsTable=*/false);
        CursorStatus status = StatusOk;
        auto columns = LoadColumns(cursor, ETabulonTag::Null, stored->dico, status);
        EXPECT_EQ(status, StatusOk);
        return columns;
    }
};

const auto kMakeMemory =
    ::testing::Values(TableMaker([] { return std::make_unique<MemoryFactory>(); }));
INSTANTIATE_TEST_SUITE_P(Memory, TableCursorSuite, kMakeMemory);
INSTANTIATE_TEST_SUITE_P(Memory, WritableTableSuite, kMakeMemory);
INSTANTIATE_TEST_SUITE_P(Columns, TableCursorSuite, ::testing::Values(TableMaker([] {
                             return std::make_unique<ColumnsFactory>();
                         })));

constexpr std::int32_t kBroken = 1099;
constexpr auto kBrokenStatus = static_cast<CursorStatus>(kBroken);

ETabulonLevels CountryAndCity() { return LevelsBy({"country", "city"}); }

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

    VentesData data;
    FailingTable table{*data.table};
    OpenTableCursor cursor;
    ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
};

TEST_F(TracedTable, IsLockedByTheBias) {
    struct Case {
        int bias;
        const char *lock, *unlock;
    };
    for (const Case& c :
         {Case{0, "", ""}, Case{-1, " lock(-1,1)", "unlock"}, Case{1, " lock(-1,1)", "unlock"},
          Case{150, " lock(-1,1)", "unlock"}, Case{199, " lock(-1,1)", "unlock"},
          Case{200, " lock(-1,0)", "unlock"}, Case{201, " lockrecord(-1,0)", "unlockrecord(-1)"},
          Case{250, " lockrecord(-1,0)", "unlockrecord(-1)"},
          Case{300, " lockrecord(-1,1)", "unlockrecord(-1)"},
          Case{301, " lockrecord(-1,0)", "unlockrecord(-1)"}}) {
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
        int count, bias;
        const char* heard;
    };
    for (const Case& c : {Case{"first", 1, 0, "reset [] | error(1099)"},
                          Case{"next", 1, 0, "reset [] | 1 | error(1099)"},
                          Case{"next", 2, 0, "reset [] | 1 | 2 | error(1099)"},
                          Case{"lock", 1, 150, "reset [] | error(1099)"},
                          Case{"lock", 2, 200, "reset [] | 1 | error(1099)"},
                          Case{"lockrecord", 1, 300, "reset [] | error(1099)"},
                          Case{"lockrecord", 3, 250, "reset [] | 1 | 2 | error(1099)"}}) {
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

TEST_F(TracedTable, HasOneSessionForAllHoldersOfTheUpdater) {
    auto first = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    auto second = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(table.Take(), "begin");
    first = nullptr;
    EXPECT_EQ(table.Take(), "");
    EXPECT_EQ(second->Release(), 1);
    EXPECT_EQ(table.Take(), "end");
    // One release too many is nothing.
    EXPECT_EQ(second->Release(), 1);
    EXPECT_EQ(table.Take(), "");
    static_cast<void>(second.Detach());
    const auto again = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
    EXPECT_EQ(table.Take(), "begin");
}

/// Knows key and tag of the fourth record, and has an updater.
class WrittenTable : public TracedTable {
protected:
    WrittenTable() {
        WalkTo(4);
        key = cursor.PrimaryKey();
        tag = cursor.CurrentTag();
        updater = ERef<ETabulonCursor::IUpdater>::Adopt(cursor.Updater());
        static_cast<void>(table.Take());
    }
    ETabulonPrimaryKey key;
    ETabulonTag tag;
    ERef<ETabulonCursor::IUpdater> updater;
};

TEST_F(WrittenTable, IsMovedOnlyToAnotherTag) {
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

TEST_F(WrittenTable, FailsWithItsOwnStatus) {
    WalkTo(1);
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

/// Counts those that went.
struct MortalTable : EDataMemory {
    MortalTable(const EDataMemory& inner, int& wentBefore) : EDataMemory(inner), gone(wentBefore) {}
    ~MortalTable() override { ++gone; }
    int& gone;
};

TEST(OwnedTable, GoesWithTheCursorOrAtTheNextInit) {
    const VentesData data;
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
    const VentesData data;
    EDataMemory table(*data.table);
    table.dico = nullptr;
    ETabulonLevels levels = CountryAndCity();
    levels.AddLevel("", "city>name", nullptr, /*addRef=*/false);
    OpenTableCursor cursor;
    cursor.Init(levels, &table, /*ownsTable=*/false);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cursor.CurrentTag().DisplayID(), Chaine("[FR, Paris, ]"));
}

/// Looks at everything a filler looks at, and keeps nothing.
class Looker : public ECursorListener {
public:
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        ++records;
        EXPECT_EQ(cursor.CurrentTag().KnownLevelsCount(), 2U);
        last = cursor.PrimaryKey().Position();
        return StatusOk;
    }
    int records = 0;
    EPosition last = kNoPosition;
};

TEST(WarmTableWalk, AllocatesNothingPerRecord) {
    LinkedSales data;
    for (int sale = 8; sale < 500; ++sale) {
        data.table->Append({sale, sale % 2 + 1});
    }
    ETabulonLevels levels = LevelsBy({"city/place>name", "id"});
    OpenTableCursor cursor;
    cursor.Init(levels, data.table.get(), /*ownsTable=*/false);
    cursor.rangesAsked.reserve(64);
    const auto looker = MakeRef<Looker>();
    const ECursorListening listening(cursor, *looker);
    for (const ETabulonTag& tag : {ETabulonTag(), Tag({{0, 1}})}) {
        EXPECT_EQ(cursor.Browse(tag), StatusOk);
        looker->records = 0;
        const AllocationCount count;
        EXPECT_EQ(cursor.Browse(tag), StatusOk);
        EXPECT_LE(count.Taken(), 4U);  // a reset copies and shows the tag
        EXPECT_EQ(looker->records, tag.IsRoot() ? 499 : 248);
    }
    EXPECT_EQ(looker->last, 497);
}

constexpr auto kLocked = static_cast<CursorStatus>(DataLocked);

struct LinkFailures : ::testing::Test, protected LinkedSales {};

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
    const auto empty = MakeTable(rubric);  // of which no record would ask for a link
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
    ETabulonLevels levels = LevelsBy({"place>name/plaec>name"});
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
}  // namespace etabulon::test
