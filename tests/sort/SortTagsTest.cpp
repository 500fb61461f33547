#include "SortFixture.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace etabulon::test {
namespace {

constexpr auto kAll = static_cast<unsigned int>(-1);

TEST(CompareTags, CaseCountsOnDataOnly) {
    Sorted sorted{{0, false, 0}};
    const ETabulonTag small = Tag({{0, "lyon"}});
    const ETabulonTag large = Tag({{0, "LYON"}});
    EXPECT_EQ(sorted.desc.Compare(small, large, 0, 0), 0);
    sorted.desc.SetCompareSource(ETabulonSortDesc::CompareOnData);
    EXPECT_GT(sorted.desc.Compare(small, large, 0, 0), 0);
    sorted.desc.SetCompareSource(static_cast<ETabulonSortDesc::SortCompareSource>(7));
    EXPECT_GT(sorted.desc.Compare(small, large, 0, 0), 0);
}

TEST(CompareTags, NumbersCompareAsText) {
    Sorted sorted{{0, false, 0}};
    ETabulonTag nine, ten;
    nine.SetValue(0, ETabulonValue(9, "1", /*modified=*/false));
    ten.SetValue(0, ETabulonValue(10, "2", /*modified=*/false));
    EXPECT_LT(sorted.desc.Compare(nine, ten, 0, 0), 0);
    sorted.desc.SetCompareSource(ETabulonSortDesc::CompareOnData);
    EXPECT_LT(sorted.desc.Compare(ten, nine, 0, 0), 0);
}

TEST(CompareTags, StatusPlaysNoPart) {
    Sorted sorted{{0, false, 0}};
    ETabulonTag special;
    special.SetValue(0, ETabulonValue::Special);
    for (const auto source :
         {ETabulonSortDesc::CompareOnDisplay, ETabulonSortDesc::CompareOnData}) {
        sorted.desc.SetCompareSource(source);
        EXPECT_EQ(sorted.desc.Compare(Tag({{0, EVariant()}}), special, 0, 0), 0);
        EXPECT_EQ(sorted.desc.Compare(special, Tag({{0, ""}}), 0, 0), 0);
        EXPECT_LT(sorted.desc.Compare(special, Tag({{0, "a"}}), 0, 0), 0);
    }
}

TEST(CompareTags, OnValueOnlyEqualValuesAreEqual) {
    Sorted sorted{{0, false, 0}};
    sorted.desc.SetCompareSource(ETabulonSortDesc::CompareOnValue);
    const auto labelled = [](const EVariant& data, const char* label) {
        return ETabulonValue(data, label, /*modified=*/false);
    };
    const std::vector<ETabulonValue> rising = {
        ETabulonValue(),
        ETabulonValue::Special,
        labelled(-2, ""),
        labelled(2, ""),
        labelled(2.5, ""),
        labelled(10, ""),
        labelled(EVariant::FromText(TYPE_DATE, 4, "2024-02-29"), ""),
        labelled("", ""),
        labelled("ACME", ""),
        labelled("acme", ""),
        labelled(7, "acme"),
        labelled(8, "acme"),
        labelled("acme 2", ""),
        labelled("eclair", ""),
        labelled("\xC3\xA9"
                 "clair",
                 ""),
        labelled(1, "zoo"),
    };
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t j = 0; j < rising.size(); ++j) {
            ETabulonTag left, right;
            left.SetValue(0, rising[i]);
            right.SetValue(0, rising[j]);
            const int expected = (i > j) - (i < j);
            EXPECT_EQ(Sign(sorted.desc.Compare(left, right, 0, 0)), expected) << i << ' ' << j;
            EXPECT_EQ(Sign(sorted.desc.ComparisonKey(rising[i]).ComparePlain(
                          sorted.desc.ComparisonKey(rising[j]))),
                      expected)
                << i << ' ' << j;
        }
    }
}

TEST(CompareTags, ReversedKeyTurnsItsLevelAlone) {
    Sorted sorted{{0, true, 0}, {1, false, 0}};
    const ETabulonTag aa = Tag({{0, "a"}, {1, "a"}});
    EXPECT_GT(sorted.desc.Compare(aa, Tag({{0, "b"}, {1, "a"}}), 0), 0);
    EXPECT_LT(sorted.desc.Compare(aa, Tag({{0, "a"}, {1, "b"}}), 0), 0);
}

