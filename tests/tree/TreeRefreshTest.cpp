#include "TreeFixture.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

const char* const kAllSales = "root{-{Berlin{2022}} DE{Berlin{-}} FR{-{2021} Paris{2021 2022}}}";

struct TreeNodes : testing::Test, Sales {
    TreeNodes() { tree.Fill(); }
    EDataTreeNode& At(const ETabulonTag& tag) { return *tree.Get(tag); }
    EDataTree tree{&cursor, "root", nullptr};
};

TEST_F(TreeNodes, StandForThePositionsInOrder) {
    EXPECT_EQ(Text(tree), kAllSales);
    EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "");
    EXPECT_EQ(tree.Root()->LeafCount(), 5U);
    const EDataTreeNode& leaf = At(Tag({{0, "FR"}, {1, "Paris"}, {2, 2022}}));
    EXPECT_TRUE(leaf.IsTreeLeaf());
    EXPECT_EQ(leaf.LeafCount(), 0U);
    EXPECT_EQ(leaf.PrimaryKey().SingleCode().Data(), EVariant(2));
    EXPECT_FALSE(leaf.Parent()->PrimaryKey().IsSet());
    EXPECT_TRUE(tree.Root()->IsRoot());
    EXPECT_EQ(tree.Root()->Get(3U), nullptr);
}

TEST_F(TreeNodes, KeepNodesThatAreMetAgain) {
    EDataTreeNode* const france = &At(Tag({{0, "FR"}}));
    france->SetParam(42);
    Delete({2, 4});
    table->Append({6, "FR", "Lyon", 2020, 1});
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EXPECT_EQ(Text(tree), "root{-{Berlin{2022}} FR{-{2021} Lyon{2020} Paris{2021}}}");
    EXPECT_EQ(&At(Tag({{0, "FR"}})), france);
    EXPECT_EQ(france->Param(), 42);
}

TEST_F(TreeNodes, AreAllGoneFromAnEmptyTable) {
    Delete({1, 2, 3, 4, 5});
    EDataTreeNode* const root = tree.Root();
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EXPECT_EQ(tree.Root(), root);
    EXPECT_EQ(Text(tree), "root");
    EXPECT_EQ(tree.Fill(), StatusOk);
}

TEST_F(TreeNodes, StayWhereTheTableFails) {
    for (int step = 1; step <= 5; ++step) {
        FailingTable failing(*table);
        ETabulonCursorEData failed;
        failed.Init(levels, &failing, /*ownsTable=*/false);
        failing.FailAt(step == 1 ? "first" : "next", step == 1 ? 1 : step - 1, 12);
        EXPECT_EQ(tree.Root()->Refresh(&failed), 12);
        EXPECT_EQ(Text(tree), kAllSales);
    }
}

TEST_F(TreeNodes, ShowTheirLevelsIcons) {
    class Icons : public ETabulonLevels::ILevelUI, public virtual ECountedUnknown {
    public:
        HICON Icon(const EVariant& value) override {
            static char icon;
            return value == EVariant("FR") ? reinterpret_cast<HICON>(&icon) : nullptr;
        }
    };
    const auto icons = MakeRef<Icons>();
    ETabulonLevels withIcons;
    withIcons.AddLevel("Country", "country", icons.Get(), /*addRef=*/true);
    cursor.Init(withIcons, table.get(), false);
    EDataTree other(&cursor, "root", nullptr);
    other.Fill();
    EXPECT_NE(other.Get(Tag({{0, "FR"}}))->Icon(), nullptr);
    EXPECT_EQ(other.Get(Tag({{0, "DE"}}))->Icon(), nullptr);
    EXPECT_EQ(other.Root()->EDataTreeNode::Icon(), nullptr);
    EXPECT_TRUE(other.Root()->EDataTreeNode::DisplayValue().IsNull());
}

