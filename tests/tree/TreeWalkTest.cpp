#include "TreeFixture.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

/// A tree country > city > year, and a walk long enough for records and keys to be held back.
struct LongWalk : testing::Test, Sales {
    static constexpr int kRecords = 600;
    void Append(int years) {
        Refill(kRecords, [years](int number) { return std::tuple("FR", "Rom", number % years); });
    }
    EDataTreeNode& Rome() { return *tree.Get(Tag({{0, "FR"}, {1, "Rom"}})); }
    /// From the record on, the tree shows countries and cities, and keeps the nodes that it has.
    void HideYearsAt(int hiddenAt) {
        meddler.act = AtRecord(hiddenAt, [this] {
            tree.SortDesc()->SetSortLevels(InOrder({0, 1}));
        });
    }
    EDataTree tree{&cursor, "root", nullptr};
};

TEST_F(LongWalk, ShowsItsRecordsInABranchThatBecomesATreeOfItsOwn) {
    Append(kRecords);
    tree.Fill();
    const auto france = ERef<EDataTreeNode>::Retain(tree.Get(Tag({{0, "FR"}})));
    EDataTreeNode& rome = Rome();
    rome.Reset();
    meddler.act = AtRecord(500, [&] {
        tree.SetParams("root", nullptr);  // the old root goes, and France stays
        EXPECT_EQ(rome.LeafCount(), 499U);
        EXPECT_EQ(france->LeafCount(), 499U);
    });
    EXPECT_EQ(rome.Refresh(&cursor), StatusOk);
}

TEST_F(LongWalk, FilesRecordsHeldBackByTheLevelsThatTheyCameUnder) {
    Append(kRecords);
    HideYearsAt(500);
    EXPECT_EQ(tree.Fill(), StatusOk);
    EXPECT_EQ(tree.Root()->LeafCount(), 499U);
    EXPECT_EQ(CheckTree(*tree.Root()), "");
}

TEST_F(LongWalk, LosesNoKeyWhenLevelsChange) {
    constexpr int kYears = 60;
    Append(kYears);
    HideYearsAt(500);
    EXPECT_EQ(tree.Fill(), StatusOk);
    EDataTreeNode& rome = Rome();
    ASSERT_EQ(rome.Size(), static_cast<unsigned int>(kYears));
    for (unsigned int index = 0; index < rome.Size(); ++index) {
        const auto year = static_cast<int>(rome.Get(index)->Tag().Find(2)->Data().AsInt64());
        const int last = year + (498 - year) / kYears * kYears;
        EXPECT_EQ(rome.Get(index)->PrimaryKey().Position(), last + 5) << year;
    }
}

TEST(DroppedNode, IsARootThoughMemoryRunsOut) {
    if (!kAllocationsAreCounted) {
        GTEST_SKIP() << "sanitizers allocate by themselves";
    }
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    tree.Fill();
    const auto paris = ERef<EDataTreeNode>::Retain(tree.Get(Tag({{0, "FR"}, {1, "Paris"}})));
    {
        const FailingAllocation failing(0);
        tree.Root()->Reset();
        ASSERT_TRUE(failing.HasFailed());
    }
    EXPECT_TRUE(paris->IsRoot());
    EXPECT_EQ(paris->Size(), 0U);
    EXPECT_EQ(paris->LeafCount(), 0U);
}

}  // namespace
}  // namespace etabulon::test
