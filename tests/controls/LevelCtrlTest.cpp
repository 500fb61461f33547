#include "ControlFixture.h"
#include "LevelFixture.h"
#include "etabulon/controls/ETabulonSelectLevelMenu.h"
#include "support/SortTrace.h"

namespace etabulon::test {
namespace {
class LevelCtrl : public testing::Test {
protected:
    LevelCtrl() {
        ctrl->Attach(&view);
        ctrl->Init(&levels);
        ctrl->Fill();
        view.TakeLog();
    }
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    const ETabulonLevels levels = LettersAsLevels("abcd", screen);
    std::unique_ptr<ETabulonSelectLevelCtrl> ctrl =
        std::make_unique<ETabulonSelectLevelCtrl>(screen);
};

constexpr const char* kChain = "-a{-b{-c{d}}}";

TEST_F(LevelCtrl, ShowsTheVisibleLevelsAsOneChain) {
    ctrl->Fill();
    EXPECT_EQ(view.Items(), kChain);
    EXPECT_EQ(view.TakeLog(),
              "redraw off; delete all; images; insert a; insert b; open a; insert "
              "c; open b; insert d; open c; redraw on; ");
    EXPECT_EQ(view.ImageOf(view.At("a/b/c/d")) + view.ImageOf(view.At("a/b/c")), "d-");
    ctrl->SortDesc()->SetHideLevelFlags(1, ETabulonSortDesc::HideInCalc);
    ctrl->SortDesc()->SetHideLevelFlags(2, kHidden);
    EXPECT_EQ(view.Items(), "-a{-b{d}}");
    EXPECT_EQ(view.ItemData(view.At("a/b/d")), 2);
    Hide(*ctrl->SortDesc(), "abcd", "abcd");
    EXPECT_EQ(view.Items(), "");
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp() || ctrl->MoveSelectedLevelDown());
}

TEST_F(LevelCtrl, MovesTheSelectedLevel) {
    const Table<const char*, bool, bool, const char*> rows = {
        {"a", false, true, "-b{*-a{-c{d}}}"},      {"a/b", false, true, "-a{-c{*-b{d}}}"},
        {"a/b/c", false, true, "-a{-b{-d{*c}}}"},  {"a/b/c/d", false, false, "-a{-b{-c{*d}}}"},
        {"a", true, false, "*-a{-b{-c{d}}}"},      {"a/b", true, true, "*-b{-a{-c{d}}}"},
        {"a/b/c/d", true, true, "-a{-b{*-d{c}}}"}, {"nowhere", true, false, kChain},
        {"nowhere", false, false, kChain}};
    for (const auto& [selected, up, moved, items] : rows) {
        ctrl->SortDesc()->SetSortLevels(ETabulonSortDesc::SortKeyArray(levels));
        ctrl->Fill();
        view.Click(selected);
        EXPECT_EQ(up ? ctrl->MoveSelectedLevelUp() : ctrl->MoveSelectedLevelDown(), moved);
        EXPECT_EQ(view.Items(), items) << selected << (up ? " up" : " down");
    }
}

TEST_F(LevelCtrl, RefusedMoveStillMovesTheSelection) {
    const auto refuser = MakeRef<SortTrace>();
    refuser->RefuseAt(1);
    ctrl->SortDesc()->AddNotifier(refuser.Get());
    view.Click("a/b");
    view.TakeLog();
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(view.Items(), "*-a{-b{-c{d}}}");
    EXPECT_EQ(view.TakeLog() + refuser->Take(), "select a; ?move !none");
}

TEST_F(LevelCtrl, MoveAmongHiddenLevelsMayShowNothing) {
    Hide(*ctrl->SortDesc(), "abcd", "ac");
    view.Click("b/d");
    EXPECT_TRUE(ctrl->MoveSelectedLevelUp());
    EXPECT_EQ(Order(*ctrl->SortDesc()), "(a) (c) b d");
    EXPECT_EQ(view.Items(), "*-b{d}");
}

TEST_F(LevelCtrl, DropMovesAndSelectsNothing) {
    view.Click("a");
    EXPECT_TRUE(view.Drag("a/b/c/d", "a/b"));
    EXPECT_EQ(view.Items(), "-a{-d{-b{c}}}");
    EXPECT_TRUE(view.Drag("a", "a/d/b"));
    EXPECT_EQ(view.Items(), "-d{-b{-a{c}}}");
    for (const char* target : {"d", "nowhere"}) {
        EXPECT_FALSE(view.Drag("d", target));
        EXPECT_FALSE(view.Drag("nowhere", target));
    }
    EXPECT_EQ(Order(*ctrl->SortDesc()), "d b a c");
}

TEST_F(LevelCtrl, ChainCantBeClosed) {
    for (const ETreeExpand action : {TreeCollapse, TreeToggle, TreeCollapseReset}) {
        EXPECT_FALSE(view.Expand(view.At("a/b"), action));
        EXPECT_FALSE(ctrl->OnItemexpanding(view.At("a"), action));
    }
    EXPECT_TRUE(ctrl->OnItemexpanding(view.At("a"), TreeExpand));
    EXPECT_EQ(view.Items(), kChain);
}

TEST_F(LevelCtrl, FillsOnlyWhenTheChainMayHaveChanged) {
    ETabulonSortDesc& sort = *ctrl->SortDesc();
    const auto drawn = [this] { return !view.TakeLog("delete").empty(); };
    EXPECT_TRUE(sort.MoveSortLevel(0, 1, kHidden) && drawn());
    EXPECT_TRUE(sort.SetHideLevelFlags(0, kHidden) && drawn());
    EXPECT_TRUE(sort.MoveHiddenLevelsTo(0, kHidden) && !drawn());
    EXPECT_FALSE(sort.MoveSortLevel(1, 1, kHidden) || drawn());
    ctrl->AttachSortDesc(&sort);
    EXPECT_FALSE(drawn());
}

TEST_F(LevelCtrl, InitLeavesTheItems) {
    const auto former = ERef<ETabulonSortDesc>::Retain(ctrl->SortDesc());
    const ETabulonLevels others = LettersAsLevels("xy", screen);
    ctrl->Init(&others);
    EXPECT_EQ(view.Items() + view.TakeLog(), kChain);
    EXPECT_EQ(former->Notifiers().Size(), 0U);
    EXPECT_EQ(Order(*ctrl->SortDesc()), "x y");
    ctrl->AttachSortDesc(former.Get());  // with levels that Init didn't name
    EXPECT_EQ(view.TakeLog("images delete"), "delete all; images; ");
    ctrl->AttachSortDesc(nullptr);
    EXPECT_EQ(view.Items(), "");
    EXPECT_EQ(former->Notifiers().Size(), 0U);
    ctrl->Fill();
    EXPECT_FALSE(ctrl->MoveSelectedLevelUp() || ctrl->MoveSelectedLevelDown());
}

TEST_F(LevelCtrl, ClosedHearsNothing) {
    const auto sort = ERef<ETabulonSortDesc>::Retain(ctrl->SortDesc());
    ctrl->Detach();
    EXPECT_EQ(view.Items() + view.TakeLog(), "images; delete all; ");
    EXPECT_TRUE(sort->MoveSortLevel(0, 1, kHidden));
    ctrl->Attach(&view);
    EXPECT_EQ(view.Items(), "");
    ctrl->Fill();
    EXPECT_EQ(view.Items(), "-b{-a{-c{d}}}");
    // Asked before the control, somebody closes it within the round that would have told it.
    const auto closer = MakeRef<SortTrace>();
    sort->RemNotifier(ctrl.get());
    sort->AddNotifier(closer.Get());
    sort->AddNotifier(ctrl.get());
    closer->OnCalled([this](bool asked) { asked ? void() : ctrl.reset(); });
    view.TakeLog();
    EXPECT_TRUE(sort->MoveSortLevel(0, 1, kHidden));
    EXPECT_EQ(view.TakeLog() + closer->Take(), "images; delete all; ?move !move");
    EXPECT_EQ(sort->Notifiers().Size(), 1U);
}

// ---------------------------------------------------------- with a tree control on one description

class LevelCtrlOfATree : public TreeScreen {
protected:
    LevelCtrlOfATree() { levelCtrl.Attach(&levelView); }
    EMemoryTreeView levelView{screen};
    ETabulonSelectLevelCtrl levelCtrl{screen};
};

TEST_F(LevelCtrlOfATree, ShowsItsOrderAndFillsItAgain) {
    ctrl->SetSortLevels(InOrder({1, 0}), /*refresh=*/false);
    Fill();
    levelCtrl.AttachDataTreeCtrl(nullptr);
    EXPECT_EQ(levelCtrl.SortDesc(), nullptr);
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.Items(), "-city{country}");
    levelView.Click("city");
    EXPECT_TRUE(levelCtrl.MoveSelectedLevelDown());
    EXPECT_EQ(levelView.Items(), "-country{*city}");
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{-DE{Berlin Bonn} -FR{Lyon Paris}}");
    EXPECT_EQ(view.TakeLog("owner"), "owner 1569; owner 1570; ");
    view.Click("all/FR");
    EXPECT_TRUE(ctrl->MoveSelectedLevelDown());  // by the tree, and shown here
    EXPECT_EQ(levelView.Items(), "-city{country}");
    ctrl.reset();
    EXPECT_TRUE(levelView.Drag("city", "city/country"));
    EXPECT_EQ(levelView.Items(), "-country{city}");
}

