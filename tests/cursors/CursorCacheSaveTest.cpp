#include "CacheFixture.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

constexpr std::int32_t kBroken = 1099;
constexpr auto kBrokenStatus = static_cast<CursorStatus>(kBroken);

/// Lyon is changed, Bonn deleted, Nice made; Rome was made and deleted.
class EditedCache : public CachedSales {
protected:
    EditedCache() {
        static_cast<void>(Walk());
        shown = Table();
        EXPECT_EQ(cache->Update(At("FR", "Lyon"), "amount", EVariant(21)), StatusOk);
        EXPECT_EQ(cache->Delete(At("DE", "Bonn")), StatusOk);
        EXPECT_EQ(AppendSale(6, "FR", "Nice", 6), StatusOk);
        EXPECT_EQ(AppendSale(7, "IT", "Rome", 7), StatusOk);
        EXPECT_NE(shown->GetLast(), kNoPosition);
        EXPECT_EQ(cache->Delete(At("IT")), StatusOk);
        static_cast<void>(table->Take());
    }
    /// What a save that ends so asks the table.
    std::string Asked(CursorStatus status) {
        EXPECT_EQ(cache->Save(), status);
        return table->Take();
    }
    std::unique_ptr<OpenCache::EDataCache> shown;
};

constexpr const char* kBefore = "1:10 2:20 3:5 4:7 5:9";
constexpr const char* kAfter = "1:10 2:21 3:5 5:9 6:6";

TEST_F(EditedCache, IsWrittenInOneSession) {
    EXPECT_EQ(Stored(), kBefore);
    EXPECT_EQ(Asked(StatusOk), "begin repos(1) update(-1) repos(3) delete(-1) insert end");
    EXPECT_EQ(Stored(), kAfter);
    EXPECT_TRUE(cache->IsDirty()) << "what was made and deleted stays so";
    EXPECT_EQ(Asked(StatusOk), "begin end");
    cache->ClearCache();
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 5 | 6");
}

TEST_F(EditedCache, SavedDeletedLineComesBackAsClean) {
    EXPECT_EQ(Walk(At("DE")), "3 | 5");
    EXPECT_EQ(cache->Save(), StatusOk);
    EXPECT_EQ(Walk(At("DE")), "3 | 4 | 5");
}

TEST_F(CachedSales, UpdaterReachesTheRecordOfTheKeyWhereverTheSourceStands) {
    const auto updater = ERef<ETabulonCursor::IUpdater>::Adopt(cache->Updater());
    std::map<std::string, ETabulonPrimaryKey> keys;
    for (auto s = cache->CallReset(ETabulonTag::Null); s == StatusOk; s = cache->CallGetNext()) {
        keys[cache->Fields()["id"].AsChaine().c_str()] = cache->PrimaryKey();
    }
    // The source stands on the first of Ulm.
    const auto write = [&](const char* id, bool isDelete) {
        CursorStatus status = source.CallReset(ETabulonTag::Null);
        for (; source.Fields()["id"].AsInt64() != 3; status = source.CallGetNext()) {
        }
        EXPECT_EQ(status, StatusOk);
        if (isDelete) {
            return updater->Delete(keys[id], At("DE", "Ulm"));
        }
        static_cast<void>(updater->StartUpdate(keys[id], At("DE", "Ulm")));
        static_cast<void>(updater->SetValue("amount", ETabulonValue(90, "", /*modified=*/false)));
        return updater->Save();
    };
    EXPECT_EQ(write("5", /*isDelete=*/false), StatusOk);
    EXPECT_EQ(Stored(), "1:10 2:20 3:5 4:7 5:90");
    EXPECT_EQ(write("5", /*isDelete=*/true), StatusOk);
    // A record that isn't there, or a line that was made in memory, never means another.
    for (const char* const id : {"5", "made"}) {
        EXPECT_NE(write(id, /*isDelete=*/false), StatusOk);
        EXPECT_NE(write(id, /*isDelete=*/true), StatusOk);
        EXPECT_EQ(Stored(), "1:10 2:20 3:5 4:7");
    }
    EXPECT_EQ(AppendSale(6, "FR", "Nice", 6), StatusOk);
    EXPECT_EQ(Saved(), "1:10 2:20 3:5 4:7 6:6");
}

