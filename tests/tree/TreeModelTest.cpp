#include "TreeFixture.h"
#include "support/SortTrace.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {

using SortKey = ETabulonSortDesc::SortKey;

/// Counts what is asked of it as a lock, and the walks.
class WatchedCursor : public ETabulonCursorEData {
public:
    std::string log;
    bool CursorLock(bool wait) override {
        log += "(";
        return ETabulonCursorEData::CursorLock(wait);
    }
    void CursorUnlock() override {
        log += ")";
        ETabulonCursorEData::CursorUnlock();
    }
    void Cancel() override {
        log += "c";
        ETabulonCursorEData::Cancel();
    }

protected:
    CursorStatus Reset(const ETabulonTag& tag) override {
        log += "walk";
        return ETabulonCursorEData::Reset(tag);
    }
};

PUniqueT<unsigned> SetOf(unsigned level) {
    PUniqueT<unsigned> levels;
    levels.Add(level);
    return levels;
}

struct Operation {
    const char* name;
    bool (*apply)(EDataTree& tree);
    bool changes;
    const char* tree;  // afterwards
    const char* steps;
};

struct TreeOperations : testing::TestWithParam<Operation>, Sales {
    TreeOperations() { watched.Init(levels, table.get(), /*ownsTable=*/false); }
    WatchedCursor watched;
};

const char* const kFilled = "Sales{-{Berlin{2022}} DE{Berlin{-}} FR{-{2021} Paris{2021 2022}}}";

TEST_P(TreeOperations, TellWhetherTheyChangeAndTakeTheCursorFirst) {
    char icon = 0;
    EDataTree tree(&watched, "Sales", reinterpret_cast<HICON>(&icon));
    tree.Fill();
    const auto root = ERef<EDataTreeNode>::Retain(tree.Root());
    watched.log.clear();
    EXPECT_EQ(GetParam().apply(tree), GetParam().changes);
    EXPECT_EQ(watched.log, GetParam().steps);
    EXPECT_EQ(Text(tree), GetParam().tree);
    // Rearranging makes a new root, with the label and icon of the old; all else keeps it.
    const bool rearranges = std::string(GetParam().steps) == "c(c())";
    EXPECT_EQ(tree.Root() == root.Get(), !rearranges);
    EXPECT_EQ(tree.Root()->Icon(), reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "");
}

const char* const kByCity = "Sales{-{FR{2021}} Berlin{-{2022} DE{-}} Paris{FR{2021 2022}}}";

const Operation kOperations[] = {
    {"Fill", [](EDataTree& tree) { return tree.Fill() == StatusOk; }, true, kFilled, "c(walk)"},
    {"Refresh", [](EDataTree& tree) { return tree.Refresh() == StatusOk; }, true, kFilled,
     "c(walk)"},
    {"RefreshOfATagItHasNot",
     [](EDataTree& tree) {
         return tree.Refresh(Tag({{0, "FR"}, {1, "Lyon"}, {2, 1}})) == StatusOk;
     },
     true, kFilled, "c(walk)"},
    {"RefreshOfALevelItHasNot",
     [](EDataTree& tree) {
         return tree.Refresh(Tag({{9, "x"}})) == StatusOk;
     },
     true, kFilled, "c(walk)"},
    {"SetSortLevels",
     [](EDataTree& tree) { return tree.SetSortLevels(Keys({SortKey(1, false, 0)})); }, true,
     "Sales", "c()"},
    {"SetSortLevelsToThePresent",
     [](EDataTree& tree) {
         return tree.SetSortLevels(ETabulonSortDesc::SortKeyArray(tree.SortLevels()));
     },
     false, kFilled, "c()"},
    {"HideLevel", [](EDataTree& tree) { return tree.SetHideLevelFlags(1, SortKey::HideInTree); },
     true, "Sales", "c()"},
    {"HideLevels",
     [](EDataTree& tree) { return tree.SetHideLevelFlags(SetOf(2), SortKey::HideInTree); }, true,
     "Sales", "c()"},
    {"HideNothing", [](EDataTree& tree) { return tree.SetHideLevelFlags(SetOf(1), 0); }, false,
     kFilled, "c()"},
    {"MoveLevel", [](EDataTree& tree) { return tree.MoveSortLevel(1, 0); }, true, kByCity,
     "c(c())"},
    {"MoveLevelNowhere", [](EDataTree& tree) { return tree.MoveSortLevel(1, 1); }, false, kFilled,
     "c()"},
    {"MoveNoHiddenLevels", [](EDataTree& tree) { return tree.MoveHiddenLevelsTo(0); }, false,
     kFilled, "c()"},
    {"CompareData",
     [](EDataTree& tree) { return tree.SetCompareSource(ETabulonSortDesc::CompareOnData); }, true,
     kFilled, "c(c())"},
    {"ComparePresent",
     [](EDataTree& tree) { return tree.SetCompareSource(ETabulonSortDesc::CompareOnDisplay); },
     false, kFilled, "c()"},
};
INSTANTIATE_TEST_SUITE_P(All, TreeOperations, testing::ValuesIn(kOperations),
                         [](const auto& given) { return std::string(given.param.name); });

