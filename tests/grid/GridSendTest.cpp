#include "grid/GridFixture.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

using test::Calculations;
using test::GridSetup;
using test::Record;
using test::Tag;

// Three records in two cells on the diagonal of {A, B} x {X, Y}.
const std::vector<Record>& Diagonal() {
    static const std::vector<Record> records = {
        {Tag({{0, "A"}, {1, "X"}}), 1, EVariant::FromDouble(0.5)},
        {Tag({{0, "B"}, {1, "Y"}}), 2, EVariant::FromDouble(4)},
        {Tag({{0, "A"}, {1, "X"}}), 6, EVariant::FromDouble(1)},
    };
    return records;
}

struct Sending {
    const char* name;
    Calculations calculations;
    int priority;
    unsigned int axes;
    const char* heard;
};

class GridOfEachMode : public ::testing::TestWithParam<Sending> {};

TEST_P(GridOfEachMode, IsSentInOneOrder) {
    const GridSetup setup{0, 1};
    const Sending& sending = GetParam();
    EXPECT_EQ(setup.Send(Diagonal(), sending.axes, sending.calculations, sending.priority),
              std::string("start reset ") + sending.heard + " end");
}

const Calculations kSum = {{"SUM", "A"}};
const Calculations kVarFuncs = {{"SUM", "A"}, {"SUM", "B"}};
const Calculations kFuncs = {{"SUM", "A"}, {"COUNT", "A"}};
const Calculations kVarsAndFuncs = {{"SUM", "A"}, {"AVG", "B"}, {"MAX", "A"}};

INSTANTIATE_TEST_SUITE_P(
    Grid, GridOfEachMode,
    ::testing::Values(
        Sending{"NoneOnNoAxe", kSum, -1, 0, "axes=0 0,0=9"},
        Sending{"NoneOnOneAxe", kSum, -1, 1, "axes=1 axe0[A,B] 0,0=7 0,1=2 column0=9"},
        Sending{"NoneOnTwoAxes", kSum, -1, 2,
                "axes=2 axe0[A,B] axe1[X,Y] 0,0=7 1,0=- line0=7 0,1=- 1,1=2 line1=2 column0=7 "
                "column1=2 total=9"},
        Sending{"MoreAxesThanLevels", kSum, -1, 5,
                "axes=2 axe0[A,B] axe1[X,Y] 0,0=7 1,0=- line0=7 0,1=- 1,1=2 line1=2 column0=7 "
                "column1=2 total=9"},
        Sending{"NoCalculations", {}, -1, 1, "axes=1 axe0[A,B] 0,0=- 0,1=- column0=-"},
        Sending{"PriorityOnTwoAxes", kVarFuncs, 1, 2,
                "axes=2 axe0[A,B] axe1[X,Y] 0,0=1.5 1,0=- line0=1.5 0,1=- 1,1=4 line1=4 "
                "column0=1.5 column1=4 total=5.5"},
        Sending{"PriorityOnOneAxe", kVarFuncs, 1, 1, "axes=1 axe0[A,B] 0,0=1.5 0,1=4 column0=5.5"},
        Sending{"PriorityBeyondTheCalculations", kVarFuncs, 7, 0, "axes=0 0,0=-"},
        Sending{"VarFuncsAlone", kVarFuncs, -1, 0,
                "axes=1 axe0[Header of A,Header of B] 0,0=9 0,1=5.5"},
        Sending{"VarFuncsWithLines", kVarFuncs, -1, 2,
                "axes=2 axe0[A,B] axe1[Header of A,Header of B] 0,0=7 1,0=1.5 0,1=2 1,1=4 "
                "column0=9 column1=5.5"},
        Sending{"VarFuncsWithTwoDataAxes", kVarFuncs, -1, 3,
                "axes=3 axe0[Header of A,Header of B] axe1[Header of A,Header of B] "
                "axe2[Header of A,Header of B] 0,0=7 0,1=1.5"},
        Sending{"FuncsAlone", kFuncs, -1, 1, "axes=1 axe0[Somme,Nombre d'éléments] 0,0=9 0,1=3"},
        Sending{"FuncsWithLines", kFuncs, -1, 2,
                "axes=2 axe0[A,B] axe1[Somme,Nombre d'éléments] 0,0=7 1,0=2 0,1=2 1,1=1 column0=9 "
                "column1=3"},
        Sending{"VarsAndFuncs", kVarsAndFuncs, -1, 0,
                "axes=2 axe0[Header of A,Header of B] axe1[Somme,Moyenne,Max.] 0,0=9 "
                "1,1=1.8333333333333333 2,0=6"}),
    [](const auto& tested) { return tested.param.name; });

TEST(GridWithoutRecords, SendsAxesOnly) {
    const GridSetup setup{0, 1};
    EXPECT_EQ(setup.Send({}, 2, kSum), "start reset axes=2 axe0[] axe1[] end");
    EXPECT_EQ(setup.Send({}, 2, kVarFuncs),
              "start reset axes=2 axe0[] axe1[Header of A,Header of B] end");
    // Records are there, but none below the root.
    EXPECT_EQ(setup.Send(Diagonal(), 1, kSum, -1, Tag({{0, "C"}})),
              "start reset axes=1 axe0[] end");
}

