#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "pending/SaveFixture.h"
#include "support/AllocationCount.h"
#include "support/LinkedSales.h"
#include "support/ScriptCursor.h"
#include "support/WalkTrace.h"

#include <chrono>
#include <new>
#include <random>

namespace etabulon::test {
namespace {
/// Writes down what a save asks of it: "update[FR] a=1 save", "insert[..]", "delete[..]".
class TracedUpdater : public ETabulonCursor::IUpdater, public virtual ECountedUnknown {
public:
    CursorStatus StartInsert(const ETabulonTag& tag) override { return Note("insert", tag); }
    CursorStatus StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override {
        position = key.Position();
        return Note("update", tag);
    }
    CursorStatus Save() override { return Note("save"); }
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override {
        position = key.Position();
        return Note("delete", tag);
    }
    CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) override {
        EXPECT_FALSE(value.IsModified());
        Note(std::string(id.Code().c_str()) + "=" + value.Data().AsChaine().c_str());
        return StatusOk;
    }
    CursorStatus SetBuffer(const EExtract&) override { return StatusOk; }

    std::string trace;
    std::map<std::string, CursorStatus> answers;  // to "save2", the second one
    EPosition position = kNoPosition;

private:
    CursorStatus Note(const std::string& call) {
        trace += (trace.empty() ? "" : " ") + call;
        const auto answer = answers.find(call + std::to_string(++counts_[call]));
        return answer == answers.end() ? StatusOk : answer->second;
    }
    CursorStatus Note(const char* call, const ETabulonTag& tag) {
        const CursorStatus status = Note(call);
        trace += tag.DisplayID().c_str();
        return status;
    }
    std::map<std::string, int> counts_;
};

class WritableCursor : public ScriptCursor {
public:
    using ScriptCursor::ScriptCursor;
    IUpdater* Updater() override { return ERef<TracedUpdater>(updater).Detach(); }
    ERef<TracedUpdater> updater = MakeRef<TracedUpdater>();
};

ETabulonTag City(const char* country, const char* city) { return Tag({{0, country}, {1, city}}); }

constexpr auto kBroken = static_cast<CursorStatus>(1099);
constexpr auto kOther = static_cast<CursorStatus>(7);

class SavedCities : public ::testing::Test {
protected:
    CursorStatus Save(const ETabulonTag& tag = ETabulonTag::Null) {
        ETabulonSavePending save(&cursor, cursor.Levels());
        cursor.updater->trace.clear();
        return save.Run(&changes, tag);
    }
    [[nodiscard]] const std::string& Written() const { return cursor.updater->trace; }

