#include "grid/GridFixture.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

using test::Calculations;
using test::GridSetup;
using test::Tag;
using Grid = ETabulonGridCumuls;

struct Choice {
    const char* name;
    Calculations calculations;
    int priority;
    unsigned int levelsInRoot;  // of three
    Grid::IntrinsicAxesMode mode;
    unsigned int intrinsic;
};

ETabulonTag RootOf(unsigned int levels) {
    ETabulonTag root;
    for (unsigned int level = 0; level < levels; ++level) {
        root.SetValue(level, ETabulonValue("x", "", false));
    }
    return root;
}

class CalculationsOfAGrid : public ::testing::TestWithParam<Choice> {};

TEST_P(CalculationsOfAGrid, DecideItsModeAndAxes) {
    const GridSetup setup{0, 1, 2};
    const Choice& choice = GetParam();
    for (unsigned int asked = 0; asked < 7; ++asked) {
        const auto grid = setup.Describe(RootOf(choice.levelsInRoot), asked, choice.calculations,
                                         choice.priority);
        const unsigned int below = 3 - choice.levelsInRoot;
        const unsigned int count =
            std::max(choice.intrinsic, std::min(asked, choice.intrinsic + below));
        EXPECT_EQ(grid->AxesMode(), choice.mode);
        EXPECT_EQ(grid->MaxDataAxesCount(), below);
        EXPECT_EQ(grid->GridAxesCount(), count) << asked;
        EXPECT_EQ(grid->CalculationAxesCount(), count - choice.intrinsic) << asked;
        EXPECT_EQ(grid->DetailLevelCount(), count - choice.intrinsic) << asked;
        EXPECT_EQ(grid->AxesCount(), asked);
    }
}

const Calculations kTwoFuncs = {{"SUM", "A"}, {"AVG", "A"}};
const Calculations kTwoVars = {{"SUM", "A"}, {"SUM", "B"}};

INSTANTIATE_TEST_SUITE_P(
    Grid, CalculationsOfAGrid,
    ::testing::Values(
        Choice{"Nothing", {}, -1, 0, Grid::IntrinsicNone, 0},
        Choice{"One", {{"SUM", "A"}}, 0, 0, Grid::IntrinsicNone, 0},
        Choice{"OneTwice", {{"SUM", "A"}, {"SUM", "A"}}, 0, 0, Grid::IntrinsicNone, 0},
        Choice{"SeveralVariables", kTwoVars, -1, 0, Grid::IntrinsicVarFuncs, 1},
        Choice{"OneFunctionEach", {{"SUM", "A"}, {"AVG", "B"}}, -1, 0, Grid::IntrinsicVarFuncs, 1},
        Choice{"SeveralFunctions", kTwoFuncs, -1, 0, Grid::IntrinsicFuncs, 1},
        Choice{"Both",
               {{"SUM", "A"}, {"AVG", "A"}, {"SUM", "B"}},
               -1,
               0,
               Grid::IntrinsicVarsAndFuncs,
               2},
        Choice{"Priority", kTwoVars, 0, 0, Grid::IntrinsicPriority, 0},
        Choice{"PriorityWithTwoLevelsLeft", kTwoFuncs, 1, 1, Grid::IntrinsicPriority, 0},
        Choice{"PriorityWithOneLevelLeft", kTwoVars, 0, 2, Grid::IntrinsicVarFuncs, 1}),
    [](const auto& tested) { return tested.param.name; });

TEST(GridMode, SeveralVariablesOfOneFunctionAreVarFuncs) {
    const GridSetup setup{0};
    EXPECT_EQ(setup.Describe({}, 2, kTwoVars)->AxesMode(), Grid::IntrinsicVarFuncs);
    // Variables are told apart without regard to case, functions by their own codes.
    EXPECT_EQ(setup.Describe({}, 2, {{"SUM", "B"}, {"sum", "B"}})->AxesMode(), Grid::IntrinsicNone);
    EXPECT_EQ(setup.Describe({}, 2, {{"SUM", "Bx"}, {"SUM", "BX"}})->AxesMode(),
              Grid::IntrinsicNone);
}

