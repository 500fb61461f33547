#include "SortFixture.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/sort/ETabulonLevelsLevelUI.h"
#include "etabulon/sort/ETabulonSortKeyCache.h"
#include "etabulon/sort/ETabulonSortTag.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <map>

namespace etabulon::test {
namespace {
// The rules of moving as they are told, on a plain vector.
using Keys = std::vector<SortKey>;

const SortKey& At(Keys& keys, unsigned int position) {
    if (position >= keys.size()) {
        keys.resize(position + 1);
    }
    return keys[position];
}

SortKey ReferenceSortLevel(const Keys& keys, unsigned int index, HideFlag mask) {
    for (unsigned int counter = 0; mask != 0 && counter <= index; ++counter) {
        if (keys[counter].IsHidden(mask)) {
            ++index;
        }
    }
    return keys[index];
}

bool ReferenceMove(Keys& keys, unsigned int from, unsigned int to, HideFlag mask) {
    if (mask != 0) {
        for (unsigned int* const place : {&from, &to}) {
            const int given = static_cast<int>(*place);
            for (int position = given; position >= 0; --position) {
                *place += At(keys, static_cast<unsigned int>(position)).IsHidden(mask) ? 1 : 0;
            }
        }
    }
    if (from == to) {
        return false;
    }
    const SortKey moved = At(keys, from);
    keys.erase(keys.begin() + from);
    if (to <= keys.size()) {
        keys.insert(keys.begin() + to, moved);
    } else {
        keys.resize(to + 1, moved);
    }
    return true;
}

bool ReferenceMoveHidden(Keys& keys, unsigned int position, HideFlag mask) {
    Keys visible;
    std::map<unsigned int, SortKey> hidden;
    for (unsigned int i = 0; i < keys.size(); ++i) {
        if (keys[i].IsHidden(mask)) {
            hidden.emplace(i, keys[i]);
        } else {
            visible.push_back(keys[i]);
        }
    }
    if (hidden.empty()) {
        return false;
    }
    if (position == static_cast<unsigned int>(-1) || position > visible.size()) {
        position = static_cast<unsigned int>(visible.size());
    }
    bool inPlace = true;
    unsigned int expected = position;
    for (const auto& entry : hidden) {
        inPlace = inPlace && entry.first == expected++;
    }
    if (inPlace) {
        return false;
    }
    keys.assign(visible.begin(), visible.begin() + position);
    for (const auto& entry : hidden) {
        keys.push_back(entry.second);
    }
    keys.insert(keys.end(), visible.begin() + position, visible.end());
    return true;
}

std::string KeysText(const Keys& keys) {
    SortKeyArray array;
    array.Build(static_cast<unsigned int>(keys.size()), keys.data());
    return test::Text(array);
}

TEST(RandomMoves, FollowTheRules) {
    std::mt19937 random(20260101);
    const ETabulonLevels levels = MakeLevels(1);
    for (int round = 0; round < 3000; ++round) {
        Keys keys(1 + random() % 6);
        for (unsigned int i = 0; i < keys.size(); ++i) {
            keys[i] = SortKey(i + 1, random() % 2 != 0, random() % 3 != 0 ? 0 : random() % 8);
        }
        ETabulonSortDesc desc(levels);
        SortKeyArray given;
        given.Build(static_cast<unsigned int>(keys.size()), keys.data());
        desc.SetSortLevels(given);
        for (int step = 0; step < 4; ++step) {
            const auto mask = static_cast<HideFlag>(random() % 8);
            const unsigned int count = desc.SortLevelCount(mask);
            SCOPED_TRACE(KeysText(keys) + " under " + std::to_string(mask));
            for (unsigned int index = 0; index < count; ++index) {
                ASSERT_TRUE(
                    desc.SortLevel(index, mask).IsSameAs(ReferenceSortLevel(keys, index, mask)));
            }
            const auto size = static_cast<unsigned int>(keys.size());
            if (random() % 2 == 0) {
                const unsigned int from = random() % (size + 1);
                const unsigned int to = random() % (size + 3);
                ASSERT_EQ(desc.MoveSortLevel(from, to, mask), ReferenceMove(keys, from, to, mask))
                    << from << " to " << to;
            } else {
                const unsigned int position = random() % (size + 2) - 1;
                ASSERT_EQ(desc.MoveHiddenLevelsTo(position, mask),
                          ReferenceMoveHidden(keys, position, mask))
                    << "hidden to " << position;
            }
            ASSERT_EQ(test::Text(desc.SortLevels()), KeysText(keys));
        }
    }
}

TEST(MoveAmongHiddenKeys, MoveTranslatesOtherwiseThanSortLevel) {
    Sorted sorted{{0, false, 1}, {1, false, 0}, {2, false, 1}, {3, false, 0}};
    EXPECT_EQ(sorted.desc.SortLevel(1, kTree).Level(), 3U);
    EXPECT_FALSE(sorted.desc.MoveSortLevel(1, 1, kTree));
    EXPECT_TRUE(sorted.desc.MoveSortLevel(1, 0, kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "0h1 2h1 1 3");
    // A negative position isn't translated.
    const auto none = static_cast<unsigned int>(-1);
    EXPECT_FALSE(sorted.desc.MoveSortLevel(none, none, kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "0h1 2h1 1 3");
}

TEST(MoveAmongHiddenKeys, PositionBeyondTheEndPads) {
    Sorted sorted{{1, false, kTree}, {2, false, 0}};
    EXPECT_FALSE(sorted.desc.MoveSortLevel(3, 3, kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "1h1 2 0 0");
    EXPECT_EQ(sorted.desc.SortLevelCount(kTree), 3U);

    Sorted plain{{1, false, 0}, {2, false, 0}};
    EXPECT_TRUE(plain.desc.MoveSortLevel(0, 3, 0));
    EXPECT_EQ(test::Text(plain.desc.SortLevels()), "2 1 1 1");
}

ETabulonSortTag WithValue(const ETabulonValue& value) {
    ETabulonSortTag tag;
    tag.SetValue(1, value);
    return tag;
}

TEST(SortTagOrder, GoesByCountThenLevelThenValue) {
    // Each is below the next.
    const ETabulonSortTag rising[] = {ETabulonSortTag(),
                                      Tag({{0, "z"}}),
                                      WithValue(ETabulonValue::Null),
                                      WithValue(ETabulonValue::Special),
                                      Tag({{1, EVariant(9)}}),
                                      Tag({{1, EVariant(10)}}),
                                      Tag({{1, "10"}}),
                                      Tag({{2, "a"}}),
                                      Tag({{0, "a"}, {1, "b"}}),
                                      Tag({{0, "a"}, {2, "a"}}),
                                      Tag({{0, "b"}, {1, "a"}}),
                                      Tag({{1, "a"}, {2, "a"}})};
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
        sorted.desc.SetCompareSource(kSources[random() % std::size(kSources)]);
        const ETabulonTag a = RandomTag(random, 1, false);
        const ETabulonTag b = RandomTag(random, 1, false);
        const int order = Sign(sorted.desc.Compare(a, b, forward));
        const Chaine keyOfA = sorted.desc.ComparisonKey(a, forward);
        const Chaine keyOfB = sorted.desc.ComparisonKey(b, reversed, cache);
        ASSERT_EQ(Sign(keyOfA.ComparePlain(keyOfB)), order) << Text(a) << Text(b);
        ASSERT_EQ(Sign(sorted.desc.Compare(a, b, reversed)), -order);
    }
}

TEST(KeyCache, MakesOneKeyForADistinctTextAndForgetsBeyondItsCapacity) {
    ETabulonSortKeyCache cache, small(10);
    for (int i = 0; i < 1000; ++i) {
        const Chaine text = Chaine::Format("Name %d", i);
        ASSERT_EQ(cache.KeyOf(text), text.LocaleSortKey());
        ASSERT_EQ(small.KeyOf(text), text.LocaleSortKey());
        ASSERT_LE(small.Size(), 10U);
    }
    EXPECT_EQ(cache.Size(), 1000U);
    // Texts that fold alike are still two.
    static_cast<void>(cache.KeyOf("name 7"));
    EXPECT_EQ(cache.Size(), 1001U);
    const Chaine again("Name 7");
    const AllocationCount count;
    EXPECT_EQ(cache.KeyOf(again).c_str(), cache.KeyOf(Chaine(again)).c_str());
    EXPECT_EQ(count.Taken(), 0U);
    small.Clear();
    EXPECT_EQ(small.Size(), 0U);
    EXPECT_EQ(small.KeyOf(again), cache.KeyOf(again));
}

HICON IconOf(int number) {
    static char icons[8];
    return reinterpret_cast<HICON>(&icons[number]);
}

std::map<HICON, int> destroyed;  // how often

// Knows an icon for "one" and "two".
class Icons : public ETabulonLevels::LevelUI {
public:
    using LevelUI::LevelUI;
    std::string asked;

protected:
    HICON iLoadIcon(const EVariant& value) override {
        const Chaine text = value.AsChaine();
        asked += std::string(text.c_str()) + " ";
        return text == Chaine("one") ? IconOf(1) : (text == Chaine("two") ? IconOf(2) : nullptr);
    }
};

struct LevelIcons : testing::Test {
    LevelIcons() {
        destroyed.clear();
        SetIconRelease([](HICON icon) { ++destroyed[icon]; });
    }
    ~LevelIcons() override { SetIconRelease(nullptr); }
};

TEST_F(LevelIcons, AreLookedForOnceForEachValue) {
    auto ui = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/false);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ui->Icon("one"), IconOf(1));
        EXPECT_EQ(ui->Icon("other"), IconOf(0));
        EXPECT_EQ(ui->Icon("two"), IconOf(2));
        EXPECT_EQ(ui->Icon(EVariant()), IconOf(0));
    }
    EXPECT_EQ(ui->asked, "one other two ");
    // Its icons stay, as do those of an owner that has found none.
    ui = nullptr;
    MakeRef<Icons>(nullptr, /*ownsIcons=*/true)->Icon("other");
    EXPECT_TRUE(destroyed.empty());
}

TEST_F(LevelIcons, DefaultIconIsDestroyedOnceMoreForEachEntry) {
    {
        const auto ui = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/true);
        for (const char* value : {"one", "x", "y"}) {
            ui->Icon(value);
        }
    }
    EXPECT_EQ(destroyed, (std::map<HICON, int>{{IconOf(0), 3}, {IconOf(1), 1}}));
}