    WritableCursor cursor{{"country", "city"}, {{"FR", "Paris"}, {"DE", "Berlin"}, {"FR", "Lyon"}}};
    ETabulonPendingChanges changes;
};

TEST_F(SavedCities, AreWrittenInTheOrderOfTheRecordsThenTheInserts) {
    EXPECT_EQ(Save(), StatusOk);
    EXPECT_EQ(Written(), "");
    changes.AppendInsert(City("FR", "Nice"));
    static_cast<void>(cursor.TakeSteps());
    changes.AppendInsert(City("DE", "Ulm"));
    EXPECT_EQ(Save(), StatusOk);
    EXPECT_EQ(Written(), "insert[FR, Nice] save insert[DE, Ulm] save");
    EXPECT_EQ(cursor.TakeSteps(), "");  // no walk
    changes.AppendDelete(City("FR", "Lyon"));
    changes.AppendUpdate(Tag({{0, "FR"}}), "a", 1);
    changes.AppendUpdate(City("FR", "Paris"), "b", 2);
    changes.AppendUpdate(City("FR", "Paris"), "a", 3);
    EXPECT_EQ(Save(), StatusOk);
    EXPECT_EQ(Written(),
              "update[FR, Paris] a=1 b=2 a=3 save delete[FR, Lyon] "
              "insert[FR, Nice] a=1 save insert[DE, Ulm] save");
    EXPECT_EQ(cursor.updater->position, 2);
    // The tag narrows the walk, and not the inserts.
    EXPECT_EQ(Save(Tag({{0, "DE"}})), StatusOk);
    EXPECT_EQ(Written(), "insert[FR, Nice] a=1 save insert[DE, Ulm] save");
    EXPECT_EQ(changes.Size(), 6U);
}

TEST_F(SavedCities, LosesAFailureThatASuccessFollows) {
    changes.AppendUpdate(Tag({{0, "FR"}}), "a", 1);
    changes.AppendInsert(City("DE", "Ulm"));
    cursor.updater->answers["save1"] = kBroken;
    EXPECT_EQ(Save(), StatusOk);
    cursor.updater->answers["save5"] = kBroken;  // of the last record
    EXPECT_EQ(Save(), kBroken);
    EXPECT_EQ(Written(), "update[FR, Paris] a=1 save update[FR, Lyon] a=1 save");
    // Records without a change leave the status as it is.
    changes.AppendUpdate(City("FR", "Paris"), "b", 1);
    changes.AppendDelete(City("FR", "Lyon"));
    cursor.updater->answers["delete1"] = kOther;
    EXPECT_EQ(Save(), kOther);
}

TEST_F(SavedCities, SavesWhatCouldNotBeStarted) {
    changes.AppendUpdate(City("FR", "Paris"), "a", 1);
    cursor.updater->answers["update1"] = kBroken;
    EXPECT_EQ(Save(), StatusOk);
    EXPECT_EQ(Written(), "update[FR, Paris] a=1 save");
}

TEST_F(SavedCities, EndAtTheFirstInsertThatFails) {
    changes.AppendInsert(City("FR", "Nice"));
    changes.AppendInsert(City("DE", "Ulm"));
    changes.AppendInsert(City("DE", "Kiel"));
    cursor.updater->answers["save2"] = kBroken;
    EXPECT_EQ(Save(), kBroken);
    EXPECT_EQ(Written(), "insert[FR, Nice] save insert[DE, Ulm] save");
    cursor.updater->answers["insert4"] = kOther;
    EXPECT_EQ(Save(), kOther);
    EXPECT_EQ(Written(), "insert[FR, Nice] save insert[DE, Ulm]");
}

TEST_F(SavedCities, WritesTheInsertsAfterAWalkThatFailed) {
    changes.AppendUpdate(ETabulonTag::Null, "a", 1);
    changes.AppendInsert(City("DE", "Ulm"));
    static_cast<void>(cursor.TakeSteps());
    cursor.GiveAt("next", 1, kBroken);
    EXPECT_EQ(Save(), StatusOk);
    EXPECT_EQ(Written(), "update[FR, Paris] a=1 save insert[DE, Ulm] a=1 save");
}

TEST_F(SavedCities, StopAtACancelBeforeTheInserts) {
    changes.AppendUpdate(ETabulonTag::Null, "a", 1);
    changes.AppendInsert(City("DE", "Ulm"));
    const auto meddler = MakeRef<WalkTrace>();
    cursor.AddNotifier(meddler.Get());
    meddler->At("move", 2, [&] {
        cursor.Cancel();
        return StatusOk;
    });
    cursor.updater->answers["save4"] = kBroken;
    EXPECT_EQ(Save(), StatusCancelled);
    EXPECT_EQ(Written(), "update[FR, Paris] a=1 save update[DE, Berlin] a=1 save");
    static_cast<void>(meddler->Take());
    EXPECT_EQ(Save(), kBroken);  // goes before the cancel
    EXPECT_EQ(cursor.Notifiers().Size(), 1U);
}

TEST_F(SavedCities, MeetDeletedRecordsThroughTheOverlaysSource) {
    changes.AppendDelete(City("FR", "Paris"));
    ETabulonCursorPending overlay(&cursor, &changes);
    ETabulonSavePending save(&overlay, cursor.Levels());
    EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
    EXPECT_EQ(Written(), "delete[FR, Paris]");
}

// A relay's walk moves the table: the save moves nothing, with a table or without.
TEST_F(SavedCities, ThroughARelayAreWrittenWhereTheWalkStands) {
    const auto run = [this](ETabulonCursor& source) {
        ETabulonCursorRelay relay(&source);
        relay.Init(source.Levels());
        ETabulonSavePending save(&relay, source.Levels());
        EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
    };
    changes.AppendUpdate(ETabulonTag::Null, "value", 1);
    cursor.Init(ETabulonLevels());  // no record has a tag of its own
    run(cursor);
    EXPECT_EQ(Written(), "update[] value=1 save update[] value=1 save update[] value=1 save");
    Items items(1);
    run(items.cursor);
    EXPECT_EQ(items.table->Take(), "begin first update(-1) next end");
}

// An updater may go by the tag of the fields, as a table cursor's does.
TEST(SavedCache, MakesTheFieldsDifferByValuesOfTheirOwnTypes) {
    for (const std::uint16_t type :
         {TYPE_CHAINE, TYPE_DATE, TYPE_TIME, TYPE_TIMESTAMP, TYPE_GUID, TYPE_BOOL, TYPE_UINT64,
          TYPE_CURRENCY, TYPE_FLOAT, TYPE_BLOB, TYPE_BLOBIMAGE, TYPE_NC_CHAINE}) {
        SCOPED_TRACE(type);
        WritableCursor cursor({"day", "time"}, {{EVariant(), EVariant()}}, type);
        ETabulonCursorCache cache(&cursor);
        EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
        const ETabulonTag tag = Tag({{0, EVariant()}, {1, EVariant()}});
        EXPECT_EQ(cache.Update(tag, "day", EVariant()), StatusOk);
        EXPECT_EQ(cache.Save(), StatusOk);
        EXPECT_EQ(cursor.updater->trace, "update[, ] save");
        EXPECT_FALSE(cursor.CurrentTag() == tag);
    }
}

TEST(SavedCache, MakesTheFieldsOfALevelDifferOrWritesNothing) {
    const EVariant ones = 0x01010101;  // the value that fields are given to make them differ
    for (const auto& columns : std::vector<std::vector<const char*>>{
             {"day", "time"}, {"day"}, {"absent", "time"}, {"absent"}, {}}) {
        for (const EVariant& value : {ones, EVariant()}) {
            WritableCursor cursor({"day", "time"}, {{value, value}}, TYPE_LONG);
            ETabulonLevels levels;
            for (const char* column : columns) {
                levels.AddLevel(column, column, nullptr, /*addRef=*/false);
            }
            cursor.Init(levels);
            ETabulonCursorCache cache(&cursor);
            EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
            EXPECT_EQ(cache.Update(ETabulonTag::Null, "day", value), StatusOk);
            const bool canDiffer = cursor.Levels().Size() == 2 || columns == std::vector{"day"};
            EXPECT_EQ(cache.Save(), static_cast<CursorStatus>(canDiffer ? 0 : DataNoSuchPosition));
            EXPECT_EQ(cursor.updater->trace.empty(), !canDiffer) << columns.size();
        }
    }
}

// An updater may delete the record on which the source stands, as a table cursor's does.
TEST(SavedCache, LeavesTheSourcesRecordBeforeItDeletesAnother) {
    WritableCursor cursor({"country"}, {{"FR"}, {"DE"}, {"IT"}, {"ES"}});
    ETabulonCursorCache cache(&cursor);
    EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cache.Delete(Tag({{0, "IT"}})), StatusOk);
    EXPECT_EQ(cursor.CallReset(ETabulonTag::Null), StatusOk);
    static_cast<void>(cursor.TakeSteps());
    cursor.GiveAt("next", 1, kBroken);
    EXPECT_EQ(cache.Save(), kBroken);
    EXPECT_EQ(cursor.updater->trace, "");
    EXPECT_EQ(cache.Save(), StatusOk);
    EXPECT_EQ(cursor.updater->trace, "delete[IT]");
}