TEST(GridTotals, FoldRecordsAndNotCells) {
    const GridSetup setup{0, 1};
    const std::vector<Record> records = {{Tag({{0, "A"}, {1, "X"}}), 1},
                                         {Tag({{0, "A"}, {1, "X"}}), 1},
                                         {Tag({{0, "A"}, {1, "Y"}}), 4},
                                         {Tag({{0, "B"}, {1, "Y"}}), 6}};
    EXPECT_EQ(setup.Send(records, 2, {{"AVG", "A"}}),
              "start reset axes=2 axe0[A,B] axe1[X,Y] 0,0=1 1,0=4 line0=2 0,1=- 1,1=6 line1=6 "
              "column0=1 column1=5 total=3 end");
}

TEST(GridTotals, RecordWithoutALevelCountsTwiceInTheGrandTotal) {
    const GridSetup setup{0, 1};
    const Calculations count = {{"COUNT", "A"}};
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

TEST(GridTotals, LevelThatTheRootHoldsBehindAGapIsTheGrandTotal) {
    const GridSetup setup{0, 1};
    EXPECT_EQ(setup.Send({{Tag({{0, "A"}, {1, "X"}})}}, 2, {{"COUNT", "A"}}, -1, Tag({{1, "X"}})),
              "start reset axes=1 axe0[A] 0,0=1 column0=1 end");
    const GridSetup three{0, 1, 2};
    EXPECT_EQ(three.Send({{Tag({{0, "A"}, {1, "X"}})}, {Tag({{0, "B"}, {1, "X"}})}}, 2,
                         {{"COUNT", "A"}}, -1, Tag({{1, "X"}})),
              "start reset axes=2 axe0[A,B] axe1[X] 0,0=1 line0=1 0,1=1 line1=1 column0=4 total=4 "
              "end");
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
    EXPECT_EQ(setup.Send(Diagonal(), 3, {{"SUM", "A"}, {"MAX", "A"}, {"SUM", "B"}}),
              "start reset axes=3 axe0[Header of A,Header of B] axe1[Somme,Max.] "
              "axe2[Somme,Max.] 0,0=7 1,0=6 0,1=1.5 end");
}

TEST(GridWithLines, IntrinsicColumnsHaveTotalsOfColumnsOnly) {
    const GridSetup setup{0};
    const std::string heard = setup.Send(Diagonal(), 2, kFuncs);
    EXPECT_EQ(heard.find("line"), std::string::npos);
    EXPECT_EQ(heard.find("total"), std::string::npos);
    EXPECT_NE(heard.find("column1=3"), std::string::npos);
}

TEST(GridLabels, MergeWhereTheyCompareEqualAndLeaveTheCellsOfTheOtherSpelling) {
    const GridSetup setup{0};
    const std::vector<Record> records = {
        {Tag({{0, "b"}}), 1}, {Tag({{0, "a"}}), 2}, {Tag({{0, "A"}}), 4}, {Tag({{0, "B"}}), 8}};
    EXPECT_EQ(setup.Send(records, 1, kSum),
              "start reset axes=1 axe0[a,b] 0,0=2 0,1=1 column0=15 end");
}

TEST(GridLabels, ShowEachTextOfOneValue) {
    const GridSetup setup{0, 1};
    const auto record = [](const char* text, const char* column) {
        ETabulonTag tag = Tag({{1, column}});
        tag.SetValue(0, ETabulonValue(EVariant(12), text, false));
        return Record{tag, 1};
    };
    // The second text comes with a cell of its own, the third finds its cell there.
    EXPECT_EQ(
        setup.Send({record("Dupont", "X"), record("Durand", "Y"), record("Dubois", "X")}, 2, kSum),
        "start reset axes=2 axe0[Dupont,Durand] axe1[X,Y] 0,0=2 1,0=1 line0=3 0,1=2 1,1=1 "
        "line1=3 column0=2 column1=1 total=3 end");
}

TEST(GridLabels, FollowTheDirectionOfTheKey) {
    GridSetup setup{0};
    ETabulonSortDesc::SortKeyArray keys;
    keys.Add({0, /*reverse=*/true, 0});
    setup.sort.SetSortLevels(keys);
    EXPECT_EQ(setup.Send(Diagonal(), 1, kSum),
              "start reset axes=1 axe0[B,A] 0,0=2 0,1=7 column0=9 end");
}

TEST(GridOfCommonValues, TellsDifferentFromAbsent) {
    const GridSetup setup{0, 1};
    std::vector<Record> records = Diagonal();
    EXPECT_EQ(setup.Send(records, 2, {{"COMMONVAL", "A"}}),
              "start reset axes=2 axe0[A,B] axe1[X,Y] 0,0=<> 1,0=- line0=<> 0,1=- 1,1=2 line1=2 "
              "column0=<> column1=2 total=<> end");
}

TEST(GridBelowARoot, DropsRecordsElsewhereAndSkipsItsLevels) {
    const GridSetup setup{0, 1};
    const auto grid = setup.Describe(Tag({{0, "A"}}), 2, kSum);
    const auto buffers = ERef<ETabulonGridCumulsBuffers>::Adopt(grid->Start());
    test::RecordCursor cursor(Diagonal());
    ETabulonExtractValue extract;
    extract.Init(&grid->Calculations(), nullptr);
    for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
         status = cursor.CallGetNext()) {
        extract.SetCurrent(cursor);
        buffers->AddValue(extract);
    }
    test::GridTrace view;
    buffers->SendTo(&view);
    EXPECT_EQ(view.Take(), "start reset axes=1 axe0[X] 0,0=7 column0=7 end");
}

}  // namespace
}  // namespace etabulon
