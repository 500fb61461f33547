#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonVariableID.h"
#include "support/AllocationCount.h"
#include "support/Tags.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {
TEST(EmptyTag, IsTheRoot) {
    const ETabulonTag root;
    EXPECT_TRUE(root.IsRoot());
    EXPECT_EQ(root, ETabulonTag::Null);
    EXPECT_EQ(root.DisplayID(), Chaine("[]"));
    EXPECT_EQ(root.Find(0), nullptr);
}

TEST(ChildOf, LooksOnlyAtLevelsKnownToBoth) {
    const ETabulonTag fr = Tag({{0, "FR"}}), paris = Tag({{0, "FR"}, {1, "Paris"}});
    const ETabulonTag abc = Tag({{1, "a"}, {2, "b"}, {3, "c"}});
    const ETabulonTag gap = Tag({{1, EVariant()}, {2, "b"}});
    struct Case {
        ETabulonTag tag, parent;
        bool isChild;
    };
    for (const Case& c :
         {Case{fr, {}, true}, Case{{}, {}, false}, Case{{}, fr, false}, Case{paris, fr, true},
          Case{paris, Tag({{0, "DE"}}), false}, Case{fr, fr, false}, Case{fr, paris, false},
          Case{abc, Tag({{4, "d"}, {1, "a"}}), true}, Case{abc, Tag({{4, "d"}, {1, "z"}}), false},
          Case{abc, Tag({{0, "d"}, {3, "z"}}), false}, Case{paris, Tag({{9, "d"}}), true},
          Case{gap, Tag({{1, EVariant()}}), true}, Case{gap, Tag({{1, ""}}), false},
          Case{Tag({{1, 3}, {2, "b"}}), Tag({{1, EVariant::FromDouble(3)}}), true}}) {
        EXPECT_EQ(c.tag.IsChildOf(c.parent), c.isChild)
            << c.tag.DisplayID().c_str() << " under " << c.parent.DisplayID().c_str();
    }
}

TEST(TagEquality, NeedsTheSameLevelsAndEqualValues) {
    const ETabulonTag tag = Tag({{0, "FR"}, {2, 2021}});
    const ETabulonTag floating = Tag({{2, EVariant::FromDouble(2021)}, {0, "FR"}});
    EXPECT_EQ(tag, floating);
    EXPECT_EQ(tag.Hash(), floating.Hash());
    EXPECT_NE(tag, Tag({{0, "FR"}, {1, 2021}}));
}

TEST(TagDisplay, JoinsTheTextsByLevelWhateverTheirOrderOfArrival) {
    ETabulonTag tag = Tag({{5, 2021}, {1, "Paris"}, {3, EVariant()}});
    tag.SetValue(4, ETabulonValue(1, "one", false));
    EXPECT_EQ(tag.DisplayID(), Chaine("[Paris, , one, 2021]"));
}

TEST(CopiedTag, SharesNothing) {
    ETabulonTag source = Tag({{0, "FR"}, {1, "Paris"}});
    const ETabulonTag copy(source);
    ETabulonTag assigned = Tag({{7, "x"}, {8, "y"}});
    assigned = source;
    // Nothing is left to part when either side is looked into.
    const AllocationCount count;
    EXPECT_NE(&copy.Value(0), &source.Value(0));
    EXPECT_NE(&assigned.Value(0), &source.Value(0));
    EXPECT_EQ(count.Taken(), 0U);
    ETabulonTag& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.DisplayID(), Chaine("[FR, Paris]"));
}

TEST(AssignedTag, AllocatesNothingOverAsManyLevels) {
    const ETabulonTag first = Tag({{0, "a text longer than what lies inline"}, {1, 12}});
    const ETabulonTag second = Tag({{0, "another text longer than what lies inline"}, {3, 13}});
    ETabulonTag tag(first);
    const AllocationCount count;
    tag = second;
    tag = first;
    EXPECT_EQ(count.Taken(), 0U);
    EXPECT_EQ(tag, first);
}

TEST(TagEntry, MayBeSetFromAnotherOfTheSameTag) {
    ETabulonTag tag = Tag({{0, "FR"}});
    for (unsigned int level = 1; level < 20; ++level) {
        tag.SetValue(level, tag.Value(level - 1));
    }
    EXPECT_EQ(tag.Value(19), tag.Value(0));
}

