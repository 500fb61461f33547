#include "CacheFixture.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

using Cache = ETabulonCursorCache;

class FilledCache : public CachedSales {
protected:
    FilledCache() {
        static_cast<void>(Walk());
        static_cast<void>(table->Take());
        cache->AddCacheNotifier(trace.Get());
    }
    ~FilledCache() override {
        if (cache) {
            cache->RemCacheNotifier(trace.Get());
        }
    }
};

TEST_F(FilledCache, TakesEditsThatNoTableSees) {
    EXPECT_EQ(AppendSale(6, "IT", "Rome", 1), StatusOk);
    EXPECT_EQ(cache->Update(At("FR"), "amount", EVariant(3)), StatusOk);
    EXPECT_EQ(cache->Delete(At("DE", "Bonn")), StatusOk);
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 5 | 6");
    EXPECT_EQ(trace->Take(),
              "append [IT, Rome] | value [FR, Paris] amount | update [FR, Paris] | "
              "value [FR, Lyon] amount | update [FR, Lyon] | delete [DE, Bonn]");
    EXPECT_EQ(table->Take(), "");
    EXPECT_TRUE(cache->IsDirty());
    EXPECT_FALSE(cache->IsEmpty(At("DE")));
    EXPECT_TRUE(cache->IsEmpty(At("DE", "Bonn")));
    EXPECT_TRUE(cache->IsEmpty(At("ES")));
    cache->ClearCache();
    EXPECT_EQ(trace->Take(), "clear");
    EXPECT_FALSE(cache->IsDirty());
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 4 | 5");
    EXPECT_EQ(trace->Take(), "clear");
}

// A text that folds equals texts that differ from one another.
TEST_F(FilledCache, ReachesEveryLineThatATextThatFoldsEquals) {
    const auto folded = [](const char* text) {
        return EVariant::FromText(TYPE_NC_CHAINE, 0, text);
    };
    const ETabulonTag lyon = Tag({{kCountry, folded("fr")}, {kCity, folded("LYON")}});
    for (const ETabulonTag& tag : {Tag({{kCountry, folded("Fr")}}), lyon}) {
        const bool isCity = tag == lyon;
        cache->ClearCache();
        static_cast<void>(Walk());
        EXPECT_EQ(AppendSale(6, "fr", "lyon", 1), StatusOk);
        EXPECT_EQ(AppendSale(7, "FR", "LYON", 1), StatusOk);
        EXPECT_EQ(Show(*Table(tag)), isCity ? "2Lyon 6lyon 7LYON" : "2Lyon 6lyon 7LYON 1Paris");
        EXPECT_EQ(cache->Delete(At("FR", "Lyon")), StatusOk);
        EXPECT_EQ(cache->Update(tag, "amount", EVariant(3)), StatusOk);
        EXPECT_EQ(Show(*Table(tag)), isCity ? "2Lyon 6lyon 7LYON" : "2Lyon 6lyon 7LYON 1Paris");
        EXPECT_EQ(cache->Delete(At("FR", "LYON")), StatusOk);
        EXPECT_EQ(cache->Delete(At("FR", "Lyon")), StatusOk);
        EXPECT_FALSE(cache->IsEmpty(tag));
        EXPECT_EQ(cache->Delete(tag), StatusOk);
        EXPECT_TRUE(cache->IsEmpty(tag));
        EXPECT_EQ(Walk(), isCity ? "1 | 3 | 4 | 5" : "3 | 4 | 5");
    }
}

TEST_F(FilledCache, AnswersWhatItFinds) {
    EXPECT_EQ(AppendSale(7, "FR", "Lyon", 1), static_cast<CursorStatus>(DataDuplicate));
    EXPECT_EQ(trace->Take(), "append [FR, Lyon]") << "notifiers are asked before it is known";
    EXPECT_EQ(source.Fields()["id"].AsInt64(), 7) << "only the source's fields have it";
    EXPECT_FALSE(cache->IsDirty());
    EXPECT_EQ(cache->Delete(At("ES")), static_cast<CursorStatus>(DataGone));
    EXPECT_EQ(cache->Update(At("ES"), "amount", EVariant(1)), StatusOk);
    EXPECT_FALSE(cache->IsDirty());
    EXPECT_EQ(cache->Delete(At("DE")), StatusOk);
    EXPECT_EQ(cache->Delete(At("DE")), StatusOk) << "dead lines match";
    cache->iFields()["country"] <<= EVariant("DE");
    cache->iFields()["city"] <<= EVariant("Bonn");
    EXPECT_EQ(cache->Update(cache->Fields()), static_cast<CursorStatus>(DataNoCurrent));
    cache->iFields()["city"] <<= EVariant("Kiel");
    EXPECT_EQ(cache->Update(cache->Fields()), static_cast<CursorStatus>(DataNoCurrent));
    EXPECT_EQ(Walk(), "1 | 2");
    EXPECT_TRUE(IsUnlocked());
}

