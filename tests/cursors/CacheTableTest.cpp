#include "CacheFixture.h"

// The suite's tests are definitions, and another file of this program has them already.
#define TableCursorSuite CacheCursorSuite
#define WritableTableSuite WritableCacheSuite
#include "support/TableCursorSuite.h"

namespace etabulon::test {
namespace {

// --------------------------------------------------------------------------------------- the suite

/// A table of a cache as what the suite asks for. Its levels are the key, its order is the key's.
class CacheTable : public EDataTable {
public:
    CacheTable(OpenCache& cache, ETabulonSortDesc& sort, DDicoBase* node)
        : CacheTable(cache, std::unique_ptr<EData>(cache.AllocEData(ETabulonTag::Null, &sort))) {
        dico = node;
    }
    EPosition GetFirst() override { return Tell(inner_->GetFirst()); }
    EPosition GetLast() override { return Tell(inner_->GetLast()); }
    EPosition GetNext() override { return Tell(inner_->GetNext()); }
    EPosition GetPrevious() override { return Tell(inner_->GetPrevious()); }
    /// The suite wants a record that was deleted to be gone, where the table finds the dead line.
    EPosition RePos(EPosition where, bool flag) override {
        const EPosition at = Tell(inner_->RePos(where, flag));
        const EVariant& key = Fields().At(0);
        if (at != kNoPosition && cache_.IsEmpty(Tag({{0, key}}))) {
            return Fail(DataGone);
        }
        return at;
    }
    EPosition Insert() override { return Tell(inner_->Insert()); }
    /// Written through, for the links of other tables.
    EPosition Update(EPosition where) override {
        const bool wasDirty = cache_.IsDirty();
        const EPosition at = Tell(inner_->Update(where));
        return wasDirty || cache_.Save() == StatusOk ? at : kNoPosition;
    }
    bool DeleteOne(EPosition where) override {
        const bool done = inner_->DeleteOne(where);
        Tell(kNoPosition);
        return done;
    }
    void BeginDelete() override { inner_->BeginDelete(); }
    void EndDelete() override { inner_->EndDelete(); }
    const EFieldKey& CurKey() override { return inner_->CurKey(); }
    std::int32_t LockRecord(EPosition where, bool wait) override { return Lock(where, wait); }
    std::int32_t UnlockRecord(EPosition /*where*/) override { return status = DataOk; }

private:
    CacheTable(OpenCache& cache, std::unique_ptr<EData> inner)
        : EDataTable(inner->Fields()), cache_(cache), inner_(std::move(inner)) {}
    EPosition Tell(EPosition result) {
        position = inner_->position;
        status = inner_->status;
        return result;
    }
    OpenCache& cache_;
    std::unique_ptr<EData> inner_;
};

class CacheFactory : public TableFactory {
public:
    void Make(const TableSchema& schema, const TableRows& rows) override {
        Made& made = *(made_[schema.name] = std::make_unique<Made>());
        made.rubric = MakeRubric(dico_, schema);
        made.table = std::make_unique<EDataMemory>(made.rubric);
        for (const std::vector<EVariant>& row : rows) {
            EXPECT_NE(made.table->Append(row), kNoPosition);
        }
        made.levels.AddLevel("Key", schema.columns[0].name, nullptr, /*addRef=*/false);
        made.source.Init(made.levels, made.table.get(), /*ownsTable=*/false);
        made.cache = std::make_unique<OpenCache>(&made.source);
        made.sort = MakeRef<ETabulonSortDesc>(made.levels);
        EXPECT_EQ(made.cache->Browse(ETabulonTag::Null), StatusOk);
    }
    std::unique_ptr<EDataTable> Open(const char* name) override {
        Made& made = *made_.at(name);
        return std::make_unique<CacheTable>(*made.cache, *made.sort, made.rubric);
    }

private:
    struct Made {
        DRubric* rubric = nullptr;
        ETabulonLevels levels;
        std::unique_ptr<EDataMemory> table;
        OpenSource source;
        std::unique_ptr<OpenCache> cache;
        ERef<ETabulonSortDesc> sort;
    };
    DDico dico_;
    std::map<std::string, std::unique_ptr<Made>> made_;
};

const auto kMakeCache =
    ::testing::Values(TableMaker([] { return std::make_unique<CacheFactory>(); }));
INSTANTIATE_TEST_SUITE_P(Cache, TableCursorSuite, kMakeCache);
INSTANTIATE_TEST_SUITE_P(Cache, WritableTableSuite, kMakeCache);

// --------------------------------------------------------------------------------------- its rules

class CacheTables : public CachedSales {
protected:
    CacheTables() { static_cast<void>(Walk()); }
};

TEST_F(CacheTables, ShowTheLinesInAnOrderOfTheirOwn) {
    const auto all = Table();
    EXPECT_EQ(Show(*all), "4Bonn 3Ulm 5Ulm 2Lyon 1Paris");
    EXPECT_EQ(Show(*Table(At("DE"))), "4Bonn 3Ulm 5Ulm");
    EXPECT_EQ(Show(*Table(At("FR", "Lyon"))), "2Lyon") << "the tag itself too";
    ASSERT_TRUE(sort->MoveSortLevel(1, 0, 0));
    EXPECT_EQ(Show(*Table()), "4Bonn 2Lyon 1Paris 3Ulm 5Ulm");
    EXPECT_EQ(Show(*all), "4Bonn 3Ulm 5Ulm 2Lyon 1Paris") << "never sorted anew";
    EXPECT_EQ(all->GetLast(), all->position);
    EXPECT_EQ(RecordText(*all), "1Paris");
    EXPECT_NE(all->GetPrevious(), kNoPosition);
    EXPECT_EQ(RecordText(*all), "2Lyon");
    EXPECT_EQ(all->CurKey().At(0).AsInt64(), 2);
    EXPECT_TRUE(all->LoadBuffer());
    EXPECT_EQ(all->RePos(kNoPosition - 1, false), kNoPosition);
    EXPECT_FALSE(all->LoadBuffer());
}

TEST_F(CacheTables, FileNewLinesAfterTheirEquals) {
    const auto all = Table();
    const auto france = Table(At("FR"));
    EXPECT_EQ(AppendSale(6, "DE", "Trier", 1), StatusOk);
    EXPECT_EQ(AppendSale(7, "DE", "TRIER", 1), StatusOk) << "another tag, an equal place";
    EXPECT_EQ(AppendSale(8, "AT", "Graz", 1), StatusOk);
    EXPECT_EQ(AppendSale(9, "FR", "Metz", 1), StatusOk);
    EXPECT_EQ(Show(*all), "8Graz 4Bonn 6Trier 7TRIER 3Ulm 5Ulm 2Lyon 9Metz 1Paris");
    EXPECT_EQ(Show(*france), "2Lyon 9Metz 1Paris");
    // A line whose place would be another by its values stays where it was filed.
    EXPECT_EQ(cache->Update(At("AT"), "city", EVariant("Zell")), StatusOk);
    EXPECT_EQ(Show(*all), "8Zell 4Bonn 6Trier 7TRIER 3Ulm 5Ulm 2Lyon 9Metz 1Paris");
}

TEST_F(CacheTables, TableMadeBeforeTheFillStaysEmpty) {
    cache->ClearCache();
    EXPECT_EQ(AppendSale(1, "FR", "Paris", 1), StatusOk);
    const auto early = Table();
    EXPECT_EQ(Show(*early), "");
    EXPECT_EQ(AppendSale(2, "FR", "Lyon", 1), StatusOk);
    EXPECT_EQ(Show(*early), "2Lyon");
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 4 | 5");
    EXPECT_EQ(Show(*early), "");
    EXPECT_EQ(AppendSale(6, "FR", "Nice", 1), StatusOk);
    EXPECT_EQ(Show(*early), "6Nice");
}

TEST_F(CacheTables, LoseTheirRecordWithTheCache) {
    const auto all = Table();
    const EPosition first = all->GetFirst();
    cache->ClearCache();
    EXPECT_EQ(all->position, kNoPosition);
    EXPECT_TRUE(all->Fields()["id"].IsMissing());
    EXPECT_EQ(Failure(*all, all->GetNext()), DataNoCurrent);
    EXPECT_EQ(Failure(*all, all->GetFirst()), DataEnd);
    static_cast<void>(Walk());
    EXPECT_EQ(Table()->RePos(first, false), kNoPosition) << "no position is given twice";
}

TEST_F(CacheTables, RePosFindsWhatAWalkPassesOver) {
    const auto germany = Table(At("DE"));
    ASSERT_NE(germany->GetFirst(), kNoPosition);
    const EPosition bonn = germany->position;
    EXPECT_EQ(cache->Delete(At("DE")), StatusOk);
    EXPECT_EQ(Show(*germany), "") << "a list of dead lines";
    EXPECT_EQ(germany->position, kNoPosition);
    EXPECT_EQ(germany->RePos(bonn, false), bonn);
    EXPECT_EQ(germany->status, DataOk);
    EXPECT_EQ(RecordText(*germany), "4Bonn");
    for (const EPosition none : {kNoPosition, EPosition{1000}}) {
        EXPECT_EQ(Failure(*germany, germany->RePos(none, false)), DataNoSuchPosition);
        EXPECT_TRUE(germany->Fields()["id"].IsMissing());
    }
    EXPECT_EQ(AppendSale(6, "FR", "Nice", 1), StatusOk);
    EXPECT_EQ(Show(*germany), "") << "outside of the root";
}

TEST_F(CacheTables, InsertStandsOnWhatItMadeOrBroughtBack) {
    const auto all = Table();
    EXPECT_EQ(cache->Delete(At("FR", "Lyon")), StatusOk);
    const auto later = Table();
    for (const auto* shown : {&all, &later}) {
        EFieldSet& fields = (*shown)->Fields();
        static_cast<void>((*shown)->GetFirst());
        fields["country"] <<= EVariant("FR");
        fields["city"] <<= EVariant("Lyon");
        fields["id"] <<= EVariant(22);
        const EPosition at = (*shown)->Insert();
        EXPECT_NE(at, kNoPosition);
        EXPECT_EQ((*shown)->position, at);
        EXPECT_EQ(RecordText(**shown), "22Lyon");
        EXPECT_EQ(Failure(**shown, (*shown)->Insert()), DataDuplicate);
        EXPECT_EQ((*shown)->position, kNoPosition);
        EXPECT_TRUE(fields["id"].IsMissing());
        EXPECT_EQ(Show(*all), "4Bonn 3Ulm 5Ulm 22Lyon 1Paris");
        EXPECT_EQ(Show(*later), "4Bonn 3Ulm 5Ulm 22Lyon 1Paris");
        EXPECT_EQ(cache->Delete(At("FR", "Lyon")), StatusOk);
    }
}

TEST_F(CacheTables, UpdateAnswersThePositionWhateverCameOfIt) {
    const auto all = Table();
    EXPECT_EQ(Failure(*all, all->Update(kNoPosition)), DataNoCurrent);
    const EPosition bonn = all->GetFirst();
    all->Fields()["amount"] <<= EVariant(70);
    EXPECT_EQ(all->Update(kNoPosition), bonn);
    EXPECT_EQ(all->status, DataOk);
    EXPECT_EQ(cache->Delete(At("DE", "Bonn")), StatusOk);
    EXPECT_EQ(all->Update(bonn), bonn);
    EXPECT_EQ(all->status, DataNoCurrent);
}

/// A table cursor on a table of the cache. It shows 4Bonn 3Ulm 5Ulm 2Lyon 1Paris.
class CursorOnACacheTable : public CacheTables {
protected:
    CursorOnACacheTable() {
        upper.Init(levels, Table().release(), /*ownsTable=*/true);
        updater = ERef<ETabulonCursor::IUpdater>::Adopt(upper.Updater());
        cache->AddCacheNotifier(trace.Get());
    }
    ~CursorOnACacheTable() override { cache->RemCacheNotifier(trace.Get()); }
    void StandOn(int record) {
        ASSERT_EQ(upper.CallReset(ETabulonTag::Null), StatusOk);
        while (--record > 0) {
            ASSERT_EQ(upper.CallGetNext(), StatusOk);
        }
    }
    CursorStatus Save(const char* column, const EVariant& value) {
        EXPECT_EQ(updater->StartUpdate(upper.PrimaryKey(), upper.CurrentTag()), StatusOk);
        EXPECT_EQ(updater->SetValue(column, ETabulonValue(value, "", false)), StatusOk);
        return updater->Save();
    }
    OpenSource upper;
    ERef<ETabulonCursor::IUpdater> updater;
};

TEST_F(CursorOnACacheTable, FailsWhereTheRecordWouldLeaveItsLine) {
    // Of no line; of one that is dead; of others that are alive, which it would overwrite.
    EXPECT_EQ(cache->Delete(At("DE", "Bonn")), StatusOk);
    for (const char* city : {"Kiel", "Bonn", "Paris"}) {
        StandOn(3);
        EXPECT_EQ(upper.Field("id").AsInt64(), 2);
        EXPECT_EQ(Save("city", city), static_cast<CursorStatus>(DataNoCurrent)) << city;
        EXPECT_EQ(Save("country", "DE"), static_cast<CursorStatus>(DataNoCurrent));
    }
    EXPECT_EQ(trace->Take(), "delete [DE, Bonn]");
    EXPECT_EQ(Saved(), "1:10 2:20 3:5 5:9");
}

TEST_F(CursorOnACacheTable, WritesTheLineThatItStandsOnAmongThoseOfOneTag) {
    StandOn(2);
    EXPECT_EQ(upper.Field("id").AsInt64(), 3);
    EXPECT_EQ(Save("amount", 33), StatusOk);
    StandOn(3);
    EXPECT_EQ(updater->Delete(upper.PrimaryKey(), upper.CurrentTag()), StatusOk);
    EXPECT_EQ(trace->Take(), "update [DE, Ulm] | delete [DE, Ulm]");
    EXPECT_EQ(Saved(), "1:10 2:20 3:33 4:7");
}

TEST_F(CacheTables, DeleteOneMeansTheCurrentRecordAndFailsWithoutOne) {
    const auto all = Table();
    EXPECT_EQ(Failure(*all, all->DeleteOne(kNoPosition)), DataNoCurrent);
    EXPECT_EQ(Failure(*all, all->DeleteOne(1000)), DataNoSuchPosition);
    ASSERT_NE(all->GetFirst(), kNoPosition);
    EXPECT_TRUE(all->DeleteOne(kNoPosition));
    EXPECT_EQ(all->position, kNoPosition);
    EXPECT_EQ(Show(*all), "3Ulm 5Ulm 2Lyon 1Paris");
    // In a session the walk goes on after it.
    all->BeginDelete();
    ASSERT_NE(all->GetFirst(), kNoPosition);
    EXPECT_TRUE(all->DeleteOne(all->position));
    EXPECT_NE(all->GetNext(), kNoPosition);
    EXPECT_EQ(RecordText(*all), "2Lyon") << "both of Ulm have one tag";
    all->EndDelete();
    EXPECT_TRUE(Table(At("FR"))->DeleteLoop());
    EXPECT_EQ(Show(*all), "");
    EXPECT_TRUE(cache->IsEmpty());
}

}  // namespace
}  // namespace etabulon::test
