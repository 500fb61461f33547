#include "etabulon/foundation/EExtract.h"
#include "foundation/FieldDescs.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace etabulon::test {
namespace {
TEST(FieldDescription, SizesFollowTheDeclaration) {
    struct Case {
        std::int32_t type;
        std::uint16_t declared, size, storage;
        bool isSlot = false, isNullable = false;
    };
    constexpr std::uint16_t kSlot = sizeof(Chaine);
    // A code that was sign-extended from a byte is stored as its low byte tells.
    for (const Case& c :
         {Case{TYPE_LONG, 4, 4, 4}, Case{TYPE_LONG, 5, 4, 5, false, true}, Case{TYPE_LONG, 0, 4, 4},
          Case{TYPE_LONG, 6, 4, 4}, Case{TYPE_BOOL, 2, 1, 2, false, true},
          Case{TYPE_INT64, 9, 8, 9, false, true}, Case{TYPE_GUID, 17, 16, 17, false, true},
          Case{TYPE_ZSTRING, 5, 5, 5}, Case{TYPE_STR, 60000, 60000, 60000},
          Case{TYPE_CHAINE, 4, 4, kSlot, true}, Case{TYPE_CHAINE, 20, 4, kSlot, true},
          Case{TYPE_BLOB, 5, 4, kSlot, true}, Case{99, 7, 7, 7},
          Case{0xFF00 | TYPE_UP_CHAINE, 4, 4, kSlot, true}}) {
        const EFieldDesc desc = Desc("f", c.type, c.declared);
        SCOPED_TRACE(std::to_string(c.type) + " of " + std::to_string(c.declared));
        EXPECT_EQ(desc.Type(), c.type);
        EXPECT_EQ(desc.Size(), c.size);
        EXPECT_EQ(desc.StorageSize(), c.storage);
        EXPECT_EQ(desc.IsSlot(), c.isSlot);
        EXPECT_EQ(desc.IsNullable(), c.isNullable);
    }
}

TEST(FieldDescription, WithoutHandlerOrBodyAnswersForNothing) {
    EVariant low(1);
    EVariant high(2);
    for (const EFieldDesc& desc : {EFieldDesc(), EFieldDesc("f", TYPE_LONG, 4, 0, nullptr)}) {
        EXPECT_EQ(desc.Infos().Accelerator(), 0U);
        EXPECT_FALSE(desc.Infos().GetBorne(low, high));
        EXPECT_TRUE(desc.Infos().Header().IsEmpty());
    }
    EXPECT_EQ(low, EVariant(1));
    EXPECT_EQ(high, EVariant(2));
    EXPECT_TRUE(EFieldDesc().Name().IsEmpty());
}

TEST(FieldDescription, LocalHandlerTellsWhatItWasGiven) {
    EFInfosHandlerLocal handler("head", "told", 7, 12);
    const auto twin = handler.Duplicate();
    handler.SetOffset(9);
    EXPECT_EQ(twin->Header(), Chaine("head"));
    EXPECT_EQ(twin->Description(), Chaine("told"));
    EXPECT_EQ(twin->Accelerator(), 12U);
    EXPECT_EQ(twin->GetOffset(), 7);
    EXPECT_EQ(handler.GetOffset(), 9);
}

TEST(FieldCopy, IsTheSameViewAndACopyAsVariantIsAValue) {
    std::int32_t number = 1;
    const EField field = View(Desc("n", TYPE_LONG, 4), &number);
    EField view(field);
    const EVariant& asVariant = field;
    const EVariant value(asVariant);
    EField assigned;
    assigned = field;
    number = 2;
    EXPECT_EQ(view.AsInt64(), 2);
    EXPECT_EQ(assigned.AsInt64(), 2);
    EXPECT_EQ(value.AsInt64(), 1);
    view <<= EVariant(3);
    EXPECT_EQ(number, 3);
    EXPECT_EQ(view.Address(), &number);
    EXPECT_TRUE(assigned.Desc().IsSameAs(field.Desc()));
    std::int32_t elsewhere = 4;
    view.Attach(view.Desc(), &elsewhere, /*takeOwnership=*/false);
    EXPECT_EQ(view.AsInt64(), 4);
    EXPECT_EQ(view.Name(), Chaine("n"));
}

TEST(EmptyField, ReadsAsMissingWhateverIsDoneToIt) {
    EField& empty = EFieldSet()["nothing"];
    EXPECT_EQ(&empty, &EField::Empty());
    std::int32_t number = 1;
    const EField other = View(Desc("n", TYPE_LONG, 4), &number);
    empty <<= EVariant("text");
    empty.SetMissing();
    empty.Set(EVariant(12));
    empty = other;
    empty.Attach(other.Desc(), &number, /*takeOwnership=*/false);
    EXPECT_TRUE(empty.IsNullField() && empty.IsMissing() && empty.AsChaine().IsEmpty());
    EXPECT_EQ(empty.Address(), nullptr);
    EXPECT_TRUE(empty.Name().IsEmpty());
    EXPECT_EQ(number, 1);
}

TEST(FieldAsVariant, WritesThroughWhateverIsDoneToIt) {
    struct Case {
        const char* name;
        void (*store)(EVariant& field);
    };
    static EVariant moved;
    const Case cases[] = {{"copy", [](EVariant& field) { field = moved; }},
                          {"move", [](EVariant& field) { field = EVariant(moved); }},
                          {"from text", [](EVariant& field) { field = "5"; }},
                          {"swap", [](EVariant& field) { std::swap(field, moved); }},
                          {"sum", [](EVariant& field) { field += EVariant(4); }}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Record record(Descs({{"n", TYPE_INT64, 9}, {"t", TYPE_CHAINE, 0}}));
        record.fields["n"] <<= EVariant(1);
        record.fields["t"] <<= EVariant("1");
        for (EVariant* field : {static_cast<EVariant*>(&record.fields["n"]),
                                static_cast<EVariant*>(&record.fields["t"]),
                                static_cast<EVariant*>(&record.fields["absent"])}) {
            moved = EVariant(5);
            c.store(*field);
            EXPECT_FALSE(field->Init(TYPE_LONG, 4, nullptr));
        }
        EXPECT_EQ(record.fields["n"].Type(), TYPE_INT64);
        EXPECT_EQ(record.fields["n"], EVariant(5));
        EXPECT_EQ(record.fields["t"].AsChaine(), Chaine(&c == std::end(cases) - 1 ? "14" : "5"));
        EXPECT_EQ(EExtract(record.fields).Field(0), EVariant(5));  // the record's own
        EXPECT_TRUE(EField::Empty().IsMissing());
        EXPECT_EQ(EField::Empty().Type(), 0);
    }
}

TEST(RecordOfAShape, IsMadeCopiedAndUnmadeWithItsSlots) {
    const EFieldSet layout = Layout(Descs({{"n", TYPE_LONG, 5},
                                           {"t", TYPE_CHAINE, 4},
                                           {"p", TYPE_LONG, 4},
                                           {"z", TYPE_ZSTRING, 3},
                                           {"s", TYPE_STR, 3},
                                           {"b", TYPE_BLOBTEXT, 4}}));
    Record source(layout);
    Record target(layout);
    EXPECT_EQ(Values(source.fields), Chaine("-|-|-|||-"));
    source.fields["n"] <<= EVariant(1);
    source.fields["p"] <<= EVariant(-7);
    source.fields["t"] <<= EVariant("text");
    source.fields["z"] <<= EVariant("zzz");
    source.fields["b"] <<= EVariant("blob");
    target.fields["t"] <<= EVariant("goes");
    target.fields["s"] <<= EVariant("go");
    layout.CopyRecord(target.buffer.Get(), source.buffer.Get());
    layout.CopyRecord(target.buffer.Get(), target.buffer.Get());
    EXPECT_EQ(Values(target.fields), Chaine("1|text|-7|zzz||blob"));
    EXPECT_EQ(BodyAt(target.fields["t"]), BodyAt(source.fields["t"]));
    source.fields["t"] <<= EVariant("another");
    EXPECT_EQ(target.fields["t"].AsChaine(), Chaine("text"));
    target.fields["t"] <<= source.fields["t"];
    EXPECT_EQ(BodyAt(target.fields["t"]), BodyAt(source.fields["t"]));
    target.fields["t"].SetMissing();
    EXPECT_EQ(BodyAt(target.fields["t"]), nullptr);
    source.fields.SetNull();
    target.buffer.Clear();
    EXPECT_EQ(Values(source.fields), Chaine("-|-|-|||-"));
    EXPECT_EQ(Values(target.fields), Chaine("-|-|-|||-"));
    // Moved, the record stays in place.
    target.fields["t"] <<= EVariant("stays");
    ERecordBuffer moved(std::move(target.buffer));
    EXPECT_EQ(moved.Get(), target.fields.Buffer());
    EXPECT_EQ(target.fields["t"].AsChaine(), Chaine("stays"));
}

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
    Record linked;
    Record own;
};

