#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/PTableau.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace etabulon {
namespace {
/// Counts its instances, and holds memory, so that leaks and double ends are seen by sanitizers.
class Item {
public:
    Item(int number = 0) : number_(new int(number)) { ++live; }
    Item(const Item& other) : number_(new int(*other.number_)) {
        ++live;
        if (copiesUntilFailure-- == 0) {
            delete number_;
            --live;
            throw std::bad_alloc();
        }
    }
    Item& operator=(const Item& other) {
        *number_ = *other.number_;
        return *this;
    }
    ~Item() {
        delete number_;
        --live;
    }
    operator int() const { return *number_; }
    static int live;
    static long copiesUntilFailure;  // below 0: none fails

private:
    int* number_;
};
int Item::live = 0;
long Item::copiesUntilFailure = -1;

struct alignas(64) Wide {
    int number = 0;
};

template <class Array>
std::vector<int> Numbers(const Array& array) {
    return std::vector<int>(array.begin(), array.end());
}

TEST(ArrayAndItsCopy, ShareUntilEitherIsLookedInto) {
    PTableau<Item> source{1, 2, 3};
    const PTableau<Item> copy = source;
    EXPECT_EQ(copy.Size(), 3U);
    EXPECT_TRUE(source == copy);
    EXPECT_TRUE(source.IsShared() && copy.IsShared());
    EXPECT_EQ(Item::live, 3);
    EXPECT_EQ(copy[1], 2);  // a const look detaches too
    EXPECT_FALSE(source.IsShared() || copy.IsShared());
    EXPECT_EQ(Item::live, 6);
    source[1] = 20;
    EXPECT_EQ(Numbers(copy), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(Numbers(source), (std::vector<int>{1, 20, 3}));
}

TEST(ArrayAndItsCopy, TakesAnElementOfItselfOrOfTheOther) {
    const PTableau<Item> source{1, 2, 3};
    for (PTableau<Item> copy = source; const bool isOwn : {true, false}) {
        copy = source;
        copy.Add(isOwn ? copy[0] : source[0]);
        EXPECT_EQ(Numbers(copy), (std::vector<int>{1, 2, 3, 1}));
        EXPECT_EQ(Numbers(source), (std::vector<int>{1, 2, 3}));
    }
}

TEST(ArrayPlaces, BeyondTheEndAreFilledAsEachOperationTells) {
    PTableau<int> array{1, 2};
    array[4];
    EXPECT_EQ(Numbers(array), (std::vector<int>{1, 2, 0, 0, 0}));
    array.InsertAt(7, 9);
    EXPECT_EQ(Numbers(array), (std::vector<int>{1, 2, 0, 0, 0, 9, 9, 9}));
    array.RemoveAt(8);
    array.RemoveAt(100, 3);
    EXPECT_EQ(array.Size(), 8U);
    array.RemoveAt(2, 0xFFFFFFFF);
    EXPECT_EQ(Numbers(array), (std::vector<int>{1, 2}));
    array.RemoveAt(0, 2);
    EXPECT_EQ(array.Capacity(), 0U);
}

#ifdef ETABULON_CHECKS
TEST(ArrayPlaces, MinusOneDoesNotExtendAndIsNoElement) {
    PTableau<int> array{1};
    EXPECT_DEATH(array[static_cast<std::uint32_t>(-1)], "index < Size");
}
#endif

TEST(ArrayGrowth, FollowsTheSteps) {
    PTableau<int> array;
    std::uint32_t capacity = 0;
    for (std::uint32_t count = 0; count < 20000; ++count) {
        if (count == capacity) {
            capacity += count < 32 ? 4 : (count <= 8192 ? count / 8 : 1024);
        }
        array.Add(static_cast<int>(count));
        ASSERT_EQ(array.Capacity(), capacity) << count;
    }
    array[29999];
    EXPECT_EQ(array.Capacity(), 30000U);
    EXPECT_EQ(array[19999], 19999);
}

TEST(ArrayElements, KeepTheirAddressesAndReuseSlots) {
    PTableau<Item> array;
    std::vector<const Item*> addresses;
    for (int i = 0; i < 100; ++i) {
        addresses.push_back(&array.Add(i));
    }
    EXPECT_TRUE(array.IsInAllocationOrder());
    const std::uint32_t capacity = array.Capacity();
    const Item* const removed = &array[40];
    array.RemoveAt(40);
    EXPECT_FALSE(array.IsInAllocationOrder());
    EXPECT_EQ(&array[40], addresses[41]);
    array.InsertAt(3, 7);
    EXPECT_EQ(&array[3], removed);
    EXPECT_EQ(&array[99], addresses[99]);
    EXPECT_EQ(array.Capacity(), capacity);
    PTableau<Wide> aligned;
    for (std::uint32_t i = 0; i < 9; ++i) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&aligned[i]) % alignof(Wide), 0U);
    }
}

