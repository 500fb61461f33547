#include "CacheFixture.h"
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

// The walk's place is an index into the lines, also behind the last: against one that is just that.
TEST_F(CacheWalk, KeepsItsPlaceWhileLinesComeAndGo) {
    EXPECT_TRUE(EDataMemory(*stored).DeleteLoop());
    for (unsigned seed = 0; seed < 8; ++seed) {
        std::mt19937 random(seed);
        ASSERT_EQ(cache->CallReset(ETabulonTag::Null), StatusEnd);
        std::vector<int> lines;
        std::size_t place = 0;
        int id = 0;
        for (int turn = 0; turn < 800; ++turn) {
            const bool isGrowing = turn < (seed % 2 != 0 ? 200 : 0);  // many holes are closed
            const unsigned drawn = isGrowing ? 0 : static_cast<unsigned>(random() % 8);
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

/// The number of the line at which a listener deletes some branch, and what the walk shows then.
struct DeletingWalk {
    const char* name;
    int at;
    std::vector<const char*> cities;
    const char* shown;
};
void PrintTo(const DeletingWalk& walk, std::ostream* out) { *out << walk.name; }

class WalkInWhichLinesGo : public CacheWalk, public ::testing::WithParamInterface<DeletingWalk> {};

// All lines are made in memory, so that they go at once: -A -B -C -D -E.
TEST_P(WalkInWhichLinesGo, PassesSomeOver) {
    static_cast<void>(Walk());
    cache->Delete(ETabulonTag::Null);
    ASSERT_EQ(cache->Save(), StatusOk);
    cache->ClearCache();
    static_cast<void>(Walk());
    int id = 10;
    for (const char* city : {"A", "B", "C", "D", "E"}) {
        EXPECT_EQ(AppendSale(++id, "FR", city, 1), StatusOk);
    }
    walk->At("move", GetParam().at, [this] {
        for (const char* city : GetParam().cities) {
            EXPECT_EQ(cache->Delete(At("FR", city)), StatusOk);
        }
        return StatusOk;
    });
    EXPECT_EQ(Walk(), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WalkInWhichLinesGo,
    ::testing::Values(DeletingWalk{"TheCurrent", 2, {"B"}, "11 | 12 | 13 | 14 | 15"},
                      DeletingWalk{"TheFirstAsCurrent", 1, {"A"}, "11 | 13 | 14 | 15"},
                      DeletingWalk{"OneBefore", 3, {"A"}, "11 | 12 | 13 | 15"},
                      DeletingWalk{"TwoBefore", 3, {"A", "B"}, "11 | 12 | 13"},
                      DeletingWalk{"OneBehind", 2, {"D"}, "11 | 12 | 13 | 15"},
                      DeletingWalk{"CurrentThenBefore", 3, {"C", "A"}, "11 | 12 | 13 | 15"},
                      DeletingWalk{"All", 2, {"A", "B", "C", "D", "E"}, "11 | 12"},
                      DeletingWalk{"OneBeforeAtTheLast", 5, {"A"}, "11 | 12 | 13 | 14 | 15"}),
    [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace etabulon::test