TEST_F(FilledCache, RecordsOfOneTagAreFoundAsTheLast) {
    cache->iFields()["country"] <<= EVariant("DE");
    cache->iFields()["city"] <<= EVariant("Ulm");
    cache->iFields()["id"] <<= EVariant(55);
    EXPECT_EQ(cache->Update(cache->Fields()), StatusOk);
    EXPECT_EQ(Walk(At("DE")), "3 | 4 | 55");
    EXPECT_EQ(cache->Delete(At("DE", "Ulm")), StatusOk);
    EXPECT_EQ(Walk(At("DE")), "4");
    EXPECT_EQ(AppendSale(8, "DE", "Ulm", 1), StatusOk);
    EXPECT_EQ(Walk(At("DE")), "4 | 8");
}

TEST_F(FilledCache, UpdateOfABranchRevivesItsDeadLines) {
    EXPECT_EQ(cache->Delete(At("FR")), StatusOk);
    EXPECT_EQ(cache->Update(At("FR"), "amount", EVariant(4)), StatusOk);
    EXPECT_EQ(Walk(At("FR")), "1 | 2");
    ASSERT_EQ(cache->CallReset(At("FR")), StatusOk);
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 4);
}

TEST_F(FilledCache, RevivedLineTakesTheCallersFields) {
    trace->onEvent = [](const std::string& event, EFieldSet* fields) {
        if (event == "append") {
            (*fields)["amount"] <<= EVariant(99);
        }
    };
    EFieldSet own = cache->Fields().Packed();
    const ERecordBuffer record(own);
    own.ChangeBuffer(record.Get(), false);
    own["country"] <<= EVariant("FR");
    for (const char* city : {"Lyon", "Nice"}) {
        own["city"] <<= EVariant(city);
        static_cast<void>(cache->Delete(At("FR", "Lyon")));
        EXPECT_EQ(cache->Append(own), StatusOk);
        ASSERT_EQ(cache->CallReset(At("FR")), StatusOk);
        ASSERT_EQ(cache->CallGetNext(), StatusOk);
        const bool isRevived = Chaine("Lyon") == Chaine(city);
        EXPECT_EQ(source.Fields()["amount"].IsMissing(), isRevived) << city;
    }
}

TEST_F(FilledCache, NewRecordTakesUpTheUpdatesOfItsBranch) {
    EXPECT_EQ(cache->Update(At("FR"), "amount", EVariant(30)), StatusOk);
    EXPECT_EQ(cache->Update(At("DE"), "amount", EVariant(40)), StatusOk);
    EXPECT_EQ(cache->Append(At("FR", "Nice")), StatusOk);
    EXPECT_EQ(Walk(At("FR")), "1 | 2 | ");
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 30);
    EXPECT_EQ(source.Fields()["city"].AsChaine(), Chaine("Nice"));
    EXPECT_TRUE(source.Fields()["id"].IsMissing());
    cache->ClearCache();
    static_cast<void>(Walk());
    EXPECT_EQ(cache->Append(At("FR", "Nice")), StatusOk);
    static_cast<void>(Walk(At("FR")));
    EXPECT_TRUE(source.Fields()["amount"].IsMissing()) << "cleared with the rest";
}