TEST(ArrayStorage, IsOneAllocationUpToFourElements) {
    if (!test::kAllocationsAreCounted) {
        GTEST_SKIP();
    }
    const test::AllocationCount count;
    PTableau<int> array;
    for (int i = 0; i < 4; ++i) {
        array.Add(i);
    }
    EXPECT_EQ(count.Taken(), 1U);
    PTableau<int> copy(array);
    copy.Detach();
    EXPECT_EQ(count.Taken(), 2U);
    PTableau<int> stolen(std::move(copy));
    copy = std::move(stolen);
    EXPECT_EQ(count.Taken(), 2U);
    EXPECT_EQ(stolen.Size(), 0U);
}

TEST(ArrayStorage, IsReusedByAssignmentWhereItIsOwnAndLargeEnough) {
    const std::vector<PTableau<Item>> sources{{1, 2, 3}, {4, 5, 6}, {7}, {8, 9, 10, 11}, {}};
    PTableau<Item> target{0, 0, 0};
    const Item* const first = &target[0];
    for (const PTableau<Item>& source : sources) {
        target.AssignReusing(source);
        EXPECT_EQ(Numbers(target), Numbers(source));
        EXPECT_FALSE(target.IsShared() || source.IsShared());
        EXPECT_TRUE(source.IsEmpty() || &target[0] == first);
    }
    const PTableau<Item> shared = target = sources[0];
    target.AssignReusing(shared);
    EXPECT_FALSE(target.IsShared());
    EXPECT_EQ(Numbers(target), (std::vector<int>{1, 2, 3}));

    PTableau<int> numbers{1, 2, 3};
    const PTableau<int> others{4, 5, 6};
    const test::AllocationCount count;
    numbers.AssignReusing(others);
    EXPECT_EQ(count.Taken(), 0U);
}

TEST(FailingCopyOfAnElement, LeavesBothSidesAsTheyWere) {
    const int liveBefore = Item::live;
    {
        PTableau<Item> source;
        for (int i = 0; i < 40; ++i) {
            source.InsertAt(0, i);
        }
        const std::vector<int> expected = Numbers(source);
        const PTableau<Item> copy = source;
        // Forty copies of the detach, and the new element.
        for (long limit = 0; limit < 41; ++limit) {
            Item::copiesUntilFailure = limit;
            ASSERT_THROW(source.Add(40), std::bad_alloc) << limit;
            ASSERT_TRUE(source.IsShared() || source.Size() == 40);
            ASSERT_EQ(copy.Size(), 40U);
        }
        Item::copiesUntilFailure = -1;
        source.Add(40);
        EXPECT_EQ(Numbers(copy), expected);
        source.RemoveAt(40);
        EXPECT_EQ(Numbers(source), expected);
    }
    EXPECT_EQ(Item::live, liveBefore);
}

