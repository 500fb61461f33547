#include "LiteralTree.h"
#include "etabulon/tree/EDataTree.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

using SortKey = ETabulonSortDesc::SortKey;

ETabulonLevels LevelsOf(unsigned count) {
    ETabulonLevels levels;
    for (unsigned level = 0; level < count; ++level) {
        levels.AddLevel("level", ETabulonVariableID("level"), nullptr, /*addRef=*/false);
    }
    return levels;
}

/// A node class of an application's own, which gets a tag for each node.
class OwnNode : public EDataTreeNode {
public:
    using EDataTreeNode::EDataTreeNode;

protected:
    EDataTreeNode* AllocChild(const ETabulonTag& tag, const ETabulonSortDesc* sort) override {
        return new OwnNode(this, tag, sort);
    }
};

struct BranchCase {
    const char* name;
    bool isOwnClass;
    unsigned hidden;  // of a hundred levels
    unsigned gaps;    // of a hundred values
};

class LongBranches : public testing::TestWithParam<BranchCase> {};

/// Values that are equal in two spellings, and the texts of labels, stay those that came first.
TEST_P(LongBranches, ComeToWhatTheRulesComeTo) {
    constexpr unsigned kLevels = 14;
    for (unsigned seed = 0; seed < 40; ++seed) {
        std::mt19937 random(seed);
        const ETabulonLevels levels = LevelsOf(kLevels);
        ETabulonSortDesc sort(levels);
        std::vector<unsigned> order(kLevels);
        std::iota(order.begin(), order.end(), 0U);
        std::shuffle(order.begin(), order.end(), random);
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned level : order) {
            keys.Add(SortKey(level, random() % 3 == 0,
                             random() % 100 < GetParam().hidden ? kInTree : 0));
        }
        sort.SetSortLevels(keys);
        const ERef<EDataTreeNode> root =
            GetParam().isOwnClass
                ? ERef<EDataTreeNode>(MakeRef<OwnNode>(nullptr, ETabulonTag::Null, &sort))
                : ERef<EDataTreeNode>(MakeRef<EDataTreeNodeRoot>(&sort, "root", nullptr));
        LiteralNode twin(nullptr, ETabulonTag::Null, &sort);
        std::vector<ETabulonTag> met;
        for (unsigned count = 0; count < 60; ++count) {
            ETabulonTag tag = met.empty() ? ETabulonTag() : met[random() % met.size()];
            for (unsigned place = random() % kLevels; place < kLevels; ++place) {
                static const char* const kTexts[] = {"e", "E", "b", ""};
                tag.SetValue(order[place], ETabulonValue(EVariant::FromText(TYPE_NC_CHAINE, 4,
                                                                            kTexts[random() % 4]),
                                                         random() % 3 == 0 ? "label" : "", false));
            }
            met.push_back(tag);
            ETabulonTag given;
            for (unsigned place = 0; place < tag.KnownLevelsCount(); ++place) {
                if (random() % 100 >= GetParam().gaps) {
                    given.SetValue(tag.LevelAt(place), tag.ValueAt(place));
                }
            }
            EDataTreeNode* const node = root->AddChild(given);
            LiteralNode* const other = twin.AddChild(given);
            ASSERT_EQ(node == nullptr, other == nullptr);
            ASSERT_TRUE(node == nullptr || LetterText(node->Tag()) == LetterText(other->tag));
            const ETabulonTag wanted = random() % 2 == 0 && node != nullptr ? node->Tag() : given;
            EDataTreeNode* const found = root->Get(wanted);
            LiteralNode* const expected = twin.Get(wanted);
            ASSERT_EQ(found == nullptr, expected == nullptr) << seed;
            ASSERT_TRUE(found == nullptr || LetterText(found->Tag()) == LetterText(expected->tag));
        }
        ASSERT_EQ(Dump(*root), Dump(twin)) << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(All, LongBranches,
                         testing::Values(BranchCase{"Plain", false, 0, 0},
                                         BranchCase{"Hidden", false, 30, 0},
                                         BranchCase{"Gaps", false, 20, 5},
                                         BranchCase{"OwnClass", true, 20, 0}),
                         [](const auto& instance) { return instance.param.name; });

// ------------------------------------------------------------------------------------------- cost

/// Of this thread: others on the machine don't count.
template <class Work>
double SecondsOf(Work work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    double least = 1e9;
    for (int turn = 0; turn < 3; ++turn) {
        const double begin = now();
        work();
        least = std::min(least, now() - begin);
    }
    return least;
}

/// Files, finds and drops branches that part at their first level.
double SecondsOfBranches(unsigned levelCount) {
    const ETabulonLevels levels = LevelsOf(levelCount);
    const ETabulonSortDesc sort(levels);
    std::vector<ETabulonTag> tags(20);
    for (unsigned number = 0; number < tags.size(); ++number) {
        for (unsigned level = 0; level < levelCount; ++level) {
            tags[number].SetValue(level, ETabulonValue(EVariant(number + level), "", false));
        }
    }
    return SecondsOf([&] {
        const auto root = MakeRef<EDataTreeNodeRoot>(&sort, "root", nullptr);
        for (int turn = 0; turn < 3; ++turn) {
            for (const ETabulonTag& tag : tags) {
                ASSERT_NE(root->AddChild(tag), nullptr);
                ASSERT_NE(root->Get(tag), nullptr);
            }
        }
    });
}

/// Eight times the levels would cost 64 times as much by a square.
TEST(BranchesOfManyLevels, CostInProportionToTheirLength) {
    const double base = SecondsOfBranches(200);
    EXPECT_LT(SecondsOfBranches(1600), 24 * base + 0.01);
}

}  // namespace
}  // namespace etabulon::test
