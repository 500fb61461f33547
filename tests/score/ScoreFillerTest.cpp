#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "score/ScoreFixture.h"
#include "support/AllocationCount.h"

namespace etabulon::test {
namespace {

const Calculations kSum = {{"SUM", "A"}};

// Records in turn in A, of 1, and in B, of 2.
std::vector<Record> Turns(int count) {
    std::vector<Record> records;
    for (int place = 0; place < count; ++place) {
        records.push_back({Tag({{0, place % 2 == 0 ? "A" : "B"}, {1, "X"}}), 1 + place % 2,
                           EVariant::FromDouble(0.25), "text"});
    }
    return records;
}

/// A filler that listens to a cursor, with the parameters of a score.
struct Listening {
    Listening(std::vector<Record> records, const Calculations& calculations,
              unsigned int levelCount = 1, const ETabulonPendingChanges* pending = nullptr)
        : cursor(std::move(records)),
          filler(ERef<ETabulonScoreFiller>::Adopt(ETabulonScoreFiller::Build(&cursor, pending))) {
        const auto collection = Collect(calculations);
        filler->SetParams(&collection, &setup.sort, levelCount);
        cursor.AddNotifier(filler.Get());
    }

    ScoreSetup setup{0, 1};
    RecordCursor cursor;
    ERef<ETabulonScoreFiller> filler;
};

TEST(ScoreFiller, RanksTheLargestFirstAndReplacesAtEachWalk) {
    Listening listening(Turns(4), kSum);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[B]=4 [A]=2 total=6");
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "A"}})), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[A, X]=2 total=2");
    // A range without records has no lines.
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "C"}})), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "total=-");
}

TEST(ScoreFiller, SendsWhatPassedBeforeACancel) {
    Listening listening(Turns(100), kSum);
    listening.cursor.onRecord = [&listening](std::size_t place) {
        if (place == 9) {
            listening.cursor.Cancel();
        }
    };
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(HeardLines(*listening.filler), "[B]=10 [A]=5 total=15");
}

TEST(ScoreFiller, FoldsPendingChangesAndKeys) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(Tag({{0, "B"}, {1, "X"}}), "A", -10);
    Listening listening(Turns(4), {{"SUM", "A"}, {"CODEMAX", "A"}}, 1, &pending);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[A]=2,0 [B]=-20,1 total=-18,0");
}

TEST(ScoreFiller, TakesNewParametersAtTheNextReset) {
    Listening listening(Turns(2), kSum);
    {
        auto collection = Collect({{"COUNT", "A"}});
        listening.filler->SetParams(&collection, &listening.setup.sort, 0);
        collection.AddCalculation("SUM", "A", TYPE_LONG, 0, "");
    }
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(HeardLines(*listening.filler), "[]=2 total=2");
}

TEST(ScoreFiller, HoldsTheLockWhileItSends) {
    struct LockWatch : ScoreTrace {
        explicit LockWatch(const RecordCursor& watched) : cursor(watched) {}
        void EndRefresh() override { EXPECT_EQ(cursor.locks, 1); }
        const RecordCursor& cursor;
    };
    Listening listening(Turns(2), kSum);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    LockWatch view(listening.cursor);
    listening.filler->SendTo(&view);
    EXPECT_EQ(listening.cursor.locks, 0);
}

TEST(ScoreFiller, AllocatesNothingForKnownLabels) {
    const auto taken = [](int records) {
        Listening listening(Turns(records), {{"SUM", "A"}, {"AVG", "B"}, {"COUNT", "A"}}, 2);
        const AllocationCount count;
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
        return count.Taken();
    };
    static_cast<void>(taken(1));
    EXPECT_EQ(taken(2), taken(1000));
}

TEST(SentScoreLines, ShowWhatTheyWereWhenTheyWereSent) {
    struct Keeping : ScoreTrace {
        void SetScoreTotal(const PTableau<ETabulonValue>& values) override {
            kept.push_back(values);
            static_cast<void>(values.At(0).DisplayValue());
        }
        std::vector<PTableau<ETabulonValue>> kept;
    };
    Listening listening(Turns(2), kSum);
    Keeping view;
    EXPECT_EQ(listening.cursor.CallReset(ETabulonTag::Null), StatusOk);
    listening.filler->SendTo(&view);
    EXPECT_EQ(listening.cursor.CallGetNext(), StatusOk);
    listening.filler->SendTo(&view);
    ASSERT_EQ(view.kept.size(), 2U);
    EXPECT_EQ(view.kept[0].At(0).DisplayValue(), Chaine("1"));
    EXPECT_EQ(view.kept[1].At(0).DisplayValue(), Chaine("3"));
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
    Listening listening(Turns(4), kSum);
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
