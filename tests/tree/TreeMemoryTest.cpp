#include "LiteralTree.h"
#include "TreeFixture.h"
#include "support/AllocationCount.h"

#include <time.h>

#include <new>
#include <numeric>
#include <random>

namespace etabulon::test {
namespace {
/// 40 countries, so that an index is made, in which are cities with text that is stored apart.
struct ManySales : Sales {
    ManySales() {
        for (int number = 0; number < 60; ++number) {
            const std::string country =
                "a country that has a long name " + std::to_string(number % 40);
            table->Append({100 + number, country.c_str(),
                           number % 3 == 0 ? "A city" : "a city of another name", 2000 + number % 7,
                           1});
        }
    }
};

struct Shortage {
    const char* name;
    void (*prepare)(ManySales& sales, EDataTree& tree);
    void (*work)(ManySales& sales, EDataTree& tree);
    bool isMixed = false;  // leaves nodes of two orders
};

/// Does the work with one allocation that fails. False if the work needs no more than `allowed`.
bool WorkWith(const Shortage& shortage, std::uint64_t allowed) {
    ManySales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    shortage.prepare(sales, tree);
    bool failed = false;
    {
        const FailingAllocation failing(allowed);
        try {
            shortage.work(sales, tree);
        } catch (const std::bad_alloc&) {
        }
        failed = failing.HasFailed();
    }
    EXPECT_EQ(CheckTree(*tree.Root()), "") << allowed;
    if (!shortage.isMixed) {
        EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "") << allowed;
    }
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EDataTree whole(&sales.cursor, "root", nullptr);
    whole.SetSortLevels(tree.SortLevels());
    whole.Fill();
    EXPECT_EQ(CheckTree(*tree.Root()), "") << allowed;
    EXPECT_EQ(tree.Root()->LeafCount(), whole.Root()->LeafCount()) << allowed;
    return failed;
}

// At each allocation of the work in turn: the exception passes, the tree is sound, the next refresh
// finds all, and nothing stays after.
class MemoryShortage : public testing::TestWithParam<Shortage> {};

TEST_P(MemoryShortage, LeavesASoundTree) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "sanitizers allocate by themselves";
    }
    ASSERT_TRUE(WorkWith(GetParam(), 0));  // what is made once for the process
    const std::int64_t blocks = BlocksAlive();
    const std::int64_t objects = ECountedUnknown::LiveObjects();
    for (std::uint64_t allowed = 1; WorkWith(GetParam(), allowed) && !HasFailure(); ++allowed) {
        ASSERT_EQ(BlocksAlive(), blocks) << allowed;
        ASSERT_EQ(ECountedUnknown::LiveObjects(), objects) << allowed;
    }
}

constexpr auto kNothing = [](ManySales&, EDataTree&) {};
constexpr auto kFill = [](ManySales&, EDataTree& tree) { tree.Fill(); };
constexpr auto kFillAndEdit = [](ManySales& sales, EDataTree& tree) {
    tree.Fill();
    sales.Delete({1, 100, 101, 102, 140});
    for (int id = 500; id < 520; ++id) {
        sales.table->Append({id, std::to_string(id).c_str(), "Oslo", id, 1});
    }
};

