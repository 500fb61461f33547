#include "grid/LiteralGrid.h"
#include "grid/RandomResult.h"

#include <gtest/gtest.h>

namespace etabulon::test {
namespace {
// Three records in two cells on the diagonal of {A, B} x {X, Y}.
const std::vector<Record>& Diagonal() {
    static const std::vector<Record> records = {
        {Tag({{0, "A"}, {1, "X"}}), 1, EVariant::FromDouble(0.5)},
        {Tag({{0, "B"}, {1, "Y"}}), 2, EVariant::FromDouble(4)},
        {Tag({{0, "A"}, {1, "X"}}), 6, EVariant::FromDouble(1)}};
    return records;
}

const Calculations kSum("SUM A");
const Calculations kVarFuncs("SUM A, SUM B");
const Calculations kFuncs("SUM A, COUNT A");

TEST(GridTotals, RecordWithoutALevelCountsTwiceInTheGrandTotal) {
    const GridSetup setup{0, 1};
    const Calculations count("COUNT A");
    // Without level 1: no column, so no cell that a view could see; line A has it.
    const std::vector<Record> records = {{Tag({{0, "A"}, {1, "X"}})}, {Tag({{0, "A"}})}};
    EXPECT_EQ(setup.Send(records, 2, count),
              "start reset axes=2 axe0[A] axe1[X] 0,0=1 line0=2 column0=1 total=3 end");
    EXPECT_EQ(setup.Send({{Tag({{2, "Z"}})}}, 2, count),
              "start reset axes=2 axe0[] axe1[] total=3 end");
    // A value that is null is a value.
    EXPECT_EQ(setup.Send({{Tag({{0, "A"}, {1, EVariant()}})}}, 2, count),
              "start reset axes=2 axe0[A] axe1[] 0,0=1 line0=1 column0=1 total=1 end");
}

TEST(GridWithManyAxes, CellsOfAThirdAxisAreNotFound) {
    const GridSetup setup{0, 1, 2};
    const std::vector<Record> records = {{Tag({{0, "A"}, {1, "X"}, {2, "P"}}), 1},
                                         {Tag({{0, "A"}, {1, "Y"}}), 2}};
    EXPECT_EQ(setup.Send(records, 3, kSum),
              "start reset axes=3 axe0[A] axe1[X,Y] axe2[P] 0,0=- 1,0=2 line0=3 column0=1 "
              "column1=2 total=5 end");
}

TEST(GridWithManyAxes, VarsAndFuncsSendTheFirstCellOnly) {
    const GridSetup setup{0, 1};
    EXPECT_EQ(setup.Send(Diagonal(), 3, "SUM A, MAX A, SUM B"),
              "start reset axes=3 axe0[Header of A,Header of B] axe1[Somme,Max.] "
              "axe2[Somme,Max.] 0,0=7 1,0=6 0,1=1.5 end");
}

TEST(GridWithLines, IntrinsicColumnsHaveTotalsOfColumnsOnly) {
    EXPECT_EQ(GridSetup{0}.Send(Diagonal(), 2, kVarFuncs),
              "start reset axes=2 axe0[A,B] axe1[Header of A,Header of B] 0,0=7 1,0=1.5 0,1=2 "
              "1,1=4 column0=9 column1=5.5 end");
}

TEST(GridLabels, MergeWhereTheyCompareEqualAndLeaveTheCellsOfTheOtherSpelling) {
    const GridSetup setup{0};
    const std::vector<Record> records = {
        {Tag({{0, "b"}}), 1}, {Tag({{0, "a"}}), 2}, {Tag({{0, "A"}}), 4}, {Tag({{0, "B"}}), 8}};
    EXPECT_EQ(setup.Send(records, 1, kSum),
              "start reset axes=1 axe0[a,b] 0,0=2 0,1=1 column0=15 end");
}

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

const Calculations kBoth("SUM A, AVG A, SUM B");
const Calculations kTwoFuncs("SUM A, AVG A");

INSTANTIATE_TEST_SUITE_P(
    Grid, CalculationsOfAGrid,
    ::testing::Values(
        Choice{"Nothing", "", -1, 0, Grid::IntrinsicNone, 0},
        Choice{"One", kSum, 0, 0, Grid::IntrinsicNone, 0},
        Choice{"OneTwice", "SUM A, SUM A", 0, 0, Grid::IntrinsicNone, 0},
        Choice{"SeveralVariables", kVarFuncs, -1, 0, Grid::IntrinsicVarFuncs, 1},
        Choice{"OneFunctionEach", "SUM A, AVG B", -1, 0, Grid::IntrinsicVarFuncs, 1},
        Choice{"SeveralFunctions", kTwoFuncs, -1, 0, Grid::IntrinsicFuncs, 1},
        Choice{"Both", kBoth, -1, 0, Grid::IntrinsicVarsAndFuncs, 2},
        Choice{"Priority", kVarFuncs, 0, 0, Grid::IntrinsicPriority, 0},
        Choice{"PriorityWithTwoLevelsLeft", kTwoFuncs, 1, 1, Grid::IntrinsicPriority, 0},
        Choice{"PriorityWithOneLevelLeft", kVarFuncs, 0, 2, Grid::IntrinsicVarFuncs, 1}),
    [](const auto& tested) { return tested.param.name; });

TEST(GridMode, SeveralVariablesOfOneFunctionAreVarFuncs) {
    const GridSetup setup{0};
    EXPECT_EQ(setup.Describe({}, 2, kVarFuncs)->AxesMode(), Grid::IntrinsicVarFuncs);
    // Variables compare without regard to case, functions by their own codes.
    EXPECT_EQ(setup.Describe({}, 2, "SUM B, sum B")->AxesMode(), Grid::IntrinsicNone);
    EXPECT_EQ(setup.Describe({}, 2, "SUM Bx, SUM BX")->AxesMode(), Grid::IntrinsicNone);
}

TEST(GridRoot, RootBeyondTheSortLevelsCountsHuge) {
    const GridSetup setup{0};
    const auto grid = setup.Describe(RootOf(3), 2, kSum);
    EXPECT_EQ(grid->MaxDataAxesCount(), 0U - 2U);
    EXPECT_EQ(grid->GridAxesCount(), 2U);
    EXPECT_EQ(grid->CalculationAxesCount(), 2U);
    EXPECT_EQ(grid->DetailLevelCount(), 0U);
    EXPECT_EQ(grid->ExtractComputeTag(RootOf(4)), RootOf(3));
    // The intrinsic axes and the huge count wrap around: only the former are left.
    EXPECT_EQ(setup.Describe(RootOf(2), 2, kTwoFuncs)->GridAxesCount(), 1U);
    EXPECT_EQ(setup.Send({{RootOf(4), 5}, {RootOf(3), 2}}, 2, kSum, -1, RootOf(3)),
              "start reset axes=2 axe0[] axe1[] total=7 end");
}

TEST(GridRoot, TellsWhatIsComputed) {
    const GridSetup setup{0, 1};
    const auto grid = setup.Describe(Tag({{0, "A"}}), 1, kSum);
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
    const auto grid = setup.Describe({}, 5, kSum);
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
    const GridSetup setup{0, 1, 2};
    // Of a variable that comes again, the later column; none on the axis of functions.
    for (const AxeCase& tested :
         {AxeCase{"SUM A", 1, "L0[] L1[] L2[]"},
          AxeCase{kVarFuncs, 2, "L0[] Variables[A:1,B:2] L2[]"},
          AxeCase{kVarFuncs, 1, "Variables[A:1,B:2] Variables[A:1,B:2] Variables[A:1,B:2]"},
          AxeCase{kVarFuncs, 3, "Variables[A:1,B:2] Variables[A:1,B:2] Variables[A:1,B:2]"},
          AxeCase{kTwoFuncs, 2, "L0[] Fonctions[SUM:1,AVG:1] L2[]"},
          AxeCase{kTwoFuncs, 4,
                  "Fonctions[SUM:1,AVG:1] Fonctions[SUM:1,AVG:1] Fonctions[SUM:1,AVG:1]"},
          AxeCase{"SUM A, COUNT A, LAST T", 2,
                  "Variables[A:18,T:25] Fonctions[SUM:-1,COUNT:-1,LAST:-1] "
                  "Fonctions[SUM:-1,COUNT:-1,LAST:-1]"}}) {
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

constexpr unsigned int kGrids = 600;
constexpr unsigned int kRecords = 40;

class RandomGrid : public RandomResult {
public:
    using RandomResult::RandomResult;

    [[nodiscard]] Calculations SomeCalculations() {
        static const char* const kFunctions[] = {"SUM",   "AVG",  "MIN",       "MAX",    "CODEMIN",
                                                 "COUNT", "LAST", "COMMONVAL", "CODEMAX"};
        Calculations calculations;
        const char* variable = "A";
        const char* function = kFunctions[Below(9)];
        for (unsigned int count = Below(5); count != 0; --count) {
            variable = OneIn(2) ? variable : OneIn(2) ? "A" : "B";
            function = OneIn(2) ? function : kFunctions[Below(9)];
            calculations.emplace_back(function, variable);
        }
        if (OneIn(5)) {
            calculations.emplace_back(kFunctions[6 + Below(2)], "T");
        }
        return calculations;
    }

protected:
    void SetValues(Record& record) override {
        record.a = OneIn(6) ? EVariant() : EVariant(static_cast<int>(Below(20)) - 10);
        record.b = OneIn(5) ? EVariant() : EVariant::FromDouble(Below(100) / 7.0);
        record.t = OneIn(3) ? "x" : "y";
    }
};

TEST(AnyGrid, SendsWhatALinearSearchOfTagsWould) {
    unsigned int compared = 0;
    unsigned int beyond = 0;
    for (unsigned int seed = 0; seed < kGrids; ++seed) {
        RandomGrid random(seed);
        GridSetup setup{0};
        setup.sort.SetSortLevels(random.Keys(/*mayRepeat=*/true));
        setup.sort.SetCompareSource(random.CompareSource());
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const Calculations calculations = random.SomeCalculations();
        const auto grid = setup.Describe(root, random.Below(5), calculations,
                                         static_cast<int>(random.Below(5)) - 2);
        const bool complete = grid->DetailLevelCount() == grid->CalculationAxesCount();
        const auto buffers = ERef<ETabulonGridCumulsBuffers>::Adopt(grid->Start());
        const auto merged = ERef<ETabulonGridCumulsBuffers>::Adopt(grid->Start());
        const bool isMergeable = AreMergeable(calculations);
        LiteralGrid literal(grid);
        random.Feed(random.Records(root, kRecords), grid->Calculations(),
                    [&](const ETabulonExtractValue& extract) {
                        buffers->AddValue(extract);
                        if (isMergeable) {
                            AddAsPartial(*merged, extract);
                        }
                        if (complete) {
                            literal.AddValue(extract);
                        }
                    });
        GridTrace sent;
        sent.ShowAll();
        buffers->SendTo(&sent);
        if (!complete) {
            ++beyond;  // axes without levels: there is nothing to compare with
            continue;
        }
        GridTrace expected;
        expected.ShowAll();
        literal.SendTo(expected);
        ++compared;
        const std::string text = sent.Take();
        ASSERT_EQ(text, expected.Take()) << "seed " << seed;
        if (isMergeable) {
            merged->SendTo(&sent);
            ASSERT_EQ(sent.Take(), text) << "seed " << seed << ", merged";
        }
    }
    EXPECT_GT(compared, kGrids / 2);
    EXPECT_GT(beyond, 0U);
}

}  // namespace
}  // namespace etabulon::test
