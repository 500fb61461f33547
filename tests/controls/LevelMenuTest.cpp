#include "LevelFixture.h"
#include "etabulon/controls/ETabulonSelectLevelMenu.h"
#include "etabulon/testing/EMemorySurface.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace etabulon::test {
namespace {

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
    std::vector<unsigned> commands;
    int choice = 0;
    std::string tracked;

private:
    struct Menu : IPopupMenu {
        explicit Menu(MenuFactory& given) : factory(given) {}
        ~Menu() override { factory.events = nullptr; }
        void AppendItem(unsigned command) override { factory.commands.push_back(command); }
        int Track(unsigned flags, EPoint at, ITreeView* owner, const ERect* exclude) override {
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
        levels = LettersAsLevels(letters, screen);
        sort = MakeRef<ETabulonSortDesc>(levels);
        Hide(*sort, letters, hidden);
        menu = std::make_unique<ETabulonSelectLevelMenu>(factory);
        factory.commands.clear();
        menu->Init(sort.Get());
    }
    std::string Choose(unsigned command) {
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
    std::string Draw(unsigned command, unsigned state = 0) {
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
    struct Row {
        const char* levels;
        const char* hidden;
        std::vector<std::string> entries;
        int height;
    };
    static const Row kRows[] = {
        {"a", "", {"a"}, 21},
        {"ab", "", {"a b", "b a"}, 38},
        {"abc", "", {"a b c", "a c b", "b a c", "b c a", "c a b", "c b a"}, 55},
        {"abc", "ac", {"b (a) (c)"}, 21},
        {"abcd",
         "b",
         {"a c d (b)", "a d c (b)", "c a d (b)", "c d a (b)", "d a c (b)", "d c a (b)"},
         55},
        {"abcde",
         "a",
         {"b c d e (a)", "b d c e (a)", "c b d e (a)", "c d b e (a)", "d b c e (a)", "d c b e (a)"},
         55},
    };
    for (const Row& row : kRows) {
        Show(row.levels, row.hidden);
        std::vector<std::string> entries;
        for (const unsigned command : factory.commands) {
            EXPECT_EQ(command, 456 + entries.size());
            entries.push_back(Choose(command));
        }
        EXPECT_EQ(entries, row.entries) << row.levels << " without " << row.hidden;
        EXPECT_EQ(Height(), row.height) << row.levels << " without " << row.hidden;
    }
}

TEST_F(LevelMenu, HiddenLevelsStandLast) {
    Show("abc", "a");
    EXPECT_EQ(Choose(456), "b c (a)");
    EXPECT_EQ(Order(*sort), "(a) b c");
}

TEST_F(LevelMenu, DrawsTheChainOfAnEntry) {
    Show("ab", "");
    surface.SetOrigin({1, 3});
    surface.TakeLog();
    const auto texts = [](const char* fill, const char* colour) {
        const std::string set = std::string("colour ") + colour + "; ";
        return std::string("fill 0,0,120,54 ") + fill + "; " + set + "text 'b' 0,0,120,16 0; " +
               set + "text 'a' 0,16,120,32 0; ";
    };
    const auto hex = [this](IScreen::SystemColour which) {
        char text[9];
        std::snprintf(text, sizeof text, "%x", static_cast<unsigned>(screen.Colour(which)));
        return std::string(text);
    };
    for (const unsigned state : {0U, 1U, 0x102U, 0x11U}) {
        const bool selected = (state & 1) != 0;
        const std::string fill =
            hex(selected ? IScreen::ColourHighlight : IScreen::ColourButtonFace);
        const std::string text =
            hex(selected ? IScreen::ColourHighlightText : IScreen::ColourMenuText);
        EXPECT_EQ(Draw(457, state), "clip 4,37,124,75; fill 5,40,125,78 " + fill +
                                        "; origin -4,-39; " + texts(fill.c_str(), text.c_str()) +
                                        "origin 1,3; line 5,77,125,77 0; ")
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
