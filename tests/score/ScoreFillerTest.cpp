#include "etabulon/score/ETabulonScoreFiller.h"
#include "grid/FillerSuite.h"
#include "score/ScoreFixture.h"

namespace etabulon::test {
namespace {

/// Ranks the largest first.
struct ScoreKind {
    using Filler = ETabulonScoreFiller;
    using Trace = ScoreTrace;
    static void SetParams(Filler& filler, const ITabulonCumulFuncOnVarCollection& calculations,
                          unsigned int depth, ETabulonSortDesc& sort) {
        filler.SetParams(&calculations, &sort, depth);
    }
    static std::string Text(const Lines& lines, const char* total) {
        std::string text;
        for (const auto& [label, result] : lines) {
            text = std::string("[") + label + "]=" + result + " " + text;
        }
        return text + "total=" + (total != nullptr ? total : "-");
    }
    static std::string TextBelowB(const char* result) { return Text({{"B, X", result}}, result); }
    static std::string Hear(const Filler& filler) { return HeardLines(filler); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Score, FillerSuite, ScoreKind);

const Calculations kSum = {{"SUM", "A"}};

TEST(RankedScore, RanksTheLargestFirstAndReplacesAtEachWalk) {
    Listening<ScoreKind> listening(Turns(4), 1, kSum);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(listening.Send(), "[B]=4 [A]=2 total=6");
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "A"}})), StatusOk);
    EXPECT_EQ(listening.Send(), "[A, X]=2 total=2");
}

class CopiedScore : public ::testing::Test {
protected:
    void SetUp() override { before_ = ECountedUnknown::LiveObjects(); }
    // Every object went, and none twice.
    void TearDown() override { EXPECT_EQ(ECountedUnknown::LiveObjects(), before_); }

private:
    std::int64_t before_ = 0;
};

TEST_F(CopiedScore, CopiedBuffersNeedReferences) {
    const ScoreSetup setup{0};
    const auto score = setup.Score(ETabulonTag(), kSum, 1, false);
    const auto buffers = Folded(*score, Turns(4));
    const auto other = Folded(*score, {});
    const auto copy = MakeRef<ETabulonScoreCumulsBuffers>(*other);
    *copy = *buffers;
    copy->RetainShared();
    EXPECT_EQ(copy->Desc(), score.Get());
    EXPECT_EQ(HeardLines(*copy), "[B]=4 [A]=2 total=6");
    const ERef<ETabulonScoreCumulsBuffers> again = MakeRef<ETabulonScoreCumulsBuffers>(*copy);
    again->RetainShared();
    EXPECT_EQ(HeardLines(*again), HeardLines(*buffers));
}

TEST_F(CopiedScore, CopiedFillerNeedsReferences) {
    Listening<ScoreKind> listening(Turns(4), 1, kSum);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    ETabulonScoreFiller copy(*listening.filler);
    copy.RetainShared();
    // Without a score there is nothing to retain, and nothing to give back.
    ETabulonScoreFiller assigned(nullptr, nullptr);
    assigned = *listening.filler;
    assigned.RetainShared();
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "A"}})), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[A, X]=2 total=2");
    EXPECT_EQ(HeardLines(copy), "[B]=4 [A]=2 total=6");
    EXPECT_EQ(HeardLines(assigned), "[B]=4 [A]=2 total=6");
    // The copy has the parameters too.
    const ECursorListening listener(listening.cursor, copy);
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "B"}})), StatusOk);
    EXPECT_EQ(HeardLines(copy), "[B, X]=4 total=4");
}

}  // namespace
}  // namespace etabulon::test
