#include "etabulon/values/ETabulonValue.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace etabulon::test {
namespace {

constexpr std::uint16_t kFoldedText = TYPE_NC_CHAINE;

/// What a reader of a value sees: "1m'text'" is ValNormal, modified.
std::string Seen(const ETabulonValue& value) {
    return std::to_string(value.Status()) + (value.IsModified() ? "m" : "") + "'" +
           value.DisplayValue().c_str() + "'";
}

EVariant Folded(const char* text) {
    EVariant folded;
    folded.Init(kFoldedText, 0, text);
    return folded;
}

TEST(NewValue, TakesStatusAndTextFromWhatIsGiven) {
    const EVariant missing = EVariant::Missing(TYPE_LONG, 0);
    EXPECT_EQ(Seen(ETabulonValue()), "0''");
    EXPECT_EQ(Seen(ETabulonValue(12, "", false)), "1'12'");
    EXPECT_EQ(Seen(ETabulonValue(12, "dozen", true)), "1m'dozen'");
    EXPECT_EQ(Seen(ETabulonValue("", "", false)), "1''");
    EXPECT_EQ(Seen(ETabulonValue(EVariant(), "lost", false)), "0''");
    EXPECT_EQ(Seen(ETabulonValue(missing, "lost", true)), "0m''");
    EXPECT_EQ(Seen(ETabulonValue::Null), "0''");
    EXPECT_EQ(Seen(ETabulonValue::Special), "2''");
    EXPECT_TRUE(ETabulonValue::Null.Data().IsMissing());
    EXPECT_TRUE(ETabulonValue::Special.Data().IsMissing());
}

TEST(CopiedValue, MakesItsOwnTextAndKeepsAGivenOne) {
    ETabulonValue pending(12, "", true);
    ETabulonValue given(12, "dozen", false);
    ETabulonValue assigned("old", "old", false);
    assigned = pending;
    const ETabulonValue copies[] = {pending, given};
    // The copies own their data: what becomes of the source is not seen in them.
    pending.SetData(13);
    given.SetData(13);
    EXPECT_EQ(Seen(copies[0]), "1m'12'");
    EXPECT_EQ(Seen(copies[1]), "1'dozen'");
    EXPECT_EQ(Seen(assigned), "1m'12'");
    ETabulonValue& self = assigned;
    assigned = self;
    EXPECT_EQ(Seen(assigned), "1m'12'");
}

TEST(SetData, KeepsTextFlagsAndType) {
    ETabulonValue made(12, "", true);
    EXPECT_EQ(Seen(made), "1m'12'");
    made.SetData("13");
    EXPECT_EQ(Seen(made), "1m'12'");
    EXPECT_EQ(made.Data(), EVariant(13));
    EXPECT_EQ(made.Data().Type(), TYPE_LONG);
    for (const ETabulonValue& before :
         {ETabulonValue(12, "", false), ETabulonValue(), ETabulonValue::Special}) {
        ETabulonValue value(before);
        value.SetData(13);
        EXPECT_EQ(Seen(value), before.Status() == ETabulonValue::ValNormal ? "1'13'" : "1''");
        EXPECT_EQ(value.Data(), EVariant(13));
    }
}

TEST(ValueOrder, RanksStatusFirstThenDataOrText) {
    const ETabulonValue noText(EVariant(), "dropped", true), two(2, "b", false);
    const ETabulonValue ten(10, "a", true), alsoTen(10, "z", false);
    const ETabulonValue nine(9, "", false), plainTen(10, "", false), letter("z", "", false);
    const ETabulonValue accent("\xC3\xA9", "", false), folded(Folded("Z"), "", false);
    const ETabulonValue floating(EVariant::FromDouble(9), "", true);
    const ETabulonValue &null = ETabulonValue::Null, &special = ETabulonValue::Special;
    struct Case {
        const ETabulonValue &left, &right;
        int byData, byText;
    };
    // By text is by the bytes of the texts, which are made where none was given.
    for (const Case& c :
         {Case{null, noText, 0, 0}, Case{null, special, -1, -1}, Case{null, two, -1, -1},
          Case{special, special, 0, 0}, Case{special, two, -1, -1}, Case{two, ten, -1, 1},
          Case{ten, alsoTen, 0, -1}, Case{nine, plainTen, -1, 1}, Case{letter, accent, -1, -1},
          Case{folded, letter, 0, -1}, Case{nine, floating, 0, 0}}) {
        const auto sign = [](int order) { return order < 0 ? -1 : (order > 0 ? 1 : 0); };
        SCOPED_TRACE(Seen(c.left) + " against " + Seen(c.right));
        EXPECT_EQ(sign(c.left.Compare(c.right, false)), c.byData);
        EXPECT_EQ(sign(c.right.Compare(c.left, false)), -c.byData);
        EXPECT_EQ(sign(c.left.Compare(c.right, true)), c.byText);
        EXPECT_EQ(sign(c.right.Compare(c.left, true)), -c.byText);
        EXPECT_EQ(c.left == c.right, c.byData == 0);
        EXPECT_EQ(c.right != c.left, c.byData != 0);
        if (c.byData == 0) {
            EXPECT_EQ(c.left.Hash(), c.right.Hash());
        }
    }
}

TEST(SameDisplay, IsToldByTheTextsEvenIfNoneIsMade) {
    struct Case {
        ETabulonValue left;
        ETabulonValue right;
    };
    for (const Case& c :
         {Case{{Folded("Paris"), "", false}, {Folded("PARIS"), "", false}},
          Case{{EVariant::FromDouble(0.0), "", false}, {EVariant::FromDouble(-0.0), "", false}},
          Case{{3, "", false}, {EVariant::FromDouble(3), "", false}},
          Case{{3, "", false}, {3, "three", false}}, Case{{3, "", false}, {"3", "3", false}},
          Case{{3, "", false}, {4, "", false}},
          Case{ETabulonValue::Null, ETabulonValue::Special}}) {
        const bool same = c.left.HasSameDisplay(c.right);
        EXPECT_EQ(c.right.HasSameDisplay(c.left), same);
        EXPECT_EQ(same, c.left.DisplayValue() == c.right.DisplayValue()) << Seen(c.left);
    }
}

TEST(Refill, LeavesWhatTheConstructorMakes) {
    const std::vector<EVariant> data = {EVariant(), EVariant::Missing(TYPE_CHAINE, 0), EVariant(""),
                                        EVariant("text"), EVariant(12)};
    const std::vector<Chaine> texts = {"", "shown"};
    for (const EVariant& before : data) {
        for (const EVariant& after : data) {
            for (const Chaine& text : texts) {
                ETabulonValue refilled(before, text, true);
                static_cast<void>(refilled.DisplayValue());
                ETabulonValue plain(refilled);
                const ETabulonValue built(after, text, false), builtPlain(after, "", false);
                refilled.Refill(after, text);
                plain.Refill(after);
                EXPECT_EQ(Seen(refilled), Seen(built));
                EXPECT_EQ(refilled, built);
                EXPECT_EQ(refilled.Data().Type(), built.Status() ? after.Type() : 0);
                EXPECT_EQ(Seen(plain), Seen(builtPlain));
                EXPECT_EQ(plain, builtPlain);
            }
        }
    }
}

TEST(Refill, TakesItsOwnDataAndText) {
    for (const EVariant& data : {EVariant("text"), EVariant(12), EVariant()}) {
        for (const char* text : {"shown", ""}) {
            ETabulonValue value(data, text, true);
            const ETabulonValue built(data, value.DisplayValue(), false);
            value.Refill(value.Data(), value.DisplayValue());
            EXPECT_EQ(Seen(value), Seen(built));
            value.Refill(value.Data());
            EXPECT_EQ(Seen(value), Seen(ETabulonValue(data, "", false)));
        }
    }
}

TEST(Refill, AllocatesNothingForNumbersAndOwnedText) {
    const EVariant text("a text that is longer than what lies inline");
    const Chaine shown("shown");
    ETabulonValue value(1, "", false);
    const AllocationCount count;
    value.Refill(text, shown);
    value.Refill(7);
    value.Refill(EVariant());
    EXPECT_EQ(count.Taken(), 0U);
}

}  // namespace
}  // namespace etabulon::test
