#include "score/ScoreFixture.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

using test::Calculations;
using test::ScoreSetup;
using test::Tag;
using Score = ETabulonScoreCumuls;

constexpr auto kCalc = ETabulonSortDesc::HideInCalc;

ETabulonSortDesc::SortKeyArray Keys(std::initializer_list<ETabulonSortKey> given) {
    ETabulonSortDesc::SortKeyArray keys;
    for (const ETabulonSortKey& key : given) {
        keys.Add(key);
    }
    return keys;
}

TEST(ScoreRoot, KeepsVisibleSortLevelsOnly) {
    const ScoreSetup setup(Keys({{0, false, 0}, {1, false, kCalc}, {2, false, 0}}));
    const auto score = setup.Score(Tag({{0, "A"}, {1, "X"}, {3, "Z"}}), {}, 9, false);
    EXPECT_EQ(score->Root(), Tag({{0, "A"}}));
    EXPECT_EQ(score->LevelCount(), 1U);
}

TEST(ScoreLevelCount, IsCutToWhatRemainsBelowTheRoot) {
    const ScoreSetup setup{0, 1, 2};
    const struct {
        ETabulonTag root;
        unsigned int asked;
        unsigned int levels;
    } kCases[] = {
        {ETabulonTag(), static_cast<unsigned int>(-1), 3},
        {ETabulonTag(), 3, 3},
        {ETabulonTag(), 4, 3},
        {ETabulonTag(), 2, 2},
        {ETabulonTag(), 0, 0},
        {Tag({{0, "A"}}), 3, 2},
        {Tag({{0, "A"}, {1, "X"}, {2, "P"}}), 1, 0},
    };
    for (const auto& tested : kCases) {
        EXPECT_EQ(setup.Score(tested.root, {}, tested.asked, false)->LevelCount(), tested.levels)
            << tested.root.DisplayID().c_str() << tested.asked;
    }
}

TEST(ScoreOfALevelWithTwoKeys, TakesTheLevelsThatThereAre) {
    const ScoreSetup setup(Keys({{0, false, 0}, {0, true, 0}, {1, false, 0}}));
    const auto score = setup.Score(Tag({{0, "A"}}), {{"COUNT", "A"}}, 9, true);
    EXPECT_EQ(score->LevelCount(), 2U);
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {1, "X"}})), Tag({{0, "A"}, {1, "X"}}));
}

struct AxeCase {
    Calculations calculations;
    Score::ScoreAxeMode mode;
    const char* data;
    const char* axe;
};

TEST(ScoreAxe, FollowsTheCalculations) {
    const AxeCase kCases[] = {
        {{}, Score::ScoreAxeVars, "Vars", "Variables[]"},
        {{{"SUM", "A"}, {"SUM", "B"}},
         Score::ScoreAxeVars,
         "Vars",
         "Variables[Header of A,Header of B]"},
        {{{"SUM", "A"}, {"MAX", "A"}}, Score::ScoreAxeFuncs, "Funcs", "Fonctions[Somme,Max.]"},
        {{{"SUM", "A"}, {"MAX", "B"}},
         Score::ScoreAxeCalcs,
         "Calcs",
         "Calculs[Header of A,Header of B]"},
        {{{"SUM", "B"}, {"MAX", "B"}, {"SUM", "A"}},
         Score::ScoreAxeCalcsMany,
         "Calcs",
         "Calculs[Somme(Header of B),Somme(Header of A)]"},
    };
    const ScoreSetup setup{0};
    for (const AxeCase& tested : kCases) {
        const auto score = setup.Score(ETabulonTag(), tested.calculations, 1, false);
        EXPECT_EQ(score->AxeMode(), tested.mode);
        const auto axe = ERef<ETabulonGridAxe>::Adopt(score->BuildAxeDesc());
        std::string text;
        for (unsigned int label = 0; label < axe->Size(); ++label) {
            text += (label == 0 ? "" : ",");
            text += axe->Label(label).DisplayValue().c_str();
        }
        EXPECT_EQ(axe->DisplayName().c_str() + ("[" + text + "]"), tested.axe);
        EXPECT_EQ(axe->Data(), EVariant(tested.data));
        EXPECT_EQ(axe->Type(), tested.mode == Score::ScoreAxeVars ? ETabulonGridAxe::AxeVars
                                                                  : ETabulonGridAxe::AxeFuncs);
    }
}

TEST(ScoreAxe, FurtherCalculationOfAVariableAddsNoLabel) {
    const ScoreSetup setup{0};
    const auto score =
        setup.Score(ETabulonTag(), {{"SUM", "A"}, {"MAX", "A"}, {"SUM", "B"}}, 1, false);
    const auto buffers =
        test::Folded(*score, {{Tag({{0, "A"}}), 2, EVariant::FromDouble(5)}, {Tag({{0, "A"}}), 3}});
    EXPECT_EQ(test::Heard(*buffers),
              "levels=1 axe[Somme(Header of A),Somme(Header of B)] [A]=5,3,5 total=5,3,5");
}

TEST(ScoreTags, AreTheRootAndBelow) {
    const ScoreSetup setup{0, 1, 2};
    const auto score = setup.Score(Tag({{0, "A"}}), {}, 1, false);
    EXPECT_TRUE(score->IsComputeTag(Tag({{0, "A"}})));
    EXPECT_TRUE(score->IsComputeTag(Tag({{0, "A"}, {2, "P"}})));
    EXPECT_FALSE(score->IsComputeTag(Tag({{0, "B"}, {1, "X"}})));
    EXPECT_FALSE(score->IsComputeTag(ETabulonTag()));
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {1, "X"}, {2, "P"}})),
              Tag({{0, "A"}, {1, "X"}}));
    EXPECT_EQ(score->ExtractLabelTag(Tag({{0, "A"}, {2, "P"}})), Tag({{0, "A"}}));
}

TEST(ScoreDescription, IsOutOfReachOfLaterChanges) {
    ScoreSetup setup{0, 1};
    auto collection = test::Collect({{"SUM", "A"}});
    const auto score = ERef<Score>::Adopt(
        Score::Build(ETabulonTag(), &setup.sort, &collection, 2, /*increasingOrder=*/true));
    collection.AddCalculation("COUNT", "A", TYPE_LONG, 0, "");
    setup.sort.MoveSortLevel(1, 0, 0);
    EXPECT_EQ(score->SortDesc()->SortLevel(0, 0).Level(), 0U);
    EXPECT_EQ(score->Calculations().Size(), 1U);
    EXPECT_TRUE(score->IncreasingOrder());
}

TEST(ScoreDescription, CopiedDescriptionNeedsAReference) {
    const std::int64_t before = ECountedUnknown::LiveObjects();
    {
        const ScoreSetup setup{0};
        const auto score = setup.Score(Tag({{0, "A"}}), {{"SUM", "A"}}, 0, true);
        const auto other = setup.Score(ETabulonTag(), {}, 1, false);
        const auto copy = MakeRef<Score>(*other);  // without its reference, and overwritten
        *copy = *score;
        EXPECT_EQ(copy->SortDesc(), score->SortDesc());
        EXPECT_EQ(copy->Root(), score->Root());
        EXPECT_EQ(copy->Calculations().Size(), 1U);
        EXPECT_TRUE(copy->IncreasingOrder());
        // Two hold it with one reference: one more is needed, and no more than one.
        copy->RetainShared();
        score->SortDesc()->AddRef();
        EXPECT_EQ(score->SortDesc()->Release(), 2);
    }
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

}  // namespace
}  // namespace etabulon