// Of two caches only the inner one moves the table, once for each record.
TEST_F(CachedSales, OverACacheWritesTheTablesRecords) {
    static_cast<void>(Walk());
    EXPECT_EQ(AppendSale(6, "FR", "Nice", 6), StatusOk);
    OpenCache outer(cache.get());
    ASSERT_EQ(outer.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(outer.Update(At("DE", "Bonn"), "amount", EVariant(70)), StatusOk);
    EXPECT_EQ(outer.Delete(At("FR", "Lyon")), StatusOk);
    static_cast<void>(table->Take());
    EXPECT_EQ(outer.Save(), StatusOk);
    EXPECT_EQ(table->Take(), "begin repos(1) delete(-1) repos(3) update(-1) end");
    EXPECT_EQ(Stored(), "1:10 3:5 4:70 5:9");
    // The line that only the inner cache has is no record of the table until that cache is saved.
    EXPECT_EQ(outer.Update(At("FR", "Nice"), "amount", EVariant(66)), StatusOk);
    EXPECT_EQ(outer.Save(), static_cast<CursorStatus>(DataNoSuchPosition));
    EXPECT_EQ(Saved(), "1:10 3:5 4:70 5:9 6:6");
    outer.ClearCache();
    ASSERT_EQ(outer.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(outer.Update(At("FR", "Nice"), "amount", EVariant(66)), StatusOk);
    EXPECT_EQ(outer.Save(), StatusOk);
    EXPECT_EQ(Stored(), "1:10 3:5 4:70 5:9 6:66");
}

TEST_F(EditedCache, WritesARecordAgainThatItHasMade) {
    EXPECT_EQ(cache->Save(), StatusOk);
    EXPECT_EQ(cache->Update(At("FR", "Nice"), "amount", EVariant(66)), StatusOk);
    EXPECT_EQ(Saved(), "1:10 2:21 3:5 5:9 6:66");
    EXPECT_EQ(cache->Delete(At("FR", "Nice")), StatusOk);
    EXPECT_EQ(Saved(), "1:10 2:21 3:5 5:9");
}

// Of every type, and without any level at all.
TEST(SavedLine, IsMovedToWhereNoLevelHasAValue) {
    for (const std::uint16_t type : {TYPE_AUTRE, TYPE_LONG, TYPE_UINT8, TYPE_BOOL, TYPE_CURRENCY,
                                     TYPE_DOUBLE, TYPE_DATE, TYPE_TIME, TYPE_TIMESTAMP, TYPE_GUID,
                                     TYPE_BLOB, TYPE_BLOBIMAGE, TYPE_CHAINE, TYPE_NC_CHAINE}) {
        SCOPED_TRACE(type);
        DDico dico;
        DRubric* const rubric = dico.AddRubric("Days");
        AddVariables(*rubric, {{"day", type, type == TYPE_AUTRE ? 1U : 0U}, {"amount", TYPE_LONG}});
        const auto stored = MakeTable(rubric, {{Missing(), 1}, {Missing(), 2}});
        ETabulonLevels levels;
        if (type != TYPE_AUTRE) {
            levels.AddLevel("Day", "day", nullptr, /*addRef=*/false);
        }
        OpenSource source;
        source.Init(levels, stored.get(), /*ownsTable=*/false);
        OpenCache cache(&source);
        EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
        ASSERT_EQ(source.CallReset(ETabulonTag::Null), StatusOk);
        EXPECT_EQ(cache.Update(ETabulonTag::Null, "amount", EVariant(3)), StatusOk);
        EXPECT_EQ(cache.Save(), StatusOk);
        EDataMemory other(*stored);
        EXPECT_NE(other.GetFirst(), kNoPosition);
        EXPECT_NE(other.GetNext(), kNoPosition);
        EXPECT_EQ(other.Fields()["amount"].AsInt64(), 3);
    }
}

TEST_F(EditedCache, FailedSaveLeavesEveryLineMarked) {
    struct Case {
        const char* operation;
        int count;
        const char* asked;
    };
    for (const Case& c : {Case{"repos", 1, "begin repos(1) end"},
                          Case{"update", 1, "begin repos(1) update(-1) end"},
                          Case{"repos", 2, "begin repos(1) update(-1) repos(3) end"},
                          Case{"delete", 1, "begin repos(1) update(-1) repos(3) delete(-1) end"}}) {
        SCOPED_TRACE(c.asked);
        table->FailAt(c.operation, c.count, kBroken);
        EXPECT_EQ(Asked(kBrokenStatus), c.asked);
        EXPECT_TRUE(IsUnlocked());
        EXPECT_EQ(Walk(), "1 | 2 | 3 | 5 | 6");
        static_cast<void>(table->Take());
    }
    EXPECT_EQ(Asked(StatusOk), "begin repos(1) update(-1) repos(3) delete(-1) insert end")
        << "also what was written before a failure";
    EXPECT_EQ(Stored(), kAfter);
}

TEST_F(EditedCache, InsertThatFailsLeavesEveryLineMarked) {
    table->FailAt("insert", 1, kBroken);
    EXPECT_EQ(cache->Save(), kBrokenStatus);
    EXPECT_EQ(Stored(), "1:10 2:21 3:5 5:9");
    // The deleted record is deleted again, and isn't there.
    EXPECT_EQ(cache->Save(), static_cast<CursorStatus>(DataGone));
}

TEST_F(EditedCache, SaveStopsAWalk) {
    walk->At("move", 2, [this] { return cache->Save(); });
    EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusCancelled);
}

TEST_F(EditedCache, InsertsALineThatWasMadeAndDeletedAndComesBack) {
    EXPECT_EQ(cache->Update(At("IT", "Rome"), "amount", EVariant(8)), StatusOk);
    EXPECT_EQ(Saved(), kAfter + std::string(" 7:8"));
}

TEST_F(EditedCache, InsertsALineThatWasMadeAndDeletedAndIsAppendedAgain) {
    EXPECT_EQ(AppendSale(8, "IT", "Rome", 8), StatusOk);
    EXPECT_EQ(Saved(), kAfter + std::string(" 8:8"));
}

TEST_F(EditedCache, UpdatesARecordThatWasDeletedAndComesBack) {
    EXPECT_EQ(AppendSale(4, "DE", "Bonn", 8), StatusOk);
    EXPECT_EQ(Asked(StatusOk), "begin repos(1) update(-1) repos(3) update(-1) insert end");
    EXPECT_EQ(Stored(), "1:10 2:21 3:5 4:8 5:9 6:6");
}

TEST_F(EditedCache, CannotBeSavedWithoutAnUpdater) {
    class ReadOnly : public ETabulonCursorRelay {
    public:
        using ETabulonCursorRelay::ETabulonCursorRelay;
        IUpdater* Updater() override { return nullptr; }
    } relay(&source);
    relay.Init(source.Levels());
    OpenCache other(&relay);
    ASSERT_EQ(other.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(other.Save(), StatusOk) << "nothing to write";
    EXPECT_EQ(other.Delete(At("FR")), StatusOk);
    EXPECT_EQ(other.Save(), static_cast<CursorStatus>(DataReadOnly));
}

// Every allocation of an edit fails once: no line is half changed, and the edit then succeeds.
TEST_F(EditedCache, EditsAreWholeWhereMemoryRunsOut) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "allocations aren't counted";
    }
    EFieldSet own = cache->Fields().Packed();
    const ERecordBuffer record(own);
    own.ChangeBuffer(record.Get(), /*takeOwnership=*/false);
    own["country"] <<= EVariant("ES");
    own["city"] <<= EVariant("a city with a name that takes memory");
    const EVariant amount(77);
    const ETabulonTag spain = At("ES");
    const auto second = Table(At("ES"));
    const std::vector<std::function<CursorStatus()>> edits = {
        [&] { return cache->Append(own); }, [&] { return cache->Update(spain, "amount", amount); },
        [&] { return cache->Update(own); }, [&] { return cache->Delete(spain); },
        [&] { return cache->Save(); }};
    for (std::size_t edit = 0; edit < edits.size(); ++edit) {
        SCOPED_TRACE(edit);
        for (std::uint64_t allowed = 0;; ++allowed) {
            const std::string before = Show(*shown) + "/" + Show(*second);
            CursorStatus status = kBrokenStatus;
            bool hasFailed = false;
            {
                const FailingAllocation failing(allowed);
                try {
                    status = edits[edit]();
                } catch (const std::bad_alloc&) {
                    hasFailed = true;
                }
            }
            EXPECT_TRUE(IsUnlocked());
            if (!hasFailed) {
                // A save that was broken off is done again from its first line.
                const bool isSave = edit + 1 == edits.size();
                EXPECT_EQ(status, isSave ? static_cast<CursorStatus>(DataGone) : StatusOk);
                break;
            }
            EXPECT_EQ(Show(*shown) + "/" + Show(*second), before) << allowed;
            EXPECT_NE(Walk(), "");
        }
    }
}

}  // namespace
}  // namespace etabulon::test
