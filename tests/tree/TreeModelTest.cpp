#include "TreeFixture.h"
#include "etabulon/tree/EDataTreeRaisedAlerts.h"
#include "support/SortTrace.h"

#include <cstdio>
#include <random>
#include <set>

namespace etabulon::test {
namespace {
/// Counts what is asked of it as a lock, and the walks.
class WatchedCursor : public ETabulonCursorEData {
public:
    std::string log;
    bool CursorLock(bool wait) override {
        log += "(";
        return ETabulonCursorEData::CursorLock(wait);
    }
    void CursorUnlock() override {
        log += ")";
        ETabulonCursorEData::CursorUnlock();
    }
    void Cancel() override {
        log += "c";
        ETabulonCursorEData::Cancel();
    }

protected:
    CursorStatus Reset(const ETabulonTag& tag) override {
        log += "walk";
        return ETabulonCursorEData::Reset(tag);
    }
};

PUniqueT<unsigned int> SetOf(unsigned int level) {
    PUniqueT<unsigned int> levels;
    levels.Add(level);
    return levels;
}

struct Operation {
    const char* name;
    bool (*apply)(EDataTree& tree);
    bool changes;
    const char* tree;  // afterwards
    const char* steps;
};

struct TreeOperations : testing::TestWithParam<Operation>, Sales {
    TreeOperations() { watched.Init(levels, table.get(), /*ownsTable=*/false); }
    WatchedCursor watched;
};

const char* const kFilled = "Sales{-{Berlin{2022}} DE{Berlin{-}} FR{-{2021} Paris{2021 2022}}}";

TEST_P(TreeOperations, TellWhetherTheyChangeAndTakeTheCursorFirst) {
    char icon = 0;
    EDataTree tree(&watched, "Sales", reinterpret_cast<HICON>(&icon));
    tree.Fill();
    const auto root = ERef<EDataTreeNode>::Retain(tree.Root());
    watched.log.clear();
    EXPECT_EQ(GetParam().apply(tree), GetParam().changes);
    EXPECT_EQ(watched.log, GetParam().steps);
    EXPECT_EQ(Text(tree), GetParam().tree);
    // Rearranging makes a new root, with the label and icon of the old; all else keeps it.
    const bool rearranges = std::string(GetParam().steps) == "c(c())";
    EXPECT_EQ(tree.Root() == root.Get(), !rearranges);
    EXPECT_EQ(tree.Root()->Icon(), reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(CheckOrder(*tree.Root(), *tree.SortDesc()), "");
}

const ETabulonTag kNoTag = Tag({{0, "FR"}, {1, "Lyon"}, {2, 1}});
const ETabulonTag kNoLevel = Tag({{9, "x"}});
const char* const kByCity = "Sales{-{FR{2021}} Berlin{-{2022} DE{-}} Paris{FR{2021 2022}}}";

const Operation kOperations[] = {
    {"Fill", [](EDataTree& tree) { return tree.Fill() == StatusOk; }, true, kFilled, "c(walk)"},
    {"Refresh", [](EDataTree& tree) { return tree.Refresh() == StatusOk; }, true, kFilled,
     "c(walk)"},
    {"RefreshOfATagItHasNot", [](EDataTree& tree) { return tree.Refresh(kNoTag) == StatusOk; },
     true, kFilled, "c(walk)"},
    {"RefreshOfALevelItHasNot", [](EDataTree& tree) { return tree.Refresh(kNoLevel) == StatusOk; },
     true, kFilled, "c(walk)"},
    {"SetSortLevels", [](EDataTree& tree) { return tree.SetSortLevels(InOrder({1})); }, true,
     "Sales", "c()"},
    {"SetSortLevelsToThePresent",
     [](EDataTree& tree) {
         return tree.SetSortLevels(InOrder({0, 1, 2}));
     },
     false, kFilled, "c()"},
    {"HideLevel", [](EDataTree& tree) { return tree.SetHideLevelFlags(1, kInTree); }, true, "Sales",
     "c()"},
    {"HideLevels", [](EDataTree& tree) { return tree.SetHideLevelFlags(SetOf(2), kInTree); }, true,
     "Sales", "c()"},
    {"HideNothing", [](EDataTree& tree) { return tree.SetHideLevelFlags(SetOf(1), 0); }, false,
     kFilled, "c()"},
    {"MoveLevel", [](EDataTree& tree) { return tree.MoveSortLevel(1, 0); }, true, kByCity,
     "c(c())"},
    {"MoveLevelNowhere", [](EDataTree& tree) { return tree.MoveSortLevel(1, 1); }, false, kFilled,
     "c()"},
    {"MoveNoHiddenLevels", [](EDataTree& tree) { return tree.MoveHiddenLevelsTo(0); }, false,
     kFilled, "c()"},
    {"CompareData",
     [](EDataTree& tree) { return tree.SetCompareSource(ETabulonSortDesc::CompareOnData); }, true,
     kFilled, "c(c())"},
    {"ComparePresent",
     [](EDataTree& tree) { return tree.SetCompareSource(ETabulonSortDesc::CompareOnDisplay); },
     false, kFilled, "c()"}};
INSTANTIATE_TEST_SUITE_P(All, TreeOperations, testing::ValuesIn(kOperations),
                         [](const auto& given) { return std::string(given.param.name); });

struct TreeModel : testing::Test, Sales {
    EDataTree tree{&cursor, "root", nullptr};
};

TEST_F(TreeModel, RefusedChangesLeaveItAsItIs) {
    tree.Fill();
    const std::string filled = Text(tree);
    const auto trace = MakeRef<SortTrace>();
    tree.SortDesc()->AddNotifier(trace.Get());
    trace->RefuseAt(1);
    EXPECT_FALSE(tree.MoveSortLevel(0, 1));
    trace->RefuseAt(1);
    EXPECT_FALSE(tree.SetHideLevelFlags(0, kInTree));
    EXPECT_EQ(Text(tree), filled);
    EXPECT_EQ(trace->Take(), "?move !none ?levels !none");
    // Nobody is asked or told of another compare source.
    EXPECT_TRUE(tree.SetCompareSource(ETabulonSortDesc::CompareOnData));
    EXPECT_EQ(trace->Take(), "");
    tree.SortDesc()->RemNotifier(trace.Get());
}

TEST_F(TreeModel, HiddenLevelsMoveWithoutAWalkAndDontComeBack) {
    tree.SetHideLevelFlags(1, kInTree);
    tree.Fill();
    EXPECT_EQ(Text(tree), "root{-{2022} DE{-} FR{2021 2022}}");
    EXPECT_TRUE(tree.MoveHiddenLevelsTo(0));
    EXPECT_EQ(Text(tree), "root{-{2022} DE{-} FR{2021 2022}}");
    // Shown past the tree: what the leaves don't hold is not made up by a re-sort.
    tree.SortDesc()->SetHideLevelFlags(1, 0);
    tree.MoveSortLevel(0, 2);
    EXPECT_EQ(tree.Root()->LeafCount(), 0U);
    EXPECT_EQ(CheckTree(*tree.Root()), "");
}

TEST_F(TreeModel, NodesShowTheLevelThatStandsAtTheirDepth) {
    tree.Fill();
    const EDataTreeNode& france = *tree.Get(Tag({{0, "FR"}}));
    EXPECT_EQ(france.DisplayValue().Data(), EVariant("FR"));
    // Past the tree, which doesn't follow.
    tree.SortDesc()->MoveSortLevel(0, 1, ETabulonSortDesc::SortKey::HideInTree);
    EXPECT_TRUE(france.DisplayValue().IsNull());
}

TEST_F(TreeModel, RootShowsNameAndIcon) {
    char icon = 0;
    tree.SetParams("Name", reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(tree.Root()->Icon(), reinterpret_cast<HICON>(&icon));
    EXPECT_EQ(tree.Root()->DisplayValue().DisplayValue(), Chaine("Name"));
    EXPECT_EQ(tree.Root()->DisplayValue().Data(), EVariant("Name"));
    EXPECT_FALSE(tree.Root()->DisplayValue().IsModified());
}

std::string Text(const EDataTreeAlertDesc& alert) {
    std::string text = alert.ID().c_str();
    if (alert.HasTextColor()) {
        char color[12];
        std::snprintf(color, sizeof color, " %06x", alert.TextColor());
        text += color;
    }
    return text + (alert.TextBold() ? " bold" : "") + (alert.TextItalic() ? " italic" : "") +
           (alert.PropagateToParent() ? " up" : "");
}

std::string Text(const PUniqueT<Chaine>& ids) {
    std::string text;
    for (const Chaine& id : ids) {
        text += std::string(text.empty() ? "" : " ") + id.c_str();
    }
    return text;
}

/// "up" propagates, "here" doesn't; colours as their names.
struct RaisedAlerts : ::testing::Test {
    RaisedAlerts() {
        EDataTreeAlertDesc up("up"), here("here"), bold("bold");
        up.SetPropagateToParent(true);
        up.SetTextColor(0xF0);
        here.SetTextColor(0x20);
        here.SetTextItalic(true);
        bold.SetTextBold(true);
        bold.SetPropagateToParent(true);
        for (const EDataTreeAlertDesc& alert : {up, here, bold}) {
            available.DeclareAlert(alert);
        }
    }
    [[nodiscard]] std::string Shown(const ETabulonTag& tag) const {
        return Text(raised.GetDisplayAlert(tag));
    }

    const ETabulonTag root;
    const ETabulonTag france = Tag({{0, "FR"}});
    const ETabulonTag paris = Tag({{0, "FR"}, {1, "Paris"}});
    const ETabulonTag paris2021 = Tag({{0, "FR"}, {1, "Paris"}, {2, 2021}});
    EDataTreeAvailableAlerts available;
    EDataTreeRaisedAlerts raised{available};
};

TEST(AlertDescription, ForgetsTheColourAndKeepsItsNumber) {
    EDataTreeAlertDesc alert("late");
    EXPECT_EQ(Text(alert), "late");
    alert.SetTextColor(0);
    EXPECT_EQ(Text(alert), "late 000000");
    alert.SetTextColor(0xFF);
    alert.ResetTextColor();
    EXPECT_EQ(Text(alert), "late");
    EXPECT_EQ(alert.TextColor(), 0xFFU);
}

TEST(AlertDescription, MergesTheSameWayBothWaysButForTheName) {
    EDataTreeAlertDesc a("a");
    a.SetTextBold(true);
    a.SetTextColor(0x80);
    EDataTreeAlertDesc b("b");
    b.SetTextItalic(true);
    b.SetPropagateToParent(true);
    EXPECT_EQ(Text(EDataTreeAlertDesc::Merge(a, b)), "a,b 000080 bold italic up");
    EXPECT_EQ(Text(EDataTreeAlertDesc::Merge(b, a)), "b,a 000080 bold italic up");
    EXPECT_EQ(Text(EDataTreeAlertDesc::Merge(b, b)), "b,b italic up");
    // What was forgotten doesn't count.
    b.SetTextColor(0x7);
    b.ResetTextColor();
    EXPECT_EQ(EDataTreeAlertDesc::Merge(a, b).TextColor(), 0x80U);
}

TEST(AlertDescription, ColoursAddUpAsNumbers) {
    EDataTreeAlertDesc a("a");
    EDataTreeAlertDesc b("b");
    a.SetTextColor(0x0000FF);
    b.SetTextColor(0x000002);
    EXPECT_EQ(EDataTreeAlertDesc::Merge(a, b).TextColor(), 0x000101U);
    a.SetTextColor(0xFFFFFFFF);
    EXPECT_EQ(EDataTreeAlertDesc::Merge(a, b).TextColor(), 1U);
}

TEST(AvailableAlerts, SecondDeclarationReplacesTheFirst) {
    EDataTreeAvailableAlerts available;
    EDataTreeAlertDesc alert("Late");
    alert.SetTextBold(true);
    available.DeclareAlert(alert);
    available.DeclareAlert(EDataTreeAlertDesc("early"));
    const EDataTreeAvailableAlerts before(available);
    available.DeclareAlert(EDataTreeAlertDesc("LATE"));
    EXPECT_EQ(available.Size(), 2U);
    EXPECT_EQ(Text(available[0U]) + "/" + Text(available[1U]), "early/LATE");
    EXPECT_EQ(Text(before[Chaine("late")]), "Late bold");
    EXPECT_TRUE(available.Exist("late"));
    EXPECT_FALSE(available.Exist("later"));
}

TEST_F(RaisedAlerts, NameBeginsWithAComma) {
    EXPECT_EQ(Shown(france), "");
    raised.Raise(france, "up");
    EXPECT_EQ(Shown(france), ",up 0000f0 up");
    // Of names in the order of their bytes.
    raised.Raise(france, "here");
    raised.Raise(france, "here");
    EXPECT_EQ(Shown(france), ",here,up 000110 italic up");
    raised.Raise(france, "bold");
    EXPECT_EQ(Shown(france), ",bold,here,up 000110 bold italic up");
}

TEST_F(RaisedAlerts, NamesInTwoCasesCountTwice) {
    raised.Raise(france, "here");
    raised.Raise(france, "HERE");
    EXPECT_EQ(Shown(france), ",here,here 000040 italic");
}

TEST_F(RaisedAlerts, PropagateByTheirDeclaration) {
    raised.Raise(paris2021, "up");
    raised.Raise(paris2021, "here");
    raised.Raise(paris, "here");
    EXPECT_EQ(Shown(root), ",up 0000f0 up");
    EXPECT_EQ(Shown(france), ",up 0000f0 up");
    EXPECT_EQ(Shown(paris), ",here,up 000110 italic up");
    EXPECT_EQ(Shown(paris2021), ",here,up 000110 italic up");
    EXPECT_EQ(Shown(Tag({{0, "DE"}})), "");
    EXPECT_EQ(Text(raised.ChildAlertsIDs(paris2021)), "");
    EXPECT_EQ(Text(raised.ChildAlertsIDs(paris)), "up");
    EXPECT_EQ(Text(raised.GetDirectDisplayAlert(paris)), ",here 000020 italic");
    EXPECT_EQ(Text(raised.GetDirectDisplayAlert(france)), "");
    EXPECT_FALSE(raised.HasDirectAlerts(france));
}

TEST_F(RaisedAlerts, AlertsComeThroughAChildThatLacksALevel) {
    // Germany 2022 isn't below France, but it is below 2022 in Paris of no country, which is.
    const ETabulonTag detour = Tag({{1, "Paris"}, {2, 2022}});
    const ETabulonTag germany = Tag({{0, "DE"}, {1, "Paris"}, {2, 2022}});
    raised.Raise(germany, "up");
    EXPECT_EQ(Shown(france), "");
    raised.Raise(detour, "here");
    EXPECT_EQ(Shown(france), ",up 0000f0 up");
    EXPECT_EQ(Shown(root), ",up 0000f0 up");
}

TEST_F(RaisedAlerts, AreTakenBackFromTheTagOnly) {
    raised.Raise(france, "bold");
    raised.Raise(paris, "up");
    raised.Reset(root);
    raised.Reset(france);
    raised.Reset(france);
    EXPECT_FALSE(raised.HasDirectAlerts(france));
    EXPECT_EQ(Shown(france), ",up 0000f0 up");
    raised.Reset();
    EXPECT_EQ(Shown(root), "");
}

TEST_F(RaisedAlerts, MergeAsUnionsByTheFirstOnesDeclarations) {
    EDataTreeAvailableAlerts others;
    EDataTreeRaisedAlerts more(others);
    raised.Raise(france, "up");
    more.Raise(france, "bold");
    more.Raise(france, "up");
    more.Raise(paris, "here");
    const EDataTreeRaisedAlerts merged = EDataTreeRaisedAlerts::Merge(raised, more);
    EXPECT_EQ(&merged.Available(), &available);
    EXPECT_EQ(Text(merged.DirectAlertsIDs(france)) + "/" + Text(merged.DirectAlertsIDs(paris)),
              "bold up/here");
    EXPECT_EQ(Text(raised.DirectAlertsIDs(france)) + "/" + Text(more.DirectAlertsIDs(france)),
              "up/bold up");
}

// The rule in its plain form: a node has the alerts of its children and of all nodes below them.
class LiteralAlerts {
public:
    std::vector<std::pair<ETabulonTag, std::set<std::string>>> raised;
    void AddBelow(const ETabulonTag& tag, std::set<std::string>& ids) const {
        for (const auto& [raisedOn, names] : raised) {
            if (raisedOn.IsChildOf(tag)) {
                ids.insert(names.begin(), names.end());
                ids.erase("here");
                AddBelow(raisedOn, ids);
            }
        }
    }
};

TEST_F(RaisedAlerts, AreFoundAsByTheRecursion) {
    std::mt19937 random(7);
    const auto any = [&random](unsigned int count) {
        return static_cast<unsigned int>(random() % count);
    };
    const auto anyTag = [&any] {
        ETabulonTag tag;
        for (unsigned int level = 0; level < 4; ++level) {
            if (any(2) == 0) {
                tag.SetValue(level, ETabulonValue(EVariant(static_cast<int>(any(2))), "", false));
            }
        }
        return tag;
    };
    for (int turn = 0; turn < 300; ++turn) {
        raised.Reset();
        LiteralAlerts literal;
        for (unsigned int count = any(9); count > 0; --count) {
            const ETabulonTag tag = anyTag();
            static const char* const kNames[] = {"up", "here", "bold"};
            const char* const name = kNames[any(3)];
            raised.Raise(tag, name);
            literal.raised.push_back({tag, {name}});
        }
        const ETabulonTag asked = anyTag();
        std::set<std::string> below;
        literal.AddBelow(asked, below);
        std::string expected;
        for (const std::string& name : below) {
            expected += (expected.empty() ? "" : " ") + name;
        }
        EXPECT_EQ(Text(raised.ChildAlertsIDs(asked)), expected) << turn;
    }
}

}  // namespace
}  // namespace etabulon::test
