#include "grid/RandomResult.h"
#include "score/LiteralScore.h"
#include "score/ScoreFixture.h"

#include <gtest/gtest.h>

#include <limits>

namespace etabulon {
namespace {

using test::Calculations;
using test::Record;

constexpr unsigned kScores = 600;

class RandomScore : public test::RandomResult {
public:
    using RandomResult::RandomResult;

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

protected:
    // Few different results, so that most lines have equals.
    void SetValues(Record& record) override {
        record.a = OneIn(4) ? EVariant() : EVariant(static_cast<int>(Below(3)) - 1);
        record.b = Real();
        record.t = OneIn(2) ? "x" : "X";
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

TEST(AnyScore, IsRankedAsASetOfItsLinesWouldBe) {
    unsigned lines = 0;
    unsigned collapsed = 0;
    for (unsigned seed = 0; seed < kScores; ++seed) {
        RandomScore random(seed);
        test::ScoreSetup setup(random.Keys(/*mayRepeat=*/false));
        setup.sort.SetCompareSource(random.CompareSource());
        const ETabulonTag root = random.Root(setup.sort.SortLevels());
        const auto score =
            setup.Score(root, random.SomeCalculations(), random.Below(4), random.OneIn(2));
        const auto buffers = ERef<ETabulonScoreCumulsBuffers>::Adopt(score->Start());
        test::LiteralScore literal(score);
        random.Feed(random.Records(score->Root(), 1 + random.Below(60)), score->Calculations(),
                    [&](const ETabulonExtractValue& extract) {
                        buffers->AddValue(extract);
                        literal.AddValue(extract);
                    });
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
