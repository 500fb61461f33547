#include "LiteralTree.h"
#include "TreeFixture.h"
#include "support/CompareSources.h"
#include "support/Storm.h"

#include <set>

namespace etabulon::test {
namespace {

using SortKey = ETabulonSortDesc::SortKey;

struct Setup {
    unsigned int seed;
    unsigned int values;  // that a level has; few meet often, many are found by an index
    int textType = TYPE_CHAINE;
};

/// A tree and its literal twin on one table, under one sort description.
class TreeStorm : public testing::TestWithParam<Setup>, protected Storm {
protected:
    TreeStorm() : Storm(GetParam().seed), rubric_(dico_.AddRubric("T", "T")) {
        AddVariables(*rubric_,
                     {{"id", TYPE_LONG},
                      {"a", GetParam().textType},
                      {"label", GetParam().textType},
                      {"b", TYPE_LONG, kNullableLong},
                      {"c", GetParam().textType}},
                     {"id"});
        table_ = std::make_unique<EDataMemory>(rubric_);
        levels_ = LevelsBy({"a/label", "b", "c", "id"});
        cursor_.Init(levels_, table_.get(), /*ownsTable=*/false);
        cursor_.AddNotifier(&meddler_);
        tree_ = std::make_unique<EDataTree>(&cursor_, "root", nullptr);
        NewTwin();
    }
    ~TreeStorm() override { cursor_.RemNotifier(&meddler_); }

    void NewTwin() {
        twin_ = std::make_unique<LiteralNode>(nullptr, ETabulonTag::Null, tree_->SortDesc());
    }
    /// Texts of a folding type that differ in case compare as equal; labels differ for equal data.
    EVariant AnyText() {
        static const char* const kTexts[] = {"e",  "E",  "\xC3\xA9", "\xC3\x89",
                                             "ab", "AB", "",         "10"};
        const unsigned int value = Any(GetParam().values);
        const Chaine text = value < 8 ? kTexts[value] : std::to_string(value / 2).c_str();
        return EVariant::FromText(static_cast<std::uint16_t>(GetParam().textType), 0, text);
    }
    EVariant AnyNumber() {
        return Any(8) == 0 ? Missing() : EVariant(static_cast<int>(Any(GetParam().values)) - 3);
    }
    void Edit() {
        for (unsigned int count = Any(12); count > 0; --count) {
            table_->Append({++lastId_, Any(9) == 0 ? Missing() : AnyText(), AnyText(), AnyNumber(),
                            AnyText()});
        }
        std::vector<EPosition> all;
        for (EPosition at = table_->GetFirst(); at != kNoPosition; at = table_->GetNext()) {
            all.push_back(at);
        }
        std::shuffle(all.begin(), all.end(), random_);
        const bool manyGo = Any(10) == 0;
        for (unsigned int count = Any(manyGo ? 60 : 8); count > 0 && !all.empty(); --count) {
            table_->RePos(all.back(), false);
            if (manyGo || Any(2) == 0) {
                table_->DeleteOne(all.back());
            } else {
                table_->Fields()[Chaine("label")] <<= AnyText();
                table_->Fields()[Chaine("b")] <<= AnyNumber();
                table_->Update(all.back());
            }
            all.pop_back();
        }
    }
    ETabulonTag AnyTag() {
        ETabulonTag tag;
        for (unsigned int level = 0; level < 5; ++level) {  // the last one doesn't exist
            if (Any(3) != 0) {
                tag.SetValue(level, ETabulonValue(level % 2 == 0 ? AnyText() : AnyNumber(),
                                                  Any(3) == 0 ? "label" : "", false));
            }
        }
        return tag;
    }
    /// The tag of a node of the tree, mostly.
    ETabulonTag AnyNodeTag() {
        const EDataTreeNode* node = tree_->Root();
        while (node->Size() != 0 && Any(5) != 0) {
            node = node->Get(Any(node->Size()));
        }
        return Any(6) == 0 ? AnyTag() : node->Tag();
    }
    /// What goes wrong in the walks of this round.
    void PlanTrouble() {
        const int at = static_cast<int>(Any(30)) + 1;
        meddler_.act = nullptr;
        DoOne(
            8, [&] { meddler_.act = AtRecord(at, [this] { cursor_.Cancel(); }); },
            [&] { meddler_.act = EndAt(at, static_cast<CursorStatus>(77)); },
            [&] {  // a listener looks at the tree while it is filled
                meddler_.act = [this, at](int record) {
                    if (record % at == 0) {
                        static_cast<void>(TreeText(*tree_->Root()));
                    }
                    return StatusOk;
                };
            },
            [] {});
    }
    ETabulonSortDesc::SortKeyArray AnyKeys() {
        std::vector<unsigned int> order = {0, 1, 2, 3};
        std::shuffle(order.begin(), order.end(), random_);
        order.resize(1 + Any(4));
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : order) {
            keys.Add(SortKey(level, Any(3) == 0, Any(4) == 0 ? kInTree : 0));
        }
        return keys;
    }

