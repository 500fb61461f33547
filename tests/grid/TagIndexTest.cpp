#include "grid/TagIndex.h"
#include "sort/SortFixture.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace etabulon::detail {
namespace {

ETabulonValue Text(const char* text, const char* display = "", int type = TYPE_CHAINE) {
    return ETabulonValue(EVariant::FromText(static_cast<std::uint16_t>(type), 4, text), display,
                         false);
}

TEST(ValueNumbers, TellTextsApartWhoseBodiesTakeEachOthersPlace) {
    ValueNumbers numbers;
    EXPECT_EQ(numbers.NumberOf(Text("aaaa")), 0U);
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(numbers.NumberOf(Text("aaaa")), 0U);
        EXPECT_EQ(numbers.NumberOf(Text("bbbb")), 1U);
        EXPECT_EQ(numbers.NumberOf(Text("cccc")), 2U);
    }
}

TEST(ValueNumbers, AreByEqualityWhateverTheType) {
    ValueNumbers numbers;
    EXPECT_EQ(numbers.NumberOf(ETabulonValue(1, "", false)), 0U);
    EXPECT_EQ(numbers.NumberOf(ETabulonValue(EVariant::FromInt64(1), "", false)), 0U);
    EXPECT_EQ(numbers.NumberOf(ETabulonValue(EVariant::FromDouble(1), "one", true)), 0U);
    EXPECT_EQ(numbers.NumberOf(ETabulonValue(EVariant(1U), "", false)), 0U);
    EXPECT_EQ(numbers.NumberOf(ETabulonValue::Null), 1U);
    EXPECT_EQ(numbers.NumberOf(ETabulonValue::Special), 2U);
    EXPECT_EQ(numbers.NumberOf(Text("1")), 3U);
    EXPECT_EQ(numbers.Find(ETabulonValue(2, "", false)), ValueNumbers::kAbsent);
    EXPECT_EQ(numbers.Find(ETabulonValue::Special), 2U);
    EXPECT_EQ(numbers.Size(), 4U);
}

TEST(ValueNumbers, KeepSpellingsThatDifferInAnything) {
    ValueNumbers numbers;
    const std::uint32_t number = numbers.NumberOf(Text("a", "x", TYPE_NC_CHAINE));
    EXPECT_EQ(numbers.SpellingOf(number, Text("a", "x", TYPE_NC_CHAINE)), 0U);
    EXPECT_EQ(numbers.SpellingOf(number, Text("A", "x", TYPE_NC_CHAINE)), 1U);
    EXPECT_EQ(numbers.SpellingOf(number, Text("a", "y", TYPE_NC_CHAINE)), 2U);
    EXPECT_EQ(numbers.SpellingOf(number, Text("a", "x")), 3U);
    ETabulonValue modified = Text("a", "x", TYPE_NC_CHAINE);
    modified.SetModified(true);
    EXPECT_EQ(numbers.SpellingOf(number, modified), 4U);
    EXPECT_EQ(numbers.SpellingOf(number, Text("A", "x", TYPE_NC_CHAINE)), 1U);
    EXPECT_EQ(numbers.SpellingCount(), 5U);
}

// First few pairs out of many, then many, then a far one: found by table, by hash and back.
TEST(PairNumbers, StayAsTheFillOfThePossiblePairsChanges) {
    std::mt19937 random(7);
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> known;
    PairNumbers numbers;
    const auto meet = [&](std::uint32_t first, std::uint32_t second) {
        const auto next = static_cast<std::uint32_t>(known.size());
        const std::uint32_t expected = known.try_emplace({first, second}, next).first->second;
        ASSERT_EQ(numbers.FindOrAdd(first, second), expected);
        ASSERT_EQ(numbers.FirstOf(expected), first);
        ASSERT_EQ(numbers.SecondOf(expected), second);
    };
    for (const std::uint32_t bound : {20U, 3000U, 200U, 100000U, 300U}) {
        for (int count = 0; count < 40000; ++count) {
            const std::uint32_t second = random() % bound;
            meet(random() % bound, second == 3 ? PairNumbers::kNone : second);
        }
    }
    for (const auto& [pair, number] : known) {
        ASSERT_EQ(numbers.Find(pair.first, pair.second), number);
    }
    EXPECT_EQ(numbers.Find(200000, 0), PairNumbers::kNone);
    EXPECT_EQ(numbers.Size(), known.size());
}

// A linear search over tags.
TEST(TagIndex, NumbersDetailsAsALinearSearchDoes) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 random(seed);
        std::vector<unsigned int> levels = {0, 1, 2, 3};
        std::shuffle(levels.begin(), levels.end(), random);
        levels.resize(random() % 5);
        ETabulonTag root;
        if (random() % 2 == 0) {
            const unsigned level = random() % 5;
            root.SetValue(level, test::RandomValue(random, level));
        }
        TagIndex index(root, levels);
        std::vector<ETabulonTag> found;
        for (int record = 0; record < 60; ++record) {
            ETabulonTag tag = test::RandomTag(random, 5, /*withGaps=*/true);
            for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
                tag.ValueAt(place).SetModified(random() % 3 == 0);
            }
            if (!root.IsRoot() && tag.HasValue(root.LevelAt(0))) {
                tag.SetValue(root.LevelAt(0), root.ValueAt(0));
            }
            ETabulonTag detail = root;
            for (const unsigned int level : levels) {
                if (tag.HasValue(level)) {
                    detail.SetValue(level, tag.Value(level));
                }
            }
            const auto place = std::find(found.begin(), found.end(), detail) - found.begin();
            if (place == static_cast<std::ptrdiff_t>(found.size())) {
                found.push_back(detail);
            }
            ASSERT_EQ(index.FindOrAdd(tag), static_cast<std::uint32_t>(place)) << seed;
            ASSERT_EQ(index.Find(index.LastNumbers()), static_cast<std::uint32_t>(place)) << seed;
        }
        ASSERT_EQ(index.Size(), found.size());
        for (std::uint32_t detail = 0; detail < index.Size(); ++detail) {
            ASSERT_EQ(test::Text(index.Tag(detail)), test::Text(found[detail])) << seed;
            for (unsigned int place = 0; place < found[detail].KnownLevelsCount(); ++place) {
                ASSERT_TRUE(index.Tag(detail).ValueAt(place).IsIdenticalTo(
                    std::as_const(found[detail]).ValueAt(place)))
                    << seed;
            }
        }
    }
}

TEST(TagIndex, AllocatesNothingForWhatItHasMet) {
    std::vector<ETabulonTag> tags;
    for (int number = 0; number < 100; ++number) {
        tags.push_back(test::TagOf({{0, number % 7}, {1, Chaine(number % 2 == 0 ? "a" : "b")}}));
    }
    const std::vector<unsigned int> levels = {1, 0, 2};
    TagIndex index(ETabulonTag::Null, levels);
    std::vector<std::uint32_t> numbers;
    for (const ETabulonTag& tag : tags) {
        numbers.push_back(index.FindOrAdd(tag));
    }
    const test::AllocationCount count;
    bool same = true;
    for (std::size_t place = 0; place < tags.size(); ++place) {
        same = same && index.FindOrAdd(tags[place]) == numbers[place];
    }
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_TRUE(same);
    EXPECT_EQ(index.Size(), 14U);
}

}  // namespace
}  // namespace etabulon::detail
