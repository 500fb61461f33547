#pragma once

#include "etabulon/pending/ETabulonPendingChanges.h"
#include "grid/GridFixture.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

namespace etabulon::test {

using Lines = Pairs;  // labels and their results

/// Records in turn in A, of 1, and in B, of 2; all in X.
inline std::vector<Record> Turns(int count) {
    std::vector<Record> records;
    for (int place = 0; place < count; ++place) {
        records.push_back({Tag({{0, place % 2 == 0 ? "A" : "B"}, {1, "X"}}), 1 + place % 2,
                           EVariant::FromDouble(0.25), "text"});
    }
    return records;
}

/// A filler that listens to a cursor. `Kind` says which one: its Filler, the Trace of its view,
/// SetParams for a depth of levels, what a view must Hear, and as which Text it hears lines with
/// rising results and their total.
template <class Kind>
struct Listening {
    Listening(std::vector<Record> records, unsigned int depth, const Calculations& calculations,
              const ETabulonPendingChanges* pending = nullptr)
        : cursor(std::move(records)),
          filler(ERef<typename Kind::Filler>::Adopt(Kind::Filler::Build(&cursor, pending))) {
        SetParams(depth, calculations);
        cursor.AddNotifier(filler.Get());
    }
    void SetParams(unsigned int depth, const Calculations& calculations) {
        auto collection = Collect(calculations);
        Kind::SetParams(*filler, collection, depth, setup.sort);
        collection.AddCalculation("LAST", "T", TYPE_CHAINE, 0, "");  // the filler has its own
    }
    /// What is sent after a walk below `tag`.
    std::string Walk(const ETabulonTag& tag = ETabulonTag::Null) {
        EXPECT_EQ(cursor.Browse(tag), StatusOk);
        return Send();
    }
    [[nodiscard]] std::string Send() const { return Kind::Hear(*filler); }

    GridSetup setup{0, 1};
    RecordCursor cursor;
    ERef<typename Kind::Filler> filler;
};

template <class Kind>
class FillerSuite : public ::testing::Test {
protected:
    inline static const Calculations kSum{"SUM A"};
};
TYPED_TEST_SUITE_P(FillerSuite);

TYPED_TEST_P(FillerSuite, SendsTheRecordsThatPassedBeforeACancel) {
    Listening<TypeParam> walk(Turns(100), 1, this->kSum);
    walk.cursor.onRecord = [&walk](std::size_t place) {
        if (place == 9) {
            walk.cursor.Cancel();
        }
    };
    EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(walk.Send(), TypeParam::Text("A 5, B 10", "15"));
}

TYPED_TEST_P(FillerSuite, SendsInTheMidstOfAWalkAndWhatWasSentStays) {
    Listening<TypeParam> walk(Turns(3), 1, this->kSum);
    EXPECT_EQ(walk.cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(walk.Send(), TypeParam::Text("A 1", "1"));
    typename TypeParam::Trace view;
    walk.filler->SendTo(&view);
    EXPECT_EQ(walk.cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(walk.Send(), TypeParam::Text("A 1, B 2", "3"));
    EXPECT_EQ(walk.cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(walk.Send(), TypeParam::Text("A 2, B 2", "4"));
    ASSERT_EQ(view.heard.size(), 2U);
    for (const ETabulonValue& value : view.heard) {
        EXPECT_EQ(value.DisplayValue(), Chaine("1"));
    }
}

TYPED_TEST_P(FillerSuite, DropsTheFirstResultAtTheNextReset) {
    Listening<TypeParam> walk(Turns(4), 1, this->kSum);
    EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
    const std::string whole = TypeParam::Text("A 2, B 4", "6");
    walk.cursor.onRecord = [&](std::size_t place) {
        if (place == 0) {
            EXPECT_EQ(walk.Send(), whole);
        }
    };
    EXPECT_EQ(walk.Walk(Tag({{0, "B"}})), TypeParam::TextBelowB("4"));
    walk.cursor.onRecord = nullptr;
    EXPECT_EQ(walk.Walk(Tag({{0, "C"}})), TypeParam::Text({}, nullptr));
}

TYPED_TEST_P(FillerSuite, TakesParametersOfItsOwnAtTheNextReset) {
    Listening<TypeParam> walk(Turns(2), 1, this->kSum);
    EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
    walk.SetParams(1, "COUNT A");
    EXPECT_EQ(walk.Walk(), TypeParam::Text("A 1, B 1", "2"));
}

TYPED_TEST_P(FillerSuite, FoldsPendingChangesAndKeys) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(Tag({{0, "B"}, {1, "X"}}), "A", 10);
    Listening<TypeParam> walk(Turns(4), 1, this->kSum, &pending);
    EXPECT_EQ(walk.Walk(), TypeParam::Text("A 2, B 20", "22"));
    std::vector<Record> records = Turns(4);
    records[2].a = 7;
    Listening<TypeParam> keys(records, 1, "CODEMAX A");
    EXPECT_EQ(keys.Walk(), TypeParam::Text("B 1, A 2", "2"));
}

TYPED_TEST_P(FillerSuite, HoldsTheLockWhileItSends) {
    Listening<TypeParam> walk(Turns(2), 1, this->kSum);
    EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
    typename TypeParam::Trace view;
    int locks = 0;
    view.onEnd = [&] { locks = walk.cursor.locks; };
    walk.filler->SendTo(&view);
    EXPECT_EQ(locks, 1);
    EXPECT_EQ(walk.cursor.locks, 0);
}

TYPED_TEST_P(FillerSuite, AllocatesNothingPerRecordOfAKnownCell) {
    const auto taken = [](int records) {
        Listening<TypeParam> walk(Turns(records), 2, "SUM A, AVG B, COUNT A");
        const AllocationCount count;
        EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
        return count.Taken();
    };
    static_cast<void>(taken(1));
    EXPECT_EQ(taken(2), taken(1000));
}

TYPED_TEST_P(FillerSuite, LeavesNoObjectBehind) {
    const auto run = [](unsigned int depth) {
        Listening<TypeParam> walk(Turns(10), depth, "SUM A, CODEMIN B, LAST T");
        EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
        static_cast<void>(walk.Send());
        EXPECT_EQ(walk.cursor.Browse(ETabulonTag::Null), StatusOk);
    };
    run(2);  // makes what lives as long as the process
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (unsigned int depth = 0; depth < 4; ++depth) {
        run(depth);
        EXPECT_EQ(ECountedUnknown::LiveObjects(), before) << depth;
    }
}

REGISTER_TYPED_TEST_SUITE_P(FillerSuite, SendsTheRecordsThatPassedBeforeACancel,
                            SendsInTheMidstOfAWalkAndWhatWasSentStays,
                            DropsTheFirstResultAtTheNextReset,
                            TakesParametersOfItsOwnAtTheNextReset, FoldsPendingChangesAndKeys,
                            HoldsTheLockWhileItSends, AllocatesNothingPerRecordOfAKnownCell,
                            LeavesNoObjectBehind);

}  // namespace etabulon::test
