#include "CacheFixture.h"
#include "etabulon/foundation/EExtract.h"
#include "support/AllocationCount.h"

#include <random>

namespace etabulon::test {
namespace {
constexpr auto kBroken = static_cast<CursorStatus>(1099);

class CacheWalk : public CachedSales {};

TEST_F(CacheWalk, ReadsTheWholeSourceOnceWhateverTheTag) {
    EXPECT_EQ(Walk(At("DE")), "3 | 4 | 5");
    EXPECT_EQ(table->Take(), "first next next next next next");
    EXPECT_EQ(Walk(At("FR")), "1 | 2");
    EXPECT_EQ(Walk(Tag({{kCity, "Ulm"}})), "3 | 5");
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 4 | 5");
    EXPECT_EQ(Walk(At("IT")), "done");
    EXPECT_EQ(table->Take(), "");
    EXPECT_FALSE(cache->IsDirty());
}

TEST_F(CacheWalk, LineOfTheTagItselfIsNotShown) {
    EXPECT_EQ(Walk(At("FR", "Lyon")), "done");
    EXPECT_EQ(Walk(At("FR")), "1 | 2");
}

TEST_F(CacheWalk, ShowsRecordTagAndKeyOfEachLine) {
    ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
    ASSERT_EQ(cache->CallGetNext(), StatusOk);
    EXPECT_EQ(cache->CurrentTag().DisplayID(), Chaine("[DE, Bonn]"));
    EXPECT_EQ(cache->PrimaryKey().SingleCode().Data(), EVariant(4));
    EXPECT_EQ(cache->PrimaryKey().Position(), 3);
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 7);
    ASSERT_EQ(cache->CallGetNext(), StatusOk);
    EXPECT_EQ(cache->CallGetNext(), StatusEnd);
    EXPECT_EQ(cache->CallGetNext(), StatusEnd);
    EXPECT_EQ(cache->CurrentTag().DisplayID(), Chaine("[DE, Ulm]")) << "of the fields";
    EXPECT_FALSE(cache->PrimaryKey().IsSet());
}

TEST_F(CacheWalk, TakesKeysOfSeveralSegments) {
    rubric->SetKey({"country", "city", "id"});
    EDataMemory keyed(rubric);
    keyed.Append({7, "FR", "Nice", 1});
    source.Init(levels, &keyed, /*ownsTable=*/false);
    ASSERT_EQ(cache->CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(cache->PrimaryKey().SingleCode().DisplayValue(), Chaine("FR/Nice/7"));
    cache->ClearCache();
}

TEST_F(CacheWalk, RefusedFillIsTriedAgain) {
    table->FailAt("next", 2, kBroken);
    EXPECT_EQ(cache->Browse(ETabulonTag::Null), kBroken);
    EXPECT_FALSE(cache->IsEmpty()) << "what was read so far stays";
    EXPECT_EQ(walk->Take(), "reset [] | error(1099)");
    EXPECT_EQ(Walk(), "1 | 2 | 3 | 4 | 5");
    cache->ClearCache();
    EXPECT_TRUE(cache->IsEmpty());
    EXPECT_EQ(Walk(At("FR")), "1 | 2");
}

TEST_F(CacheWalk, IsCancelledBetweenTwoLines) {
    static_cast<void>(Walk());
    walk->At("move", 2, [this] {
        cache->Cancel();
        return StatusOk;
    });
    EXPECT_EQ(cache->Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(walk->Take(), "reset [] | 1 | 2 | cancel");
}

TEST_F(CacheWalk, AllocatesNothingPerRecord) {
    cache->RemNotifier(walk.Get());
    const auto walkAll = [this] {
        for (CursorStatus status = cache->CallReset(ETabulonTag::Null); status == StatusOk;
             status = cache->CallGetNext()) {
            static_cast<void>(cache->CurrentTag());
            static_cast<void>(cache->PrimaryKey());
        }
    };
    walkAll();
    const AllocationCount count;
    walkAll();
    EXPECT_EQ(count.Taken(), 0U);
}

TEST_F(CacheWalk, SharesTheTextsThatAreEqual) {
    ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
    const Chaine first = source.Fields()["city"].AsChaine();
    ASSERT_EQ(cache->CallGetNext(), StatusOk);
    ASSERT_EQ(cache->CallGetNext(), StatusOk);
    EXPECT_TRUE(source.Fields()["city"].AsChaine().IsSameBody(first));
}

TEST_F(CacheWalk, TagHandedOutOutlivesItsLine) {
    ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
    const ETabulonTag& tag = cache->CurrentTag();
    EXPECT_EQ(cache->Delete(tag), StatusOk);
    cache->ClearCache();
    EXPECT_EQ(tag.DisplayID(), Chaine("[DE, Ulm]"));
}

TEST_F(CacheWalk, KeepsTheTagOfAStepWhoseLineGoes) {
    static_cast<void>(Walk());
    ASSERT_EQ(AppendSale(6, "DE", "Kiel", 1), StatusOk);
    const auto later = MakeRef<WalkTrace>();
    cache->AddNotifier(later.Get());
    walk->At("move", 6, [this] { return cache->Delete(At("DE", "Kiel")); });
    static_cast<void>(Walk());
    EXPECT_EQ(later->Take(), "reset [] | Paris | Lyon | Ulm | Bonn | Ulm | Kiel");
    walk->At("move", 2, [this] {
        cache->ClearCache();
        cache->ClearCache();
        return StatusOk;
    });
    static_cast<void>(Walk());
    EXPECT_EQ(later->Take(), "reset [] | Paris | Lyon");
    cache->RemNotifier(later.Get());
}

// The walk's place is an index into the lines, also after the last: against one that is just that.
TEST_F(CacheWalk, KeepsItsPlaceWhileLinesComeAndGo) {
    EXPECT_TRUE(EDataMemory(*stored).DeleteLoop());
    for (unsigned int seed = 0; seed < 8; ++seed) {
        std::mt19937 random(seed);
        ASSERT_EQ(cache->CallReset(ETabulonTag::Null), StatusEnd);
        std::vector<int> lines;
        std::size_t place = 0;
        int id = 0;
        for (int turn = 0; turn < 800; ++turn) {
            const bool isGrowing = turn < (seed % 2 != 0 ? 200 : 0);  // many holes are closed
            const unsigned int drawn = isGrowing ? 0 : static_cast<unsigned int>(random() % 8);
            if (drawn < 2) {
                lines.push_back(++id);
                ASSERT_EQ(AppendSale(id, "FR", std::to_string(id).c_str(), 1), StatusOk);
            } else if (drawn < 5) {
                const bool isThere = ++place < lines.size();
                ASSERT_EQ(cache->CallGetNext(), isThere ? StatusOk : StatusEnd) << turn;
                ASSERT_TRUE(!isThere || source.Fields()["id"].AsInt64() == lines[place]) << turn;
            } else if (place > lines.size() + 2) {
                place = 0;
                ASSERT_EQ(cache->CallReset(ETabulonTag::Null),
                          lines.empty() ? StatusEnd : StatusOk);
            } else if (!lines.empty()) {
                const bool isCurrent = drawn == 5 && place < lines.size();
                const std::size_t gone = isCurrent ? place : random() % lines.size();
                ASSERT_EQ(cache->Delete(At("FR", std::to_string(lines[gone]).c_str())), StatusOk);
                place -= gone == place && place != 0 ? 1 : 0;
                lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(gone));
            }
        }
        cache->ClearCache();
    }
}

// All lines are made in memory, so that they go at once: 11 to 15 in A to E.
TEST_F(CacheWalk, WalkInWhichLinesGoPassesSomeOver) {
    struct Case {
        int at;  // the step at which a listener deletes the cities
        const char *cities, *shown;
    };
    for (const auto& [at, cities, shown] :
         {Case{2, "B", "11 | 12 | 13 | 14 | 15"}, Case{1, "A", "11 | 13 | 14 | 15"},
          Case{3, "A", "11 | 12 | 13 | 15"}, Case{3, "AB", "11 | 12 | 13"},
          Case{2, "D", "11 | 12 | 13 | 15"}, Case{3, "CA", "11 | 12 | 13 | 15"},
          Case{2, "ABCDE", "11 | 12"}, Case{5, "A", "11 | 12 | 13 | 14 | 15"}}) {
        cache->ClearCache();
        EDataMemory(*stored).DeleteLoop();
        static_cast<void>(Walk());
        for (const char* city : {"A", "B", "C", "D", "E"}) {
            EXPECT_EQ(AppendSale(11 + *city - 'A', "FR", city, 1), StatusOk);
        }
        walk->At("move", at, [this, gone = std::string(cities)] {
            for (const char city : gone) {
                EXPECT_EQ(cache->Delete(At("FR", std::string(1, city).c_str())), StatusOk);
            }
            return StatusOk;
        });
        EXPECT_EQ(Walk(), shown) << cities;
        walk->AnswerAt("move", at, StatusOk);
    }
}

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
    EXPECT_EQ(cache->Delete(At("DE")), StatusOk);
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

TEST_F(FilledCache, OlderLineOfATagGoesAndTheNewerStay) {
    trace->onEvent = [this](const std::string& event, EFieldSet*) {
        if (event == "clear") {
            const EExtract record(cache->Fields());
            EXPECT_EQ(AppendSale(6, "DE", "Ulm", 1), StatusOk);
            cache->iFields() <<= record;
        }
    };
    cache->ClearCache();
    EXPECT_EQ(Walk(), "6 | 1 | 2 | 3 | 4 | 5");
    trace->onEvent = nullptr;
    EXPECT_EQ(cache->Delete(At("DE", "Ulm")), StatusOk);  // only the line that no table has goes
    EXPECT_EQ(cache->Update(At("DE", "Ulm"), "amount", EVariant(4)), StatusOk);
    EXPECT_EQ(Walk(At("DE")), "3 | 4 | 5");
}

TEST_F(FilledCache, UpdateOfABranchRevivesItsDeadLines) {
    EXPECT_EQ(cache->Delete(At("FR")), StatusOk);
    EXPECT_EQ(cache->Update(At("FR"), "amount", EVariant(4)), StatusOk);
    EXPECT_EQ(Walk(At("FR")), "1 | 2");
    ASSERT_EQ(cache->CallReset(At("FR")), StatusOk);
    EXPECT_EQ(source.Fields()["amount"].AsDouble(), 4);
    EXPECT_EQ(cache->Delete(At("FR")), StatusOk);
    EXPECT_EQ(cache->Delete(At("DE")), StatusOk);
    EXPECT_TRUE(cache->IsEmpty());
}

TEST_F(FilledCache, RevivedLineTakesTheCallersFields) {
    trace->onEvent = [](const std::string& event, EFieldSet* fields) {
        if (event == "append") {
            (*fields)["amount"] <<= EVariant(99);
        }
    };
    EFieldSet own = cache->Fields().Packed();
    const ERecordBuffer record(own);
    own.ChangeBuffer(record.Get(), /*takeOwnership=*/false);
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
    Relevel({"id/city", "amount/AMOUNT", "ghost/country"});
    ETabulonTag tag;
    tag.SetValue(0, ETabulonValue(8, "Eight", /*modified=*/false));
    tag.SetValue(1, ETabulonValue(7, "much", /*modified=*/false));
    tag.SetValue(2, ETabulonValue("IT", "Italy", /*modified=*/false));
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
    PTableau<ETabulonCursorCache::ICacheNotifier*> two;
    two.Add(trace.Get());
    two.Add(trace.Get());
    cache->AddCacheNotifiers(two);
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
    const std::function<void()> overwrites[] = {
        [this] { cache->iFields()["city"] <<= EVariant("elsewhere"); },
        [this] { cache->iFields().SetNull(); }, [this] { static_cast<void>(table->GetFirst()); }};
    for (const auto& overwrite : overwrites) {
        ASSERT_EQ(cache->CallReset(At("DE")), StatusOk);
        overwrite();
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
    Relevel({"id/city"});
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

}  // namespace
}  // namespace etabulon::test
