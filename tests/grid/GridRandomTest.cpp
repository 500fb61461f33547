#include "grid/GridFixture.h"
#include "grid/LiteralGrid.h"
#include "sort/SortFixture.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>

namespace etabulon {
namespace {

using test::Calculations;
using test::Record;

constexpr unsigned kGrids = 600;
constexpr unsigned kRecords = 40;

class RandomGrid {
public:
    explicit RandomGrid(unsigned seed) : random_(seed) {}

    [[nodiscard]] unsigned Below(unsigned bound) { return random_() % bound; }
    [[nodiscard]] bool OneIn(unsigned many) { return Below(many) == 0; }

    // Levels may be hidden, reversed, without a key, and rarely have two.
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys() {
        std::vector<unsigned int> levels = {0, 1, 2, 3};
        std::shuffle(levels.begin(), levels.end(), random_);
        levels.resize(1 + Below(4));
        if (OneIn(5)) {
            levels.push_back(levels[0]);
        }
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : levels) {
            keys.Add({level, OneIn(3), OneIn(6) ? ETabulonSortDesc::HideInCalc : 0U});
        }
        return keys;
    }

    // Often the levels that lead the keys, as a tree would give.
    [[nodiscard]] ETabulonTag Root(const ETabulonSortDesc::SortKeyArray& keys) {
        ETabulonTag root;
        for (unsigned int place = 0; place < keys.Size() && OneIn(2); ++place) {
            root.SetValue(keys[place].Level(), test::RandomValue(random_));
        }
        if (OneIn(6)) {
            root.SetValue(Below(test::kLevels), test::RandomValue(random_));
        }
        return root;
    }

    [[nodiscard]] std::vector<Record> Records(const ETabulonTag& root) {
        std::vector<Record> records;
        const bool gaps = OneIn(2);
        for (unsigned count = 0; count < kRecords; ++count) {
            Record record{test::RandomTag(random_, test::kLevels, gaps)};
            for (unsigned place = 0; place < root.KnownLevelsCount() && !OneIn(4); ++place) {
                record.tag.SetValue(root.LevelAt(place), root.ValueAt(place));
            }
            record.a = Number();
            record.b = OneIn(5) ? EVariant() : EVariant::FromDouble(Below(100) / 7.0);
            record.t = OneIn(3) ? "x" : "y";
            records.push_back(record);
        }
        return records;
    }

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

    [[nodiscard]] EVariant Number() {
        return OneIn(6) ? EVariant() : EVariant(static_cast<int>(Below(20)) - 10);
    }

private:
    std::mt19937 random_;
};

// Both are given each record as the filler's view of it and as a snapshot.
TEST(AnyGrid, SendsWhatALinearSearchOfTagsWould) {
    unsigned compared = 0;
    unsigned beyond = 0;
    for (unsigned seed = 0; seed < kGrids; ++seed) {
        RandomGrid random(seed);
        test::GridSetup setup{0};
        setup.sort.SetSortLevels(random.Keys());
        setup.sort.SetCompareSource(random.OneIn(3) ? ETabulonSortDesc::CompareOnData
                                                    : ETabulonSortDesc::CompareOnDisplay);
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const Calculations calculations = random.SomeCalculations();
        const auto grid = setup.Describe(root, random.Below(5), calculations,
                                         static_cast<int>(random.Below(5)) - 2);
        const bool complete = grid->DetailLevelCount() == grid->CalculationAxesCount();
        const auto buffers = ERef<ETabulonGridCumulsBuffers>::Adopt(grid->Start());
        test::LiteralGrid literal(grid);
        test::RecordCursor cursor(random.Records(root));
        ETabulonExtractValue extract;
        extract.Init(&grid->Calculations(), nullptr);
        for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
             status = cursor.CallGetNext()) {
            random.OneIn(2) ? extract.SetCurrent(cursor) : extract.ViewCurrent(cursor);
            buffers->AddValue(extract);
            if (complete) {
                literal.AddValue(extract);
            }
        }
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
