#include "etabulon/foundation/EFieldKey.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <utility>

namespace etabulon {
namespace {

EFieldKey Key(int segments, const char* text = "text") {
    EFieldKey key;
    for (int i = 0; i < segments; ++i) {
        key.Add(i % 2 == 0 ? EVariant(i) : EVariant(text));
    }
    return key;
}

TEST(RecordKey, HoldsAnyNumberOfSegmentsThroughCopiesAndMoves) {
    for (const int segments : {0, 1, 4, 5, 9}) {
        const EFieldKey key = Key(segments);
        ASSERT_EQ(key.Size(), segments);
        EFieldKey copy = Key(6, "other");
        copy = key;
        EXPECT_EQ(copy, key);
        EXPECT_EQ(copy.Hash(), key.Hash());
        copy.Copy(copy);
        EFieldKey moved(std::move(copy));
        EXPECT_EQ(moved, key);
        EXPECT_EQ(copy.Size(), 0);
        EFieldKey target = Key(5, "other");
        target = std::move(moved);
        EXPECT_EQ(target, key);
    }
}

TEST(RecordKey, ComparesByValueAndLength) {
    EFieldKey small;
    small.Add(EVariant(7));
    EFieldKey wide;
    wide.Add(EVariant::FromInt64(7));
    EXPECT_EQ(small, wide);
    EXPECT_EQ(small.Hash(), wide.Hash());
    wide.Add(EVariant());
    EXPECT_FALSE(small == wide);
    EXPECT_FALSE(Key(2, "a") == Key(2, "b"));
    EXPECT_NE(Key(2, "a").Hash(), Key(2, "b").Hash());
    EXPECT_NE(Key(0).Hash(), small.Hash());
}

TEST(RecordKey, StartsAnewAfterFree) {
    EFieldKey key = Key(6);
    key.Free();
    EXPECT_EQ(key, EFieldKey());
    key.Resize(5);
    for (std::uint16_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(key.At(i).IsMissing());
        EXPECT_EQ(key.At(i).Type(), 0);
    }
    key = Key(3);
    key.Resize(4);
    EXPECT_EQ(key.At(1).AsChaine(), Chaine("text"));
    EXPECT_TRUE(key.At(3).IsMissing());
}

TEST(RecordKey, TakesASegmentOfItsOwn) {
    EFieldKey key = Key(5);
    for (int i = 0; i < 20; ++i) {
        key.Add(key.At(4));
    }
    EXPECT_EQ(key.At(24), EVariant(4));
}

TEST(RecordKey, CopyOverAKeyAllocatesNothing) {
    const EFieldKey first = Key(6, "a text that is long enough for a body of its own");
    const EFieldKey second = Key(5, "another");
    EFieldKey key = first;
    const test::AllocationCount count;
    for (int i = 0; i < 3; ++i) {
        key.Copy(second);
        key.Free();
        key.Copy(first);
    }
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(key, first);
}

}  // namespace
}  // namespace etabulon
