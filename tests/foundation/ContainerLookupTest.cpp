#include "etabulon/foundation/FDictionnary.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/PUnique.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace etabulon {
namespace {

constexpr FindMode kModes[] = {FindExact, FindNext, FindPrevious, FindOrInsert, FindInsertPos};

/// The lookups step by step over a plain vector; slow, and easy to read.
struct PlainLookup {
    std::vector<int> keys;
    int hint = -1;

    int Keep(int index) { return hint = index; }
    int Insert(int index, int key) {
        keys.insert(keys.begin() + index, key);
        return Keep(index);
    }
    int Sorted(int key, FindMode mode) {
        const int size = static_cast<int>(keys.size());
        const auto above =
            static_cast<int>(std::lower_bound(keys.begin(), keys.end(), key) - keys.begin());
        if (above < size && keys[above] == key) {
            return Keep(above);
        }
        switch (mode) {
            case FindNext:
                return Keep(above < size ? above : -1);
            case FindPrevious:
                return Keep(above - 1);
            case FindOrInsert:
                return Insert(above, key);
            case FindInsertPos:
                return Keep(above < size ? above : size - 1);
            default:
                return Keep(-1);
        }
    }
    int Miss(int key, FindMode mode) {
        const int size = static_cast<int>(keys.size());
        if (mode == FindOrInsert) {
            return Insert(size, key);
        }
        return Keep(mode == FindInsertPos ? size - 1 : -1);
    }
    int IndexOf(int key) const {
        const auto at = std::find(keys.begin(), keys.end(), key);
        return at == keys.end() ? -1 : static_cast<int>(at - keys.begin());
    }
    int Scanned(int key, FindMode mode) {
        const int at = IndexOf(key);
        return at != -1 ? Keep(at) : Miss(key, mode);
    }
    int ScannedAround(int key, FindMode mode) {
        if (hint != -1 && keys[hint] == key) {
            return hint;
        }
        const int at = IndexOf(key);
        return at == -1 ? Miss(key, mode) : Keep(mode == FindInsertPos ? -1 : at);
    }
    void RemoveAt(int index) {
        keys.erase(keys.begin() + index);
        hint = -1;
    }
};

int KeyOf(const EPair<int, int>& pair) { return pair.key; }
int KeyOf(int value) { return value; }

/// Random lookups and removals; results, hints and order must be those of the plain lookups.
template <class Container>
void ExpectAsPlain(int (PlainLookup::*find)(int, FindMode), unsigned int seed, int range) {
    std::mt19937 random(seed);
    Container container;
    PlainLookup plain;
    for (int turn = 0; turn < 6000; ++turn) {
        const int key = static_cast<int>(random() % range);
        const FindMode mode = kModes[random() % 5];
        ASSERT_EQ(container.Find(key, mode), (plain.*find)(key, mode))
            << "turn " << turn << ", key " << key << ", mode " << mode;
        ASSERT_EQ(container.Hint(), plain.hint) << "turn " << turn << ", mode " << mode;
        if (!plain.keys.empty() && random() % 8 == 0) {
            const auto index = static_cast<int>(random() % plain.keys.size());
            container.RemoveAt(index);
            plain.RemoveAt(index);
        }
        if (random() % 64 == 0) {
            const Container copy = container;
            (void)copy.Find(key);
            container = copy;
            (plain.*find)(key, FindExact);
        }
        ASSERT_EQ(container.Size(), plain.keys.size());
        std::size_t place = 0;
        for (const auto& element : container) {
            ASSERT_EQ(KeyOf(element), plain.keys[place++]);
        }
    }
}

/// Through the virtual comparison, in the natural order all the same.
class ComparedVirtually : public FSortedMap<int, int> {
public:
    ComparedVirtually() : FSortedMap<int, int>(Order::ByCompareKey) {}
};
struct Unhashed {
    Unhashed(int of = 0) : number(of) {}
    friend bool operator==(const Unhashed&, const Unhashed&) = default;
    int number;
};
int KeyOf(const EPair<Unhashed, int>& pair) { return pair.key.number; }
static_assert(detail::Hashable<int> && !detail::Hashable<Unhashed>);

TEST(RandomLookups, AnswerAsTold) {
    for (const int range : {3, 12, 40, 400}) {
        ExpectAsPlain<FSortedMap<int, int>>(&PlainLookup::Sorted, 1, range);
        ExpectAsPlain<ComparedVirtually>(&PlainLookup::Sorted, 2, range);
        ExpectAsPlain<PUniqueT<int>>(&PlainLookup::Sorted, 3, range);
        ExpectAsPlain<FAssociative<int, int>>(&PlainLookup::Scanned, 4, range);
        ExpectAsPlain<FAssociative<Unhashed, int>>(&PlainLookup::Scanned, 5, range);
        ExpectAsPlain<PUniqueNT<int>>(&PlainLookup::ScannedAround, 6, range);
    }
}

template <class Map>
Map MapOf(const std::vector<int>& keys) {
    Map map;
    for (const int key : keys) {
        map[key] = key * 10;
    }
    return map;
}

template <class Map>
std::vector<int> Keys(const Map& map) {
    std::vector<int> keys;
    for (const auto& pair : map) {
        EXPECT_TRUE(pair.value % 10 == 0);
        keys.push_back(pair.key);
    }
    return keys;
}

TEST(SortedMap, FindInsertPosAboveAllGivesLastIndex) {
    auto map = MapOf<FSortedMap<int, int>>({1, 2, 3});
    EXPECT_EQ(map.Find(9, FindInsertPos), 2);
    map.Free();
    EXPECT_EQ(map.Find(9, FindInsertPos), -1);
}

TEST(SortedMap, WalksFromTheHintAndFromTheMiddleAfterAMiss) {
    static std::vector<int> looked;
    struct Watched : FSortedMap<int, int> {
        Watched() : FSortedMap<int, int>(Order::ByCompareKey) {}
        int CompareKey(const int& key, const EPair<int, int>& element) const override {
            looked.push_back(element.key);
            return FSortedMap<int, int>::CompareKey(key, element);
        }
    };
    Watched map;
    for (int key = 0; key < 90; key += 10) {
        map[key] = 0;
    }
    const auto looks = [&](int key, FindMode mode) {
        looked.clear();
        (void)map.Find(key, mode);
        return looked;
    };
    EXPECT_EQ(looks(45, FindExact).back(), 50);
    EXPECT_EQ(looks(40, FindExact), (std::vector<int>{40}));
    EXPECT_EQ(looks(70, FindExact), (std::vector<int>{40, 80, 60, 70}));
    EXPECT_EQ(looks(70, FindExact), (std::vector<int>{70}));
    EXPECT_EQ(looks(30, FindExact), (std::vector<int>{70, 0, 30}));
    EXPECT_EQ(looks(99, FindPrevious), (std::vector<int>{30, 80}));
    EXPECT_EQ(looks(99, FindInsertPos), (std::vector<int>{80}));
    EXPECT_EQ(looks(-1, FindNext), (std::vector<int>{80, 0}));
    EXPECT_EQ(looks(-1, FindExact), (std::vector<int>{0}));
    EXPECT_EQ(map.Hint(), -1);
}

TEST(ChangedKey, MovesTheElementByTheRule) {
    struct Case {
        int from, to;
        bool result;
        std::vector<int> keys;
    };
    // Above all: before the last element. One that would keep its place: one before it, if there
    // is.
    for (const Case& c :
         {Case{10, 25, true, {20, 25, 30, 40}}, Case{40, 15, true, {10, 15, 20, 30}},
          Case{20, 35, true, {10, 30, 35, 40}}, Case{30, 5, true, {5, 10, 20, 40}},
          Case{10, 50, true, {20, 30, 50, 40}}, Case{40, 50, true, {10, 20, 50, 30}},
          Case{30, 25, true, {10, 25, 20, 40}}, Case{10, 5, true, {5, 20, 30, 40}},
          Case{10, 30, false, {10, 20, 30, 40}}, Case{15, 50, false, {10, 20, 30, 40}},
          Case{10, 10, false, {10, 20, 30, 40}}}) {
        auto map = MapOf<FSortedMap<int, int>>({10, 20, 30, 40});
        EAssociative<EPair<int, int>>& base = map;
        EXPECT_EQ(base.ChangeKey(c.from, c.to), c.result) << c.from << " to " << c.to;
        EXPECT_EQ(Keys(map), c.keys) << c.from << " to " << c.to;
        for (const auto& pair : map) {
            EXPECT_EQ(pair.value, (c.result && pair.key == c.to ? c.from : pair.key) * 10);
        }
    }
}

TEST(UnsortedMap, KeepsItsIndexInStepWhateverHappens) {
    FAssociative<int, int> map;
    EAssociative<EPair<int, int>>& base = map;
    for (int key = 0; key < 40; ++key) {
        map[key] = key * 10;
    }
    EXPECT_TRUE(map.ChangeKey(30, 300));
    EXPECT_FALSE(map.ChangeKey(30, 301));
    EXPECT_FALSE(map.ChangeKey(31, 300));
    EXPECT_EQ(map.Find(300), 30);
    EXPECT_EQ(map.Find(30), -1);
    base.RemoveAt(0, 23);  // without the index: 17 are left
    EXPECT_EQ(base.Find(25, FindExact), 2);
    base.RemoveAt(0);
    EXPECT_EQ(map.Find(99, FindOrInsert), 16);
    EXPECT_EQ(map.Find(24), 0);
    EXPECT_EQ(map.Find(23), -1);
    EXPECT_TRUE(map.RemoveKey(24));
    EXPECT_FALSE(map.RemoveKey(24));

    auto other = MapOf<FAssociative<int, int>>({5, 3, 4});
    map.Swap(other);
    EXPECT_EQ(other.Find(99), 15);
    other.AssignReusing(map);
    EXPECT_EQ(Keys(other), (std::vector<int>{5, 3, 4}));
    EXPECT_EQ(other.Find(99), -1);
}

TEST(UniqueValuesInOrder, FindInsertPosMissesWhatIsNotUnderTheHint) {
    PUniqueNT<int> set;
    for (const int value : {5, 3, 4}) {
        set.Add(value);
    }
    EXPECT_EQ(set.Find(4, FindInsertPos), 2);
    EXPECT_EQ(set.Find(5, FindInsertPos), -1);
    EXPECT_EQ(set.Hint(), -1);
    EXPECT_EQ(set.Find(9, FindInsertPos), 2);
}

/// Two operators that don't agree: below by number, one by tens.
struct Loose {
    int number = 0;
    bool operator<(const Loose& other) const { return number < other.number; }
    bool operator==(const Loose& other) const { return number / 10 == other.number / 10; }
};

TEST(OperatorsThatDisagree, AreAskedInTheOrderOfEachContainer) {
    PUniqueT<Loose> set;
    FSortedMap<Loose, int> map;
    for (const int number : {15, 12, 18, 5}) {
        set.Add({number});
        map[{number}] = 0;
    }
    EXPECT_EQ(set.Size(), 2U);
    EXPECT_EQ(map.Size(), 3U);  // 12 is below 15, and 18 is equal to it
}

TEST(CopiesOfContainers, TakeTheHintAlong) {
    auto map = MapOf<FSortedMap<int, int>>({1, 2, 3, 4, 5});
    (void)map.Find(4);
    FSortedMap<int, int> copy = map;
    EXPECT_TRUE(copy.IsShared());
    EXPECT_EQ(copy.Hint(), 3);
    FSortedMap<int, int> reused;
    reused.AssignReusing(map);
    EXPECT_EQ(reused.Hint(), 3);
    const FSortedMap<int, int> moved = std::move(copy);
    EXPECT_EQ(moved.Hint(), 3);
    EXPECT_EQ(copy.Hint(), -1);
    EXPECT_EQ(copy.Size(), 0U);
    map.RemoveKey(1);
    EXPECT_EQ(map.Hint(), -1);
    EXPECT_EQ(moved.FindValue(9), nullptr);
    EXPECT_EQ(*moved.FindValue(1), 10);
    EXPECT_EQ(moved[5], 50);
}

TEST(Dictionaries, OrderByBytesAndByFolding) {
    FDictionnary<int> plain;
    FDictionnaryNoCase<int> folded;
    int number = 0;
    for (const char* const key : {"b", "A", "a", "B", "\xE9", "\xC9", "\xED", "\xCD"}) {
        plain[key] = ++number;
        folded[key] = number;
    }
    EXPECT_EQ(plain.Size(), 8U);
    EXPECT_EQ(folded.Size(), 5U);
    EXPECT_EQ(folded["A"], 3);
    EXPECT_EQ(folded["\xE9"], 6);
    const FSortedMap<Chaine, int>& base = folded;
    EXPECT_EQ(*base.FindValue("B"), 4);
    EXPECT_TRUE(plain.Key(0) == Chaine("A"));
    EXPECT_TRUE(folded.Key(4) == Chaine("b"));  // bytes from 0x80 are negative when folded
}

}  // namespace
}  // namespace etabulon