TEST_F(FilledCache, WritesALevelsTextBesideItsData) {
    cache->RemNotifier(walk.Get());
    cache->RemCacheNotifier(trace.Get());
    ETabulonLevels labelled;
    labelled.AddLevel("Number", "id", "city", nullptr, /*addRef=*/false);
    labelled.AddLevel("Amount", "amount", "AMOUNT", nullptr, /*addRef=*/false);
    labelled.AddLevel("Ghost", "ghost", "country", nullptr, /*addRef=*/false);
    source.Init(labelled, table.get(), /*ownsTable=*/false);
    cache = std::make_unique<OpenCache>(&source);
    ETabulonTag tag;
    tag.SetValue(0, ETabulonValue(8, "Eight", false));
    tag.SetValue(1, ETabulonValue(7, "much", false));
    tag.SetValue(2, ETabulonValue("IT", "Italy", false));
    cache->InitBuffer(cache->iFields(), tag);
    EXPECT_EQ(source.Fields()["id"].AsInt64(), 8);
    EXPECT_EQ(source.Fields()["city"].AsChaine(), Chaine("Eight"));
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 7) << "one variable is both: only the data";
    EXPECT_EQ(source.Fields()["country"].AsChaine(), Chaine("Italy"));
}

TEST_F(FilledCache, UpdatesByAValueThatLiesInItsOwnFields) {
    ASSERT_EQ(cache->CallReset(At("FR")), StatusOk);
    EXPECT_EQ(cache->Update(ETabulonTag::Null, "amount", cache->Field("amount")), StatusOk);
    ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 10);
}

TEST_F(FilledCache, SurvivesNotifiersThatEdit) {
    trace->onEvent = [this](const std::string& event, EFieldSet*) {
        trace->onEvent = nullptr;
        if (event == "update" || event == "value") {
            static_cast<void>(AppendSale(9, "FR", "Nice", 1));
            static_cast<void>(cache->Delete(At("FR", "Nice")));
            cache->ClearCache();
        }
    };
    EXPECT_EQ(cache->Update(At("FR"), "amount", EVariant(1)), StatusOk);
    EXPECT_TRUE(cache->IsEmpty());
    EXPECT_FALSE(cache->IsDirty());
}

TEST_F(FilledCache, CountsItsNotifiers) {
    PTableau<Cache::ICacheNotifier*> two;
    two.Add(trace.Get());
    two.Add(trace.Get());
    cache->AddCacheNotifiers(two);
    EXPECT_EQ(cache->CacheNotifiers().Size(), 3U);
    static_cast<void>(cache->Delete(At("DE", "Bonn")));
    EXPECT_EQ(trace->Take(), "delete [DE, Bonn] | delete [DE, Bonn] | delete [DE, Bonn]");
    cache->RemCacheNotifiers(two);
    EXPECT_EQ(cache->CacheNotifiers().Size(), 0U);
    cache->AddCacheNotifier(trace.Get());
    cache->RemNotifier(walk.Get());
    cache.reset();
    EXPECT_EQ(trace->Take(), "clear");
    trace->AddRef();
    EXPECT_EQ(trace->Release(), 1);
}

TEST_F(FilledCache, KeepsTextsWholeThatOthersOverwrite) {
    for (int turn = 0; turn < 3; ++turn) {
        ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
        if (turn == 0) {
            cache->iFields()["city"] <<= EVariant("elsewhere");
        } else if (turn == 1) {
            cache->iFields().SetNull();
        } else {
            static_cast<void>(table->GetFirst());
        }
        EXPECT_EQ(cache->CallGetNext(), StatusOk);
        EXPECT_EQ(source.Fields()["city"].AsChaine(), Chaine("Bonn"));
        static_cast<void>(walk->Take());
        EXPECT_EQ(Walk(At("DE")), "3 | 4 | 5");
    }
    ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
    cache->ClearCache();
    EXPECT_EQ(source.Fields()["city"].AsChaine(), Chaine("Ulm")) << "the record keeps what it has";
}

TEST_F(FilledCache, NotifiersHearOfTheTagThatTheLineHas) {
    cache->RemNotifier(walk.Get());
    cache->RemCacheNotifier(trace.Get());
    ETabulonLevels labelled;
    labelled.AddLevel("Number", "id", "city", nullptr, /*addRef=*/false);
    source.Init(labelled, table.get(), /*ownsTable=*/false);
    cache = std::make_unique<OpenCache>(&source);
    cache->AddCacheNotifier(trace.Get());
    EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusOk);
    static_cast<void>(trace->Take());
    cache->iFields()["id"] <<= EVariant(2);
    cache->iFields()["city"] <<= EVariant("Nice");
    EXPECT_EQ(cache->Update(cache->Fields()), StatusOk);
    EXPECT_EQ(trace->Take(), "update [Lyon]");
}