/// What a tag is meant to be, told by the standard map.
class TagModel {
public:
    void Check(const ETabulonTag& tag) const {
        ASSERT_EQ(tag.KnownLevelsCount(), entries_.size());
        EXPECT_EQ(tag.IsRoot(), entries_.empty());
        const PUniqueT<unsigned int> known = tag.KnownLevels();
        unsigned int place = 0;
        for (const auto& [level, data] : entries_) {
            EXPECT_EQ(known.At(place), level);
            EXPECT_EQ(tag.LevelAt(place), level);
            EXPECT_EQ(tag.Value(level).Data(), EVariant(data));
            EXPECT_EQ(&tag.ValueAt(place), tag.Find(level));
            ++place;
        }
    }
    void Set(unsigned int level, int data) { entries_[level] = data; }
    void Clear() { entries_.clear(); }
    [[nodiscard]] bool Knows(unsigned int level) const { return entries_.count(level) != 0; }
    [[nodiscard]] bool IsChildOf(const TagModel& parent) const {
        for (const auto& [level, data] : entries_) {
            const auto other = parent.entries_.find(level);
            if (other != parent.entries_.end() && other->second != data) {
                return false;
            }
        }
        return entries_.size() > parent.entries_.size();
    }
    friend bool operator==(const TagModel&, const TagModel&) = default;

private:
    std::map<unsigned int, int> entries_;
};

TEST(RandomTags, BehaveAsMaps) {
    std::mt19937 random(20210317);
    const auto pick = [&random](unsigned int count) { return random() % count; };
    constexpr unsigned int kTags = 4;
    ETabulonTag tags[kTags];
    TagModel models[kTags];
    for (int round = 0; round < 20000; ++round) {
        const unsigned int at = pick(kTags), other = pick(kTags), level = pick(6);
        const int data = static_cast<int>(pick(2));
        switch (pick(8)) {
            case 0:
                tags[at] = tags[other];
                models[at] = models[other];
                break;
            case 1:
                tags[at] = ETabulonTag(tags[other]);
                models[at] = models[other];
                break;
            case 2:
                tags[at].RemoveAll();
                models[at].Clear();
                break;
            case 3:
                tags[at].Slot(level).Refill(data);
                models[at].Set(level, data);
                break;
            default:
                tags[at].SetValue(level, ETabulonValue(data, Chaine(), false));
                models[at].Set(level, data);
        }
        ASSERT_EQ(tags[at].HasValue(level), models[at].Knows(level));
        ASSERT_EQ(tags[at] == tags[other], models[at] == models[other]);
        ASSERT_EQ(tags[at].IsChildOf(tags[other]), models[at].IsChildOf(models[other]));
        if (models[at] == models[other]) {
            ASSERT_EQ(tags[at].Hash(), tags[other].Hash());
        }
        models[at].Check(tags[at]);
    }
}

EFieldKey Key(std::initializer_list<EVariant> segments) {
    EFieldKey key;
    for (const EVariant& segment : segments) {
        key.Add(segment);
    }
    return key;
}

/// The code of a key as "type:text", or "null".
std::string Code(const EFieldKey& key, EPosition position) {
    const ETabulonValue code = ETabulonPrimaryKey(key, position).SingleCode();
    return code.IsNull() ? std::string("null")
                         : std::to_string(code.Data().Type()) + ":" + code.DisplayValue().c_str();
}

TEST(SingleCode, JoinsTheSegments) {
    EXPECT_EQ(Code({}, kNoPosition), "null");
    EXPECT_EQ(Code({}, 7), "25:");
    EXPECT_EQ(Code(Key({12}), kNoPosition), "1:12");
    EXPECT_EQ(Code(Key({EVariant::Missing(TYPE_LONG, 0)}), 7), "null");
    EXPECT_EQ(Code(Key({"A"}), 7), "25:A");
    EXPECT_EQ(Code(Key({12, "B"}), 7), "25:12/B");
}

