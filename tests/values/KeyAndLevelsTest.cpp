#include "etabulon/values/ETabulonLevels.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace etabulon {
namespace {

using test::AllocationCount;

EFieldKey Key(std::initializer_list<EVariant> segments) {
    EFieldKey key;
    for (const EVariant& segment : segments) {
        key.Add(segment);
    }
    return key;
}

TEST(SingleCode, JoinsTheSegments) {
    struct Case {
        EFieldKey key;
        EPosition position;
        std::string code;  // "type:text", "null"
    };
    const auto seen = [](const ETabulonValue& value) {
        return value.IsNull()
                   ? std::string("null")
                   : std::to_string(value.Data().Type()) + ":" + value.DisplayValue().c_str();
    };
    for (const Case& c : {
             Case{Key({}), kNoPosition, "null"},
             Case{Key({}), 7, "25:"},
             Case{Key({12}), kNoPosition, "1:12"},
             Case{Key({EVariant::Missing(TYPE_LONG, 0)}), 7, "null"},
             Case{Key({"A"}), 7, "25:A"},
             Case{Key({12, "B"}), 7, "25:12/B"},
         }) {
        EXPECT_EQ(seen(ETabulonPrimaryKey(c.key, c.position).SingleCode()), c.code);
    }
}

TEST(SingleCode, EmptySegmentsJoinUnevenly) {
    const EVariant missing = EVariant::Missing(TYPE_CHAINE, 0);
    const auto code = [](const EFieldKey& key) {
        return ETabulonPrimaryKey(key, 0).SingleCode().DisplayValue();
    };
    EXPECT_EQ(code(Key({"", "A", "B"})), Chaine("A/B"));
    EXPECT_EQ(code(Key({"A", "", "B"})), Chaine("A//B"));
    EXPECT_EQ(code(Key({"A", "B", ""})), Chaine("A/B/"));
    EXPECT_EQ(code(Key({missing, "", "B", missing})), Chaine("B/"));
    EXPECT_EQ(code(Key({"", ""})), Chaine(""));
}

TEST(PrimaryKey, IsSetByAPlaceOrBySegments) {
    ETabulonPrimaryKey key;
    EXPECT_FALSE(key.IsSet());
    EXPECT_EQ(key.Position(), kNoPosition);
    key.Set(EFieldKey(), 0);
    EXPECT_TRUE(key.IsSet());
    key.Set(Key({1}), kNoPosition);
    EXPECT_TRUE(key.IsSet());
    key.Reset();
    EXPECT_FALSE(key.IsSet());
    EXPECT_EQ(key.Fields().Size(), 0);
}

TEST(PrimaryKey, OwnsWhatItWasGiven) {
    EFieldKey segments = Key({1, "a text longer than what lies inline"});
    ETabulonPrimaryKey key(segments, 4);
    ETabulonPrimaryKey copy(key), assigned;
    assigned = key;
    segments.At(0) = EVariant(2);
    key.Set(key.Fields(), 5);
    EXPECT_EQ(key.Fields().At(0), EVariant(1));
    EXPECT_EQ(key.Position(), 5);
    key.Reset();
    EXPECT_EQ(copy.Fields().At(0), EVariant(1));
    EXPECT_EQ(assigned.Fields().At(0), EVariant(1));
    EXPECT_EQ(assigned.Position(), 4);

    const AllocationCount count;
    assigned.Set(segments, 6);
    assigned = copy;
    EXPECT_EQ(count.Taken(), 0U);
}

/// An icon handle that says which value it was asked for.
class CountingUI : public ETabulonLevels::ILevelUI, public virtual ECountedUnknown {
public:
    HICON Icon(const EVariant& value) override {
        asked += value.AsChaine().c_str();
        return nullptr;
    }
    std::int32_t References() {
        AddRef();
        return Release();
    }
    std::string asked;
};

TEST(Levels, AreNumberedInTheOrderOfAdding) {
    ETabulonLevels levels;
    EXPECT_FALSE(levels.ExistLevel(0U));
    EXPECT_FALSE(levels.ExistLevel(ETabulonVariableID("Client.country")));
    EXPECT_EQ(levels.AddLevel("Country", "Client.country", "Client.label", nullptr, false), 0U);
    EXPECT_EQ(levels.AddLevel("City", "Client.city", nullptr, false), 1U);
    EXPECT_EQ(levels.AddLevel("Again", "client.CITY", nullptr, true), 2U);
    EXPECT_EQ(levels.AddLevel("Field", ETabulonVariableID(12UL), nullptr, true), 3U);
    EXPECT_EQ(levels.Size(), 4U);
    EXPECT_TRUE(levels.ExistLevel(3U));
    EXPECT_FALSE(levels.ExistLevel(4U));
    EXPECT_EQ(levels.GetLevelID(2U), 2U);
    EXPECT_EQ(levels.GetLevel(0).DescID().CodeVar(), Chaine("label"));
    EXPECT_EQ(levels.GetLevel(1).DescID().Code(), Chaine("Client.city"));
    EXPECT_EQ(levels.GetLevel(1).Header(), Chaine("City"));
    EXPECT_EQ(levels.GetLevel(1).Icon(EVariant("Paris")), nullptr);

    EXPECT_EQ(levels.GetLevelID(ETabulonVariableID("CLIENT.city")), 1U);
    EXPECT_EQ(levels.GetLevelID(ETabulonVariableID(" 12")), 3U);
    EXPECT_FALSE(levels.ExistLevel(ETabulonVariableID("Client.label")));
}

TEST(Levels, PutTheirOwnIdentifierOnTheLeft) {
    ETabulonLevels named, numbered;
    named.AddLevel("", ETabulonVariableID("12345678901"), nullptr, false);
    numbered.AddLevel("", ETabulonVariableID(12345678901UL), nullptr, false);
    EXPECT_TRUE(named.ExistLevel(ETabulonVariableID(12345678901UL)));
    EXPECT_FALSE(numbered.ExistLevel(ETabulonVariableID("12345678901")));
}

TEST(LevelUI, IsHeldOnceForEachLevel) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    {
        auto ui = MakeRef<CountingUI>();
        ETabulonLevels levels;
        levels.AddLevel("", "a", ui.Get(), /*addRef=*/true);
        EXPECT_EQ(ui->References(), 2);
        ui->AddRef();
        levels.AddLevel("", "b", ui.Get(), /*addRef=*/false);
        EXPECT_EQ(ui->References(), 3);

        ETabulonLevels::Level level = levels.GetLevel(0);
        EXPECT_EQ(ui->References(), 4);
        level = levels.GetLevel(1);
        EXPECT_EQ(ui->References(), 4);
        level = ETabulonLevels::Level();
        EXPECT_EQ(ui->References(), 3);

        // A copy of the levels holds none until it is looked into.
        const ETabulonLevels copy(levels);
        EXPECT_EQ(ui->References(), 3);
        static_cast<void>(copy.GetLevel(0).Icon(EVariant("FR")));
        EXPECT_EQ(ui->References(), 5);
        EXPECT_EQ(ui->asked, "FR");
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

}  // namespace
}  // namespace etabulon