struct TreeModel : testing::Test, Sales {
    EDataTree tree{&cursor, "root", nullptr};
};

TEST_F(TreeModel, RefusedChangesLeaveItAsItIs) {
    tree.Fill();
    const std::string filled = Text(tree);
    const auto trace = MakeRef<SortTrace>();
    tree.SortDesc()->AddNotifier(trace.Get());
    trace->RefuseAt(1);
    EXPECT_FALSE(tree.MoveSortLevel(0, 1));
    trace->RefuseAt(1);
    EXPECT_FALSE(tree.SetHideLevelFlags(0, SortKey::HideInTree));
    EXPECT_EQ(Text(tree), filled);
    EXPECT_EQ(trace->Take(), "?move !none ?levels !none");
    // Nobody is asked or told of another compare source.
    EXPECT_TRUE(tree.SetCompareSource(ETabulonSortDesc::CompareOnData));
    EXPECT_EQ(trace->Take(), "");
    tree.SortDesc()->RemNotifier(trace.Get());
}

TEST_F(TreeModel, HiddenLevelsMoveWithoutAWalkAndDontComeBack) {
    tree.SetHideLevelFlags(1, SortKey::HideInTree);
    tree.Fill();
    EXPECT_EQ(Text(tree), "root{-{2022} DE{-} FR{2021 2022}}");
    EXPECT_TRUE(tree.MoveHiddenLevelsTo(0));
    EXPECT_EQ(Text(tree), "root{-{2022} DE{-} FR{2021 2022}}");
    // Shown past the tree: what the leaves don't hold is not made up by a re-sort.
    tree.SortDesc()->SetHideLevelFlags(1, 0);
    tree.MoveSortLevel(0, 2);
    EXPECT_EQ(tree.Root()->LeafCount(), 0U);
    EXPECT_EQ(CheckTree(*tree.Root()), "");
}

TEST_F(TreeModel, EmptyOneIsResortedIntoAnEmptyOne) {
    EXPECT_TRUE(tree.MoveSortLevel(0, 1));
    EXPECT_EQ(Text(tree), "root");
    EXPECT_TRUE(tree.SetCompareSource(ETabulonSortDesc::CompareOnData));
    EXPECT_EQ(Text(tree), "root");
}

TEST_F(TreeModel, LeavesKeepKeysAndLabelsWhenResorted) {
    ETabulonLevels labelled;
    labelled.AddLevel("Country", "country", "city", nullptr, /*addRef=*/false);
    labelled.AddLevel("Year", "year", nullptr, /*addRef=*/false);
    cursor.Init(labelled, table.get(), /*ownsTable=*/false);
    EDataTree other(&cursor, "root", nullptr);
    other.Fill();
    // Parents show the label of the first record; the last leaf of France has one of its own.
    EXPECT_EQ(Text(other), "root{-{2022} Berlin{-} Paris{2021 2022}}");
    other.MoveSortLevel(0, 1);
    EXPECT_EQ(Text(other), "root{-{Berlin} 2021{Paris} 2022{- Paris}}");
    EXPECT_EQ(other.Get(Tag({{0, "FR"}, {1, 2022}}))->PrimaryKey().SingleCode().Data(),
              EVariant(2));
}

TEST_F(TreeModel, RootShowsNameAndIcon) {
    char icon = 0;
    tree.SetParams("Name", reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(tree.Root()->Icon(), reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(tree.Root()->DisplayValue().DisplayValue(), Chaine("Name"));
    EXPECT_EQ(tree.Root()->DisplayValue().Data(), EVariant("Name"));
    EXPECT_FALSE(tree.Root()->DisplayValue().IsModified());
}

}  // namespace
}  // namespace etabulon::test
