#include "etabulon/controls/EDragTreeCtrl.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemoryTreeView.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

/// Writes down what it hears of: "-3 -2" for deletions by item data, "sel", "open 3".
class Listener : public EDragTreeCtrl {
public:
    ~Listener() override { Detach(); }
    void OnSelchanged() override { log += "sel "; }
    bool OnItemexpanding(_TREEITEM* item, ETreeExpand action) override {
        log += (action == TreeExpand ? "open " : "close ") + std::to_string(View().ItemData(item)) +
               " ";
        return accepts;
    }
    void OnDeleteitem(_TREEITEM* item, std::intptr_t data) override {
        log += "-" + std::to_string(data) + (View().ItemText(item).IsEmpty() ? " " : "? ");
    }
    std::string log;
    bool accepts = true;
};

class TreeViewItems : public testing::Test {
protected:
    TreeViewItems() { listener.Attach(&view); }
    _TREEITEM* Add(int number, _TREEITEM* parent, _TREEITEM* after = kTreeLast) {
        _TREEITEM* item =
            view.InsertItem(Chaine(std::to_string(number).c_str()), -1, -1, parent, after);
        ETreeItemChange change;
        change.data = number;
        view.SetItem(item, change);
        return item;
    }
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    Listener listener;
};

TEST_F(TreeViewItems, TellOfDeletionsChildrenFirst) {
    _TREEITEM* one = Add(1, kTreeRoot);
    _TREEITEM* two = Add(2, one);
    _TREEITEM* three = Add(3, two);
    Add(4, one, kTreeFirst);
    Add(5, one, two);
    EXPECT_EQ(view.Items(), "1{4 2{3} 5}");
    view.SelectItem(three);
    listener.log.clear();
    view.DeleteItem(two);
    EXPECT_EQ(listener.log, "-3 -2 ");
    EXPECT_EQ(view.SelectedItem(), nullptr);
    view.DeleteItem(two);
    view.DeleteItem(kTreeRoot);
    EXPECT_EQ(listener.log, "-3 -2 -4 -5 -1 ");
    EXPECT_EQ(view.ItemCount(), 0U);
}

TEST_F(TreeViewItems, AnswerNothingForAnItemThatIsGone) {
    _TREEITEM* const gone = Add(1, kTreeRoot);
    view.DeleteItem(gone);
    EXPECT_NE(Add(2, kTreeRoot), gone);
    listener.log.clear();
    for (_TREEITEM* item : {gone, static_cast<_TREEITEM*>(nullptr)}) {
        EXPECT_EQ(view.NextItem(item), nullptr);
        EXPECT_EQ(view.PreviousItem(item), nullptr);
        EXPECT_EQ(view.ParentItem(item), nullptr);
        EXPECT_EQ(view.FirstChild(item), nullptr);
        EXPECT_EQ(view.NextVisibleItem(item), nullptr);
        EXPECT_EQ(view.PreviousVisibleItem(item), nullptr);
        EXPECT_EQ(view.ItemData(item), 0);
        EXPECT_EQ(view.ItemState(item, ITreeView::StateExpansionMask), 0U);
        EXPECT_FALSE(view.ItemHasChildren(item));
        EXPECT_FALSE(view.Expand(item, TreeExpand));
        view.SetItem(item, {});
        view.EnsureVisible(item);
    }
    EXPECT_FALSE(view.SelectItem(gone));
    EXPECT_EQ(view.InsertItem("x", -1, -1, gone, kTreeLast), nullptr);
    EXPECT_EQ(listener.log, "");
}

TEST_F(TreeViewItems, AskBeforeTheyOpenAndRememberThatTheyDid) {
    _TREEITEM* const one = Add(1, kTreeRoot);
    const auto state = [&] { return view.ItemState(one, ITreeView::StateExpansionMask); };
    EXPECT_FALSE(view.Expand(one, TreeExpand));  // nothing below
    _TREEITEM* const two = Add(2, one);
    listener.accepts = false;
    EXPECT_FALSE(view.Expand(one, TreeToggle));
    EXPECT_EQ(state(), 0U);
    listener.accepts = true;
    EXPECT_TRUE(view.Expand(one, TreeToggle));
    EXPECT_TRUE(view.Expand(one, TreeExpand));  // it is: nobody is asked
    EXPECT_EQ(state(), 0x60U);
    view.SelectItem(two);
    EXPECT_TRUE(view.Expand(one, TreeToggle));
    EXPECT_EQ(view.SelectedItem(), one);
    EXPECT_EQ(state(), 0x40U);
    EXPECT_TRUE(view.Expand(one, TreeCollapseReset));
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(listener.log, "open 1 open 1 open 1 sel close 1 sel close 1 -2 ");
}

TEST_F(TreeViewItems, AreOpenedDownToTheOneThatIsToBeSeen) {
    _TREEITEM* const one = Add(1, kTreeRoot);
    _TREEITEM* const three = Add(3, Add(2, one));
    view.EnsureVisible(three);
    EXPECT_EQ(listener.log, "open 1 open 2 ");
}

TEST_F(TreeViewItems, StandInOneOrderWhicheverWayTheyAreWalked) {
    std::mt19937 random(5);
    std::vector<_TREEITEM*> items;
    for (int number = 1; number <= 300; ++number) {
        _TREEITEM* const parent =
            items.empty() || random() % 8 == 0 ? kTreeRoot : items[random() % items.size()];
        items.push_back(Add(number, parent, random() % 2 == 0 ? kTreeFirst : kTreeLast));
        if (random() % 3 == 0) {
            view.Expand(items[random() % items.size()], TreeToggle);
        }
        if (random() % 6 == 0) {
            view.DeleteItem(items[random() % items.size()]);
        }
    }
    std::vector<_TREEITEM*> forward;
    for (_TREEITEM* at = view.FirstItem(); at != nullptr; at = view.NextVisibleItem(at)) {
        forward.push_back(at);
        const _TREEITEM* next = view.NextItem(at);
        EXPECT_TRUE(next == nullptr || view.PreviousItem(view.NextItem(at)) == at);
    }
    ASSERT_GT(forward.size(), 20U);
    std::vector<_TREEITEM*> backward;
    for (_TREEITEM* at = forward.back(); at != nullptr; at = view.PreviousVisibleItem(at)) {
        backward.insert(backward.begin(), at);
    }
    EXPECT_EQ(forward, backward);
}

TEST_F(TreeViewItems, RingTheirTimersInTheOrderOfTime) {
    struct Clock : EDragTreeCtrl {
        void OnTimer(unsigned timerID) override {
            log += std::to_string(timerID);
            if (timerID == 3) {
                View().KillTimer(3);
            }
        }
        std::string log;
    } clock;
    EMemoryTreeView other(screen);
    clock.Attach(&other);
    static_cast<void>(other.SetTimer(1, 100));
    static_cast<void>(other.SetTimer(2, 250));
    static_cast<void>(other.SetTimer(3, 120));
    screen.Advance(250);
    EXPECT_EQ(clock.log, "1312");
    static_cast<void>(other.SetTimer(1, 100));  // begins anew
    screen.Advance(99);
    EXPECT_EQ(clock.log, "1312");
    screen.Advance(1);
    EXPECT_EQ(clock.log, "13121");
}

}  // namespace
}  // namespace etabulon::test
