#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/score/ETabulonScoreFiller.h"
#include "etabulon/tree/EDataTree.h"
#include "pending/SaveFixture.h"
#include "score/ScoreFixture.h"
#include "support/TreeChecker.h"

namespace etabulon::test {
namespace {

/// Items 0 to 29 in three groups, with changes not saved: 5 gone, group 1 but for its 10 gone with
/// it, 11 worth 1000, and new ones: 100 in group 0, worth 50, and 101 in group 7 without a value.
struct ChangedItems : Items {
    ChangedItems() : Items(30) {
        overlay.Init(cursor.Levels());
        changes.AppendDelete(Item(0, 5));
        for (int id = 11; id < 20; ++id) {
            changes.AppendDelete(Item(1, id));
        }
        changes.AppendUpdate(Item(1, 10), "value", 1000);
        changes.AppendInsert(Item(0, 100));
        changes.AppendUpdate(Item(0, 100), "value", 50);
        changes.AppendInsert(Item(7, 101));
    }
    [[nodiscard]] static ETabulonCumulFuncOnVarCollection Calculations() {
        ETabulonCumulFuncOnVarCollection calculations;
        for (const char* function : {"COUNT", "SUM"}) {
            calculations.AddCalculation(function, ETabulonVariableID("value"), TYPE_LONG, 0,
                                        "value");
        }
        return calculations;
    }
    /// What `show` makes of the overlay, of the overlay again below a filler that reads through the
    /// script as well, and of the table once it was saved.
    void ExpectSameAfterSave(
        const char* expected,
        const std::function<std::string(ETabulonCursor&, const ETabulonPendingChanges*)>& show) {
        EXPECT_EQ(show(overlay, nullptr), expected);
        EXPECT_EQ(show(overlay, &changes), expected);
        EXPECT_EQ(Save(), StatusOk);
        EXPECT_EQ(show(cursor, nullptr), expected);
    }

    ETabulonCursorPending overlay{&cursor, &changes};
};

template <class Filler, class View>
std::string Fill(Filler& filler, ETabulonCursor& cursor) {
    {
        const ECursorListening listening(cursor, filler);
        EXPECT_EQ(cursor.Browse(ETabulonTag::Null), StatusOk);
    }
    View view;
    filler.SendTo(&view);
    return view.Take();
}

TEST(OverlayInATree, StandsAsTheSaveLeavesIt) {
    ChangedItems items;
    items.ExpectSameAfterSave(
        "all{0{0 1 100 2 3 4 6 7 8 9} 1{10} 2{20 21 22 23 24 25 26 27 28 29} 7{101}}",
        [](ETabulonCursor& cursor, const ETabulonPendingChanges*) {
            EDataTree tree(&cursor, "all", nullptr);
            ETabulonSortDesc::SortKeyArray keys;
            keys.Add({0, /*reverse=*/false, 0});
            keys.Add({1, /*reverse=*/false, 0});
            tree.SetSortLevels(keys);
            EXPECT_EQ(tree.Fill(), StatusOk);
            EXPECT_EQ(CheckTree(*tree.Root()), "");
            EXPECT_EQ(tree.Root()->LeafCount(), 22U);
            // A branch alone, as after an edit.
            EXPECT_EQ(tree.Refresh(Group(0)), StatusOk);
            EXPECT_EQ(CheckTree(*tree.Root()), "");
            return TreeText(*tree.Root());
        });
}

TEST(OverlayInAGrid, CountsAsTheSaveLeavesIt) {
    ChangedItems items;
    items.ExpectSameAfterSave(
        "start reset axes=2 axe0[0,1,2,7] axe1[Nombre d'éléments,Somme] 0,0=10 1,0=90 "
        "0,1=1 1,1=1000 0,2=10 1,2=245 0,3=1 1,3= column0=22 column1=1335 end",
        [](ETabulonCursor& cursor, const ETabulonPendingChanges* pending) {
            GridSetup setup{0, 1};
            const auto filler =
                ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cursor, pending));
            const auto calculations = ChangedItems::Calculations();
            filler->SetParams(&calculations, 2, &setup.sort);
            return Fill<ETabulonGridFiller, GridTrace>(*filler, cursor);
        });
}

/// Clears the cache at its third record and puts others there, the last of which is then the
/// record: their tags may lie where those of the lines before lay.
class Clearer : public ECursorListener {
public:
    explicit Clearer(ETabulonCursorCache& cache) : cache_(cache) {}
    CursorStatus OnMove(const ETabulonCursor&) override {
        if (++record_ == 3) {
            cache_.ClearCache();
            for (int id = 0; id < 40; ++id) {
                EXPECT_EQ(cache_.Append(Item(id % 4, id)), StatusOk);
            }
        }
        return StatusOk;
    }

private:
    ETabulonCursorCache& cache_;
    int record_ = 0;
};

TEST(CacheInAGrid, CountsEachLineInItsCell) {
    ChangedItems items;
    ETabulonCursorCache cache(&items.overlay);
    GridSetup setup{0, 1};
    const auto filler = ERef<ETabulonGridFiller>::Adopt(ETabulonGridFiller::Build(&cache, nullptr));
    const auto calculations = ChangedItems::Calculations();
    filler->SetParams(&calculations, 2, &setup.sort);
    const auto fill = [&] { return Fill<ETabulonGridFiller, GridTrace>(*filler, cache); };

    const std::string all =
        "start reset axes=2 axe0[0,1,2,7] axe1[Nombre d'éléments,Somme] 0,0=10 1,0=90 "
        "0,1=1 1,1=1000 0,2=10 1,2=245 0,3=1 1,3= column0=22 column1=1335 end";
    EXPECT_EQ(fill(), all);
    EXPECT_EQ(fill(), all) << "from memory";
    EXPECT_EQ(cache.Delete(Group(0)), StatusOk);
    EXPECT_EQ(cache.Append(Item(8, 200)), StatusOk);
    EXPECT_EQ(fill(),
              "start reset axes=2 axe0[1,2,7,8] axe1[Nombre d'éléments,Somme] 0,0=1 1,0=1000 "
              "0,1=10 1,1=245 0,2=1 1,2= 0,3=1 1,3= column0=13 column1=1245 end");
    Clearer clearer(cache);
    const ECursorListening listening(cache, clearer);
    EXPECT_EQ(fill(),
              "start reset axes=2 axe0[0,1,2,3] axe1[Nombre d'éléments,Somme] 0,0=10 1,0= "
              "0,1=11 1,1=1000 0,2=11 1,2=20 0,3=11 1,3= column0=43 column1=1020 end");
}

TEST(OverlayInAScore, RanksAsTheSaveLeavesIt) {
    ChangedItems items;
    items.ExpectSameAfterSave(
        "start reset levels=1 axe[Nombre d'éléments,Somme] "
        "[2]=10,245 [0]=10,90 [1]=1,1000 [7]=1, total=22,1335 end",
        [](ETabulonCursor& cursor, const ETabulonPendingChanges* pending) {
            ScoreSetup setup{0, 1};
            ETabulonScoreFiller filler(&cursor, pending);
            const auto calculations = ChangedItems::Calculations();
            filler.SetParams(&calculations, &setup.sort, 1);
            return Fill<ETabulonScoreFiller, ScoreTrace>(filler, cursor);
        });
}

}  // namespace
}  // namespace etabulon::test
