#include "LevelFixture.h"
#include "etabulon/controls/ETabulonSelectLevelMenu.h"
#include "etabulon/testing/EMemorySurface.h"

#include <gtest/gtest.h>

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
        menu.reset();
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
    static const char* const kRows[][4] = {
        {"a", "", "a|", "21"},
        {"ab", "", "a b|b a|", "38"},
        {"abc", "", "a b c|a c b|b a c|b c a|c a b|c b a|", "55"},
        {"abc", "ac", "b (a) (c)|", "21"},
        {"abcd", "bc", "a d (b) (c)|d a (b) (c)|", "38"},
        {"abcde", "a", "b c d e (a)|b d c e (a)|c b d e (a)|c d b e (a)|d b c e (a)|d c b e (a)|",
         "55"},
    };
    for (const auto& [letters, hidden, entries, height] : kRows) {
        Show(letters, hidden);
        std::string offered;
        unsigned next = 456;
        for (const unsigned command : factory.commands) {
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
    struct Row {
        unsigned state;
        std::string fill;
        std::string text;
    };
    static const Row kRows[] = {
        {0, "f0f0f0; ", "0; "},
        {1, "d77800; ", "ffffff; "},
        {0x102, "f0f0f0; ", "0; "},
        {0x11, "d77800; ", "ffffff; "},
    };
    for (const Row& row : kRows) {
        EXPECT_EQ(Draw(457, row.state),
                  "clip 4,37,124,75; fill 5,40,125,78 " + row.fill +
                      "origin -4,-39; fill 0,0,120,54 " + row.fill + "colour " + row.text +
                      "text 'b' 0,0,120,16 0; colour " + row.text +
                      "text 'a' 0,16,120,32 0; origin 1,3; line 5,77,125,77 0; ")
            << row.state;
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
