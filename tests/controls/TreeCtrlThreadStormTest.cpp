#include "ControlFixture.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "support/ResultTrace.h"
#include "support/TreeChecker.h"

#include <chrono>
#include <random>
#include <stdexcept>
#include <thread>

namespace etabulon::test {
namespace {

// The runs that are started. The time grows with them: 10'000 take three seconds, and a quarter of
// a minute where other programs keep the threads waiting or under a sanitizer.
constexpr int kStarts = 10000;

/// Fills the grid on each walk, and sends it from a thread of its own again and again.
class GridSide {
public:
    GridSide(SalesTable& sales, const ETabulonPendingChanges& script)
        : sales_(sales),
          filler_(
              ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&sales.cursor, &script))) {
        calculations_.AddCalculation("SUM", ETabulonVariableID("year"), TYPE_LONG, 0, "Year");
        ETabulonSortDesc::SortKeyArray keys = Keys({{0, false, 0}, {1, false, 0}});
        sort_.SetSortLevels(keys);
        filler_->SetParams(&calculations_, 2, &sort_);
        sales_.cursor.AddNotifier(filler_.Get());
        EXPECT_EQ(sales_.cursor.Browse(ETabulonTag::Null), StatusOk);
        thread_ = std::jthread([this](const std::stop_token& stop) { Send(stop); });
    }
    ~GridSide() {
        thread_.request_stop();
        thread_.join();
        const ECursorExclusive exclusive(sales_.cursor);
        sales_.cursor.RemNotifier(filler_.Get());
    }
    GridSide(const GridSide&) = delete;
    GridSide& operator=(const GridSide&) = delete;

    std::atomic<int> sends{0};

private:
    void Send(const std::stop_token& stop) {
        for (; !stop.stop_requested(); ++sends) {
            GridTrace view;
            filler_->SendTo(&view);
            const std::string heard = view.Take();
            EXPECT_TRUE(heard.starts_with("start reset") && heard.ends_with("end")) << heard;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    SalesTable& sales_;
    ETabulonCumulFuncOnVarCollection calculations_;
    ETabulonSortDesc sort_{sales_.levels};
    ERef<ETabulonGridFiller> filler_;
    std::jthread thread_;
};

/// A user who gives order after order, edits, and closes the control in between.
class TreeCtrlThreadStorm : public TreeScreen {
protected:
    TreeCtrlThreadStorm() {
        for (int id = 6; id < 60; ++id) {
            sales.Append(id, Letter().c_str(), Letter().c_str(), 2000 + static_cast<int>(Any(4)));
        }
        sales.cursor.onRecord = [this](int record) {
            return record == 1 && ++walks_ % 17 == 0 ? static_cast<CursorStatus>(77) : StatusOk;
        };
    }
    unsigned Any(unsigned count) { return static_cast<unsigned>(random_() % count); }
    std::string Letter() { return std::string(1, static_cast<char>('a' + Any(5))); }
    ETabulonTag AnyTag() {
        return Any(2) == 0 ? Place(Letter().c_str()) : Place(Letter().c_str(), Letter().c_str());
    }
    [[nodiscard]] int Starts() const { return view.Notified(NotifyBrowseStart); }
    [[nodiscard]] int Ends() const {
        return view.Notified(NotifyBrowseDone) + view.Notified(NotifyBrowseCancel) +
               view.Notified(NotifyBrowseError);
    }
    void GiveAnOrder() {
        switch (Any(11)) {
            case 0:
            case 1:
                return ctrl->Fill();
            case 2:
                return ctrl->Refresh();
            case 3:
                return ctrl->RefreshDeletedNode(AnyTag());
            case 4:
                return ctrl->Select(AnyTag());
            case 5: {
                const unsigned count = ctrl->SortDesc()->SortLevelCount(kInTree);
                ctrl->SortDesc()->MoveSortLevel(Any(count), Any(count), kInTree);
                return;
            }
            case 6:
                static_cast<void>(Any(2) == 0 ? ctrl->MoveSelectedLevelUp()
                                              : ctrl->MoveSelectedLevelDown());
                return;
            case 7:
                return script_.AppendUpdate(AnyTag(), "year",
                                            EVariant(2000 + static_cast<int>(Any(9))));
            case 8:
                if (Any(2) == 0) {
                    const ECursorLocking ended(sales.cursor);
                }
                screen.PumpWaiting();
                return screen.Advance(Any(300));
            default:
                ctrl->Refresh(AnyTag());
        }
    }
    void Open() {
        ctrl = std::make_unique<TracedTreeCtrl>(screen);
        ctrl->Attach(&view);
        ctrl->Init(&sales.cursor, "all", nullptr);
    }
    /// Closes the control after a whole run. Its nodes have gone then, which the worker lets go of
    /// after the cursor.
    std::int64_t ObjectsWithoutControl() {
        Fill();
        ctrl.reset();
        return ECountedUnknown::LiveObjects();
    }
    /// Closes the control, whatever is under way, and opens another one.
    void Reopen() {
        const int ends = Ends();
        ctrl.reset();
        screen.PumpWaiting();
        screen.Advance(1000);
        EXPECT_EQ(Ends(), ends) << "a closed control was told";
        startsOnly = Starts() - Ends();
        Open();
    }

    std::mt19937 random_{7};
    ETabulonPendingChanges script_;
    int walks_ = 0;  // guarded by the cursor's lock
};

TEST_F(TreeCtrlThreadStorm, EachRunIsHeardOnceUntilItsControlIsClosed) {
    Watchdog watchdog;
    const std::int64_t before = ObjectsWithoutControl();
    Open();
    int reopened = 0;
    {
        GridSide grid(sales, script_);
        while (Starts() < kStarts) {
            GiveAnOrder();
            if (Any(50) == 0) {
                Reopen();
                ++reopened;
            }
            if (Any(100) == 0) {
                script_.Reset();
                view.TakeLog();
            }
            ASSERT_LE(Ends(), Starts() - startsOnly);
            watchdog.Feed();
        }
        Settle();
        EXPECT_GT(grid.sends, 0);
    }
    EXPECT_EQ(Starts() - startsOnly, Ends());
    for (const EDataTreeNotification end :
         {NotifyBrowseDone, NotifyBrowseCancel, NotifyBrowseError}) {
        EXPECT_GT(view.Notified(end), kStarts / 100) << end;
    }
    EXPECT_GT(reopened, 0);
    // Every reference and every lock was given back, and the model is sound.
    sales.cursor.onRecord = nullptr;
    Reopen();
    script_.Reset();
    Fill();
    EXPECT_EQ(CheckTree(*ctrl->Tree()->Root()), "");
    EXPECT_EQ(ObjectsWithoutControl(), before);
    EXPECT_EQ(sales.cursor.depth, 0);
}

}  // namespace
}  // namespace etabulon::test
