#include "score/LiteralScore.h"
#include "score/ScoreFixture.h"
#include "sort/SortFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace etabulon {
namespace {

using test::Calculations;
using test::Record;

constexpr unsigned kScores = 600;

class RandomScore {
public:
    explicit RandomScore(unsigned seed) : random_(seed) {}

    [[nodiscard]] unsigned Below(unsigned bound) { return random_() % bound; }
    [[nodiscard]] bool OneIn(unsigned many) { return Below(many) == 0; }

    // Levels may be hidden, reversed and without a key.
    [[nodiscard]] ETabulonSortDesc::SortKeyArray Keys() {
        std::vector<unsigned int> levels = {0, 1, 2, 3};
        std::shuffle(levels.begin(), levels.end(), random_);
        levels.resize(1 + Below(4));
        ETabulonSortDesc::SortKeyArray keys;
        for (const unsigned int level : levels) {
            keys.Add({level, OneIn(3), OneIn(6) ? ETabulonSortDesc::HideInCalc : 0U});
        }
        return keys;
    }

    [[nodiscard]] ETabulonTag Root(const ETabulonSortDesc::SortKeyArray& keys) {
        ETabulonTag root;
        for (unsigned place = 0; place < keys.Size() && OneIn(3); ++place) {
            root.SetValue(keys[place].Level(), test::RandomValue(random_));
        }
        if (OneIn(8)) {
            root.SetValue(Below(test::kLevels), test::RandomValue(random_));
        }
        return root;
    }

    // Few different results, so that most lines have equals.
    [[nodiscard]] std::vector<Record> Records(const ETabulonTag& root) {
        std::vector<Record> records;
        const bool gaps = OneIn(3);
        for (unsigned count = 1 + Below(60); count != 0; --count) {
            Record record{test::RandomTag(random_, test::kLevels, gaps)};
            for (unsigned place = 0; place < root.KnownLevelsCount() && !OneIn(6); ++place) {
                record.tag.SetValue(root.LevelAt(place), root.ValueAt(place));
            }
            record.a = OneIn(4) ? EVariant() : EVariant(static_cast<int>(Below(3)) - 1);
            record.b = Real();
            record.t = OneIn(2) ? "x" : "X";
            records.push_back(record);
        }
        return records;
    }

    [[nodiscard]] Calculations SomeCalculations() {
        static const char* const kFunctions[] = {"SUM", "AVG", "MIN", "MAX", "COUNT", "COMMONVAL"};
        Calculations calculations;
        for (unsigned count = Below(3); count != 0; --count) {
            calculations.emplace_back(kFunctions[Below(6)], OneIn(2) ? "A" : "B");
        }
        if (OneIn(4)) {
            calculations.emplace_back(OneIn(2) ? "LAST" : "COMMONVAL", "T");
        }
        if (OneIn(3)) {
            calculations.emplace_back("LASTPOSITIVE", "A");
        }
        return calculations;
    }

private:
    [[nodiscard]] EVariant Real() {
        switch (Below(5)) {
            case 0:
                return {};
            case 1:
                return EVariant::FromDouble(std::numeric_limits<double>::quiet_NaN());
            case 2:
                return EVariant::FromDouble(OneIn(2) ? 0.0 : -0.0);
            default:
                return EVariant::FromDouble(0.5);
        }
    }

    std::mt19937 random_;
};

/// Writes labels down level by level with what their values are.
class FullTrace : public test::ScoreTrace {
public:
    FullTrace() { ShowAll(); }
    void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) override {
        for (unsigned place = 0; place < label.KnownLevelsCount(); ++place) {
            Hear(std::to_string(label.LevelAt(place)) + ":" + Text(label.ValueAt(place)));
        }
        ScoreTrace::SetScoreLine(label, values);
        ++lines;
    }
    unsigned lines = 0;
};

// Both are given each record as the filler's view of it or as a snapshot.
TEST(AnyScore, IsRankedAsASetOfItsLinesWouldBe) {
    unsigned lines = 0;
    unsigned collapsed = 0;
    for (unsigned seed = 0; seed < kScores; ++seed) {
        RandomScore random(seed);
        test::ScoreSetup setup(random.Keys());
        setup.sort.SetCompareSource(random.OneIn(3) ? ETabulonSortDesc::CompareOnData
                                                    : ETabulonSortDesc::CompareOnDisplay);
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const auto score =
            setup.Score(root, random.SomeCalculations(), random.Below(4), random.OneIn(2));
        const auto buffers = ERef<ETabulonScoreCumulsBuffers>::Adopt(score->Start());
        test::LiteralScore literal(score);
        test::RecordCursor cursor(random.Records(score->Root()));
        ETabulonExtractValue extract;
        extract.Init(&score->Calculations(), nullptr);
        for (CursorStatus status = cursor.CallReset(ETabulonTag::Null); status != StatusEnd;
             status = cursor.CallGetNext()) {
            random.OneIn(2) ? extract.SetCurrent(cursor) : extract.ViewCurrent(cursor);
            buffers->AddValue(extract);
            literal.AddValue(extract);
        }
        if (literal.LineCount() == 0) {
            continue;
        }
        FullTrace sent;
        buffers->SendTo(&sent);
        FullTrace expected;
        literal.SendTo(expected);
        lines += expected.lines;
        collapsed += literal.LineCount() - expected.lines;
        ASSERT_EQ(sent.Take(), expected.Take()) << "seed " << seed;
    }
    EXPECT_GT(lines, 5 * kScores);
    EXPECT_GT(collapsed, kScores);
}

}  // namespace
}  // namespace etabulon
