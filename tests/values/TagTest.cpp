#include "etabulon/values/ETabulonTag.h"
#include "support/AllocationCount.h"
#include "support/Tags.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace etabulon {
namespace {

using test::AllocationCount;
using test::Tag;

TEST(EmptyTag, IsTheRootAndNobodysChild) {
    const ETabulonTag root;
    EXPECT_TRUE(root.IsRoot());
    EXPECT_EQ(root, ETabulonTag::Null);
    EXPECT_EQ(root.DisplayID(), Chaine("[]"));
    EXPECT_FALSE(root.IsChildOf(ETabulonTag::Null));
    EXPECT_FALSE(root.IsChildOf(Tag({{0, "FR"}})));
    EXPECT_EQ(root.KnownLevels().Size(), 0U);
    EXPECT_FALSE(root.HasValue(0));
    EXPECT_EQ(root.Find(0), nullptr);
}

TEST(ChildOf, LooksOnlyAtLevelsKnownToBoth) {
    struct Case {
        ETabulonTag tag;
        ETabulonTag parent;
        bool isChild;
    };
    for (const Case& c : {
             Case{Tag({{7, "x"}}), {}, true},
             Case{Tag({{0, "FR"}, {1, "Paris"}}), Tag({{0, "FR"}}), true},
             Case{Tag({{0, "FR"}, {1, "Paris"}}), Tag({{0, "DE"}}), false},
             Case{Tag({{0, "FR"}}), Tag({{0, "FR"}}), false},
             Case{Tag({{0, "FR"}}), Tag({{0, "FR"}, {1, "Paris"}}), false},
             Case{Tag({{1, "a"}, {2, "b"}, {3, "c"}}), Tag({{4, "d"}, {1, "a"}}), true},
             Case{Tag({{1, "a"}, {2, "b"}, {3, "c"}}), Tag({{4, "d"}, {1, "z"}}), false},
             Case{Tag({{1, "a"}, {2, "b"}, {3, "c"}}), Tag({{0, "d"}, {3, "z"}}), false},
             Case{Tag({{1, "a"}, {2, "b"}}), Tag({{9, "d"}}), true},
             Case{Tag({{1, EVariant()}, {2, "b"}}), Tag({{1, EVariant()}}), true},
             Case{Tag({{1, EVariant()}, {2, "b"}}), Tag({{1, ""}}), false},
             Case{Tag({{1, 3}, {2, "b"}}), Tag({{1, EVariant::FromDouble(3)}}), true},
         }) {
        EXPECT_EQ(c.tag.IsChildOf(c.parent), c.isChild)
            << c.tag.DisplayID().c_str() << " under " << c.parent.DisplayID().c_str();
    }
}

TEST(TagEquality, NeedsTheSameLevelsAndEqualValues) {
    const ETabulonTag tag = Tag({{0, "FR"}, {2, 2021}});
    EXPECT_EQ(tag, Tag({{2, EVariant::FromDouble(2021)}, {0, "FR"}}));
    EXPECT_EQ(tag.Hash(), Tag({{2, EVariant::FromDouble(2021)}, {0, "FR"}}).Hash());
    EXPECT_NE(tag, Tag({{0, "FR"}, {1, 2021}}));
    EXPECT_NE(tag, Tag({{0, "FR"}}));
    EXPECT_NE(tag, Tag({{0, "FR"}, {2, 2022}}));
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
    // Addresses tell: an element that was shared would still be the source's.
    EXPECT_NE(&copy.Value(0), &source.Value(0));
    EXPECT_NE(&assigned.Value(0), &source.Value(0));
    source.SetValue(0, ETabulonValue("DE", "", false));
    EXPECT_EQ(copy.DisplayID(), Chaine("[FR, Paris]"));
    EXPECT_EQ(assigned.DisplayID(), Chaine("[FR, Paris]"));
    ETabulonTag& self = assigned;
    assigned = self;
    EXPECT_EQ(assigned.DisplayID(), Chaine("[FR, Paris]"));
    assigned = ETabulonTag::Null;
    EXPECT_TRUE(assigned.IsRoot());
}

TEST(CopiedTag, DetachesInTheSameStep) {
    const ETabulonTag source = Tag({{0, "FR"}, {1, "Paris"}});
    const ETabulonTag copy(source);
    const AllocationCount count;
    EXPECT_TRUE(copy.HasValue(0));
    EXPECT_TRUE(source.HasValue(0));
    EXPECT_EQ(count.Taken(), 0U);
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

}  // namespace
}  // namespace etabulon