TEST(CompareTags, LevelsThatEitherLacksDecideNothing) {
    Sorted sorted{{0, false, 0}, {1, false, kTree}, {2, false, 0}};
    const ETabulonTag tag = Tag({{0, "a"}, {1, "b"}, {2, "c"}});
    EXPECT_EQ(sorted.desc.Compare(ETabulonTag::Null, tag, 0), 0);
    EXPECT_EQ(sorted.desc.Compare(Tag({{0, "a"}}), tag, 0), 0);
    EXPECT_EQ(sorted.desc.Compare(Tag({{0, "z"}}), Tag({{1, "a"}}), 0), 0);
    EXPECT_LT(sorted.desc.Compare(Tag({{2, "b"}}), tag, 0), 0);
    EXPECT_LT(sorted.desc.Compare(Tag({{1, "a"}}), tag, 0), 0);
    EXPECT_EQ(sorted.desc.Compare(Tag({{1, "a"}}), tag, kTree), 0);
}

struct Cut {
    const char* tag;  // the levels that it holds
    unsigned int depth;
    HideFlag mask;
    const char* expected;
};

// Level 0 holds "a", 1 "b" and so on.
ETabulonTag Holding(const std::string& levels) {
    ETabulonTag tag;
    for (const char digit : levels) {
        const char text[] = {static_cast<char>(digit - '0' + 'a'), '\0'};
        tag.SetValue(static_cast<unsigned int>(digit - '0'),
                     ETabulonValue(EVariant(text), "", false));
    }
    return tag;
}

std::string LevelsOf(const ETabulonTag& tag) {
    std::string levels;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        levels += static_cast<char>('0' + tag.LevelAt(place));
    }
    EXPECT_EQ(tag, Holding(levels));
    return levels;
}

TEST(ExtractSortValues, HiddenKeyUsesUpTheDepth) {
    Sorted sorted{{1, false, kTree}, {2, false, 0}};
    EXPECT_TRUE(sorted.desc.ExtractSortValues(Holding("12"), 1, kTree).IsRoot());
    EXPECT_EQ(sorted.desc.ExtractSortValue(Holding("12"), 0, kTree), Holding("2").Value(2));
}

TEST(DetailsBelowARoot, DetailLevelCountsAbsoluteAndWalksVisible) {
    Sorted sorted{{3, false, kCalc}, {1, false, 0}, {2, false, 0}, {0, false, 0}};
    EXPECT_EQ(sorted.desc.DetailLevel(Holding("3"), 0, 0).Level(), 1U);
    EXPECT_EQ(sorted.desc.DetailLevel(Holding("3"), 0, kCalc).Level(), 2U);
    EXPECT_EQ(sorted.desc.DetailLevel(ETabulonTag::Null, 0, kCalc).Level(), 1U);
    EXPECT_EQ(LevelsOf(sorted.desc.ExtractDetails(Holding("0123"), Holding("3"), 1, 0)), "13");
    EXPECT_EQ(LevelsOf(sorted.desc.ExtractDetails(Holding("0123"), Holding("3"), 1, kCalc)), "23");
}

TEST(ParentTag, ParentEndsAtTheFirstGap) {
    Sorted sorted{{3, false, 0}, {1, false, 0}, {2, false, kTree}, {0, false, 0}};
    const Cut cases[] = {{"32", 0, 0, ""},      {"31", 0, 0, "3"},    {"3124", 0, 0, "13"},
                         {"3120", 0, 0, "123"}, {"3120", 0, 1, "13"}, {"310", 0, 1, "13"},
                         {"310", 0, 0, "3"},    {"", 0, 0, ""},       {"3", 0, 0, ""},
                         {"124", 0, 0, ""}};
    for (const Cut& cut : cases) {
        EXPECT_EQ(LevelsOf(sorted.desc.GetParentTag(Holding(cut.tag), cut.mask)), cut.expected)
            << cut.tag << " under " << cut.mask;
    }
}