    void Walk() {
        PlanTrouble();
        const unsigned int kind = Any(6);
        if (kind == 0) {
            EXPECT_EQ(tree_->Fill(), twin_->Fill(cursor_));
        } else if (kind < 3) {
            EXPECT_EQ(tree_->Refresh(), twin_->Refresh(cursor_));
        } else {
            const ETabulonTag tag = AnyNodeTag();
            ETabulonTag found = tag;
            LiteralNode* node = twin_->Get(found);
            while (node == nullptr) {
                const ETabulonTag above = tree_->SortDesc()->GetParentTag(found, kInTree);
                node = above == found ? twin_.get() : twin_->Get(above);
                found = above;
            }
            const CursorStatus status = tree_->Refresh(tag);
            EXPECT_EQ(status, node->Refresh(cursor_));
        }
        meddler_.act = nullptr;
    }
    void ResortTwin() {
        std::vector<std::pair<ETabulonTag, ETabulonPrimaryKey>> leaves;
        twin_->CollectLeaves(leaves);
        NewTwin();
        for (const auto& [tag, key] : leaves) {
            if (LiteralNode* node = twin_->AddChild(tag)) {
                node->key = key;
            }
        }
    }
    void ChangeLevels() {
        const auto reset = [&](bool isChanged) { isChanged ? twin_->Reset() : void(); };
        const auto resort = [&](bool isChanged) { isChanged ? ResortTwin() : void(); };
        const unsigned int count = tree_->SortDesc()->SortLevelCount(kInTree);
        DoOne(
            5, [&] { reset(tree_->SetSortLevels(AnyKeys())); },
            [&] { reset(tree_->SetHideLevelFlags(Any(4), Any(2) == 0 ? kInTree : 0)); },
            [&] { resort(count > 0 && tree_->MoveSortLevel(Any(count), Any(count))); },
            [&] { resort(tree_->MoveHiddenLevelsTo(Any(4))); },
            [&] { resort(tree_->SetCompareSource(AnySource())); });
    }
    ETabulonSortDesc::SortCompareSource AnySource() { return kSources[Any(std::size(kSources))]; }
    /// Past the tree, which then holds nodes of another order or of other levels.
    void ChangeDirectly() {
        ETabulonSortDesc& sort = *tree_->SortDesc();
        DoOne(
            6, [&] { sort.SetSortLevels(AnyKeys()); },
            [&] {
                ETabulonSortDesc::SortKeyArray keys = tree_->SortLevels();
                for (unsigned int place = 0; place < keys.Size(); ++place) {
                    keys[place] = SortKey(keys[place].Level(), Any(2) == 0, keys[place].Hidden());
                }
                sort.SetSortLevels(keys);
            },
            [&] { sort.SetCompareSource(AnySource()); });
    }
    /// Keys that stand twice, as moves beyond the end make them.
    void Pad() {
        ETabulonSortDesc::SortKeyArray keys = tree_->SortLevels();
        keys.InsertAt(keys.Size() + 1, SortKey(Any(4), false, Any(2) == 0 ? kInTree : 0));
        tree_->SortDesc()->SetSortLevels(keys);
    }
    void AddDirectly() {
        for (unsigned int count = Any(20); count > 0; --count) {
            const ETabulonTag above = AnyNodeTag();
            const ETabulonTag tag = AnyTag();
            EDataTreeNode* node = tree_->Get(above);
            LiteralNode* twin = twin_->Get(above);
            ASSERT_EQ(node == nullptr, twin == nullptr);
            if (node != nullptr) {
                node = node->AddChild(tag);
                twin = twin->AddChild(tag);
                ASSERT_EQ(node == nullptr, twin == nullptr);
            }
        }
    }
    void Round() {
        const unsigned int what = Any(24);
        Edit();
        what < 12   ? Walk()
        : what < 19 ? ChangeLevels()
        : what < 21 ? AddDirectly()
        : what < 23 ? ChangeDirectly()
                    : Pad();
    }