TEST(ArrayUnderRandomOperations, AgreesWithAVector) {
    std::mt19937 random(20);
    PTableau<Item> array, copy;
    std::vector<int> expected, expectedCopy;
    for (int turn = 0; turn < 4000; ++turn) {
        const auto size = static_cast<std::uint32_t>(expected.size());
        const std::uint32_t place = random() % (size + 1);
        const auto drawn = random() % 64;
        if (drawn < 8) {
            copy = array;
            expectedCopy = expected;
        } else if (drawn < 16) {
            std::swap(array, copy);
            expected.swap(expectedCopy);
        } else if (drawn < 32) {
            const std::uint32_t count = random() % 4;
            array.RemoveAt(place, count);
            expected.erase(expected.begin() + place,
                           expected.begin() + std::min(place + count, size));
        } else if (drawn < 40 && size != 0) {
            const std::uint32_t to = random() % size;
            array.Move(place % size, to);
            const int moved = expected[place % size];
            expected.erase(expected.begin() + place % size);
            expected.insert(expected.begin() + to, moved);
        } else if (drawn == 40) {
            array.Free();
            expected.clear();
        } else if (drawn == 41) {
            array[size + 2];
            expected.resize(size + 3);
        } else {
            array.InsertAt(place, turn);
            expected.insert(expected.begin() + place, turn);
        }
        ASSERT_EQ(array.Size(), expected.size());
        if (turn % 16 == 0) {
            ASSERT_EQ(Numbers(array), expected) << turn;
            ASSERT_EQ(Numbers(copy), expectedCopy) << turn;
        }
    }
}

class IView : public virtual EUnknown {
public:
    virtual int Shown() const = 0;
};

class Counted : public IView, public virtual ECountedUnknown {
public:
    explicit Counted(int shown, int* ended = nullptr) : shown_(shown), ended_(ended) {}
    ~Counted() override {
        if (ended_ != nullptr) {
            // A destructor may hand the object to a function that counts.
            AddRef();
            Release();
            ++*ended_;
        }
    }
    int Shown() const override { return shown_; }

private:
    int shown_;
    int* ended_;
};

static_assert(!std::is_convertible_v<Counted*, ERef<Counted>>);
static_assert(!std::is_convertible_v<ERef<const Counted>, ERef<Counted>>);
static_assert(!std::is_convertible_v<ERef<IView>, ERef<Counted>>);

std::int32_t CountOf(EUnknown& object) {
    object.AddRef();
    return object.Release();
}

TEST(CountedObject, CopyStartsAtOneAndAssignmentLeavesTheCount) {
    const auto source = MakeRef<Counted>(1);
    const auto second = source;
    const auto copy = MakeRef<Counted>(*source);
    EXPECT_EQ(CountOf(*copy), 1);
    *source = *copy;
    EXPECT_EQ(CountOf(*source), 2);
    // It answers no interface.
    std::uint32_t result = 0;
    EXPECT_EQ(source->QueryInterface(1, &result), nullptr);
    EXPECT_EQ(result, 0x80004002U);
    EXPECT_EQ(source->QueryInterface(1, nullptr), nullptr);
}

TEST(Reference, EveryWayInAndOutKeepsTheCount) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    int ended = 0;
    {
        auto* raw = new Counted(3, &ended);
        auto first = ERef<Counted>::Adopt(raw);
        EXPECT_EQ(CountOf(*raw), 1);
        ERef<const Counted> constant = first;
        const auto view = ERef<IView>::Retain(raw);
        EXPECT_EQ(CountOf(*raw), 3);
        EXPECT_EQ(view->Shown(), 3);
        EXPECT_TRUE(view == first && constant == raw);
        ERef<IView> stolen = std::move(first);
        EXPECT_FALSE(first);
        EXPECT_EQ(CountOf(*raw), 3);
        stolen = stolen.Get() == raw ? stolen : nullptr;
        EXPECT_EQ(CountOf(*raw), 3);
        stolen = nullptr;
        constant = nullptr;
        EXPECT_EQ(CountOf(*raw), 1);
        const auto added = ERef<Counted>::Take(raw, /*addRef=*/true);
        EXPECT_EQ(CountOf(*raw), 2);
        auto given = added;
        const auto taken = ERef<Counted>::Take(given.Detach(), /*addRef=*/false);
        EXPECT_EQ(CountOf(*raw), 3);
        EXPECT_EQ(given, nullptr);
        EXPECT_EQ(ended, 0);
    }
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

#ifdef ETABULON_CHECKS
TEST(CountedObject, IsSeenByTheLiveCount) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    const auto object = MakeRef<Counted>(1);
    const auto copy = MakeRef<Counted>(*object);
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before + 2);
}
#endif

}  // namespace
}  // namespace etabulon
