#include "SortFixture.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/sort/ESortListener.h"
#include "support/SortTrace.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {

struct Heard : testing::Test {
    Heard() {
        sorted.desc.AddNotifier(a.Get());
        sorted.desc.AddNotifier(b.Get());
    }
    std::string Take() { return std::exchange(log, std::string()); }

    std::string log;
    ERef<SortTrace> a = MakeRef<SortTrace>("a", &log);
    ERef<SortTrace> b = MakeRef<SortTrace>("b", &log);
    Sorted sorted{{0, false, 0}, {1, false, kTree}, {2, true, 0}};
    ETabulonSortDesc& desc = sorted.desc;
};

std::int32_t CountOf(EUnknown& object) {
    object.AddRef();
    return object.Release();
}

TEST_F(Heard, CopyHasTheKeysAndTheSourceButNoListeners) {
    const ETabulonSortDesc fresh(sorted.levels);
    EXPECT_EQ(Text(fresh.SortLevels()), "0 1 2 3 4");
    EXPECT_EQ(fresh.CompareSource(), ETabulonSortDesc::CompareOnDisplay);
    desc.SetCompareSource(ETabulonSortDesc::CompareOnData);
    ETabulonSortDesc copy(desc);
    EXPECT_TRUE(copy.SortLevels().IsSameAs(desc.SortLevels()));
    EXPECT_EQ(copy.CompareSource(), ETabulonSortDesc::CompareOnData);
    copy.MoveSortLevel(0, 1, 0);
    EXPECT_EQ(Text(desc.SortLevels()), "0 1h1 2r");
    EXPECT_EQ(Take(), "");
}

TEST_F(Heard, EachChangeIsAskedAndTold) {
    EXPECT_TRUE(desc.SetSortLevels(KeysOf({{2, false, 0}, {1, false, kTree}, {0, false, 0}})));
    EXPECT_TRUE(desc.SetHideLevelFlags(0, kCalc));
    EXPECT_EQ(Take(), "a?levels b?levels a!levels b!levels a?levels b?levels a!levels b!levels");
    EXPECT_TRUE(desc.MoveSortLevel(0, 2, 0));
    EXPECT_TRUE(desc.MoveHiddenLevelsTo(static_cast<unsigned int>(-1), kTree));
    EXPECT_EQ(Take(), "a?move b?move a!move b!move a?hidden b?hidden a!hidden b!hidden");
    EXPECT_EQ(Text(desc.SortLevels()), "0h2 2 1h1");
}

TEST_F(Heard, EmptyListenerRefusesNothing) {
    class Moves : public ESortListener {
    public:
        void OnSortChanged(const ETabulonSortDesc* /*sort*/, SortChange change) override {
            count += change == SortChangeMove ? 1 : 0;
        }
        int count = 0;
    };
    const auto moves = MakeRef<Moves>();
    desc.AddNotifier(moves.Get());
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(moves->count, 1);
}

TEST_F(Heard, AbsenceOfChangeIsToldAsNone) {
    EXPECT_FALSE(desc.SetSortLevels(SortKeyArray(desc.SortLevels())));
    EXPECT_FALSE(desc.SetHideLevelFlags(1, kTree));
    EXPECT_EQ(Take(), "a?levels b?levels a!none b!none a?levels b?levels a!none b!none");
    EXPECT_FALSE(desc.MoveSortLevel(1, 1, kTree));
    EXPECT_FALSE(desc.MoveHiddenLevelsTo(1, kTree));
    EXPECT_EQ(Take(), "a?move b?move a!none b!none a?hidden b?hidden a!none b!none");
    EXPECT_EQ(Text(desc.SortLevels()), "0 1h1 2r");
}

TEST_F(Heard, RefusalIsToldToThoseNotAsked) {
    a->RefuseAt(1);
    EXPECT_FALSE(desc.MoveSortLevel(0, 2, 0));
    EXPECT_EQ(Take(), "a?move a!none b!none");
    b->RefuseAt(1);
    EXPECT_FALSE(desc.SetHideLevelFlags(0, kTree));
    EXPECT_EQ(Take(), "a?levels b?levels a!none b!none");
    EXPECT_EQ(Text(desc.SortLevels()), "0 1h1 2r");
}