TEST_F(TreeNodes, AddedByAListenerStayThoughTheWalkDoesntMeetThem) {
    const std::string before = Text(tree);
    Delete({4});
    meddler.act = AtRecord(1, [&] {
        EXPECT_NE(tree.Root()->AddChild(At(Tag({{0, "DE"}})).Get(0)->Get(0)->Tag()), nullptr);
    });
    tree.Refresh();
    EXPECT_EQ(Text(tree), before);
    meddler.act = nullptr;
    tree.Refresh();
    EXPECT_NE(Text(tree), before);
}

TEST_F(TreeNodes, MetBeforeAWalkWithinThatIsCancelledStay) {
    meddler.act = [this](int record) {
        if (record == 4) {
            ETabulonCursorEData inner;
            EDataMemory again(*table);
            inner.Init(levels, &again, /*ownsTable=*/false);
            Meddler cancelling;
            cancelling.act = [](int) { return StatusCancelled; };
            const ECursorListening listening(inner, cancelling);
            EXPECT_EQ(tree.Root()->Refresh(&inner), StatusCancelled);
        }
        return StatusOk;
    };
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EXPECT_EQ(Text(tree), kAllSales);
}

TEST_F(TreeNodes, AreGoneWhereAListenerInFrontEndsTheWalkAtItsReset) {
    struct Ending : ECursorListener {
        CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
            return StatusEnd;
        }
    } ending;
    const ECursorListening listening(cursor, ending);
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EXPECT_EQ(Text(tree), "root");
}

// A refresh has work to do on all nodes before its first record.
TEST(LongRefresh, CanBeCancelledBeforeItsFirstRecord) {
    struct CancelledAtATest : ETabulonCursorEData {
        int testsLeft = -1;
        bool IsCancelled() override {
            if (--testsLeft == 0) {
                Cancel();
            }
            return ETabulonCursorEData::IsCancelled();
        }
    };
    Sales sales;
    sales.Refill(5000, [](int number) {
        return std::tuple(std::to_string(number % 7), std::to_string(number % 900), number);
    });
    CancelledAtATest cursor;
    cursor.Init(sales.levels, sales.table.get(), /*ownsTable=*/false);
    EDataTree tree(&cursor, "root", nullptr);
    ASSERT_EQ(tree.Fill(), StatusOk);
    const std::string before = sales.Text(tree);
    int records = 0;
    Meddler counting;
    counting.act = [&records](int record) {
        records = record;
        return StatusOk;
    };
    {
        const ECursorListening listening(cursor, counting);
        cursor.testsLeft = 4;  // the first is the reset's own
        EXPECT_EQ(tree.Refresh(), StatusCancelled);
        EXPECT_EQ(records, 1);
    }
    EXPECT_EQ(sales.Text(tree), before);
    sales.Delete({7, 8});
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EDataTree other(&cursor, "root", nullptr);
    other.Fill();
    EXPECT_EQ(sales.Text(tree), sales.Text(other));
}

TEST(EqualSiblings, NewestStandsFirst) {
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    for (const char* name : {"e", "b", "E", "\xC3\x89", "a"}) {
        tree.Root()->AddChild(Tag({{0, name}}));
    }
    EXPECT_EQ(TreeText(*tree.Root()), "root{a b E e \xC3\x89}");
    tree.Root()->AddChild(Tag({{0, "A"}}));
    EXPECT_EQ(TreeText(*tree.Root()), "root{A a b E e \xC3\x89}");
    // In one walk as one by one.
    sales.table->Append({6, "fr", "x", 1, 1});
    sales.table->Append({7, "Fr", "x", 1, 1});
    tree.SetHideLevelFlags(1, kInTree);
    tree.SetHideLevelFlags(2, kInTree);
    tree.Fill();
    EXPECT_EQ(TreeText(*tree.Root()), "root{- DE Fr fr FR}");
}

TEST(AllLevelsHidden, LeaveARootThatIsALeaf) {
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    for (const unsigned int level : {0U, 1U, 2U}) {
        tree.SetHideLevelFlags(level, kInTree);
    }
    EXPECT_EQ(tree.Fill(), StatusOk);
    EXPECT_EQ(sales.Text(tree), "root");
    EXPECT_TRUE(tree.Root()->IsTreeLeaf());
    EXPECT_FALSE(tree.Root()->PrimaryKey().IsSet());
}

