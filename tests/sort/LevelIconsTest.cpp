#include "SortFixture.h"
#include "etabulon/sort/ETabulonLevelsLevelUI.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

namespace etabulon::test {
namespace {

HICON IconOf(int number) {
    static char icons[8];
    return reinterpret_cast<HICON>(&icons[number]);
}

std::map<HICON, int> destroyed;  // how often

// Knows an icon for "one" and "two".
class Icons : public ETabulonLevels::LevelUI {
public:
    using LevelUI::LevelUI;
    std::string asked;

protected:
    HICON iLoadIcon(const EVariant& value) override {
        const Chaine text = value.AsChaine();
        asked += std::string(text.c_str()) + " ";
        return text == Chaine("one") ? IconOf(1) : (text == Chaine("two") ? IconOf(2) : nullptr);
    }
};

struct LevelIcons : testing::Test {
    LevelIcons() {
        destroyed.clear();
        SetIconRelease([](HICON icon) { ++destroyed[icon]; });
    }
    ~LevelIcons() override { SetIconRelease(nullptr); }
};

TEST_F(LevelIcons, AreLookedForOnceForEachValue) {
    const auto ui = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/false);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ui->Icon("one"), IconOf(1));
        EXPECT_EQ(ui->Icon("other"), IconOf(0));
        EXPECT_EQ(ui->Icon("two"), IconOf(2));
        EXPECT_EQ(ui->Icon(EVariant()), IconOf(0));
    }
    EXPECT_EQ(ui->asked, "one other two ");
}

TEST_F(LevelIcons, BelongToTheObjectOnlyIfSaidSo) {
    MakeRef<Icons>(IconOf(0), /*ownsIcons=*/false)->Icon("one");
    EXPECT_TRUE(destroyed.empty());
    MakeRef<Icons>(nullptr, /*ownsIcons=*/true)->Icon("other");
    EXPECT_TRUE(destroyed.empty());
}

TEST_F(LevelIcons, DefaultIconIsDestroyedOnceMoreForEachEntry) {
    {
        const auto ui = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/true);
        for (const char* value : {"one", "x", "y"}) {
            ui->Icon(value);
        }
    }
    EXPECT_EQ(destroyed, (std::map<HICON, int>{{IconOf(0), 3}, {IconOf(1), 1}}));
}

TEST_F(LevelIcons, AssignmentSharesTheIcons) {
    const auto target = MakeRef<Icons>(nullptr, /*ownsIcons=*/false);
    {
        const auto source = MakeRef<Icons>(IconOf(0), /*ownsIcons=*/true);
        source->Icon("one");
        *target = *source;
        target->asked.clear();
    }
    EXPECT_EQ(target->Icon("one"), IconOf(1));
    EXPECT_EQ(target->asked, "");
    EXPECT_EQ(destroyed[IconOf(1)], 1);
}

TEST_F(LevelIcons, OfALevelDieWithIt) {
    {
        ETabulonLevels levels;
        EXPECT_EQ(levels.AddLevel("Country", ETabulonVariableID("T.c"), IconOf(4)), 0U);
        EXPECT_EQ(levels.AddLevel("City", ETabulonVariableID("T.v"), nullptr, false), 1U);
        const ETabulonSortDesc desc(levels);
        const ETabulonTag tag = TagOf({{0, "FR"}, {1, "Lyon"}});
        EXPECT_EQ(desc.GetIcon(tag, 0, 0), IconOf(4));
        EXPECT_EQ(desc.GetIcon(tag, desc.SortLevel(1, 0)), nullptr);
        EXPECT_TRUE(destroyed.empty());
    }
    EXPECT_EQ(destroyed[IconOf(4)], 2);  // as the default, and for "FR"
}

}  // namespace
}  // namespace etabulon::test