TEST(ParentTags, StandFromTheRootDownBeforeWhatWasThere) {
    Sorted sorted{{3, false, 0}, {1, false, 0}, {2, false, 0}};
    PTableau<ETabulonTag> parents;
    parents.Add(Holding("4"));
    EXPECT_TRUE(sorted.desc.GetParentTags(Holding("013"), parents, 0));
    ASSERT_EQ(parents.Size(), 3U);
    EXPECT_EQ(LevelsOf(parents[0]) + "|" + LevelsOf(parents[1]) + "|" + LevelsOf(parents[2]),
              "|3|4");
    EXPECT_FALSE(sorted.desc.GetParentTags(ETabulonTag::Null, parents, 0));
    EXPECT_FALSE(sorted.desc.GetParentTags(Holding("0"), parents, 0));
    EXPECT_EQ(parents.Size(), 3U);
    // Where a level has two keys, a tag can be its own parent: there is none.
    Sorted twice{{1, false, 0}, {2, false, 0}, {1, false, 0}};
    EXPECT_EQ(LevelsOf(twice.desc.GetParentTag(Holding("12"), 0)), "12");
    EXPECT_FALSE(twice.desc.GetParentTags(Holding("12"), parents, 0));
    EXPECT_EQ(parents.Size(), 3U);
}

TEST(SortCompatible, IsAnUnbrokenRunFromTheTop) {
    Sorted sorted{{3, false, 0}, {1, false, kTree}, {2, false, 0}};
    const struct {
        const char* tag;
        HideFlag mask;
        bool expected;
    } cases[] = {{"", 0, true},   {"3", 0, true},     {"32", 0, false}, {"32", kTree, true},
                 {"2", 0, false}, {"1", kTree, true}, {"04", 0, true},  {"123", 0, true}};
    for (const auto& [tag, mask, expected] : cases) {
        EXPECT_EQ(sorted.desc.IsSortCompatible(Holding(tag), mask), expected) << tag << " " << mask;
    }
}

TEST(HiddenValues, GoWithThoseOfLevelsWithoutAKey) {
    Sorted sorted{{3, false, 0}, {1, false, kTree}, {2, false, kCalc}};
    const Cut cases[] = {{"0123", 0, 0, "123"}, {"123", 0, kTree, "23"}, {"123", 0, kCalc, "13"},
                         {"123", 0, 0, "123"},  {"14", 0, kTree, ""},    {"", 0, kTree, ""}};
    for (const Cut& cut : cases) {
        const ETabulonTag tag = Holding(cut.tag);
        EXPECT_EQ(LevelsOf(sorted.desc.RemoveHiddenValues(tag, cut.mask)), cut.expected);
        EXPECT_EQ(sorted.desc.HasHiddenValues(tag, cut.mask), std::string(cut.tag) != cut.expected);
    }
}

TEST(ReusedResults, EqualFreshOnesWhateverTheyHeld) {
    std::mt19937 random(11);
    Sorted sorted{
        {3, false, 0}, {1, false, kTree}, {1, false, 0}, {0, false, 0}, {2, false, kCalc}};
    const ETabulonSortDesc& desc = sorted.desc;
    ETabulonTag result;
    for (int round = 0; round < 3000; ++round) {
        const auto mask = static_cast<HideFlag>(random() % 4);
        const unsigned int depth = random() % 6;
        const ETabulonTag tag = RandomTag(random, 5, true);
        ETabulonTag own = tag;
        ETabulonTag& target = random() % 2 != 0 ? result : own;
        const ETabulonTag& source = &target == &own ? own : tag;
        ETabulonTag fresh;
        switch (random() % 4) {
            case 0:
                fresh = desc.RemoveHiddenValues(tag, mask);
                desc.RemoveHiddenValues(source, mask, target);
                break;
            case 1:
                fresh = desc.ExtractSortValues(tag, depth, mask);
                desc.ExtractSortValues(source, depth, mask, target);
                break;
            case 2:
                fresh = desc.GetParentTag(tag, mask);
                desc.GetParentTag(source, mask, target);
                break;
            default: {
                const ETabulonTag root = Tag({{3, "r"}});
                own = root;
                fresh = desc.ExtractDetails(tag, root, depth % 3, mask);
                desc.ExtractDetails(tag, &target == &own ? own : root, depth % 3, mask, target);
            }
        }
        ASSERT_EQ(target, fresh) << Text(tag);
    }
}