TEST_F(LevelCtrlOfATree, FirstTreeFillsInAnyCase) {
    levelCtrl.AttachSortDesc(ctrl->SortDesc());
    EXPECT_EQ(levelView.TakeLog("delete"), "delete all; ");
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.TakeLog("delete"), "delete all; ");
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    EXPECT_EQ(levelView.TakeLog("delete"), "");
}

TEST_F(LevelCtrlOfATree, MoveDuringAFillCancelsItAndFillsInTheNewOrder) {
    levelCtrl.AttachDataTreeCtrl(ctrl.get());
    Gate gate;
    sales.cursor.HoldAt(gate);
    ctrl->Fill();
    gate.WaitReached();
    sales.cursor.onCancel = [&] { gate.Open(); };
    levelView.Click("country/city/year");
    EXPECT_TRUE(levelCtrl.MoveSelectedLevelUp());
    EXPECT_EQ(levelView.Items(), "-country{*-year{city}}");
    WaitForRuns();
    EXPECT_EQ(view.Items(), "*-all{-DE{-2022{Berlin Bonn}} -FR{-2021{Lyon Paris} +2022}}");
    EXPECT_EQ(sales.cursor.depth, 0);
}

constexpr const char* kLetters = "abcdef";

/// A control that goes from one of two descriptions to the other, while user and application move,
/// hide and list levels.
class LevelCtrlStorm : public testing::TestWithParam<unsigned int>, protected Storm {
protected:
    LevelCtrlStorm() : Storm(GetParam()) {}