INSTANTIATE_TEST_SUITE_P(
    In, MemoryShortage,
    testing::Values(
        Shortage{"Fill", kNothing, kFill},
        Shortage{"Refresh", kFillAndEdit, [](ManySales&, EDataTree& tree) { tree.Refresh(); }},
        Shortage{"RefreshOfOneNode", kFillAndEdit,
                 [](ManySales&, EDataTree& tree) {
                     tree.Refresh(Tag({{0, "FR"}, {1, "Paris"}}));
                 }},
        Shortage{"Move", kFill, [](ManySales&, EDataTree& tree) { tree.MoveSortLevel(2, 0); }},
        Shortage{"CompareSource", kFill,
                 [](ManySales&, EDataTree& tree) {
                     tree.SetCompareSource(ETabulonSortDesc::CompareOnData);
                 }},
        Shortage{
            "AddChildOfAnotherOrder", kFill,
            [](ManySales&, EDataTree& tree) {
                tree.SortDesc()->SetSortLevels(Keys({{2, true, 0}, {0, true, 0}, {1, true, 0}}));
                for (int number = 0; number < 4; ++number) {
                    tree.Root()->AddChild(
                        Tag({{2, 3000 + number}, {0, "a text of some length"}, {1, "b"}}));
                    static_cast<void>(tree.Root()->Get(0U));
                }
            },
            /*isMixed=*/true},
        Shortage{"TagsAndKeys", kFill,
                 [](ManySales&, EDataTree& tree) {
                     const EDataTreeNode* leaf = tree.Root();
                     while (leaf->Size() != 0) {
                         leaf = leaf->Get(leaf->Size() - 1);
                         static_cast<void>(leaf->Tag());
                     }
                     static_cast<void>(leaf->PrimaryKey());
                     static_cast<void>(tree.Get(leaf->Tag()));
                 }}),
    [](const auto& given) { return std::string(given.param.name); });

TEST(MemoryOfATree, IsAllGivenBack) {
    ManySales sales;
    sales.cursor.Browse(ETabulonTag::Null);
    const auto work = [&sales] {
        EDataTree tree(&sales.cursor, "root", nullptr);
        tree.Fill();
        tree.MoveSortLevel(2, 0);
        tree.Root()->AddChild(Tag({{1, "gap"}}));
        tree.Refresh();
        Dump(*tree.Root());
    };
    work();
    const std::int64_t blocks = BlocksAlive();
    const std::int64_t objects = ECountedUnknown::LiveObjects();
    work();
    EXPECT_EQ(BlocksAlive(), blocks);
    EXPECT_EQ(ECountedUnknown::LiveObjects(), objects);
}

TEST(RefreshThatFindsAllUnchanged, AllocatesNothingPerNode) {
    struct Way {
        bool isByBlocks;
        std::uint64_t most;
        std::uint64_t growth;  // what remembers nodes and values met doubles a few times
    };
    for (const Way& way : {Way{false, 30, 20}, Way{true, 200, 50}}) {
        ManySales sales;
        if (!way.isByBlocks) {
            sales.meddler.act = [](int) { return StatusOk; };
        }
        EDataTree tree(&sales.cursor, "root", nullptr);
        tree.Fill();
        tree.Refresh();
        const auto refresh = [&tree] {
            const AllocationCount count;
            tree.Refresh();
            return count.Taken();
        };
        const std::uint64_t small = refresh();
        EXPECT_LT(small, way.most);
        for (int id = 1000; id < 3000; ++id) {
            sales.table->Append({id, std::to_string(id % 50).c_str(), "Rom", id, 1});
        }
        tree.Refresh();
        tree.Refresh();  // the first that looks the new leaves up makes their indexes
        EXPECT_EQ(tree.Root()->LeafCount(), 5U + 60U + 2000U);
        EXPECT_LT(refresh(), small + way.growth) << way.isByBlocks;
    }
}

TEST(ManyChildren, CostAComparisonKeyEach) {
    static std::uint64_t keysMade;
    static LocaleKey const counting = [](std::string_view text, char* key, std::size_t capacity) {
        ++keysMade;
        const std::size_t length = std::min(text.size(), capacity);
        std::copy_n(text.data(), length, key);
        return text.size();
    };
    constexpr int kMany = 20000;
    Sales sales;
    for (int id = 0; id < kMany; ++id) {
        sales.table->Append({100 + id, std::to_string(id * 7919 % kMany).c_str(), "Rom", 1, 1});
    }
    Chaine::SetLocaleOrder([](std::string_view a, std::string_view b) { return a.compare(b); },
                           counting);
    {
        EDataTree tree(&sales.cursor, "root", nullptr);
        keysMade = 0;
        tree.Fill();
        EXPECT_EQ(tree.Root()->LeafCount(), kMany + 5U);
        EXPECT_LE(keysMade, kMany + 100U);  // a node alone needs none
        EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "");
        // A few more are put in by bisection.
        for (int id = 0; id < 10; ++id) {
            sales.table->Append({90000 + id, ("x" + std::to_string(id)).c_str(), "Rom", 1, 1});
        }
        keysMade = 0;
        tree.Refresh();
        EXPECT_LE(keysMade, 10U * 20U);
        EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "");
    }
    Chaine::SetLocaleOrder(nullptr, nullptr);
}

