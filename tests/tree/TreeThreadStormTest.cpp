#include "etabulon/pending/ETabulonPendingChanges.h"
#include "tree/ThreadFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <stdexcept>

namespace etabulon::test {
namespace {

// Threads under a sanitizer are slow; 10'000 are a matter of ten seconds there.
constexpr int kOrders = 3000;

/// Counts, and does nothing else.
class CountingThread : public EDataTreeThread {
public:
    explicit CountingThread(EDataTree* tree) : EDataTreeThread(tree) {}
    ~CountingThread() override { Stop(); }
    using EDataTreeThread::Stop;

    int starts = 0;
    std::atomic<int> done{0};
    std::atomic<int> cancelled{0};
    std::atomic<int> failed{0};

    void OnThreadStart(const ETabulonTag&) override { ++starts; }
    void OnThreadFillDone() override { ++done; }
    void OnThreadRefreshDone(const ETabulonTag&) override { ++done; }
    void OnThreadFillCancel() override { ++cancelled; }
    void OnThreadRefreshCancel(const ETabulonTag&) override { ++cancelled; }
    void OnThreadFillError(CursorStatus) override { ++failed; }
    void OnThreadRefreshError(const ETabulonTag&, CursorStatus) override { ++failed; }
};

/// A screen that gives order after order, and a walk that reads the script of its edits.
class ThreadStorm : public testing::Test {
protected:
    static constexpr int kRecords = 60;

    ThreadStorm() : rubric_(dico_.AddRubric("T", "T")) {
        for (const char* name : {"a", "b", "c"}) {
            rubric_->AddVariable(name, name, TYPE_LONG, 0);
            levels_.AddLevel(name, name, nullptr, /*addRef=*/false);
        }
        rubric_->SetKey({"c"});
        table_ = std::make_unique<EDataMemory>(rubric_);
        for (int record = 0; record < kRecords; ++record) {
            table_->Append({record % 7, record % 31, record});
        }
        cursor_.Init(levels_, table_.get(), /*ownsTable=*/false);
        cursor_.onRecord = [this](int record) {
            // One walk in a while fails, at any record.
            if (++steps_ % 20'011 == 0) {
                throw std::runtime_error("broken");
            }
            if (record % 16 == 0) {
                changed_ += script_.IsModified(cursor_.CurrentTag(), ETabulonVariableID("a"));
            }
            return StatusOk;
        };
        tree_ = std::make_unique<EDataTree>(&cursor_, "root", nullptr);
        ETabulonSortDesc::SortKeyArray keys = Keys({{0, false, 0}, {1, false, 0}, {2, false, 0}});
        tree_->SetSortLevels(keys);
        thread_ = std::make_unique<CountingThread>(tree_.get());
    }
    ~ThreadStorm() override {
        thread_.reset();  // before the tree
    }

    unsigned Any(unsigned count) { return static_cast<unsigned>(random_() % count); }
    ETabulonTag AnyTag() {
        ETabulonTag tag;
        for (unsigned level = 0, depth = Any(4); level < depth; ++level) {
            tag.SetValue(level, ETabulonValue(EVariant(static_cast<int>(Any(31))), "", false));
        }
        return tag;
    }
    void GiveAnOrder() {
        switch (Any(8)) {
            case 0:
            case 1:
                return thread_->Fill();
            case 2:
                return thread_->Refresh();
            case 3:
                return thread_->Refresh(AnyTag());
            case 4:
                return thread_->Cancel();
            case 5:
                return cursor_.Cancel();
            case 6:
                static_cast<void>(tree_->MoveSortLevel(Any(3), Any(3)));
                return;
            default:
                script_.AppendUpdate(AnyTag(), "a", EVariant(static_cast<int>(Any(9))));
        }
    }

    std::mt19937 random_{11};
    DDico dico_;
    DRubric* rubric_;
    std::unique_ptr<EDataMemory> table_;
    ETabulonLevels levels_;
    HookedCursor cursor_;
    ETabulonPendingChanges script_;
    std::int64_t steps_ = 0;  // guarded by the cursor's lock
    int changed_ = 0;
    std::unique_ptr<EDataTree> tree_;
    std::unique_ptr<CountingThread> thread_;
};

TEST_F(ThreadStorm, EachRunReportsOnceAndNothingIsLeft) {
    Watchdog watchdog;
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (int order = 0; order < kOrders; ++order) {
        GiveAnOrder();
        watchdog.Feed();
        if (order % 64 == 0) {
            const ECursorExclusive exclusive(cursor_);
            ASSERT_EQ(CheckTree(*tree_->Root()), "") << order;
            script_.Reset();
        }
    }
    thread_->Stop();
    EXPECT_EQ(thread_->starts, thread_->done + thread_->cancelled + thread_->failed);
    EXPECT_GT(thread_->done, 0);
    EXPECT_GT(thread_->cancelled, 0);
    EXPECT_GT(thread_->failed, 0);
    EXPECT_GT(changed_, 0) << "the walks met no edit";
    // What was interrupted is made good by a whole run.
    thread_->Refresh();
    thread_->Stop();
    watchdog.Feed();
    tree_->Root()->Reset();
    script_.Reset();
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

TEST_F(ThreadStorm, ThreadObjectsComeAndGoWithTheirRuns) {
    Watchdog watchdog;
    const std::int64_t before = ECountedUnknown::LiveObjects();
    for (int round = 0; round < kOrders / 10; ++round) {
        CountingThread own(tree_.get());
        own.Fill();
        if (Any(2) == 0) {
            own.Refresh(AnyTag());
        }
        own.Stop();
        ASSERT_EQ(own.starts, own.done + own.cancelled + own.failed);
        watchdog.Feed();
    }
    tree_->Root()->Reset();
    EXPECT_EQ(ECountedUnknown::LiveObjects(), before);
}

}  // namespace
}  // namespace etabulon::test
