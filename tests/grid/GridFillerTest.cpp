#include "etabulon/cumul/ETabulonTypeFactory.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "grid/GridFixture.h"
#include "support/AllocationCount.h"

#include <gtest/gtest.h>

namespace etabulon {
namespace {

using test::Calculations;
using test::Collect;
using test::GridSetup;
using test::GridTrace;
using test::Record;
using test::RecordCursor;
using test::Tag;

const Calculations kCount = {{"COUNT", "A"}};

// Records in turn in A and B, each of 1.
std::vector<Record> Turns(int count) {
    std::vector<Record> records;
    for (int place = 0; place < count; ++place) {
        records.push_back({Tag({{0, place % 2 == 0 ? "A" : "B"}, {1, "X"}}), 1,
                           EVariant::FromDouble(0.25), "text"});
    }
    return records;
}

/// A filler that listens to a cursor, with the parameters of a grid.
struct Listening {
    Listening(std::vector<Record> records, unsigned int axes, const Calculations& calculations,
              const ETabulonPendingChanges* pending = nullptr)
        : cursor(std::move(records)),
          filler(ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor, pending))) {
        const auto collection = Collect(calculations);
        filler->SetParams(&collection, axes, &setup.sort);
        cursor.AddNotifier(filler.Get());
    }
    [[nodiscard]] std::string Send() const {
        GridTrace view;
        filler->SendTo(&view);
        return view.Take();
    }

    GridSetup setup{0, 1};
    RecordCursor cursor;
    ERef<ETabulonGridFiller> filler;
};

TEST(CancelledWalk, SendsTheRecordsThatPassed) {
    Listening listening(Turns(100), 1, kCount);
    listening.cursor.onRecord = [&listening](std::size_t place) {
        if (place == 9) {
            listening.cursor.Cancel();
        }
    };
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusCancelled);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=5 0,1=5 column0=10 end");
}

TEST(GridInTheMidstOfAWalk, SendsWhatItHasAndGoesOn) {
    Listening listening(Turns(3), 1, kCount);
    EXPECT_EQ(listening.cursor.CallReset(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A] 0,0=1 column0=1 end");
    const auto axe = ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0));
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0)), axe);
    EXPECT_EQ(listening.cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=1 0,1=1 column0=2 end");
    EXPECT_EQ(axe->Size(), 1U);
    EXPECT_EQ(listening.cursor.CallGetNext(), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=2 0,1=1 column0=3 end");
}

TEST(SecondWalk, DropsTheFirstResultAtItsReset) {
    Listening listening(Turns(2), 1, kCount);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    listening.cursor.onRecord = [&listening](std::size_t place) {
        if (place == 0) {
            EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=1 0,1=1 column0=2 end");
        }
    };
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "A"}})), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[X] 0,0=1 column0=1 end");
    // A range without records is a grid without cells.
    listening.cursor.onRecord = nullptr;
    EXPECT_EQ(listening.cursor.Browse(Tag({{0, "C"}})), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[] end");
}

TEST(NewParameters, ApplyFromTheNextResetAndAreTheFillersOwn) {
    Listening listening(Turns(2), 1, kCount);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    {
        auto collection = Collect({{"SUM", "A"}, {"SUM", "B"}}, 1);
        listening.filler->SetParams(&collection, 0, &listening.setup.sort);
        collection.AddCalculation("COUNT", "A", TYPE_LONG, 0, "");
    }
    EXPECT_EQ(listening.filler->Calculations()->Size(), 2U);
    EXPECT_EQ(listening.filler->Calculations()->PriorityCalculationPos(), 1);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(listening.filler->GridAxesCount(), 0U);
    EXPECT_EQ(listening.Send(), "start reset axes=0 0,0=0.5 end");
}

TEST(PendingChanges, AreWhatIsFolded) {
    ETabulonPendingChanges pending;
    pending.AppendUpdate(Tag({{0, "B"}, {1, "X"}}), "A", 10);
    Listening listening(Turns(4), 1, {{"SUM", "A"}}, &pending);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=2 0,1=20 column0=22 end");
}

TEST(RecordKeys, ReachTheFunctionsThatAskForThem) {
    std::vector<Record> records = Turns(4);
    records[2].a = 7;
    records[3].a = 0;
    Listening listening(records, 1, {{"CODEMAX", "A"}});
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    EXPECT_EQ(listening.Send(), "start reset axes=1 axe0[A,B] 0,0=2 0,1=1 column0=2 end");
}