TEST(SavingTable, PassesOverLevelsThatTheCursorLacks) {
    Items items(1);
    for (const unsigned int level : {2U, 99U, ~0U}) {
        ETabulonTag tag = Item(7, static_cast<int>(level % 100));
        tag.SetValue(level, ETabulonValue("x", "", /*modified=*/false));
        items.changes.AppendInsert(tag);
        items.changes.AppendUpdate(tag, "note", "new");
    }
    EXPECT_EQ(items.Save(), StatusOk);
    EXPECT_EQ(Text(items.Rows()), "0 0 0 n | 2 7 - new | 99 7 - new | 95 7 - new");
}

TEST(SavingTable, CopyTakesNoReferenceToTheUpdater) {
    Items items(3);
    const auto original =
        std::make_unique<ETabulonSavePending>(&items.cursor, items.cursor.Levels());
    EXPECT_EQ(items.table->Take(), "begin");
    {
        auto held = ERef<ETabulonCursor::IUpdater>::Adopt(items.cursor.Updater());
        const ETabulonSavePending copy(*original);
        static_cast<void>(held.Detach());  // the copy's
    }
    EXPECT_EQ(items.table->Take(), "");
    { const ETabulonSavePending copy(*original); }
    EXPECT_EQ(items.table->Take(), "end");
}

