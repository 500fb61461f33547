#include "etabulon/foundation/EExtract.h"
#include "foundation/FieldDescs.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <utility>

namespace etabulon {
namespace {

using test::Desc;
using test::Descs;
using test::Values;
using test::View;

/// A record of three fields, and two added ones that view a linked record.
class LinkedRecord : public testing::Test {
protected:
    LinkedRecord()
        : linked(Descs({{"l", TYPE_CHAINE, 4}, {"m", TYPE_LONG, 5}})),
          own(Descs({{"n", TYPE_LONG, 5}, {"t", TYPE_CHAINE, 4}, {"z", TYPE_ZSTRING, 40}})) {
        own.fields.Add(linked.fields.At(1));
        own.fields.Add(linked.fields.At(0));
        Fill(1, "one");
    }
    void Fill(int number, const char* text) {
        own.fields.At(0) <<= EVariant(number);
        own.fields.At(1) <<= EVariant(text);
        own.fields.At(2) <<= EVariant(text);
        own.fields.At(3) <<= EVariant(number + 1);
        own.fields.At(4) <<= EVariant(text);
    }
    test::Record linked;
    test::Record own;
};

TEST_F(LinkedRecord, ExtractKeepsItsValuesAndBringsThemBack) {
    const EExtract extract(own.fields);
    EXPECT_EQ(test::BodyAt(extract.Field(1)), test::BodyAt(own.fields.At(1)));
    EXPECT_EQ(test::BodyAt(extract.Field(4)), test::BodyAt(own.fields.At(4)));
    Fill(7, "seven");
    EXPECT_EQ(Values(extract.Fields()), Chaine("1|one|one|2|one"));
    EXPECT_EQ(extract.Fields()["M"].AsInt64(), 2);
    own.fields.SetNull();
    EXPECT_EQ(Values(linked.fields), Chaine("-|-"));
    own.fields <<= extract;
    EXPECT_EQ(Values(own.fields), Chaine("1|one|one|2|one"));
    EXPECT_EQ(Values(linked.fields), Chaine("one|2"));
}

TEST_F(LinkedRecord, ExtractTakesMissingValues) {
    EExtract extract(own.fields);
    own.fields.SetNull();
    extract = own.fields;
    Fill(7, "seven");
    own.fields <<= extract;
    EXPECT_EQ(Values(own.fields), Chaine("-|-||-|-"));
}

TEST_F(LinkedRecord, ExtractCopiesByNameIntoAnotherLayout) {
    const EExtract extract(own.fields);
    test::Record other(Descs({{"m", TYPE_CHAINE, 4}, {"T", TYPE_STR, 2}, {"k", TYPE_LONG, 4}}));
    other.fields["k"] <<= EVariant(9);
    other.fields <<= extract;
    EXPECT_EQ(Values(other.fields), Chaine("2|on|9"));
    // And between sets that were built alike but apart.
    test::Record alike(
        Descs({{"n", TYPE_LONG, 5}, {"t", TYPE_CHAINE, 4}, {"z", TYPE_ZSTRING, 40}}));
    alike.fields <<= extract;
    EXPECT_EQ(Values(alike.fields), Chaine("1|one|one"));
}

TEST_F(LinkedRecord, WalkOverExtractsAllocatesNothing) {
    EExtract first(own.fields);
    Fill(2, "a text of some length, for a body of its own");
    EExtract second(own.fields);
    EExtract kept;
    kept = first;
    const test::AllocationCount count;
    for (int i = 0; i < 3; ++i) {
        own.fields <<= first;
        kept = own.fields;
        own.fields <<= second;
        kept = second;
    }
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(kept.Field(0).AsInt64(), 2);
}

TEST_F(LinkedRecord, CopiedExtractIsItsOwn) {
    EExtract extract(own.fields);
    EExtract copy(extract);
    const EFieldSet& fields = copy.Fields();
    Fill(3, "three");
    extract = own.fields;
    EXPECT_EQ(Values(fields), Chaine("1|one|one|2|one"));
    copy = own.fields;  // one shape: the set that was handed out stays
    EXPECT_EQ(Values(fields), Chaine("3|three|three|4|three"));
    copy = copy.Fields();
    EXPECT_EQ(Values(copy.Fields()), Chaine("3|three|three|4|three"));
    EExtract moved(std::move(copy));
    EXPECT_TRUE(copy.IsEmpty());
    EXPECT_EQ(Values(moved.Fields()), Chaine("3|three|three|4|three"));
    copy = moved;
    EXPECT_EQ(Values(copy.Fields()), Chaine("3|three|three|4|three"));
}

TEST_F(LinkedRecord, ExtractFollowsAChangeOfShape) {
    EExtract extract(own.fields);
    const EExtract before(extract);
    EXPECT_EQ(extract.Fields().Size(), 5U);
    std::int32_t more = 8;
    own.fields.Add(View(Desc("more", TYPE_LONG, 4), &more));
    extract = own.fields;
    EXPECT_EQ(Values(extract.Fields()), Chaine("1|one|one|2|one|8"));
    // The older values fit by name.
    Fill(6, "six");
    own.fields <<= before;
    EXPECT_EQ(Values(own.fields), Chaine("1|one|one|2|one|8"));
    // Also from a set that views the extract itself.
    EFieldSet onItself = extract.Fields();
    onItself.Add(View(Desc("last", TYPE_LONG, 4), &more));
    extract = onItself;
    EXPECT_EQ(Values(extract.Fields()), Chaine("1|one|one|2|one|8|8"));
    extract = EFieldSet();
    EXPECT_TRUE(extract.IsEmpty());
    EXPECT_EQ(extract.Fields().Size(), 0U);
    own.fields <<= extract;
    EXPECT_EQ(more, 8);
}

TEST_F(LinkedRecord, PackedFieldsLieInOneRecordOfTheSameShape) {
    std::int8_t tail = 7;  // leaves the image at an odd length, which a record with slots hasn't
    own.fields.Add(View(Desc("tail", TYPE_INT8, 1), &tail));
    test::Record packed(own.fields.Packed());
    EXPECT_EQ(packed.fields.ShapeNumber(), own.fields.ShapeNumber());
    EXPECT_EQ(packed.fields.OffsetOf(2), own.fields.OffsetOf(2));
    EXPECT_GE(packed.fields.OffsetOf(3), own.fields.RecordSize());
    EXPECT_EQ(packed.fields.OffsetOf(4) % sizeof(Chaine), 0U);
    packed.fields <<= own.fields;
    EExtract extract(own.fields);
    Fill(5, "five");
    EXPECT_EQ(Values(packed.fields), Chaine("1|one|one|2|one|7"));
    own.fields <<= packed.fields;
    EXPECT_EQ(Values(linked.fields), Chaine("one|2"));
    // An extract's set is as long as a packed record, whichever of the two it was taken from.
    Fill(5, "five");
    packed.fields <<= own.fields;
    EFieldSet taken = extract.Fields();
    taken <<= packed.fields;
    EXPECT_EQ(Values(extract.Fields()), Chaine("5|five|five|6|five|7"));
    extract = packed.fields;
    own.fields.SetNull();
    own.fields <<= extract;
    EXPECT_EQ(Values(own.fields), Chaine("5|five|five|6|five|7"));
}

}  // namespace
}  // namespace etabulon