using SortKey = ETabulonSortDesc::SortKey;

ETabulonLevels LevelsOf(unsigned int count) {
    ETabulonLevels levels;
    for (unsigned int level = 0; level < count; ++level) {
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

/// The tag without about so many of a hundred values.
ETabulonTag WithGaps(const ETabulonTag& tag, unsigned int gaps, std::mt19937& random) {
    ETabulonTag part;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        if (random() % 100 >= gaps) {
            part.SetValue(tag.LevelAt(place), tag.ValueAt(place));
        }
    }
    return part;
}

/// Whether the nodes are of an own class; levels hidden and values missing of a hundred.
class LongBranches : public testing::TestWithParam<std::tuple<bool, unsigned int, unsigned int>> {};

/// Values that are equal in two spellings, and the texts of labels, stay those that came first.
TEST_P(LongBranches, ComeToWhatTheRulesComeTo) {
    constexpr unsigned int kLevels = 14;
    const auto [isOwnClass, hidden, gaps] = GetParam();
    for (unsigned int seed = 0; seed < 40; ++seed) {
        std::mt19937 random(seed);
        const ETabulonLevels levels = LevelsOf(kLevels);
        ETabulonSortDesc sort(levels);
        std::vector<unsigned int> order(kLevels);
        std::iota(order.begin(), order.end(), 0U);
        std::shuffle(order.begin(), order.end(), random);
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : order) {
            keys.Add(SortKey(level, random() % 3 == 0, random() % 100 < hidden ? kInTree : 0));
        }
        sort.SetSortLevels(keys);
        const ERef<EDataTreeNode> root =
            isOwnClass ? ERef<EDataTreeNode>(MakeRef<OwnNode>(nullptr, ETabulonTag::Null, &sort))
                       : ERef<EDataTreeNode>(MakeRef<EDataTreeNodeRoot>(&sort, "root", nullptr));
        LiteralNode twin(nullptr, ETabulonTag::Null, &sort);
        std::vector<ETabulonTag> met;
        for (unsigned int count = 0; count < 60; ++count) {
            ETabulonTag tag = met.empty() ? ETabulonTag() : met[random() % met.size()];
            for (unsigned int place = random() % kLevels; place < kLevels; ++place) {
                static const char* const kTexts[] = {"e", "E", "b", ""};
                tag.SetValue(order[place], ETabulonValue(EVariant::FromText(TYPE_NC_CHAINE, 4,
                                                                            kTexts[random() % 4]),
                                                         random() % 3 == 0 ? "label" : "", false));
            }
            met.push_back(tag);
            const ETabulonTag given = WithGaps(tag, gaps, random);
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
                         testing::Values(std::tuple(false, 0, 0), std::tuple(false, 30, 0),
                                         std::tuple(false, 20, 5), std::tuple(true, 20, 0)));

// -------------------------------------------------------------------------------------------- cost

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
double SecondsOfBranches(unsigned int levelCount) {
    const ETabulonLevels levels = LevelsOf(levelCount);
    const ETabulonSortDesc sort(levels);
    std::vector<ETabulonTag> tags(20);
    for (unsigned int number = 0; number < tags.size(); ++number) {
        for (unsigned int level = 0; level < levelCount; ++level) {
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
    EXPECT_LT(SecondsOfBranches(1600), 40 * base + 0.01);
}

}  // namespace
}  // namespace etabulon::test
