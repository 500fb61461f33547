#include "etabulon/foundation/EFieldKey.h"
#include "foundation/FieldDescs.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {
namespace {
TEST(FieldLookup, FindsFoldedBareAndQualifiedNamesAndNumbers) {
    EFieldSet set = Layout(Descs({{"City", TYPE_LONG, 4, 7},
                                  {"\xE9t\xE9", TYPE_LONG, 4, 8},
                                  {"CITY", TYPE_LONG, 4, 7},
                                  {"Zip", TYPE_LONG, 4},
                                  {"Client.Zip", TYPE_LONG, 4}}));
    std::int32_t elsewhere = 0;
    set.Add(View(Desc("Linked", TYPE_LONG, 4, 9), &elsewhere));
    set.SetRubricName("Client");
    struct Case {
        const char* name;
        int index;
    };
    for (const Case& c : {Case{"city", 0}, Case{"CLIENT.city", 0}, Case{"\xC9T\xC9", 1},
                          Case{"client.\xC9t\xC9", 1}, Case{"client.zip", 4}, Case{"zip", 3},
                          Case{"linked", 5}, Case{"Client.Linked", -1}, Case{"Other.City", -1},
                          Case{"", -1}, Case{".City", -1}, Case{"Cit", -1}, Case{"City ", -1}}) {
        EXPECT_EQ(set.IndexOf(c.name), c.index) << c.name;
        EXPECT_EQ(set.Exist({c.name, 0}), c.index >= 0) << c.name;
        EXPECT_EQ(&set[c.name],
                  c.index < 0 ? &EField::Empty() : &set.At(static_cast<std::uint16_t>(c.index)));
    }
    EXPECT_EQ(set.IndexOf(7UL), 0);
    EXPECT_EQ(set[8UL].Name(), Chaine("\xE9t\xE9"));
    EXPECT_TRUE(set.Exist({"", 9}));
    EXPECT_FALSE(set.Exist({"City", 10}));
    EXPECT_EQ(set.IndexOf(0UL), -1);
    // The rubric stays over a later attach.
    set.Attach(Descs({{"a", TYPE_LONG, 4}, {"b", TYPE_LONG, 4}}), nullptr, 1, 1);
    EXPECT_EQ(set.IndexOf("client.b"), 0);
    EXPECT_EQ(set.IndexOf("client.a"), -1);
}

TEST(FieldLookup, TakesAnyBytesForAName) {
    const Chaine longName(std::string(10000, 'x'));
    const Chaine binary("a\0b", 3);
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    PTableau<EFieldDesc> descs;
    for (const Chaine& name : {longName, binary, Chaine(all), Chaine("%s%n"), Chaine(".")}) {
        descs.Add(Desc(name, TYPE_LONG, 4));
    }
    EFieldSet set = Layout(descs);
    set.SetRubricName(longName);
    using Case = std::pair<Chaine, int>;
    for (const auto& [name, index] :
         {Case{std::string(10000, 'X'), 0}, Case{longName + "x", -1}, Case{binary, 1},
          Case{Chaine("a\0c", 3), -1}, Case{"a", -1}, Case{all, 2}, Case{"%S%N", 3},
          Case{longName + "." + binary, 1}, Case{longName + "..", 4}}) {
        EXPECT_EQ(set.IndexOf(name), index) << name.c_str();
    }
}

TEST(FieldLookup, AgreesWithAScanOverRandomNames) {
    std::mt19937 random(20240117);
    // Few letters and short names: doubles, and pairs that differ in case only.
    const auto name = [&random] {
        std::string text(random() % 4, ' ');
        for (char& c : text) {
            c = "aAbB.\xE9\xC9\xED\xCD"[random() % 9];
        }
        return Chaine(text);
    };
    for (int round = 0; round < 40; ++round) {
        PTableau<EFieldDesc> descs;
        for (unsigned int i = 0; i < random() % 200; ++i) {
            descs.Add(Desc(name(), TYPE_LONG, 4, random() % 50 * 0x100000001UL));
        }
        EFieldSet set = Layout(descs);
        for (unsigned int i = 0; i < random() % 30; ++i) {
            set.Add(View(Desc(name(), TYPE_LONG, 4), nullptr));
        }
        const auto scan = [&set](auto&& hits) {
            for (std::uint16_t i = 0; i < set.Size(); ++i) {
                if (hits(set.At(i))) {
                    return int{i};
                }
            }
            return -1;
        };
        for (int probe = 0; probe < 300; ++probe) {
            const Chaine wanted = name();
            EXPECT_EQ(set.IndexOf(wanted), scan([&](const EField& field) {
                          return !wanted.IsEmpty() && field.Name().EqualsFolded(wanted);
                      }));
            const unsigned long number = random() % 60 * 0x100000001UL;
            EXPECT_EQ(set.IndexOf(number), scan([&](const EField& field) {
                          return number != 0 && field.Infos().Accelerator() == number;
                      }));
        }
    }
}

TEST(FieldLookup, AllocatesNothing) {
    EFieldSet set = Layout(Descs({{"a", TYPE_LONG, 4, 1}, {"b", TYPE_CHAINE, 4, 2}}));
    const EFieldIdent there{"b", 0};
    const Chaine absent("absent");
    const AllocationCount count;
    EXPECT_TRUE(set.Exist(there));
    EXPECT_FALSE(set.Exist({absent, 0}));
    EXPECT_EQ(&set[2UL], &set[there.name]);
    EXPECT_TRUE(set[absent].IsMissing());
    EXPECT_EQ(count.Taken(), 0U);
}

TEST(FieldLayout, AlignsSlotsAndNothingElse) {
    const EFieldSet set = Layout(Descs({{"a", TYPE_INT8, 1},
                                        {"b", TYPE_LONG, 5},
                                        {"c", TYPE_CHAINE, 4},
                                        {"d", TYPE_INT16, 2},
                                        {"e", TYPE_BLOB, 4},
                                        {"f", TYPE_INT8, 1}}));
    const std::size_t places[] = {0, 1, 8, 16, 24, 32};
    for (std::uint16_t i = 0; i < 6; ++i) {
        EXPECT_EQ(set.OffsetOf(i), places[i]) << i;
    }
    EXPECT_EQ(set.FieldsTotalSize(), 1U + 5U + 8U + 2U + 8U + 1U);
    EXPECT_EQ(set.RecordSize(), 40U);  // the next record's slots are aligned too
    EXPECT_EQ(Layout(Descs({{"a", TYPE_INT8, 1}, {"b", TYPE_LONG, 5}})).RecordSize(), 6U);
}

TEST(FieldLayout, HasRoomForTextOfNoBytes) {
    for (const std::int32_t type : {TYPE_STR, TYPE_ZSTRING, TYPE_AUTRE}) {
        Record record(Descs({{"none", type, 0}, {"some", type, 2}}));
        record.fields["none"] <<= EVariant("x");
        record.fields["some"] <<= EVariant("x");
        record.fields.SetNull();
        EXPECT_EQ(record.fields.RecordSize(), 2U);
        EXPECT_TRUE(record.fields["none"].AsChaine().IsEmpty());
        EXPECT_TRUE(Record(Descs({{"none", type, 0}})).fields["none"].AsChaine().IsEmpty());
    }
}

TEST(FieldLayout, CutsTheRunOfDescriptionsToWhatThereIs) {
    const auto descs = Descs({{"a", TYPE_LONG, 4}, {"b", TYPE_LONG, 4}, {"c", TYPE_INT8, 1}});
    struct Case {
        std::uint16_t first, count;
        std::size_t size, bytes;
    };
    for (const Case& c : {Case{0, 0x200, 3, 9}, Case{1, 1, 1, 4}, Case{2, 0xFFFF, 1, 1},
                          Case{3, 1, 0, 0}, Case{0xFFFF, 0xFFFF, 0, 0}}) {
        EFieldSet set = Layout(Descs({{"old", TYPE_LONG, 4}}));
        set.Attach(descs, nullptr, c.first, c.count);
        EXPECT_EQ(set.Size(), c.size);
        EXPECT_EQ(set.RecordSize(), c.bytes);
        EXPECT_EQ(set.IndexOf("old"), -1);
    }
}

TEST(FieldLayout, KeepsPlacesBeyond64K) {
    PTableau<EFieldDesc> descs;
    for (int i = 0; i < 3; ++i) {
        descs.Add(Desc(Chaine::Format("s%d", i), TYPE_STR, 60000));
    }
    descs.Add(Desc("n", TYPE_LONG, 5));
    Record record(descs);
    EXPECT_EQ(record.fields.OffsetOf(3), 180000U);
    record.fields["s2"] <<= EVariant("last");
    record.fields["n"] <<= EVariant(4);
    EXPECT_TRUE(record.fields["s0"].AsChaine().IsEmpty());
    EXPECT_EQ(record.fields["s2"].AsChaine(), Chaine("last"));
    EXPECT_EQ(record.fields["n"].AsInt64(), 4);
}

TEST(FieldLayout, ChangeOfBufferMovesAllButAddedFields) {
    Record record(Descs({{"a", TYPE_INT8, 1}, {"b", TYPE_LONG, 4}}));
    std::int32_t linked = 5;
    record.fields.Add(View(Desc("l", TYPE_LONG, 4), &linked));
    EXPECT_EQ(record.fields.OffsetOf(2), EFieldSet::kNoOffset);
    EXPECT_EQ(record.fields.RecordSize(), 5U);
    record.fields["b"] <<= EVariant(1);
    Record other(record.fields);
    EXPECT_EQ(Values(other.fields), Chaine("-|-|5"));
    other.fields["b"] <<= EVariant(2);
    record.fields.ChangeBuffer(other.buffer.Get(), /*takeOwnership=*/true);
    EXPECT_EQ(Values(record.fields), Chaine("-|2|5"));
    record.fields.ChangeBuffer(nullptr, /*takeOwnership=*/false);
    record.fields["b"] <<= EVariant(3);
    EXPECT_EQ(Values(record.fields), Chaine("-|-|5"));
    EXPECT_EQ(Values(other.fields), Chaine("-|2|5"));
    record.fields.SetNull();
    EXPECT_EQ(Values(other.fields), Chaine("-|2|-"));
}

TEST(FieldShape, IsSharedByCopiesUntilOneChanges) {
    std::int32_t linked = 5;
    Record record(Descs({{"a", TYPE_LONG, 4}}));
    EFieldSet copy = record.fields;
    copy["a"] <<= EVariant(7);
    EXPECT_EQ(record.fields["a"].AsInt64(), 7);
    EXPECT_EQ(copy.ShapeNumber(), record.fields.ShapeNumber());
    copy.Add(View(Desc("l", TYPE_LONG, 4), &linked));
    EXPECT_NE(copy.ShapeNumber(), record.fields.ShapeNumber());
    EXPECT_EQ(record.fields.IndexOf("l"), -1);
    EXPECT_EQ(copy.IndexOf("l"), 1);
    const std::uint64_t number = copy.ShapeNumber();
    copy.Add(copy.At(0));
    EXPECT_NE(copy.ShapeNumber(), number);
    EFieldSet moved(std::move(copy));
    EXPECT_EQ(Values(moved), Chaine("7|5|7"));
    EXPECT_NE(EFieldSet().ShapeNumber(), 0U);
    EFieldSet set;
    set.Add(View(Desc("a", TYPE_LONG, 4), nullptr));
    EFieldSet(set).Add(View(Desc("b", TYPE_LONG, 4), nullptr));  // of two that share
    EXPECT_EQ(set.IndexOf("b"), -1);
    // The packed layout follows each change.
    EXPECT_EQ(set.Packed().RecordSize(), 4U);
    set.Add(View(Desc("b", TYPE_INT8, 1), nullptr));
    EXPECT_EQ(set.Packed().RecordSize(), 5U);
    EXPECT_EQ(set.RecordSize(), 0U);
}

TEST(FieldValues, AreCopiedByNameBetweenLayouts) {
    Record source(Descs({{"n", TYPE_LONG, 5}, {"t", TYPE_CHAINE, 4}, {"x", TYPE_LONG, 4}}));
    Record target(Descs({{"only", TYPE_LONG, 4},
                         {"T", TYPE_ZSTRING, 3},
                         {"N", TYPE_CHAINE, 4},
                         {"x", TYPE_INT64, 9}}));
    source.fields["n"] <<= EVariant(12);
    source.fields["t"] <<= EVariant("text");
    target.fields["only"] <<= EVariant(1);
    target.fields["x"] <<= EVariant(1);
    target.fields <<= source.fields;
    EXPECT_EQ(Values(target.fields), Chaine("1|tex|12|-"));
}

TEST(FieldValues, AreCopiedByIndexInOneShapeWithAddedFields) {
    const Chaine text("some text that is shared");
    std::int32_t linkedHere = 5;
    std::int32_t linkedThere = 6;
    Record source(Descs({{"a", TYPE_LONG, 5}, {"a", TYPE_CHAINE, 4}}));
    source.fields.Add(View(Desc("a", TYPE_LONG, 4), &linkedHere));
    Record target(source.fields);
    target.fields.At(2).Attach(source.fields.At(2).Desc(), &linkedThere, /*takeOwnership=*/false);
    source.fields.At(0) <<= EVariant(1);
    source.fields.At(1) <<= EVariant(text);
    const AllocationCount count;
    target.fields <<= source.fields;
    target.fields <<= target.fields;
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(Values(target.fields), Chaine("1|some text that is shared|5"));
    EXPECT_EQ(linkedThere, 5);
    // A set without a record reads as missing throughout.
    source.fields.ChangeBuffer(nullptr, /*takeOwnership=*/false);
    target.fields <<= source.fields;
    EXPECT_EQ(Values(target.fields), Chaine("-|-|5"));
}

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

TEST(RecordKey, StartsAgainAfterFreeAndTakesASegmentOfItsOwn) {
    EFieldKey key = Key(6);
    key.Free();
    EXPECT_EQ(key, EFieldKey());
    key.Resize(5);
    for (std::uint16_t i = 0; i < 5; ++i) {
        EXPECT_EQ(key.At(i).Type(), 0);
    }
    key = Key(3);
    key.Resize(4);
    EXPECT_EQ(key.At(1).AsChaine(), Chaine("text"));
    EXPECT_TRUE(key.At(3).IsMissing());
    for (int i = 0; i < 20; ++i) {
        key.Add(key.At(2));
    }
    EXPECT_EQ(key.At(23), EVariant(2));
}

TEST(RecordKey, CopyOverAKeyAllocatesNothing) {
    const EFieldKey first = Key(6, "a text that is long enough for a body of its own");
    const EFieldKey second = Key(5, "another");
    EFieldKey key = first;
    const AllocationCount count;
    for (int i = 0; i < 3; ++i) {
        key.Copy(second);
        key.Free();
        key.Copy(first);
    }
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(key, first);
}

}  // namespace
}  // namespace etabulon::test