TEST_F(LinkedRecord, ExtractKeepsItsValuesAndBringsThemBack) {
    const EExtract extract(own.fields);
    EXPECT_EQ(BodyAt(extract.Field(1)), BodyAt(own.fields.At(1)));
    EXPECT_EQ(BodyAt(extract.Field(4)), BodyAt(own.fields.At(4)));
    Fill(7, "seven");
    EXPECT_EQ(Values(extract.Fields()), Chaine("1|one|one|2|one"));
    EXPECT_EQ(extract.Fields()["M"].AsInt64(), 2);
    own.fields.SetNull();
    EXPECT_EQ(Values(linked.fields), Chaine("-|-"));
    own.fields <<= extract;
    EXPECT_EQ(Values(own.fields), Chaine("1|one|one|2|one"));
    EXPECT_EQ(Values(linked.fields), Chaine("one|2"));
    own.fields.SetNull();
    EExtract missing;
    missing = own.fields;
    Fill(7, "seven");
    own.fields <<= missing;
    EXPECT_EQ(Values(own.fields), Chaine("-|-||-|-"));
}

TEST_F(LinkedRecord, ExtractCopiesByNameIntoAnotherLayout) {
    const EExtract extract(own.fields);
    Record other(Descs({{"m", TYPE_CHAINE, 4}, {"T", TYPE_STR, 2}, {"k", TYPE_LONG, 4}}));
    other.fields["k"] <<= EVariant(9);
    other.fields <<= extract;
    EXPECT_EQ(Values(other.fields), Chaine("2|on|9"));
    // And between sets that were built alike but apart.
    Record alike(Descs({{"n", TYPE_LONG, 5}, {"t", TYPE_CHAINE, 4}, {"z", TYPE_ZSTRING, 40}}));
    alike.fields <<= extract;
    EXPECT_EQ(Values(alike.fields), Chaine("1|one|one"));
}

TEST_F(LinkedRecord, WalkOverExtractsAllocatesNothing) {
    EExtract first(own.fields);
    Fill(2, "a text of some length, for a body of its own");
    EExtract second(own.fields);
    EExtract kept;
    kept = first;
    const AllocationCount count;
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
    Record packed(own.fields.Packed());
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
}  // namespace etabulon::test
