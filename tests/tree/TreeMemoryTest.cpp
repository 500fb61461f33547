#include "LiteralTree.h"
#include "TreeFixture.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>

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

struct MemoryShortage : testing::TestWithParam<Shortage> {
    /// Does the work with one allocation that fails. False if the work needs no more than
    /// `allowed`.
    static bool WorkWith(std::uint64_t allowed);
};

bool MemoryShortage::WorkWith(std::uint64_t allowed) {
    ManySales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    GetParam().prepare(sales, tree);
    bool failed = false;
    {
        const FailingAllocation failing(allowed);
        try {
            GetParam().work(sales, tree);
        } catch (const std::bad_alloc&) {
        }
        failed = failing.HasFailed();
    }
    EXPECT_EQ(CheckTree(*tree.Root()), "") << allowed;
    if (!GetParam().isMixed) {
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
// finds all, and nothing stays behind.
TEST_P(MemoryShortage, LeavesASoundTree) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "sanitizers allocate by themselves";
    }
    ASSERT_TRUE(WorkWith(0));  // what is made once for the process
    const std::int64_t blocks = BlocksAlive();
    const std::int64_t objects = ECountedUnknown::LiveObjects();
    for (std::uint64_t allowed = 1; WorkWith(allowed) && !HasFailure(); ++allowed) {
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
    ManySales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    tree.Fill();
    tree.Refresh();
    const auto refresh = [&tree] {
        const AllocationCount count;
        tree.Refresh();
        return count.Taken();
    };
    const std::uint64_t small = refresh();
    EXPECT_LT(small, 30U);
    for (int id = 1000; id < 3000; ++id) {
        sales.table->Append({id, std::to_string(id % 50).c_str(), "Rom", id, 1});
    }
    tree.Refresh();
    EXPECT_EQ(tree.Root()->LeafCount(), 5U + 60U + 2000U);
    EXPECT_LT(refresh(), small + 20U);  // what remembers nodes met doubles a few times
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

}  // namespace
}  // namespace etabulon::test