TEST_F(Heard, WhoeverWasAskedIsToldAlsoWhenTheAskingThrows) {
    b->OnCalled([](bool asked) {
        if (asked) {
            throw std::bad_alloc();
        }
    });
    EXPECT_THROW(desc.MoveSortLevel(0, 2, 0), std::bad_alloc);
    EXPECT_EQ(Take(), "a?move b?move a!none b!none");
    EXPECT_EQ(Text(desc.SortLevels()), "0 1h1 2r");
}

TEST_F(Heard, OrderStampMovesWithEachRealChangeAndNoOther) {
    std::uint64_t stamp = desc.OrderStamp();
    EXPECT_TRUE(desc.SetCompareSource(ETabulonSortDesc::CompareOnData));
    EXPECT_FALSE(desc.SetCompareSource(ETabulonSortDesc::CompareOnData));
    EXPECT_EQ(Take(), "");  // no listener is called
    const auto moved = [&] { return std::exchange(stamp, desc.OrderStamp()) != desc.OrderStamp(); };
    EXPECT_TRUE(moved());
    desc.SetHideLevelFlags(0, kCalc);
    EXPECT_TRUE(moved());
    desc.SetCompareSource(ETabulonSortDesc::CompareOnData);
    desc.SetHideLevelFlags(0, kCalc);
    a->RefuseAt(1);
    desc.MoveSortLevel(0, 1, 0);
    EXPECT_FALSE(moved());
    // Padding moves no key, but lists another level.
    EXPECT_FALSE(desc.MoveSortLevel(4, 4, kCalc | 8));
    EXPECT_TRUE(moved());
}

TEST_F(Heard, ListenerThatRemovesItselfLeavesNobodyOut) {
    a->OnCalled([this](bool asked) {
        if (asked) {
            desc.RemNotifier(a.Get());
        }
    });
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(Take(), "a?move b?move b!move");
    b->OnCalled([this](bool asked) {
        if (!asked) {
            desc.RemNotifier(b.Get());
            b = nullptr;  // held by the round alone from here
        }
    });
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(Take(), "b?move b!move");
    EXPECT_EQ(desc.Notifiers().Size(), 0U);
}

TEST_F(Heard, ListenerThatRemovesSeveralEarlierOnesLeavesNobodyOut) {
    const auto c = MakeRef<SortTrace>("c", &log);
    const auto d = MakeRef<SortTrace>("d", &log);
    desc.AddNotifier(c.Get());
    desc.AddNotifier(d.Get());
    c->OnCalled([this](bool) {
        desc.RemNotifier(a.Get());
        desc.RemNotifier(b.Get());
    });
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(Take(), "a?move b?move c?move d?move c!move d!move");
}

TEST_F(Heard, ListenerAddedTwiceIsToldTwiceWhoeverGoes) {
    desc.AddNotifier(b.Get());
    b->OnCalled([this](bool) { desc.RemNotifier(a.Get()); });
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(Take(), "a?move b?move b?move b!move b!move");
}

TEST_F(Heard, ChangeWithinARoundLeavesNobodyOut) {
    const auto c = MakeRef<SortTrace>("c", &log);
    desc.AddNotifier(c.Get());
    bool isNested = false;
    b->OnCalled([this, &isNested](bool asked) {
        if (!asked && !std::exchange(isNested, true)) {
            a->OnCalled([this](bool) { desc.RemNotifier(a.Get()); });
            desc.MoveSortLevel(0, 1, 0);
        }
    });
    EXPECT_TRUE(desc.MoveSortLevel(0, 1, 0));
    EXPECT_EQ(Take(),
              "a?move b?move c?move a!move b!move a?move b?move c?move b!move c!move c!move");
}

TEST_F(Heard, ListenersAreCountedOnceForEachEntry) {
    desc.AddNotifiers(desc.Notifiers());
    EXPECT_EQ(desc.Notifiers().Size(), 4U);
    EXPECT_EQ(CountOf(*a), 3);
    desc.RemNotifier(a.Get());
    EXPECT_EQ(CountOf(*a), 1);
    EXPECT_EQ(CountOf(*b), 3);
    {
        ETabulonSortDesc other(desc);
        other.AddNotifiers(desc.Notifiers());
        EXPECT_EQ(CountOf(*b), 5);
    }
    EXPECT_EQ(CountOf(*b), 3);
    desc.RemNotifiers(desc.Notifiers());
    EXPECT_EQ(CountOf(*b), 1);
}

