#include "grid/GridFixture.h"
#include "grid/LiteralGrid.h"
#include "grid/RandomResult.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

using test::Calculations;
using test::Record;

constexpr unsigned kGrids = 600;
constexpr unsigned kRecords = 40;

class RandomGrid : public test::RandomResult {
public:
    using RandomResult::RandomResult;

    [[nodiscard]] Calculations SomeCalculations() {
        static const char* const kFunctions[] = {"SUM",   "AVG",  "MIN",       "MAX",    "CODEMIN",
                                                 "COUNT", "LAST", "COMMONVAL", "CODEMAX"};
        Calculations calculations;
        const char* variable = "A";
        const char* function = kFunctions[Below(9)];
        for (unsigned count = Below(5); count != 0; --count) {
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
    unsigned compared = 0;
    unsigned beyond = 0;
    for (unsigned seed = 0; seed < kGrids; ++seed) {
        RandomGrid random(seed);
        test::GridSetup setup{0};
        setup.sort.SetSortLevels(random.Keys(/*mayRepeat=*/true));
        setup.sort.SetCompareSource(random.CompareSource());
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const Calculations calculations = random.SomeCalculations();
        const auto grid = setup.Describe(root, random.Below(5), calculations,
                                         static_cast<int>(random.Below(5)) - 2);
        const bool complete = grid->DetailLevelCount() == grid->CalculationAxesCount();
        const auto buffers = ERef<ETabulonGridCumulsBuffers>::Adopt(grid->Start());
        test::LiteralGrid literal(grid);
        random.Feed(random.Records(root, kRecords), grid->Calculations(),
                    [&](const ETabulonExtractValue& extract) {
                        buffers->AddValue(extract);
                        if (complete) {
                            literal.AddValue(extract);
                        }
                    });
        test::GridTrace sent;
        sent.ShowAll();
        buffers->SendTo(&sent);
        if (!complete) {
            ++beyond;  // axes without levels: there is nothing to compare with
            continue;
        }
        test::GridTrace expected;
        expected.ShowAll();
        literal.SendTo(expected);
        ++compared;
        ASSERT_EQ(sent.Take(), expected.Take()) << "seed " << seed;
    }
    EXPECT_GT(compared, kGrids / 2);
    EXPECT_GT(beyond, 0U);
}

}  // namespace
}  // namespace etabulon