TEST(AllLevelsHidden, RootAskedWhileAllIsHiddenStaysALeaf) {
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    PUniqueT<unsigned int> all;
    for (const unsigned int level : {0U, 1U, 2U}) {
        all.Add(level);
    }
    tree.SetHideLevelFlags(all, kInTree);
    EXPECT_TRUE(tree.Root()->IsTreeLeaf());
    tree.SetHideLevelFlags(all, 0);
    tree.Fill();
    EXPECT_EQ(sales.Text(tree), kAllSales);
    EXPECT_TRUE(tree.Root()->IsTreeLeaf());
}

TEST(Filler, CanBeUsedForASecondWalkAndCopied) {
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    EDataTreeFiller filler(tree.Root());
    EXPECT_FALSE(filler.HasOneFound());
    {
        const ECursorListening listening(sales.cursor, filler);
        sales.cursor.Browse(ETabulonTag::Null);
        EXPECT_TRUE(filler.HasOneFound());
        EXPECT_TRUE(EDataTreeFiller(filler).HasOneFound());
        sales.cursor.Browse(Tag({{0, "nowhere"}}));
        EXPECT_FALSE(filler.HasOneFound());
        sales.cursor.Browse(Tag({{0, "DE"}}));  // the table's first record isn't one of these
        EXPECT_TRUE(filler.HasOneFound());
    }
    EXPECT_EQ(sales.Text(tree), kAllSales);
}

