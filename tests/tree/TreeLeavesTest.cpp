#include "LiteralTree.h"
#include "TreeFixture.h"
#include "etabulon/foundation/EBlockSource.h"
#include "support/CompareSources.h"

#include <random>
#include <tuple>
#include <vector>

namespace etabulon::test {
namespace {

/// How the values of the lowest level come.
struct Coming {
    const char* name;
    std::vector<unsigned int> order;  // of the levels: the last are the leaves
    int numbers;                      // so many distinct years
    bool isRising;
    std::vector<const char*> cities;
};

ETabulonSortDesc::SortKeyArray OrderOf(const std::vector<unsigned int>& levels) {
    ETabulonSortDesc::SortKeyArray keys;
    for (const unsigned int level : levels) {
        keys.Add({level, /*reverse=*/false, 0});
    }
    return keys;
}

/// A table whose tree is filled, changed and read by the same random steps, once with blocks and
/// once without. A reader looks at some node within some walks.
class LeafStorm {
public:
    LeafStorm(const Coming& coming, unsigned int seed) : coming_(coming), random_(seed) {
        sales_.Delete({1, 2, 3, 4, 5});
        Append(2600);
        tree_ = std::make_unique<EDataTree>(&sales_.cursor, "root", nullptr);
        tree_->SetSortLevels(OrderOf(coming.order));
        sales_.cursor.AddNotifier(&reader_);
        reader_.read = [this] { Look(); };
    }
    ~LeafStorm() { sales_.cursor.RemNotifier(&reader_); }

    std::string Run() {
        std::string seen;
        Walk(/*refresh=*/false);
        for (int round = 0; round < 12; ++round) {
            switch (Any(6)) {
                case 0:
                    Append(Any(1500));
                    break;
                case 1:
                    sales_.Delete({Any(2600), Any(2600), Any(2600), Any(2600)});
                    break;
                case 2:
                    tree_->MoveSortLevel(Any(3), Any(3));
                    break;
                case 3:
                    tree_->SetCompareSource(kSources[Any(std::size(kSources))]);
                    break;
                case 4:
                    tree_->SortDesc()->SetCompareSource(kSources[Any(std::size(kSources))]);
                    break;
                default:
                    Look();
            }
            Walk(Any(4) != 0);
            seen += std::to_string(tree_->Root()->LeafCount()) + " ";
            if (hasRead_ || Any(4) == 0) {
                seen += Dump(*tree_->Root());
            }
        }
        return seen + CheckTree(*tree_->Root()) + Dump(*tree_->Root());
    }

private:
    /// Hears of blocks, and reads the tree within one of them.
    struct Reader : EBlockListener {
        std::function<void()> read;
        int wait = 0;
        CursorStatus OnMove(const ETabulonCursor&) override { return Count(1); }
        bool WantBlocks(const ETabulonCursor&, EBlockRequest&) override { return true; }
        CursorStatus OnBlock(const ETabulonCursor&, const ERecordBlock&,
                             std::span<const EBlockIndex> records) override {
            return Count(static_cast<int>(records.size()));
        }
        CursorStatus Count(int records) {
            if (wait > 0 && (wait -= records) <= 0) {
                read();
            }
            return StatusOk;
        }
    };

    int Any(int below) { return std::uniform_int_distribution<>(0, below - 1)(random_); }
    void Append(int count) {
        static constexpr const char* kCountries[] = {"fr", "it", "de", "FR"};
        for (int row = 0; row < count; ++row, ++lastId_) {
            const int year = coming_.isRising ? lastId_ % coming_.numbers - 20
                                              : Any(coming_.numbers) - coming_.numbers / 2;
            const char* const country = kCountries[Any(50) == 0 ? 3 : Any(3)];
            const auto cities = static_cast<int>(coming_.cities.size());
            const char* const city = coming_.cities[static_cast<std::size_t>(Any(cities))];
            sales_.table->Append({lastId_, country, city, year, 1});
        }
    }
    void Walk(bool isRefresh) {
        // After the first block, whose leaves come again.
        hasRead_ = Any(3) == 0;
        reader_.wait = hasRead_ ? 1026 + Any(1200) : 0;
        looks_.seed(random_());
        EXPECT_EQ(isRefresh ? tree_->Refresh() : tree_->Fill(), StatusOk);
        reader_.wait = 0;
    }
    /// One path down: its nodes, the size and the key of the last one. What a walk has filed by
    /// then depends on the kind of the walk, so that nothing is compared.
    void Look() {
        EDataTreeNode* node = tree_->Root();
        while (node->Size() != 0) {
            node = node->Get(static_cast<unsigned int>(looks_() % node->Size()));
        }
        ETabulonPrimaryKey key;
        node->ExtractPrimaryKey(key);
        if (looks_() % 4 == 0) {
            static_cast<void>(node->PrimaryKey());
        }
    }

    const Coming& coming_;
    std::mt19937 random_;
    std::mt19937 looks_;
    int lastId_ = 1;
    bool hasRead_ = false;  // within the last walk
    Sales sales_;
    Reader reader_;
    std::unique_ptr<EDataTree> tree_;
};

class LeavesWithoutNodes : public testing::TestWithParam<Coming> {};

TEST_P(LeavesWithoutNodes, AreThoseOfSingleSteps) {
    const bool wereEnabled = EBlockSource::AreEnabled();
    for (unsigned int seed = 1; seed <= 2; ++seed) {
        EBlockSource::SetEnabled(false);
        const std::string bySteps = LeafStorm(GetParam(), seed).Run();
        EBlockSource::SetEnabled(true);
        const std::string byBlocks = LeafStorm(GetParam(), seed).Run();
        EBlockSource::SetEnabled(wereEnabled);
        ASSERT_TRUE(bySteps == byBlocks) << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, LeavesWithoutNodes,
    testing::Values(Coming{"RisingNumbers", {0, 1, 2}, 1 << 20, true, {"Rom", "Pisa"}},
                    Coming{"SpeltTwice", {0, 1, 2}, 1 << 20, true, {"Rom", "ROM", "Pisa"}},
                    Coming{"AnyNumbers", {1, 2}, 3000, false, {"Rom"}},
                    Coming{"NumbersBelowTheRoot", {2}, 1 << 20, true, {"Rom"}},
                    Coming{"KnownNumbers", {0, 2}, 300, false, {"Rom"}},
                    Coming{"Texts", {2, 0, 1}, 200, false, {"Rom", "rom", "Pisa", "a", "b", ""}}),
    [](const auto& given) { return std::string(given.param.name); });

/// Nodes that a reader has made stand in their order already, and are filed in it.
TEST(LeavesWithoutNodesThatCompareAsEqual, MoveUpInTheSameOrderAsNodes) {
    constexpr const char* kCities[] = {"\xC3\xA9", "\xC3\x89",
                                       "Rom"};  // a small letter, its capital
    for (const unsigned int to : {0U, 1U}) {
        std::string seen[2];
        for (const bool isRead : {false, true}) {
            Sales sales;
            sales.Refill(9, [&](int row) { return std::tuple("fr", kCities[row % 3], row / 5); });
            EDataTree tree(&sales.cursor, "root", nullptr);
            tree.SetSortLevels(InOrder({2, 0, 1}));
            tree.Fill();
            if (isRead) {
                static_cast<void>(Dump(*tree.Root()));
            }
            ASSERT_TRUE(tree.MoveSortLevel(2, to));
            seen[isRead ? 1 : 0] = Dump(*tree.Root());
        }
        EXPECT_EQ(seen[0], seen[1]) << to;
    }
}

}  // namespace
}  // namespace etabulon::test
