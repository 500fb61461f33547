#include "SortFixture.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

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

std::string Text(const Keys& keys) {
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
            SCOPED_TRACE(Text(keys) + " under " + std::to_string(mask));
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
            ASSERT_EQ(test::Text(desc.SortLevels()), Text(keys));
        }
    }
}

TEST(MoveAmongHiddenKeys, MoveTranslatesOtherwiseThanSortLevel) {
    Sorted sorted{{0, false, 1}, {1, false, 0}, {2, false, 1}, {3, false, 0}};
    EXPECT_EQ(sorted.desc.SortLevel(1, kTree).Level(), 3U);
    EXPECT_FALSE(sorted.desc.MoveSortLevel(1, 1, kTree));
    EXPECT_TRUE(sorted.desc.MoveSortLevel(1, 0, kTree));
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

TEST(MoveAmongHiddenKeys, NegativePositionSkipsTheTranslation) {
    Sorted sorted{{1, false, kTree}, {2, false, 0}};
    const auto none = static_cast<unsigned int>(-1);
    EXPECT_FALSE(sorted.desc.MoveSortLevel(none, none, kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "1h1 2");
}

TEST(MoveHidden, GathersAtAVisiblePlace) {
    Sorted sorted{{0, false, 1}, {1, false, 0}, {2, false, 1}, {3, false, 0}};
    EXPECT_TRUE(sorted.desc.MoveHiddenLevelsTo(1, kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "1 0h1 2h1 3");
    EXPECT_TRUE(sorted.desc.MoveHiddenLevelsTo(static_cast<unsigned int>(-1), kTree));
    EXPECT_EQ(test::Text(sorted.desc.SortLevels()), "1 3 0h1 2h1");
    EXPECT_FALSE(sorted.desc.MoveHiddenLevelsTo(static_cast<unsigned int>(-1), kTree));
    EXPECT_FALSE(sorted.desc.MoveHiddenLevelsTo(0, 0));
}

}  // namespace
}  // namespace etabulon::test