TEST(GridSelection, NamesVariableAndPosition) {
    struct Case {
        Calculations calculations;
        int priority;
        unsigned int axes;
        int column;
        int line;
        bool found;
        const char* variable;
        const char* tag;
    };
    const Calculations two = {{"SUM", "A"}, {"SUM", "B"}};
    const Case kCases[] = {
        {kCount, -1, 2, 0, 1, true, "A", "[B, X]"},
        {kCount, -1, 2, 1, 1, true, "A", "[B]"},  // past the last column
        {kCount, -1, 2, 0, 2, true, "A", "[X]"},  // past the last line
        {kCount, -1, 2, -1, -1, true, "A", "[]"},
        {kCount, -1, 1, 5, 0, true, "A", "[A]"},  // the column is of no axis
        {kCount, -1, 0, 0, 0, true, "A", "[]"},
        {kCount, -1, 0, 0, 1, false, "A", "[]"},
        {kCount, -1, 0, 1, 0, false, "A", "[]"},
        {two, 1, 2, 0, 0, true, "B", "[A, X]"},  // the priority calculation's
        {two, -1, 2, 1, 1, true, "B", "[B]"},    // the column's
        {two, -1, 2, 9, 1, true, "A", "[B]"},
        {{{"SUM", "B"}, {"MAX", "B"}}, -1, 2, 1, 1, true, "B", "[B]"},
        {{}, -1, 2, 0, 0, true, "", "[A, X]"},
    };
    for (const Case& tested : kCases) {
        Listening listening(Turns(2), tested.axes, kCount);
        const auto collection = Collect(tested.calculations, tested.priority);
        listening.filler->SetParams(&collection, tested.axes, &listening.setup.sort);
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
        ETabulonVariableID variable("before");
        ETabulonTag tag = Tag({{3, "before"}});
        EXPECT_EQ(listening.filler->GetSelection(tested.column, tested.line, &variable, &tag),
                  tested.found);
        EXPECT_EQ(variable.Code(), Chaine(tested.variable)) << tested.column << tested.line;
        EXPECT_EQ(tag.DisplayID(), Chaine(tested.tag)) << tested.column << tested.line;
    }
}

TEST(Sending, HoldsTheLockAndGivesItBack) {
    class LockWatch : public GridTrace {
    public:
        explicit LockWatch(const RecordCursor& cursor) : cursor_(cursor) {}
        void EndRefresh() override { EXPECT_EQ(cursor_.locks, 1); }

    private:
        const RecordCursor& cursor_;
    };
    Listening listening(Turns(2), 2, kCount);
    EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    LockWatch view(listening.cursor);
    listening.filler->SendTo(&view);
    EXPECT_EQ(listening.cursor.locks, 0);
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0))->Size(), 2U);
    EXPECT_EQ(listening.cursor.locks, 0);
}

TEST(SentValues, ShowWhatTheyWereWhenTheyWereSent) {
    struct Keeping : GridTrace {
        using GridTrace::SetTotal;
        void SetTotal(AxeDirection, unsigned int, const ETabulonValue& value) override {
            kept.push_back(value);
            static_cast<void>(value.DisplayValue());
        }
        std::vector<ETabulonValue> kept;
    };
    Listening listening(Turns(2), 1, {{"SUM", "A"}});
    Keeping view;
    EXPECT_EQ(listening.cursor.CallReset(ETabulonTag::Null), StatusOk);
    listening.filler->SendTo(&view);
    EXPECT_EQ(listening.cursor.CallGetNext(), StatusOk);
    listening.filler->SendTo(&view);
    ASSERT_EQ(view.kept.size(), 2U);
    EXPECT_EQ(view.kept[0].DisplayValue(), Chaine("1"));
    EXPECT_EQ(view.kept[1].DisplayValue(), Chaine("2"));
}

/// A filler that joins another walk hears no reset: what it knows of the tags of the walk before
/// doesn't hold for those that have taken their places in memory.
TEST(GridOnACache, KnowsNoTagByTheAddressOfOneThatHasGone) {
    class Joining : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
    public:
        std::function<void()> join;
        CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override {
            return StatusOk;
        }
        CursorStatus OnMove(const ETabulonCursor&) override {
            std::exchange(join, [] {})();
            return StatusOk;
        }
        void OnDone(const ETabulonCursor&) override {}
        void OnCancel(const ETabulonCursor&) override {}
        void OnError(const ETabulonCursor&, CursorStatus) override {}
    };
    const auto records = [](int first) {
        std::vector<Record> made;
        for (int label = first; label < first + 50; ++label) {
            made.push_back({Tag({{0, label}}), 1});
        }
        return made;
    };
    Listening listening(records(0), 1, kCount);
    listening.cursor.RemNotifier(listening.filler.Get());
    ETabulonCursorCache cache(&listening.cursor);
    cache.AddNotifier(listening.filler.Get());
    EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
    cache.RemNotifier(listening.filler.Get());

    listening.cursor.SetRecords(records(50));
    cache.ClearCache();
    Joining joining;
    joining.join = [&] { cache.AddNotifier(listening.filler.Get()); };
    cache.AddNotifier(&joining);
    EXPECT_EQ(cache.Browse(ETabulonTag::Null), StatusOk);
    cache.RemNotifier(&joining);
    EXPECT_EQ(ERef<ETabulonGridAxe>::Adopt(listening.filler->BuildAxeDesc(0))->Size(), 100U);
    cache.RemNotifier(listening.filler.Get());
}

TEST(WalkOverMetCells, AllocatesNothingPerRecord) {
    const auto taken = [](int records) {
        Listening listening(Turns(records), 2, {{"SUM", "A"}, {"AVG", "B"}, {"COUNT", "A"}});
        const test::AllocationCount count;
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
        return count.Taken();
    };
    static_cast<void>(taken(1));
    EXPECT_EQ(taken(2), taken(1000));
}

TEST(DroppedGrid, LeavesNoObjectBehind) {
    const auto run = [](unsigned axes) {
        Listening listening(Turns(10), axes, {{"SUM", "A"}, {"CODEMIN", "B"}, {"LAST", "T"}});
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
        static_cast<void>(listening.Send());
        EXPECT_EQ(listening.cursor.Browse(ETabulonTag::Null), StatusOk);
    };
    run(2);  // makes what lives as long as the process
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (unsigned axes = 0; axes < 4; ++axes) {
        run(axes);
        EXPECT_EQ(ECountedUnknown::LiveObjects(), before) << axes;
    }
}

}  // namespace
}  // namespace etabulon