TEST(SingleCode, EmptySegmentsJoinUnevenly) {
    const EVariant missing = EVariant::Missing(TYPE_CHAINE, 0);
    EXPECT_EQ(Code(Key({"", "A", "B"}), 0), "25:A/B");
    EXPECT_EQ(Code(Key({"A", "", "B", ""}), 0), "25:A//B/");
    EXPECT_EQ(Code(Key({missing, "", "B", missing}), 0), "25:B/");
    EXPECT_EQ(Code(Key({"", ""}), 0), "25:");
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

        // A copy of the levels holds none until it is looked into.
        const ETabulonLevels copy(levels);
        EXPECT_EQ(ui->References(), 3);
        static_cast<void>(copy.GetLevel(0).Icon(EVariant("FR")));
        EXPECT_EQ(ui->References(), 5);
        EXPECT_EQ(ui->asked, "FR");
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

/// "code|rubric|variable|number"
std::string Parts(const ETabulonVariableID& id) {
    return std::string(id.Code().c_str()) + "|" + id.CodeRub().c_str() + "|" +
           id.CodeVar().c_str() + "|" + std::to_string(id.Accelerator());
}

TEST(Identifier, IsReadFromTextOrNumber) {
    using Case = std::pair<ETabulonVariableID, const char*>;
    for (const auto& [id, parts] :
         {Case{"", "|||0"}, Case{"Client", "Client|Client||0"},
          Case{"Client.Code.Sub", "Client.Code.Sub|Client|Code.Sub|0"}, Case{".x", ".x||x|0"},
          Case{"x.", "x.|x||0"}, Case{"12", "12|||12"}, Case{" 12 ", " 12 |||12"},
          Case{"0", "0|||0"}, Case{"4294967295", "4294967295|||4294967295"},
          Case{"12345678901", "12345678901|12345678901||0"}, Case{"1 2", "1 2|1 2||0"},
          Case{"1.5", "1.5|1|5|0"}, Case{"  ", "  |  ||0"},
          Case{ETabulonVariableID(34UL), "34|||34"}, Case{ETabulonVariableID(0UL), "0|||0"}}) {
        EXPECT_EQ(Parts(id), parts);
        EXPECT_EQ(id.IsAccelerator(), id.Accelerator() != 0);
        EXPECT_EQ(id.IsValid(), !id.Code().IsEmpty());
        const ETabulonVariableID copy(id);
        EXPECT_EQ(Parts(copy), parts);
    }
    EXPECT_EQ(Parts(ETabulonVariableID::Null), "|||0");
}

TEST(Identifier, IsALinkWithEitherMark) {
    for (const char* link : {"a>b", ">", "a\xBB", "\xBB.b", "a>b\xBB.c"}) {
        EXPECT_TRUE(ETabulonVariableID(link).IsLink()) << link;
    }
    for (const char* plain : {"", "a.b", "a<b", "12", "a\xAB"}) {
        EXPECT_FALSE(ETabulonVariableID(plain).IsLink()) << plain;
    }
}

using ID = ETabulonVariableID;

TEST(IdentifierEquality, FoldsCodes) {
    EXPECT_TRUE(ID("client.code") == ID("CLIENT.Code"));
    EXPECT_FALSE(ID("client.code") != ID("CLIENT.Code"));
    EXPECT_TRUE(ID("\xE9t\xE9") == ID("\xC9T\xC9"));
    EXPECT_FALSE(ID("\xED") == ID("\xCD"));
    EXPECT_FALSE(ID("client") == ID("client.code"));
    EXPECT_TRUE(ID(" 12") == ID("12  "));
}

TEST(IdentifierEquality, NamedAgainstNumberedIsAsymmetric) {
    // One code, but a text of eleven digits is no number.
    const ETabulonVariableID named("12345678901");
    const ETabulonVariableID numbered(12345678901UL);
    EXPECT_TRUE(named == numbered);
    EXPECT_FALSE(named != numbered);
    EXPECT_FALSE(numbered == named);
    EXPECT_TRUE(numbered != named);
}

TEST(IdentifierEquality, GoesByNumberWhateverTheCodesSay) {
    EXPECT_TRUE(ID("12 ") == ID(12UL));
    EXPECT_TRUE(ID(12UL) == ID(" 0012"));
    EXPECT_FALSE(ID("x") == ID(12UL));
    EXPECT_FALSE(ID(12UL) == ID("x"));
    // The number 0 is identified by name.
    EXPECT_TRUE(ID(0UL) == ID("0"));
    EXPECT_FALSE(ID(0UL) == ID(" 0"));
}

TEST(IdentifierOrder, GoesByNumberOnlyBetweenNumbers) {
    EXPECT_TRUE(ID(9UL) < ID(10UL));
    EXPECT_FALSE(ID(10UL) < ID(9UL));
    EXPECT_TRUE(ID(10UL) < ID("9x"));
    EXPECT_TRUE(ID("a") < ID("B"));
    EXPECT_FALSE(ID("a") < ID("A"));
    EXPECT_TRUE(ID("a") < ID("aa"));
    // Bytes from 0x80 upward are below the letters.
    EXPECT_TRUE(ID("\xC9") < ID("e"));
}

}  // namespace
}  // namespace etabulon::test
