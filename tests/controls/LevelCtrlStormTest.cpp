#include "LevelFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace etabulon::test {
namespace {

constexpr const char* kLetters = "abcdef";

/// A control that goes from one of two descriptions to the other, while user and application move,
/// hide and list levels.
class LevelCtrlStorm : public testing::TestWithParam<unsigned> {
protected:
    unsigned Any(std::size_t count) { return static_cast<unsigned>(random_() % count); }
    [[nodiscard]] ETabulonSortDesc& Sort() const { return *ctrl.SortDesc(); }
    /// The visible levels: "bca".
    [[nodiscard]] std::string Visible() const {
        std::string text;
        for (const unsigned level : Sort().VisibleLevels(kHidden)) {
            text += kLetters[level];
        }
        return text;
    }
    std::string AnyPath() {  // the chain down to some place of it: "b/c"
        std::string path;
        for (const char letter : Visible().substr(0, Any(6) + 1)) {
            path += (path.empty() ? "" : "/") + std::string(1, letter);
        }
        return path;
    }
    void MoveSelected(bool up) {
        std::string order = Visible();
        const auto at = static_cast<std::size_t>(view.ItemData(view.SelectedItem()));
        const bool moves = view.SelectedItem() != nullptr && (up ? at > 0 : at + 1 < order.size());
        // Positions in the chain are those in the description only where hidden levels stand last.
        const bool exact = Order(Sort()).find('(') > 2 * order.size() - 1;
        ASSERT_EQ(up ? ctrl.MoveSelectedLevelUp() : ctrl.MoveSelectedLevelDown(), moves);
        if (moves) {
            std::swap(order[at], order[up ? at - 1 : at + 1]);
        }
        if (exact) {
            ASSERT_EQ(Visible(), order);
        }
    }
    void Event() {
        switch (Any(10)) {
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
                ctrl.AttachSortDesc(descs[Any(2)].Get());
                break;
            case 4:
                view.Expand(view.At(AnyPath()), TreeToggle);
                break;
            case 5:
                view.Drag(AnyPath(), AnyPath());
                break;
            case 6:
                return MoveSelected(/*up=*/true);
            case 7:
                return MoveSelected(/*up=*/false);
            default:
                view.Click(AnyPath());
        }
    }
    /// The chain is the visible levels in their order, open to its end, and only the description
    /// in use tells the control.
    void Check() const {
        const std::string order = Visible();
        std::string chain;
        _TREEITEM* item = view.FirstItem();
        for (std::size_t at = 0; at < order.size(); ++at) {
            chain += at + 1 < order.size() ? std::string("-") + order[at] + "{" : order.substr(at);
            ASSERT_EQ(view.ItemData(item), static_cast<std::intptr_t>(at));
            item = view.FirstChild(item);
        }
        chain.append(order.empty() ? 0 : order.size() - 1, '}');
        std::string items = view.Items();
        std::erase(items, '*');
        ASSERT_EQ(items, chain);
        ASSERT_TRUE(view.IsRedrawOn());
        for (const auto& desc : descs) {
            ASSERT_EQ(desc->Notifiers().Size(), desc == ctrl.SortDesc() ? 1U : 0U);
        }
    }

    std::mt19937 random_{GetParam()};
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    const ETabulonLevels levels = LettersAsLevels(kLetters, screen);
    const ERef<ETabulonSortDesc> descs[2] = {MakeRef<ETabulonSortDesc>(levels),
                                             MakeRef<ETabulonSortDesc>(levels)};
    ETabulonSelectLevelCtrl ctrl{screen};
};

TEST_P(LevelCtrlStorm, ShowsTheDescriptionAfterEachEvent) {
    ctrl.Attach(&view);
    ctrl.AttachSortDesc(descs[0].Get());
    for (int round = 0; round < 3000 && !HasFatalFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " " + Order(Sort()));
        Event();
        Check();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LevelCtrlStorm, testing::Range(1U, 5U));

}  // namespace
}  // namespace etabulon::test