TEST_F(LevelIcons, AssignmentSharesTheIcons) {
    const auto target = MakeRef<Icons>(nullptr, /*ownsIcons=*/false);
    {
        const auto source = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/true);
        source->Icon("one");
        *target = *source;
        target->asked.clear();
    }
    EXPECT_EQ(target->Icon("one"), IconOf(1));
    EXPECT_EQ(target->asked, "");
    EXPECT_EQ(destroyed[IconOf(1)], 1);
}

TEST_F(LevelIcons, OfALevelDieWithIt) {
    {
        ETabulonLevels levels;
        EXPECT_EQ(levels.AddLevel("Country", ETabulonVariableID("T.c"), IconOf(4)), 0U);
        EXPECT_EQ(levels.AddLevel("City", ETabulonVariableID("T.v"), nullptr, false), 1U);
        const ETabulonSortDesc desc(levels);
        const ETabulonTag tag = Tag({{0, "FR"}, {1, "Lyon"}});
        EXPECT_EQ(desc.GetIcon(tag, 0, 0), IconOf(4));
        EXPECT_EQ(desc.GetIcon(tag, desc.SortLevel(1, 0)), nullptr);
        EXPECT_TRUE(destroyed.empty());
    }
    EXPECT_EQ(destroyed[IconOf(4)], 2);  // as the default, and for "FR"
}

}  // namespace
}  // namespace etabulon::test