TEST(ReusedResults, AllocateNothingOnceWarm) {
    Sorted sorted{{3, false, 0}, {1, false, kTree}, {2, false, 0}};
    const ETabulonTag tags[] = {Holding("123"), Tag({{1, "x"}, {2, "y"}, {3, "z"}})};
    const ETabulonTag root = Holding("3");
    ETabulonTag hidden, parent, values, details;
    const auto pass = [&] {
        for (const ETabulonTag& tag : tags) {
            sorted.desc.RemoveHiddenValues(tag, kTree, hidden);
            sorted.desc.GetParentTag(tag, kTree, parent);
            sorted.desc.ExtractSortValues(tag, kAll, 0, values);
            sorted.desc.ExtractDetails(tag, root, 1, kTree, details);
        }
    };
    pass();
    const AllocationCount count;
    pass();
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(Text(hidden), "{2:y 3:z}");
}

/// The values of `tag` at these levels, and what else is given.
ETabulonTag Part(const ETabulonTag& tag, const std::vector<unsigned int>& levels,
                 ETabulonTag part = {}) {
    for (const unsigned int level : levels) {
        if (tag.HasValue(level)) {
            part.SetValue(level, tag.Value(level));
        }
    }
    return part;
}

std::vector<unsigned int> First(const std::vector<unsigned int>& levels, std::size_t count) {
    return {levels.begin(), levels.begin() + static_cast<std::ptrdiff_t>(count)};
}

/// The levels of the first keys, without hidden ones.
std::vector<unsigned int> VisibleLevels(const SortKeyArray& keys, unsigned int count,
                                        HideFlag mask) {
    std::vector<unsigned int> levels;
    for (unsigned int position = 0; position < std::min(count, keys.Size()); ++position) {
        if (!keys[position].IsHidden(mask)) {
            levels.push_back(keys[position].Level());
        }
    }
    return levels;
}

// Few levels, and as many as are found by bisection.
class SortLevels : public testing::TestWithParam<unsigned int> {};

TEST_P(SortLevels, GiveThePartsThatAScanOfTheKeysGives) {
    const unsigned int count = GetParam();
    const ETabulonLevels levels = MakeLevels(count);
    for (unsigned int seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::vector<unsigned int> order(count);
        std::iota(order.begin(), order.end(), 0U);
        std::shuffle(order.begin(), order.end(), random);
        order.resize(count - random() % (count / 4));
        if (seed % 4 == 0) {
            order[random() % order.size()] = order[0];  // it has two keys
        }
        SortKeyArray keys;
        for (const unsigned int level : order) {
            keys.Add(SortKey(level, false, random() % 5 == 0 ? random() % 4 : 0));
        }
        ETabulonSortDesc desc(levels);
        desc.SetSortLevels(keys);
        const HideFlag mask = std::array<HideFlag, 3>{0, kTree, kCalc}[random() % 3];
        const unsigned int depth = random() % (count + 2);
        const std::vector<unsigned int> visible = VisibleLevels(keys, keys.Size(), mask);
        const std::vector<unsigned int> upToDepth = VisibleLevels(keys, depth, mask);
        ETabulonTag tag = RandomTag(random, count + 2, /*withGaps=*/random() % 4 == 0);
        if (random() % 2 == 0 && !visible.empty()) {
            tag = Part(tag, First(visible, random() % visible.size()),
                       RandomTag(random, 3, /*withGaps=*/true));
        }
        const auto holds = [&tag](unsigned int level) { return tag.HasValue(level); };
        const auto run = std::find_if_not(visible.begin(), visible.end(), holds);
        const auto parentEnd = run == visible.begin() ? run : run - 1;
        EXPECT_EQ(Text(desc.GetParentTag(tag, mask)),
                  Text(Part(tag, {visible.begin(), parentEnd})));
        EXPECT_EQ(Text(desc.ExtractSortValues(tag, depth, mask)), Text(Part(tag, upToDepth)));

        const ETabulonTag root = Part(tag, First(order, random() % 4));
        const std::size_t leading = desc.LeadingLevels(root);
        if (leading < visible.size()) {
            const auto details = random() % (visible.size() - leading + 1);
            const auto first =
                visible.begin() + static_cast<std::ptrdiff_t>(details == 0 ? 0 : leading);
            EXPECT_EQ(
                Text(desc.ExtractDetails(tag, root, static_cast<unsigned int>(details), mask)),
                Text(Part(tag, {first, first + static_cast<std::ptrdiff_t>(details)}, root)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FewAndMany, SortLevels, testing::Values(5U, 24U));

}  // namespace
}  // namespace etabulon::test