TEST(HiddenLevels, HideReplacesTheWholeMask) {
    Sorted sorted{{0, false, kTree}, {1, false, kTree | kCalc}};
    EXPECT_TRUE(sorted.desc.SetHideLevelFlags(0, kCalc));
    EXPECT_TRUE(sorted.desc.SetHideLevelFlags(1, 0));
    EXPECT_EQ(Text(sorted.desc.SortLevels()), "0h2 1");
    PUniqueT<unsigned int> both;
    both.Add(1);
    both.Add(4);
    EXPECT_TRUE(sorted.desc.SetHideLevelFlags(both, kTree));
    EXPECT_EQ(Text(sorted.desc.SortLevels()), "0h2 1h1");
}

TEST(HiddenLevels, CountOnlyWhereTheMaskMeetsThem) {
    // Bit 8 is an application's own.
    Sorted sorted{{3, false, kTree}, {1, false, 0}, {2, false, kCalc}, {4, false, 8}};
    const struct {
        HideFlag mask;
        std::vector<unsigned int> visible;
    } cases[] = {
        {0, {3, 1, 2, 4}}, {kTree, {1, 2, 4}},  {kCalc, {3, 1, 4}}, {kTree | kCalc, {1, 4}},
        {8, {3, 1, 2}},    {8 | kTree, {1, 2}}, {~0U, {1}},         {16, {3, 1, 2, 4}}};
    for (const auto& [mask, visible] : cases) {
        SCOPED_TRACE(mask);
        const auto levels = sorted.desc.VisibleLevels(mask);
        EXPECT_EQ(std::vector<unsigned int>(levels.begin(), levels.end()), visible);
        EXPECT_EQ(sorted.desc.SortLevelCount(mask), visible.size());
        for (const unsigned int level : {1U, 2U, 3U, 4U}) {
            EXPECT_EQ(sorted.desc.IsHiddenSortLevel(level, mask),
                      std::find(visible.begin(), visible.end(), level) == visible.end());
        }
    }
    EXPECT_EQ(sorted.desc.GetSortLevelPos(2), 2U);
}

TEST(HiddenLevels, LevelWithoutAKeyIsHiddenByAnyMask) {
    Sorted sorted{{1, false, kTree}, {1, false, 0}, {2, false, 0}, {2, false, kTree}};
    EXPECT_TRUE(sorted.desc.IsHiddenSortLevel(0, 0));
    EXPECT_TRUE(sorted.desc.IsHiddenSortLevel(0, kTree));
    // Of two keys of a level the first decides.
    EXPECT_TRUE(sorted.desc.IsHiddenSortLevel(1, kTree));
    EXPECT_FALSE(sorted.desc.IsHiddenSortLevel(2, kTree));
}

TEST(SortLevels, AnyLevelIsASortLevel) {
    Sorted sorted{{1, false, 0}};
    EXPECT_TRUE(sorted.desc.IsSortLevel(1));
    EXPECT_TRUE(sorted.desc.IsSortLevel(99));
    EXPECT_TRUE(sorted.desc.HasOnlySortValues(Tag({{1, "a"}, {99, "b"}})));
}

TEST(SortKeyArray, BuildsPadsAndCopiesDeeply) {
    SortKeyArray keys;
    keys.Build(2U, SortKey(3, false, 0), SortKey(1, true, kTree));
    EXPECT_EQ(Text(keys), "3 1rh1");
    keys.Build(1, SortKey(7, false, 0), SortKey(8, false, 0));
    EXPECT_EQ(Text(keys), "7");
    SortKeyArray copy = keys;
    copy[2].Hide(kCalc);
    EXPECT_EQ(Text(copy), "7 0 0h2");
    copy.InsertAt(4, SortKey(5, false, 0));
    EXPECT_EQ(Text(copy), "7 0 0h2 5 5");
    copy.Build(2, &copy[2]);
    EXPECT_EQ(Text(copy), "0h2 5");
    EXPECT_EQ(Text(keys), "7");
    EXPECT_FALSE(copy.IsSameAs(keys));
    copy = keys;
    EXPECT_TRUE(copy.IsSameAs(keys));
    copy[0] = SortKey(7, true, 0);
    EXPECT_FALSE(copy.IsSameAs(keys));
}

}  // namespace
}  // namespace etabulon::test