TEST(GridRoot, RootBeyondTheSortLevelsCountsHuge) {
    const GridSetup setup{0};
    const auto grid = setup.Describe(RootOf(3), 2, {{"SUM", "A"}});
    EXPECT_EQ(grid->MaxDataAxesCount(), 0U - 2U);
    EXPECT_EQ(grid->GridAxesCount(), 2U);
    EXPECT_EQ(grid->CalculationAxesCount(), 2U);
    EXPECT_EQ(grid->DetailLevelCount(), 0U);
    EXPECT_EQ(grid->ExtractComputeTag(RootOf(4)), RootOf(3));
    // The intrinsic axes and the huge count wrap around: only the former are left.
    EXPECT_EQ(setup.Describe(RootOf(2), 2, kTwoFuncs)->GridAxesCount(), 1U);
    EXPECT_EQ(setup.Send({{RootOf(4), 5}, {RootOf(3), 2}}, 2, {{"SUM", "A"}}, -1, RootOf(3)),
              "start reset axes=2 axe0[] axe1[] total=7 end");
}

TEST(GridRoot, TellsWhatIsComputed) {
    const GridSetup setup{0, 1};
    const auto grid = setup.Describe(Tag({{0, "A"}}), 1, {{"SUM", "A"}});
    EXPECT_TRUE(grid->IsComputeTag(Tag({{0, "A"}})));
    EXPECT_TRUE(grid->IsComputeTag(Tag({{0, "A"}, {1, "X"}})));
    EXPECT_FALSE(grid->IsComputeTag(Tag({{0, "B"}})));
    EXPECT_FALSE(grid->IsComputeTag(ETabulonTag::Null));
    EXPECT_EQ(grid->ExtractComputeTag(Tag({{0, "A"}, {1, "X"}, {2, "P"}})),
              Tag({{0, "A"}, {1, "X"}}));
}

TEST(GridDescription, SkipsLevelsHiddenInCalculations) {
    GridSetup setup{0, 1, 2};
    setup.sort.SetHideLevelFlags(1, ETabulonSortDesc::HideInCalc);
    const auto grid = setup.Describe({}, 5, {{"SUM", "A"}});
    EXPECT_EQ(grid->GridAxesCount(), 2U);
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(grid->BuildAxeDesc(1))->DisplayName(), Chaine("L2"));
    // A copy is what it works with.
    setup.sort.SetHideLevelFlags(1, 0);
    EXPECT_EQ(grid->MaxDataAxesCount(), 2U);
}

struct AxeCase {
    Calculations calculations;
    unsigned int asked;
    const char* axes;  // those of index 0, 1 and 2
};

TEST(GridAxes, AreThoseOfTheModeAndTheirCount) {
    const Calculations both = {{"SUM", "A"}, {"COUNT", "A"}, {"LAST", "T"}};
    const AxeCase kCases[] = {
        {{{"SUM", "A"}}, 1, "L0[] L1[] L2[]"},
        {kTwoVars, 2, "L0[] Variables[A:1,B:2] L2[]"},
        {kTwoVars, 1, "Variables[A:1,B:2] Variables[A:1,B:2] Variables[A:1,B:2]"},
        {kTwoVars, 3, "Variables[A:1,B:2] Variables[A:1,B:2] Variables[A:1,B:2]"},
        {kTwoFuncs, 2, "L0[] Fonctions[SUM:1,AVG:1] L2[]"},
        {kTwoFuncs, 4, "Fonctions[SUM:1,AVG:1] Fonctions[SUM:1,AVG:1] Fonctions[SUM:1,AVG:1]"},
        // Of a variable that comes again, the later column; none on the axis of functions.
        {both, 2,
         "Variables[A:18,T:25] Fonctions[SUM:-1,COUNT:-1,LAST:-1] "
         "Fonctions[SUM:-1,COUNT:-1,LAST:-1]"},
    };
    const GridSetup setup{0, 1, 2};
    for (const AxeCase& tested : kCases) {
        const auto grid = setup.Describe({}, tested.asked, tested.calculations);
        std::string text;
        for (unsigned int index = 0; index < 3; ++index) {
            const auto axe = ERef<ETabulonGridAxe>::Adopt(grid->BuildAxeDesc(index));
            text += (index == 0 ? "" : " ") + std::string(axe->DisplayName().c_str()) + "[";
            for (unsigned int label = 0; label < axe->Size(); ++label) {
                text += (label == 0 ? "" : ",") +
                        std::string(axe->Label(label).Data().AsChaine().c_str()) + ":" +
                        std::to_string(axe->Label(label).ColumnType());
            }
            text += "]";
        }
        EXPECT_EQ(text, tested.axes);
    }
}

}  // namespace
}  // namespace etabulon
