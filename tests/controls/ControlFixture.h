#pragma once

#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemorySurface.h"
#include "etabulon/testing/EMemoryTreeView.h"
#include "support/Storm.h"
#include "tree/ThreadFixture.h"

namespace etabulon::test {

/// A tree control that writes down what it is told: "[][FR]".
class TracedTreeCtrl : public EDataTreeCtrl {
public:
    using EDataTreeCtrl::EDataTreeCtrl;
    using EDataTreeCtrl::Tree;
    std::function<void(const ETabulonTag&)> onConsult;
    std::string consulted;

    void OnConsultNode(const ETabulonTag& tag) override {
        consulted += tag.DisplayID().c_str();
        if (onConsult) {
            onConsult(tag);
        }
    }
};

/// A table of its own: country (0), city (1), year (2).
struct SalesTable {
    SalesTable() : rubric(dico.AddRubric("Sales", "Sales")) {
        AddVariables(*rubric,
                     {{"id", TYPE_LONG},
                      {"country", TYPE_CHAINE},
                      {"city", TYPE_CHAINE},
                      {"year", TYPE_LONG, kNullableLong}},
                     {"id"});
        table = MakeTable(rubric, {{1, "FR", "Paris", 2021},
                                   {2, "FR", "Paris", 2022},
                                   {3, "FR", "Lyon", 2021},
                                   {4, "DE", "Berlin", 2022},
                                   {5, "DE", "Bonn", 2022}});
        levels = LevelsBy({"country", "city", "year"});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
    }
    void Append(int id, const char* country, const char* city, int year) {
        table->Append({id, country, city, year});
    }
    void Delete(const std::vector<int>& ids) { DeleteRecords(*table, ids); }

    DDico dico;
    DRubric* rubric;
    std::unique_ptr<EDataMemory> table;
    ETabulonLevels levels;
    HookedCursor cursor;
};

inline ETabulonTag Place(const char* country) { return Tag({{0, country}}); }
inline ETabulonTag Place(const char* country, const char* city) {
    return Tag({{0, country}, {1, city}});
}
inline ETabulonTag Place(const char* country, const char* city, int year) {
    return Tag({{0, country}, {1, city}, {2, year}});
}

/// A control on the sales, and the screen around it.
class TreeScreen : public testing::Test {
protected:
    TreeScreen() {
        ctrl->Attach(&view);
        ctrl->Init(&sales.cursor, "all", screen.NewIcon("root"));
        screen.MovePointer({1000, 1000});
    }
    [[nodiscard]] int Starts() const { return view.Notified(NotifyBrowseStart); }
    [[nodiscard]] int Troubles() const {
        return view.Notified(NotifyBrowseCancel) + view.Notified(NotifyBrowseError);
    }
    [[nodiscard]] int Ends() const { return view.Notified(NotifyBrowseDone) + Troubles(); }
    /// Handles messages until every started run has ended and its end was reported.
    void WaitForRuns() {
        do {
            screen.PumpUntil([this] { return Starts() - startsOnly == Ends(); });
        } while (screen.PumpWaiting() > 0);
        const ECursorExclusive exclusive(sales.cursor);  // the worker has let go of it
    }
    /// Another control on a cursor, in place of the first one.
    void Reopen(ETabulonCursor& cursor) {
        ctrl = std::make_unique<TracedTreeCtrl>(screen);
        ctrl->Attach(&view);
        ctrl->Init(&cursor, "all", nullptr);
    }
    void Refresh() {
        ctrl->Refresh();
        WaitForRuns();
    }
    void Refresh(const ETabulonTag& tag) {
        ctrl->Refresh(tag);
        WaitForRuns();
    }
    void Fill() {
        ctrl->Fill();
        WaitForRuns();
        screen.Advance(1000);  // the selection of the root has been consulted
        WaitForRuns();
        view.TakeLog();
        ctrl->consulted.clear();
    }

    int startsOnly = 0;  // that a test made up
    SalesTable sales;
    EMemoryScreen screen;
    EMemoryTreeView view{screen};
    std::unique_ptr<TracedTreeCtrl> ctrl = std::make_unique<TracedTreeCtrl>(screen);
};

/// Places in the sales whose values are letters.
class LetterStorm : protected Storm {
protected:
    using Storm::Storm;
    std::string Letter() { return std::string(1, "aBcDe"[Any(5)]); }
    ETabulonTag AnyPlace() {
        return Any(2) == 0 ? Place(Letter().c_str()) : Place(Letter().c_str(), Letter().c_str());
    }
};

inline constexpr const char* kAllItems = "*-all{-DE{+Berlin +Bonn} -FR{+Lyon -Paris{2021 2022}}}";

}  // namespace etabulon::test