TEST(SavingTable, WritesEachChangeOnceWhateverMoves) {
    Items items(30);
    const std::string longNote(3000, 'x');
    items.changes.AppendUpdate(Group(0), "group", 1);  // into the group that is met next
    items.changes.AppendUpdate(Group(1), "group", 0);
    items.changes.AppendUpdate(Group(1), "note", longNote.c_str());
    items.changes.AppendUpdate(Item(2, 25), "id", 99);
    items.changes.AppendDelete(Item(2, 26));
    items.changes.AppendDelete(Item(2, 27));
    LiteralSave literal(items.Rows(), items.changes.ScriptCopy());
    EXPECT_EQ(literal.Run(), StatusOk);
    static_cast<void>(items.table->Take());
    EXPECT_EQ(items.Save(), StatusOk);
    EXPECT_EQ(Text(items.Rows()), Text(literal.rows));
    const std::string trace = items.table->Take();
    std::size_t updates = 0;
    for (std::size_t at = 0; (at = trace.find("update", at)) != std::string::npos; ++at) {
        ++updates;
    }
    EXPECT_EQ(updates, 21U);
    EXPECT_EQ(trace.find("repos"), std::string::npos) << "the walk stands on the record already";
}

TEST(SavingTable, DoesNotScanTheScript) {
    constexpr int kRows = 20000;
    Items items(kRows);
    for (int id = 0; id < kRows; ++id) {
        items.changes.AppendUpdate(Item(id / 10, id), "value", -id);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(items.Save(), StatusOk);
    EXPECT_EQ(items.Rows()[kRows - 1][2], EVariant(1 - kRows));
    // A scan takes minutes; what is left leaves room for slow builds on busy machines.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

/// Updates of records, groups and all; deletes; inserts that nothing deletes.
void AppendRandom(ETabulonPendingChanges& changes, std::mt19937& random, int rows) {
    const int id = static_cast<int>(random() % static_cast<unsigned int>(rows));
    const unsigned int width = random() % 10;
    const ETabulonTag tag = width == 0  ? ETabulonTag()
                            : width < 3 ? Group(id / 10)
                                        : Item(id / 10, id);
    const unsigned int what = random() % 10;
    if (what < 6) {
        const int value = static_cast<int>(random() % 100);
        changes.AppendUpdate(tag, what < 4 ? "value" : "note",
                             what == 0 ? EVariant() : EVariant(value));
    } else if (what < 8 && width > 1) {
        changes.AppendDelete(tag);
    } else if (const ETabulonTag added = Item(id / 10, rows + id); !changes.IsDeleted(added)) {
        changes.AppendInsert(added);
    }
}

TEST(SavingTable, GivesWhatTheOverlayShowed) {
    constexpr int kRows = 60;
    std::mt19937 random(11);
    for (int round = 0; round < 60; ++round) {
        Items items(kRows);
        for (int step = round % 4 == 0 ? -300 : 0; step < 40; ++step) {
            AppendRandom(items.changes, random, kRows);
        }
        ETabulonCursorPending overlay(&items.cursor, &items.changes);
        overlay.Init(items.cursor.Levels());
        std::vector<ItemRow> shown;
        const auto reader = MakeRef<WalkTrace>();
        for (int record = 1; record <= 2 * kRows; ++record) {
            reader->At("move", record, [&] {
                shown.push_back(Items::Row(overlay.Fields()));
                EXPECT_EQ(overlay.CurrentTag(), Tag({{0, shown.back()[1]}, {1, shown.back()[0]}}));
                return StatusOk;
            });
        }
        overlay.AddNotifier(reader.Get());
        EXPECT_EQ(overlay.Browse(ETabulonTag::Null), StatusOk);
        LiteralSave literal(items.Rows(), items.changes.ScriptCopy());
        EXPECT_EQ(literal.Run(), StatusOk);
        EXPECT_EQ(items.Save(), StatusOk);
        ASSERT_EQ(Text(shown), Text(items.Rows())) << round;
        ASSERT_EQ(Text(items.Rows()), Text(literal.rows)) << round;
    }
}

constexpr std::int32_t kStatuses[] = {
    DataGone,     DataDuplicate,    DataNoCurrent,      DataEnd,   DataLocked,      DataConstraint,
    DataReadOnly, DataBadStatement, DataConnectionLost, DataOther, StatusCancelled, 7};

/// Two hundred changes over a thousand items: 60 deletes, 40 inserts, 100 updates, one of a group.
struct ManyChanges : Items {
    explicit ManyChanges(int count = 1000) : Items(count) {
        for (int change = 0; change < count / 5; ++change) {
            const int id = change * 5 + 2;
            const ETabulonTag tag = Item(id / 10, id);
            const int kind = change % 10;
            if (kind == 0 || kind == 3 || kind == 6) {
                changes.AppendDelete(tag);
            } else if (kind == 1 || kind == 7) {
                changes.AppendInsert(Item(id / 10, count + id));
            } else if (kind == 2 || kind == 5) {
                changes.AppendUpdate(tag, kind == 2 ? "value" : "group", kind == 2 ? -id : 0);
            } else if (kind == 4) {
                changes.AppendUpdate(tag, "note", "a note that is longer than it was before");
            } else {
                changes.AppendUpdate(Item(id / 10, id - 1), "note", EVariant());
            }
        }
        changes.AppendUpdate(Group(3), "value", 33);
    }
};

/// A save with the fault ends as the rules tell, and leaves nothing open.
void ExpectAsTold(LiteralSave& literal, const Fault& fault) {
    ManyChanges items;
    const std::uint32_t changes = items.changes.Size();
    const std::int32_t expected = literal.Run(ETabulonTag::Null, fault);
    static_cast<void>(items.table->Take());
    items.table->FailAt(fault.operation, fault.call, fault.status, fault.forEver);
    ASSERT_EQ(static_cast<std::int32_t>(items.Save()), expected);
    ASSERT_EQ(LeftOpen(items), "");
    ASSERT_TRUE(items.Rows() == literal.rows);
    ASSERT_EQ(items.changes.Size(), changes);
}

TEST(FaultInASave, EndsAsTheRulesTellAtEveryCallAndWithEveryStatus) {
    ManyChanges items;
    LiteralSave literal(items.Rows(), items.changes.ScriptCopy());
    EXPECT_EQ(literal.Run(), StatusOk);
    EXPECT_EQ(items.changes.Size(), 201U);
    std::vector<Fault> faults;
    for (const auto& [operation, calls] : literal.asked) {
        // One step is like another, but for where it stands to the writes.
        const int stride = operation == "next" ? 9 : 1;
        for (int call = 1; call <= calls; call += stride) {
            const std::int32_t status = kStatuses[faults.size() / 2 % std::size(kStatuses)];
            faults.push_back({operation, call, status, /*forEver=*/false});
            faults.push_back({operation, call, status, /*forEver=*/true});
        }
    }
    for (const std::int32_t status : kStatuses) {
        for (const char* const operation : {"first", "next", "update", "delete", "insert"}) {
            faults.push_back({operation, 1, status, /*forEver=*/true});
            faults.push_back({operation, 20, status, /*forEver=*/true});
        }
    }
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.operation + std::to_string(fault.call) + " " +
                     std::to_string(fault.status));
        ASSERT_NO_FATAL_FAILURE(ExpectAsTold(literal, fault));
    }
}

