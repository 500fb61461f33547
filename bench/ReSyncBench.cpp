// A tree control: the items of one node with very many children, made and found unchanged.

#include "bench/Orders.h"
#include "bench/RatioBench.h"
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataMemory.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemoryTreeView.h"

#include <algorithm>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::bench {

namespace {

/// One group of `children` codes, and a control that shows it closed.
class WideTree {
public:
    explicit WideTree(int children) {
        DRubric* rubric = dico_.AddRubric("T", "T");
        rubric->AddVariable("id", "id", TYPE_LONG, 0);
        rubric->AddVariable("group", "group", TYPE_CHAINE, 0);
        rubric->AddVariable("code", "code", TYPE_CHAINE, 0);
        rubric->SetKey({"id"});
        table_ = std::make_unique<EDataMemory>(rubric);
        for (int id = 0; id < children; ++id) {
            // In no order: 7919 has no factor in common with the count.
            const std::string code = std::to_string(1000000 + id * std::int64_t{7919} % children);
            table_->Append({id, "all of them", code.c_str()});
        }
        levels_.AddLevel("group", "group", nullptr, /*addRef=*/false);
        levels_.AddLevel("code", "code", nullptr, /*addRef=*/false);
        cursor_.Init(levels_, table_.get(), /*ownsTable=*/false);
        ctrl_.Attach(&view_);
        ctrl_.Init(&cursor_, "root", nullptr);
        ctrl_.Fill();
        screen_.PumpUntil([this] { return view_.Notified(NotifyBrowseDone) > 0; });
        group_ = ctrl_.Tag(view_.At("root/all of them"));
    }
    void Open() { view_.Open("root/all of them"); }
    /// As after a refresh of the group.
    void ReSync() {
        ctrl_.Port()->Send({MsgRefreshDone, 0, std::make_unique<ETabulonTag>(group_)});
    }
    [[nodiscard]] unsigned int Items() const { return view_.ItemCount(); }

private:
    DDico dico_;
    std::unique_ptr<EDataMemory> table_;
    ETabulonLevels levels_;
    ETabulonCursorEData cursor_;
    EMemoryScreen screen_;
    EMemoryTreeView view_{screen_};
    EDataTreeCtrl ctrl_{screen_};
    ETabulonTag group_;
};

double Milliseconds(const std::function<void()>& work) {
    const std::clock_t start = std::clock();
    work();
    return 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(),
                     values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

void ItemsOfOneNode(benchmark::State& state) {
    const int children = IsSmokeRun() ? 2000 : 100000;
    std::vector<double> made;
    std::vector<double> unchanged;
    for ([[maybe_unused]] auto _ : state) {
        for (int turn = 0; turn < 3; ++turn) {
            WideTree tree(children);
            made.push_back(Milliseconds([&tree] { tree.Open(); }));
            Require(tree.Items() == static_cast<unsigned int>(children) + 2,
                    "items of the open node");
            for (int again = 0; again < 3; ++again) {
                unchanged.push_back(Milliseconds([&tree] { tree.ReSync(); }));
            }
            Require(tree.Items() == static_cast<unsigned int>(children) + 2, "items kept");
        }
        state.SetIterationTime(made.front() / 1000);
    }
    RecordFigure("items of 100,000 children, made", Median(made), "ms",
                 IsSmokeRun() ? kNoLimit : 1000);
    RecordFigure("items of 100,000 children, unchanged", Median(unchanged), "ms",
                 IsSmokeRun() ? kNoLimit : 100);
}
BENCHMARK(ItemsOfOneNode)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace etabulon::bench