    DDico dico_;
    DRubric* rubric_;
    std::unique_ptr<EDataMemory> table_;
    int lastId_ = 100;
    ETabulonLevels levels_;
    Meddler meddler_;
    ETabulonCursorEData cursor_;
    std::unique_ptr<EDataTree> tree_;
    std::unique_ptr<LiteralNode> twin_;
};

TEST_P(TreeStorm, ComesToWhatTheRulesComeTo) {
    for (int round = 0; round < 400; ++round) {
        Round();
        ASSERT_EQ(Dump(*tree_->Root()), Dump(*twin_)) << "round " << round;
        ASSERT_EQ(CheckTree(*tree_->Root()), "") << "round " << round;
        for (int look = 0; look < 5; ++look) {
            const ETabulonTag tag = AnyNodeTag();
            const EDataTreeNode* node = tree_->Get(tag);
            LiteralNode* twin = twin_->Get(tag);
            ASSERT_EQ(node == nullptr, twin == nullptr) << round << " " << LetterText(tag);
            ASSERT_TRUE(node == nullptr || LetterText(node->Tag()) == LetterText(twin->tag));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TreeStorm,
                         testing::Values(Setup{1, 4}, Setup{2, 8}, Setup{3, 8}, Setup{4, 30},
                                         Setup{5, 30}, Setup{6, 100}, Setup{7, 100},
                                         Setup{8, 8, TYPE_NC_CHAINE}));

/// As many records as a walk takes short cuts for.
class LongWalk : public TreeStorm {};

TEST_P(LongWalk, ComesToWhatTheRulesComeTo) {
    tree_->SetHideLevelFlags(3, kInTree);  // many records of one position
    for (int count = 0; count < 9000; ++count) {
        table_->Append({++lastId_, AnyText(), AnyText(), AnyNumber(), AnyText()});
    }
    for (int round = 0; round < 12; ++round) {
        if (round % 4 != 0) {
            Edit();
        }
        if (round == 6) {
            meddler_.act = AtRecord(7000, [this] { cursor_.Cancel(); });
        } else if (round == 8) {  // nodes go in mid-walk, and what comes later is filed again
            meddler_.act = AtRecord(6000, [this] {
                tree_->Root()->Get(1U)->Reset();
                twin_->children[1]->Reset();
            });
        }
        EXPECT_EQ(tree_->Refresh(), twin_->Refresh(cursor_));
        meddler_.act = nullptr;
        ASSERT_EQ(CheckTree(*tree_->Root()), "") << "round " << round;
        if (round != 8) {  // the walk of the twin took nodes from the tree once more
            ASSERT_EQ(Dump(*tree_->Root()), Dump(*twin_)) << "round " << round;
        } else {
            tree_->Fill();
            twin_->Fill(cursor_);
        }
        tree_->MoveSortLevel(0, 1 + static_cast<unsigned int>(round) % 2);
        ResortTwin();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LongWalk,
                         testing::Values(Setup{31, 12}, Setup{32, 12, TYPE_NC_CHAINE}));

/// Records in some positions, by the numbers of their city and item.
struct Positions {
    std::vector<std::string> cities;
    std::vector<std::string> items;
    std::size_t count;
    std::pair<std::size_t, std::size_t> (*at)(std::size_t record);
};

std::vector<std::string> Names(std::size_t count) {
    std::vector<std::string> names(count);
    std::generate(names.begin(), names.end(),
                  [number = 0]() mutable { return "n" + std::to_string(number++); });
    return names;
}

TEST(LastKey, StandsInTheLeafHoweverItsRecordsAreMet) {
    const std::vector<Positions> walks = {
        // Another spelling of a position, with a position in between.
        {{"Paris", "Lyon", "PARIS"},
         Names(2),
         7,
         [](std::size_t record) {
             return record < 5 ? std::pair{std::size_t{0}, record % 2}
                               : std::pair{record - 4, std::size_t{0}};
         }},
        // The walk gives up to remember the items while keys of some of them wait.
        {Names(400), Names(2), 2800,
         [](std::size_t record) {
             return record < 2400 ? std::pair{record / 6, record % 2}
                                  : std::pair{record - 2400, std::size_t{0}};
         }},
        // More items than a walk remembers.
        {Names(100), Names(1000), 300000, [](std::size_t record) {
             return std::pair{record / 1000 % 100, record % 1000};
         }}};
    for (const Positions& walk : walks) {
        DDico dico;
        DRubric* const rubric = dico.AddRubric("T", "T");
        AddVariables(*rubric,
                     {{"id", TYPE_LONG}, {"city", TYPE_NC_CHAINE}, {"item", TYPE_NC_CHAINE}},
                     {"id"});
        EDataMemory table(rubric);
        const auto city = [&walk](std::size_t at) {
            return walk.cities[walk.at(at).first].c_str();
        };
        const auto item = [&walk](std::size_t at) {
            return walk.items[walk.at(at).second].c_str();
        };
        for (std::size_t record = 0; record < walk.count; ++record) {
            table.Append({static_cast<int>(record), city(record), item(record)});
        }
        ETabulonLevels levels = LevelsBy({"city", "item"});
        ETabulonCursorEData cursor;
        cursor.Init(levels, &table, /*ownsTable=*/false);
        EDataTree tree(&cursor, "root", nullptr);
        for (const bool fills : {true, false}) {
            EXPECT_EQ(fills ? tree.Fill() : tree.Refresh(), StatusOk);
            std::set<const EDataTreeNode*> met;
            std::size_t wrong = 0;
            for (std::size_t record = walk.count; record-- > 0;) {
                const EDataTreeNode* leaf = tree.Get(Tag({{0, city(record)}, {1, item(record)}}));
                const EVariant key(static_cast<int>(record));
                wrong += met.insert(leaf).second && leaf->PrimaryKey().SingleCode().Data() != key;
            }
            EXPECT_EQ(wrong, 0U) << "of " << met.size() << (fills ? " filled" : " refreshed");
        }
    }
}

}  // namespace
}  // namespace etabulon::test