    [[nodiscard]] ETabulonSortDesc& Sort() const { return *ctrl.SortDesc(); }
    /// The visible levels: "bca".
    [[nodiscard]] std::string Visible() const {
        std::string text;
        for (const unsigned int level : Sort().VisibleLevels(kHidden)) {
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
        DoOne(
            10, [&] { Sort().SetHideLevelFlags(Any(6), Any(3) == 0 ? kHidden : 0); },
            [&] { Sort().MoveHiddenLevelsTo(static_cast<unsigned int>(-1), kHidden); },
            [&] { Sort().MoveSortLevel(Any(6), Any(6), 0); },
            [&] { ctrl.AttachSortDesc(descs[Any(2)].Get()); },
            [&] { view.Expand(view.At(AnyPath()), TreeToggle); },
            [&] { view.Drag(AnyPath(), AnyPath()); }, [&] { MoveSelected(/*up=*/true); },
            [&] { MoveSelected(/*up=*/false); }, [&] { view.Click(AnyPath()); });
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

/// Menus without a window: entries are drawn and chosen by the test.
class MenuFactory : public IViewFactory {
public:
    explicit MenuFactory(EMemoryScreen& given) : screen(given) {}
    IScreen& Screen() override { return screen; }
    std::unique_ptr<ITreeView> NewHiddenTreeView() override {
        return std::make_unique<EMemoryTreeView>(screen);
    }
    std::unique_ptr<IPopupMenu> NewPopupMenu(IPopupMenuEvents& drawer) override {
        events = &drawer;
        return std::make_unique<Menu>(*this);
    }

    EMemoryScreen& screen;
    IPopupMenuEvents* events = nullptr;
    std::vector<unsigned int> commands;
    int choice = 0;
    std::string tracked;

private:
    struct Menu : IPopupMenu {
        explicit Menu(MenuFactory& given) : factory(given) {}
        ~Menu() override { factory.events = nullptr; }
        void AppendItem(unsigned int command) override { factory.commands.push_back(command); }
        int Track(unsigned int flags, EPoint at, ITreeView* owner, const ERect* exclude) override {
            factory.tracked = std::to_string(flags) + " " + std::to_string(at.x) + "," +
                              std::to_string(at.y) + (owner != nullptr ? " owner" : "") +
                              (exclude != nullptr ? " rect" : "");
            return factory.choice;
        }
        MenuFactory& factory;
    };
};

class LevelMenu : public testing::Test {
protected:
    void Show(const char* letters, const char* hidden) {
        menu.reset();
        levels = LettersAsLevels(letters, screen);
        sort = MakeRef<ETabulonSortDesc>(levels);
        Hide(*sort, letters, hidden);
        menu = std::make_unique<ETabulonSelectLevelMenu>(factory);
        factory.commands.clear();
        menu->Init(sort.Get());
    }
    std::string Choose(unsigned int command) {
        factory.choice = static_cast<int>(command);
        EXPECT_EQ(menu->TrackPopupMenu(2, 10, 20, nullptr, nullptr), factory.choice);
        return Order(menu->LastSelected(), levels);
    }
    int Height() {
        int width = 0;
        int height = 0;
        factory.events->MeasureItem(456, width, height);
        EXPECT_EQ(width, 120);
        return height;
    }
    std::string Draw(unsigned int command, unsigned int state = 0) {
        factory.events->DrawItem(command, state, {5, 40, 125, 40 + Height()}, surface);
        return surface.TakeLog();
    }

    EMemoryScreen screen;
    EMemorySurface surface;
    MenuFactory factory{screen};
    ETabulonLevels levels;
    ERef<ETabulonSortDesc> sort;
    std::unique_ptr<ETabulonSelectLevelMenu> menu;
};

TEST_F(LevelMenu, OffersEachOrderOfTheFirstThree) {
    static const char* const kRows[][4] = {
        {"a", "", "a|", "21"},
        {"ab", "", "a b|b a|", "38"},
        {"abc", "", "a b c|a c b|b a c|b c a|c a b|c b a|", "55"},
        {"abc", "ac", "b (a) (c)|", "21"},
        {"abcd", "bc", "a d (b) (c)|d a (b) (c)|", "38"},
        {"abcde", "a", "b c d e (a)|b d c e (a)|c b d e (a)|c d b e (a)|d b c e (a)|d c b e (a)|",
         "55"}};
    for (const auto& [letters, hidden, entries, height] : kRows) {
        Show(letters, hidden);
        std::string offered;
        unsigned int next = 456;
        for (const unsigned int command : factory.commands) {
            EXPECT_EQ(command, next++);
            offered += Choose(command) + "|";
        }
        EXPECT_EQ(offered, entries);
        EXPECT_EQ(std::to_string(Height()), height) << letters << " without " << hidden;
    }
}

TEST_F(LevelMenu, HiddenLevelsStandLast) {
    Show("abc", "a");
    EXPECT_EQ(Choose(456), "b c (a)");
    EXPECT_EQ(Order(*sort), "(a) b c");
}

TEST_F(LevelMenu, DrawsTheChainOfAnEntry) {
    Show("ab", "");
    EXPECT_NE(Draw(456).find("text 'a'"), std::string::npos);  // no change of the copy fills it
    surface.SetOrigin({1, 3});
    surface.TakeLog();
    for (const auto& [state, fill, text] :
         Table<unsigned int, std::string, std::string>{{0, "f0f0f0; ", "0; "},
                                                       {1, "d77800; ", "ffffff; "},
                                                       {0x102, "f0f0f0; ", "0; "},
                                                       {0x11, "d77800; ", "ffffff; "}}) {
        EXPECT_EQ(Draw(457, state), "clip 4,37,124,75; fill 5,40,125,78 " + fill +
                                        "origin -4,-39; fill 0,0,120,54 " + fill + "colour " +
                                        text + "text 'b' 0,0,120,16 0; colour " + text +
                                        "text 'a' 0,16,120,32 0; origin 1,3; line 5,77,125,77 0; ")
            << state;
    }
    EXPECT_EQ(Order(*sort), "a b");
    EXPECT_EQ(sort->Notifiers().Size(), 0U);
}

TEST_F(LevelMenu, FourthVisibleLevelStays) {
    Show("abcd", "");
    EXPECT_EQ(Choose(461), "c b a d");
    EXPECT_EQ(Height(), 55);
    EXPECT_NE(Draw(461).find("text 'd' 0,48,120,64"), std::string::npos);  // the entry ends above
}

TEST_F(LevelMenu, UnknownEntryIsDrawnEmpty) {
    Show("ab", "");
    EXPECT_EQ(Draw(460).find("text"), std::string::npos);
    EXPECT_NE(Draw(456).find("text 'a'"), std::string::npos);
    EXPECT_EQ(Choose(460), "");
}

TEST_F(LevelMenu, AsksForTheCommandAsAResult) {
    Show("ab", "");
    EMemoryTreeView owner{screen};
    const ERect rect;
    EXPECT_EQ(menu->TrackPopupMenu(2, 10, 20, &owner, &rect), 0);
    EXPECT_EQ(factory.tracked, "258 10,20 owner rect");
    Choose(457);
    EXPECT_EQ(factory.tracked, "258 10,20");
    menu.reset();
    EXPECT_EQ(factory.events, nullptr);
}

}  // namespace
}  // namespace etabulon::test