TEST(FaultInALinkOfASave, EndsItsWalkAndTakesNoRecordForOneWithoutATarget) {
    const std::string kept = "1 2 4 5 7";  // 3 and 6 have no city
    for (const std::size_t which : {0U, 1U}) {
        for (int failing = 0, reads = 1; failing <= reads; ++failing) {
            SCOPED_TRACE(failing);
            LinkedSales sales;
            ETabulonPendingChanges changes;
            changes.AppendDelete(Tag({{1, EVariant()}}));
            const ERef<WalkTrace> trace = MakeRef<WalkTrace>("id");
            FailingSource& source = *sales.sources[which];
            if (failing != 0) {
                source.FailAt(failing, DataLocked);
            }
            {
                const ECursorListening listening(sales.cursor, *trace);
                ETabulonSavePending save(&sales.cursor, sales.cursor.Levels());
                EXPECT_EQ(save.Run(&changes, ETabulonTag::Null), StatusOk);
            }
            EXPECT_EQ(trace->Take().find("error(1001)") != std::string::npos, failing != 0);
            reads = failing == 0 ? source.reads : reads;
            std::string left;
            for (EPosition at = sales.table->GetFirst(); at != kNoPosition;
                 at = sales.table->GetNext()) {
                const std::string id = sales.table->Fields()["id"].AsChaine().c_str();
                if (failing == 0 || (id != "3" && id != "6")) {
                    left += (left.empty() ? "" : " ") + id;
                }
            }
            EXPECT_EQ(left, kept);
        }
    }
}

TEST(MemoryShortInASave, LeavesNothingOpenAndNoRowHalfWritten) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "allocations can't be made to fail here";
    }
    std::vector<ItemRow> before, after;
    {
        ManyChanges items(60);
        before = items.Rows();
        EXPECT_EQ(items.Save(), StatusOk);
        after = items.Rows();
    }
    bool passed = true;
    for (std::uint64_t allowed = 0; passed; ++allowed) {
        ManyChanges items(60);
        static_cast<void>(items.table->Take());
        passed = false;
        {
            const FailingAllocation failing(allowed);
            try {
                static_cast<void>(items.Save());
            } catch (const std::bad_alloc&) {
                passed = true;
            }
            passed = passed || failing.HasFailed();  // some below may do without
        }
        ASSERT_EQ(LeftOpen(items), "") << allowed;
        for (const ItemRow& row : items.Rows()) {
            ASSERT_TRUE(std::count(before.begin(), before.end(), row) +
                            std::count(after.begin(), after.end(), row) >
                        0)
                << allowed << ": " << Text(row);
        }
    }
}

}  // namespace
}  // namespace etabulon::test