TEST(Filler, TakesBlocks) {
    struct Blocks : EBlockListener {
        std::size_t records = 0;
        CursorStatus OnMove(const ETabulonCursor&) override { return StatusOk; }
        bool WantBlocks(const ETabulonCursor&, EBlockRequest&) override { return true; }
        CursorStatus OnBlock(const ETabulonCursor&, const ERecordBlock&,
                             std::span<const EBlockIndex> given) override {
            records += given.size();
            return StatusOk;
        }
    } blocks;
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    EDataTreeFiller filler(tree.Root());
    const ECursorListening listening(sales.cursor, blocks);
    const ECursorListening filling(sales.cursor, filler);
    EXPECT_EQ(sales.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(blocks.records, 4U);
    EXPECT_EQ(sales.Text(tree), kAllSales);
}

TEST_F(TreeNodes, MetByAFillerInAListenerStayThoughTheWalkDoesntMeetThem) {
    Delete({4, 5});
    meddler.act = AtRecord(1, [this] {
        const Sales all;
        EDataTreeFiller filler(tree.Root());
        ETabulonCursorEData inner;
        inner.Init(all.levels, all.table.get(), /*ownsTable=*/false);
        const ECursorListening listening(inner, filler);
        EXPECT_EQ(inner.Browse(ETabulonTag::Null), StatusOk);
    });
    EXPECT_EQ(tree.Refresh(), StatusOk);
    EXPECT_EQ(Text(tree), kAllSales);
}

// -------------------------------------------------------------------------- meddling with the tree

struct MeddledWalk : TreeNodes, testing::WithParamInterface<int> {};

TEST_P(MeddledWalk, FindsWhatIsLeftToFind) {
    using Meddling = void (*)(MeddledWalk&);
    const Meddling meddlings[] = {
        [](MeddledWalk& test) { test.tree.Root()->Reset(); },
        [](MeddledWalk& test) {
            if (EDataTreeNode* france = test.tree.Get(Tag({{0, "FR"}}))) {
                france->Reset();
            }
        },
        [](MeddledWalk& test) { test.tree.SetParams("root", nullptr); },
        [](MeddledWalk& test) { test.tree.SetCompareSource(ETabulonSortDesc::CompareOnData); },
        [](MeddledWalk& test) {
            // A walk of its own inside of this one, in which the tree is emptied.
            ETabulonCursorEData inner;
            EDataMemory again(*test.table);
            inner.Init(test.levels, &again, /*ownsTable=*/false);
            Meddler deeper;
            deeper.act = AtRecord(2, [&test] { test.tree.Root()->Reset(); });
            const ECursorListening listening(inner, deeper);
            test.tree.Root()->Refresh(&inner);
        }};
    for (const Meddling meddling : meddlings) {
        for (const bool below : {false, true}) {
            tree.SetCompareSource(ETabulonSortDesc::CompareOnDisplay);
            tree.Fill();
            meddler.act = AtRecord(GetParam(), [&] { meddling(*this); });
            // Below, the node itself goes in mid-walk.
            below ? tree.Refresh(Tag({{0, "FR"}})) : tree.Refresh();
            meddler.act = nullptr;
            EXPECT_EQ(CheckTree(*tree.Root()), "");
            EXPECT_EQ(tree.Refresh(), StatusOk);
            EXPECT_EQ(Text(tree), kAllSales);
        }
    }
}
INSTANTIATE_TEST_SUITE_P(AtEachRecord, MeddledWalk, testing::Range(1, 6));

TEST_F(TreeNodes, FiledAfterAChangeOfOrderInMidWalkGoByTheNewOne) {
    meddler.act = AtRecord(4, [this] {  // France stands, Germany is the first to come
        tree.SortDesc()->SetSortLevels(
            Keys({{0, /*reverse=*/true, 0}, {1, true, 0}, {2, true, 0}}));
    });
    tree.Fill();
    EXPECT_EQ(Text(tree), "root{FR{-{2021} Paris{2021 2022}} DE{Berlin{-}} -{Berlin{2022}}}");
}

// ---------------------------------------------------------------------------------- own node class

class CountedNode : public EDataTreeNode {
public:
    CountedNode(EDataTreeNode* parent, const ETabulonTag& tag, const ETabulonSortDesc* sort)
        : EDataTreeNode(parent, tag, sort) {
        ++alive;
    }
    ~CountedNode() override { --alive; }
    static inline int alive = 0;

protected:
    EDataTreeNode* AllocChild(const ETabulonTag& tag, const ETabulonSortDesc* sort) override {
        return new CountedNode(this, tag, sort);
    }
};

// A long walk whose records all have leaves of their own holds some back; nobody must see that.
TEST(LongFill, ShowsEachRecordBeforeTheNext) {
    constexpr int kRecords = 600;
    Sales sales;
    sales.Refill(kRecords,
                 [](int number) { return std::tuple(std::to_string(number % 7), "Rom", number); });
    for (const bool looksBetween : {true, false}) {
        EDataTree tree(&sales.cursor, "root", nullptr);
        sales.meddler.act = [&](int record) {
            if (looksBetween) {
                EXPECT_EQ(tree.Root()->LeafCount(), static_cast<std::uint32_t>(record - 1));
            }
            if (record == kRecords) {  // with several held back, the nodes of one country go
                EDataTreeNode* country = tree.Root()->Get(2U);
                EXPECT_EQ(country->Get(0U)->Size(), 86U);
                EXPECT_EQ(country->Get(0U)->Get(85U)->PrimaryKey().Position(), 93 + 5);
                country->Reset();
            }
            return StatusOk;
        };
        EXPECT_EQ(tree.Fill(), StatusOk);
        EXPECT_EQ(tree.Root()->LeafCount(), kRecords - 86U);
        EXPECT_EQ(CheckTree(*tree.Root()) + CheckOrder(*tree.Root(), *tree.SortDesc()), "");
    }
    sales.meddler.act = nullptr;
}

// Keys of leaves met over and over are written late; who asks gets the last record's.
TEST(LongFill, ShowsTheKeyOfTheLastRecord) {
    constexpr int kRecords = 900;
    Sales sales;
    sales.Refill(kRecords,
                 [](int number) { return std::tuple("Italy", "Rom", number * number % 60); });
    for (const int step : {1, 7, kRecords}) {  // how often somebody looks
        EDataTree tree(&sales.cursor, "root", nullptr);
        std::map<std::string, EPosition> last;
        const auto keys = [&tree] {
            std::map<std::string, EPosition> found;
            const EDataTreeNode& city = *tree.Root()->Get(0U)->Get(0U);
            for (unsigned int index = 0; index < city.Size(); ++index) {
                ETabulonPrimaryKey key;
                city.Get(index)->ExtractPrimaryKey(key);
                found[city.Get(index)->DisplayValue().DisplayText().c_str()] = key.Position();
            }
            return found;
        };
        sales.meddler.act = [&](int record) {
            if (record > 1 && record % step == 0) {
                EXPECT_EQ(keys(), last) << record;
            }
            const int id = record - 1;
            last[std::to_string(id * id % 60)] = id + 5;
            return StatusOk;
        };
        EXPECT_EQ(tree.Fill(), StatusOk);
        EXPECT_EQ(keys(), last);
    }
    sales.meddler.act = nullptr;
}

// A walk within, of none or one of the records, drops all others, also those held back.
TEST(LongFill, FilesRecordsAfterAWalkWithinIntoNewNodes) {
    for (const auto& [records, left] : Table<int, int>{{5, 0}, {600, 0}, {600, 1}}) {
        Sales sales;
        sales.Refill(records, [](int number) { return std::tuple("Italy", "Rom", number); });
        const auto other = MakeTable(sales.rubric);
        for (int id = 0; id < left; ++id) {
            other->Append({id, "Italy", "Rom", -1, 1});
        }
        ETabulonCursorEData inner;
        inner.Init(sales.levels, other.get(), /*ownsTable=*/false);
        EDataTree tree(&sales.cursor, "root", nullptr);
        ERef<EDataTreeNode> italy;  // stays, for comparison, though it is dropped
        sales.meddler.act = [&, last = records - 2](int record) {
            if (record == 2) {
                italy = ERef<EDataTreeNode>::Retain(tree.Root()->Get(0U));
            }
            return record == last ? tree.Root()->Refresh(&inner) : StatusOk;
        };
        EXPECT_EQ(tree.Fill(), StatusOk);
        EXPECT_EQ(tree.Root()->LeafCount(), 3U + static_cast<unsigned int>(left));
        EXPECT_EQ(italy.Get() == tree.Root()->Get(0U), left == 1);
        EXPECT_EQ(CheckTree(*tree.Root()), "");
    }
}

TEST(LongFill, ShowsANodeOfAListenerBeforeItsEarlierEquals) {
    constexpr int kRecords = 600;
    Sales sales;
    sales.Refill(kRecords, [](int number) {
        return std::tuple(number == kRecords - 2 ? "fr" : "c" + std::to_string(number), "x", 1);
    });
    EDataTree tree(&sales.cursor, "root", nullptr);
    tree.SetHideLevelFlags(1, kInTree);
    tree.SetHideLevelFlags(2, kInTree);
    sales.meddler.act = AtRecord(kRecords, [&] { tree.Root()->AddChild(Tag({{0, "FR"}})); });
    EXPECT_EQ(tree.Fill(), StatusOk);
    EXPECT_EQ(tree.Root()->Get(kRecords - 1U)->DisplayValue().Data(), EVariant("FR"));
    EXPECT_EQ(tree.Root()->Get(kRecords + 0U)->DisplayValue().Data(), EVariant("fr"));
}

// Below Peru nodes are of another level than the walk's, so its record is filed by the general
// method.
TEST(LongFill, GivesNoNodeTheKeyOfARecordElsewhere) {
    Sales sales;
    sales.Refill(8, [](int number) { return std::tuple("Italy", "Rom", 2019 + number % 2); });
    sales.table->Append({2000, "Peru", "Lima", 2021, 1});
    EDataTree tree(&sales.cursor, "root", nullptr);
    tree.SortDesc()->SetSortLevels(InOrder({0, 2, 1}));
    tree.Root()->AddChild(Tag({{0, "Peru"}, {1, "Lima"}, {2, 1999}}));
    tree.SortDesc()->SetSortLevels(InOrder({0, 1, 2}));
    EXPECT_EQ(tree.Root()->Refresh(&sales.cursor), StatusOk);
    const EDataTreeNode* italy = tree.Root()->Get(Tag({{0, "Italy"}, {1, "Rom"}, {2, 2020}}));
    const EDataTreeNode* peru = tree.Root()->Get(Tag({{0, "Peru"}, {1, "Lima"}, {2, 2021}}));
    ASSERT_TRUE(italy != nullptr && peru != nullptr);
    EXPECT_EQ(italy->PrimaryKey().Position(), 7 + 5);
    EXPECT_EQ(peru->PrimaryKey().Position(), 8 + 5);
}

TEST(OwnNodeClass, IsThatOfAllNodes) {
    Sales sales;
    const ETabulonSortDesc sort(sales.levels);
    {
        const auto root = MakeRef<CountedNode>(nullptr, ETabulonTag::Null, &sort);
        root->Fill(&sales.cursor);
        EXPECT_EQ(CountedNode::alive, 1 + 3 + 4 + 5);
        EXPECT_NE(dynamic_cast<CountedNode*>(root->Get(0U)), nullptr);
        sales.Delete({1, 2});
        root->Refresh(&sales.cursor);
        EXPECT_EQ(CountedNode::alive, 1 + 3 + 3 + 3);
    }
    EXPECT_EQ(CountedNode::alive, 0);
}

TEST(DroppedNode, ThatSomebodyHoldsLeavesTheTreeAlone) {
    Sales sales;
    EDataTree tree(&sales.cursor, "root", nullptr);
    tree.Fill();
    const auto paris = ERef<EDataTreeNode>::Retain(tree.Get(Tag({{0, "FR"}, {1, "Paris"}})));
    tree.Root()->Reset();
    EXPECT_EQ(tree.Root()->LeafCount(), 0U);
    EXPECT_EQ(paris->LeafCount(), 2U);
    EXPECT_EQ(paris->Tag(), Tag({{0, "FR"}, {1, "Paris"}}));
    EXPECT_EQ(paris->Get(0U)->Tag(), Tag({{0, "FR"}, {1, "Paris"}, {2, 2021}}));
    tree.Fill();
    EXPECT_EQ(sales.Text(tree), kAllSales);
}

TEST(NodeKeys, ComeBackAsTheyWere) {
    Sales sales;
    const ETabulonSortDesc sort(sales.levels);
    const auto node = MakeRef<EDataTreeNode>(nullptr, ETabulonTag::Null, &sort);
    const auto key = [](std::initializer_list<EVariant> parts, EPosition position) {
        EFieldKey fields;
        for (const EVariant& part : parts) {
            fields.Add(part);
        }
        return ETabulonPrimaryKey(fields, position);
    };
    const EVariant big = EVariant::FromInt64(std::int64_t{1} << 40);
    const EVariant below = EVariant::FromInt64(-5);
    const ETabulonPrimaryKey keys[] = {key({}, 7),
                                       key({}, kNoPosition),
                                       key({big}, big.AsInt64()),
                                       key({big}, 3),
                                       key({below}, 1LL << 40),
                                       key({below}, kNoPosition),
                                       key({-7}, 12),
                                       key({7}, 7),
                                       key({"text"}, 7),
                                       key({1, 2}, 7),
                                       key({Missing()}, 7),
                                       key({7U}, 7)};
    for (const bool asked : {false, true}) {  // a key that was asked for is kept whole
        for (const ETabulonPrimaryKey& given : keys) {
            node->SetPrimaryKey(given);
            std::vector<ETabulonPrimaryKey> backs(1);
            node->ExtractPrimaryKey(backs[0]);
            if (asked) {
                backs.push_back(node->PrimaryKey());
            }
            for (const ETabulonPrimaryKey& back : backs) {
                EXPECT_EQ(back.Position(), given.Position());
                ASSERT_EQ(back.Fields(), given.Fields());
                EXPECT_TRUE(given.Fields().Size() == 0 ||
                            back.Fields().At(0).Type() == given.Fields().At(0).Type());
            }
        }
    }
}

}  // namespace
}  // namespace etabulon::test
