#include "SortFixture.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/sort/ETabulonSortKeyCache.h"
#include "etabulon/sort/ETabulonSortTag.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

ETabulonSortTag WithValue(const ETabulonValue& value) {
    ETabulonSortTag tag;
    tag.SetValue(1, value);
    return tag;
}

TEST(SortTagOrder, GoesByCountThenLevelThenValue) {
    // Each is below the next.
    const ETabulonSortTag rising[] = {
        ETabulonSortTag(),
        TagOf({{0, "z"}}),
        WithValue(ETabulonValue::Null),
        WithValue(ETabulonValue::Special),
        TagOf({{1, EVariant(9)}}),
        TagOf({{1, EVariant(10)}}),
        TagOf({{1, "10"}}),
        TagOf({{2, "a"}}),
        TagOf({{0, "a"}, {1, "b"}}),
        TagOf({{0, "a"}, {2, "a"}}),
        TagOf({{0, "b"}, {1, "a"}}),
        TagOf({{1, "a"}, {2, "a"}}),
    };
    for (std::size_t i = 0; i < std::size(rising); ++i) {
        for (std::size_t j = 0; j < std::size(rising); ++j) {
            EXPECT_EQ(rising[i] < rising[j], i < j) << Text(rising[i]) << Text(rising[j]);
        }
    }
}

TEST(SortTagOrder, IsStrictTransitiveAndTheOrderOfMaps) {
    std::mt19937 random(3);
    FSortedMap<ETabulonSortTag, int> map;
    std::vector<ETabulonSortTag> tags;
    for (int i = 0; i < 300; ++i) {
        tags.emplace_back(RandomTag(random, 3, true));
        map[tags.back()] = i;
    }
    for (int round = 0; round < 5000; ++round) {
        const ETabulonSortTag& a = tags[random() % tags.size()];
        const ETabulonSortTag& b = tags[random() % tags.size()];
        const ETabulonSortTag& c = tags[random() % tags.size()];
        ASSERT_FALSE(a < b && b < a);
        ASSERT_EQ(!(a < b) && !(b < a), a == b) << Text(a) << Text(b);
        if (a < b && b < c) {
            ASSERT_LT(a, c);
        }
        ASSERT_GE(map.Find(a, FindExact), 0);
    }
    for (std::uint32_t place = 1; place < map.Size(); ++place) {
        ASSERT_LT(map.Key(place - 1), map.Key(place));
    }
}

TEST(ComparisonKeys, StandInTheOrderOfCompare) {
    std::mt19937 random(5);
    Sorted sorted{{0, true, 0}};
    ETabulonSortKeyCache cache(4);
    const SortKey reversed = sorted.desc.SortLevel(0, 0);
    const SortKey forward(0, false, 0);
    for (int round = 0; round < 5000; ++round) {
        sorted.desc.SetCompareSource(random() % 2 != 0 ? ETabulonSortDesc::CompareOnData
                                                       : ETabulonSortDesc::CompareOnDisplay);
        const ETabulonTag a = RandomTag(random, 1, false);
        const ETabulonTag b = RandomTag(random, 1, false);
        const int order = Sign(sorted.desc.Compare(a, b, forward));
        const Chaine keyOfA = sorted.desc.ComparisonKey(a, forward);
        const Chaine keyOfB = sorted.desc.ComparisonKey(b, reversed, cache);
        ASSERT_EQ(Sign(keyOfA.ComparePlain(keyOfB)), order) << Text(a) << Text(b);
        ASSERT_EQ(Sign(sorted.desc.Compare(a, b, reversed)), -order);
    }
}

TEST(KeyCache, MakesOneKeyForADistinctText) {
    ETabulonSortKeyCache cache;
    for (int i = 0; i < 1000; ++i) {
        const std::string text = "Name " + std::to_string(i);
        ASSERT_EQ(cache.KeyOf(Chaine(text)), Chaine(text).LocaleSortKey());
    }
    EXPECT_EQ(cache.Size(), 1000U);
    // Texts that fold alike are still two.
    const Chaine small("name 7");
    const Chaine again("Name 7");
    static_cast<void>(cache.KeyOf(small));
    EXPECT_EQ(cache.Size(), 1001U);
    const AllocationCount count;
    EXPECT_EQ(cache.KeyOf(again).c_str(), cache.KeyOf(Chaine(again)).c_str());
    EXPECT_EQ(count.Taken(), 0U);
}

TEST(KeyCache, ForgetsBeyondItsCapacityAndGoesOn) {
    ETabulonSortKeyCache cache(10);
    const Chaine first = cache.KeyOf("text 0");
    for (int i = 0; i < 95; ++i) {
        const Chaine text = Chaine::Format("text %d", i);
        ASSERT_EQ(cache.KeyOf(text), text.LocaleSortKey());
        ASSERT_LE(cache.Size(), 10U);
    }
    EXPECT_EQ(first, Chaine("text 0").LocaleSortKey());
    cache.Clear();
    EXPECT_EQ(cache.Size(), 0U);
    EXPECT_EQ(cache.KeyOf("text 0"), first);
}

}  // namespace
}  // namespace etabulon::test