TEST_F(FilledCache, DeleteIsWholeWhereANotifierThrows) {
    const auto shown = Table();
    ASSERT_EQ(AppendSale(6, "FR", "Nice", 1), StatusOk);
    trace->onEvent = [](const std::string&, EFieldSet*) { throw std::bad_alloc(); };
    EXPECT_THROW(cache->Delete(At("FR", "Nice")), std::bad_alloc);
    EXPECT_THROW(cache->Delete(At("FR", "Lyon")), std::bad_alloc);
    trace->onEvent = nullptr;
    EXPECT_TRUE(IsUnlocked());
    EXPECT_EQ(Walk(), "1 | 3 | 4 | 5");
    EXPECT_EQ(Show(*shown), "4Bonn 3Ulm 5Ulm 1Paris");
}

/// A line whose state is brought about, and what each event makes of it.
struct StateCase {
    const char* name;
    int state;  // of the line of Lyon, or of Nice, which is made here
    const char* modified;
    const char* appended;
    const char* deleted;
};
void PrintTo(const StateCase& c, std::ostream* out) { *out << c.name; }

class CacheLineState : public FilledCache, public ::testing::WithParamInterface<StateCase> {
protected:
    /// What the next save does for each line: "update insert delete", by the table's trace.
    std::string Saved() {
        static_cast<void>(table->Take());
        EXPECT_EQ(cache->Save(), StatusOk);
        const std::string asked = table->Take();
        std::string what;
        for (const char* word : {"update", "insert", "delete"}) {
            what += asked.find(word) != std::string::npos ? word : "";
        }
        return what;
    }
};

TEST_P(CacheLineState, FollowsTheTableOfEvents) {
    const StateCase& c = GetParam();
    for (const char* event : {"modified", "appended", "deleted"}) {
        SCOPED_TRACE(event);
        cache->ClearCache();
        static_cast<void>(Walk());
        const bool isMade = c.state == Cache::LineAdded || c.state == Cache::LineAddedDeleted;
        const char* const city = isMade ? "Nice" : "Lyon";
        const auto shown = Table();
        if (isMade) {
            ASSERT_EQ(AppendSale(50 + event[0], "FR", city, 1), StatusOk);
        }
        if (c.state == Cache::LineModified) {
            ASSERT_EQ(cache->Update(At("FR", city), "amount", EVariant(2)), StatusOk);
        }
        if (c.state == Cache::LineDeleted || c.state == Cache::LineAddedDeleted) {
            ASSERT_NE(shown->GetLast(), kNoPosition);
            while (Chaine(city) != shown->Fields()["city"].AsChaine()) {
                ASSERT_NE(shown->GetPrevious(), kNoPosition);
            }
            ASSERT_EQ(cache->Delete(At("FR", city)), StatusOk);
        }
        const std::string what = event;
        if (what == "modified") {
            ASSERT_EQ(cache->Update(At("FR", city), "amount", EVariant(3)), StatusOk);
            EXPECT_EQ(Saved(), c.modified);
        } else if (what == "appended") {
            static_cast<void>(AppendSale(isMade ? 90 : 2, "FR", city, 4));
            EXPECT_EQ(Saved(), c.appended);
        } else {
            EXPECT_EQ(cache->Delete(At("FR", city)), StatusOk);
            EXPECT_EQ(Saved(), c.deleted);
        }
        stored = MakeTable(rubric, {{1, "FR", "Paris", 10}, {2, "FR", "Lyon", 20}});
        cache->ClearCache();
        auto fresh = std::make_unique<FailingTable>(*stored);
        source.Init(levels, fresh.get(), /*ownsTable=*/false);
        table = std::move(fresh);
    }
}

INSTANTIATE_TEST_SUITE_P(States, CacheLineState,
                         ::testing::Values(StateCase{"Clean", 0, "update", "", "delete"},
                                           StateCase{"Modified", 1, "update", "update", "delete"},
                                           StateCase{"Added", 2, "insert", "insert", ""},
                                           StateCase{"Deleted", 3, "update", "update", "delete"},
                                           StateCase{"AddedDeleted", 4, "insert", "insert", ""}),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace etabulon::test
