#include "LevelFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

constexpr const char* kLetters = "abcdef";

/// A control that goes from one of two descriptions to the other, and from one of two views to the
/// other, while user and application move, hide and list levels.
class LevelCtrlStorm : public testing::TestWithParam<unsigned> {
protected:
    unsigned Any(std::size_t count) { return static_cast<unsigned>(random_() % count); }

    std::string AnyPath() {  // the chain down to some place of it
        std::string path;
        unsigned left = Any(6);
        for (const unsigned level : Sort().VisibleLevels(kHidden)) {
            path += (path.empty() ? "" : "/") + std::string(1, kLetters[level]);
            if (left-- == 0) {
                break;
            }
        }
        return path;
    }
    /// Whether positions in the chain are those in the description.
    [[nodiscard]] bool HiddenStandLast() const {
        const auto& keys = Sort().SortLevels();
        return std::is_sorted(keys.begin(), keys.end(), [](const auto& left, const auto& right) {
            return !left.IsHidden(kHidden) && right.IsHidden(kHidden);
        });
    }
    std::string MoveSelected(bool up) {
        const auto span = Sort().VisibleLevels(kHidden);
        std::vector<unsigned> expected(span.begin(), span.end());
        _TREEITEM* const item = ctrl.View().SelectedItem();
        const auto at = static_cast<std::size_t>(ctrl.View().ItemData(item));
        const bool moves = item != nullptr && (up ? at > 0 : at + 1 < expected.size());
        const bool exact = HiddenStandLast();
        if (moves) {
            std::swap(expected[at], expected[up ? at - 1 : at + 1]);
        }
        if ((up ? ctrl.MoveSelectedLevelUp() : ctrl.MoveSelectedLevelDown()) != moves) {
            return "answer of a move; ";
        }
        const auto result = Sort().VisibleLevels(kHidden);
        const bool asExpected = std::equal(result.begin(), result.end(), expected.begin());
        return exact && !asExpected ? "order after a move; " : "";
    }
    std::string Event() {
        const unsigned count = Sort().SortLevelCount(kHidden);
        EMemoryTreeView& view = views[Any(2)];
        switch (Any(12)) {
            case 0:
                Sort().SetHideLevelFlags(Any(6), Any(3) == 0 ? kHidden : 0);
                break;
            case 1:
                Sort().MoveHiddenLevelsTo(static_cast<unsigned>(-1), kHidden);
                break;
            case 2:
                Sort().MoveSortLevel(Any(6), Any(6), 0);
                break;
            case 3:
                if (count != 0) {
                    Sort().MoveSortLevel(Any(count), Any(count), kHidden);
                }
                break;
            case 4:
                ctrl.AttachSortDesc(descs[Any(2)].Get());
                break;
            case 5:
                ctrl.Attach(Any(4) == 0 ? nullptr : &view);
                ctrl.Fill();
                break;
            case 6:
                view.Expand(view.At(AnyPath()), TreeToggle);
                break;
            case 7:
                view.Drag(AnyPath(), AnyPath());
                break;
            case 8:
                return MoveSelected(/*up=*/true);
            case 9:
                return MoveSelected(/*up=*/false);
            default:
                view.Click(AnyPath());
        }
        return "";
    }
    [[nodiscard]] std::string CheckChain() const {
        const ITreeView& view = ctrl.View();
        std::string faults;
        std::intptr_t position = 0;
        _TREEITEM* item = view.FirstItem();
        for (const unsigned level : Sort().VisibleLevels(kHidden)) {
            const bool last = view.FirstChild(item) == nullptr;
            faults += view.ItemText(item).View() == std::string(1, kLetters[level]) &&
                              view.ItemData(item) == position++ && !view.NextItem(item) &&
                              (view.ItemState(item, ITreeView::StateExpanded) != 0) == !last
                          ? ""
                          : "item; ";
            item = view.FirstChild(item);
        }
        return faults + (item != nullptr ? "more items; " : "");
    }
    [[nodiscard]] std::string Check() const {
        std::string faults = ctrl.HasView() ? CheckChain() : "";
        unsigned filled = 0;
        for (const EMemoryTreeView& view : views) {
            faults += view.IsRedrawOn() ? "" : "redraw; ";
            filled += view.ItemCount() != 0 ? 1 : 0;
        }
        faults += filled > (ctrl.HasView() ? 1U : 0U) ? "items in a view that was left; " : "";
        for (const auto& desc : descs) {
            const unsigned heard = desc.Get() == ctrl.SortDesc() ? 1 : 0;
            faults += desc->Notifiers().Size() == heard ? "" : "listeners; ";
        }
        return faults;
    }
    [[nodiscard]] ETabulonSortDesc& Sort() const { return *ctrl.SortDesc(); }

    std::mt19937 random_{GetParam()};
    EMemoryScreen screen;
    EMemoryTreeView views[2] = {EMemoryTreeView(screen), EMemoryTreeView(screen)};
    const ETabulonLevels levels = LettersAsLevels(kLetters, screen);
    const ERef<ETabulonSortDesc> descs[2] = {MakeRef<ETabulonSortDesc>(levels),
                                             MakeRef<ETabulonSortDesc>(levels)};
    ETabulonSelectLevelCtrl ctrl{screen};
};

TEST_P(LevelCtrlStorm, ShowsTheDescriptionAfterEachEvent) {
    ctrl.Attach(&views[0]);
    ctrl.AttachSortDesc(descs[0].Get());
    for (int round = 0; round < 3000; ++round) {
        const std::string faults = Event();
        ASSERT_EQ(faults + Check(), "") << "round " << round << " " << Order(Sort());
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LevelCtrlStorm, testing::Range(1U, 5U));

}  // namespace
}  // namespace etabulon::test
