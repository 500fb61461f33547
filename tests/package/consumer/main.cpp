// What an application does first: open a table, choose its levels, walk it.

#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/DDico.h"
#include "etabulon/foundation/EDataMemory.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/version.h"
#ifdef WITH_ICU
#include "etabulon/icu/EIcuLocaleOrder.h"
#endif
#ifdef WITH_REPORT
#include "etabulon/report/EReportFile.h"
#include "etabulon/report/EReportScene.h"
#include "etabulon/report/EReportXlsx.h"
#endif
#ifdef WITH_SQLITE
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/LoadCsv.h"
#endif

#ifdef WITH_TESTING
#include "etabulon/controls/EDataTreeCtrl.h"
#include "etabulon/controls/EDataTreeMessages.h"
#include "etabulon/testing/EMemoryScreen.h"
#include "etabulon/testing/EMemoryTreeView.h"
#endif

#include <cstdio>
#include <fstream>
#include <string>

using namespace etabulon;

namespace {

class TagWriter final : public ETabulonCursor::INotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag&, const ETabulonCursor&) override { return StatusOk; }
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        text += cursor.CurrentTag().DisplayID();
        return StatusOk;
    }
    void OnDone(const ETabulonCursor&) override {}
    void OnCancel(const ETabulonCursor&) override {}
    void OnError(const ETabulonCursor&, CursorStatus) override { text.Append("error"); }

    Chaine text;
};

ETabulonLevels CountriesAndCities() {
    ETabulonLevels levels;
    levels.AddLevel("Country", "country", HICON{});
    levels.AddLevel("City", "city", HICON{});
    return levels;
}

bool WalksFrance(ETabulonCursor& cursor) {
    ETabulonTag france;
    france.SetValue(0, ETabulonValue(EVariant("France"), Chaine(), /*modified=*/false));
    const auto writer = MakeRef<TagWriter>();
    const ECursorListening listening(cursor, *writer);
    const CursorStatus status = cursor.Browse(france);
    std::printf("%d %s\n", status, writer->text.c_str());
    return status == StatusOk && writer->text == Chaine("[France, Lyon][France, Paris]");
}

bool ShowsATree([[maybe_unused]] ETabulonCursor& cursor) {
#ifdef WITH_TESTING
    EMemoryScreen screen;
    EMemoryTreeView view(screen);
    EDataTreeCtrl tree(screen);
    tree.Attach(&view);
    tree.Init(&cursor, "all", nullptr);
    tree.Fill();
    screen.PumpUntil([&view] { return view.Notified(NotifyBrowseDone) > 0; });
    return view.Items() == "*-all{+Austria -France{Lyon Paris}}";
#else
    return true;
#endif
}

bool WalksMemory() {
    DDico dictionary;
    DRubric* const orders = dictionary.AddRubric("orders");
    for (const char* name : {"id", "country", "city"}) {
        orders->AddVariable(name, name, TYPE_CHAINE, 4);
    }
    orders->SetKey({"id"});
    EDataMemory table(orders);
    table.Append({EVariant("1"), EVariant("France"), EVariant("Lyon")});
    table.Append({EVariant("2"), EVariant("Austria"), EVariant("Graz")});
    table.Append({EVariant("3"), EVariant("France"), EVariant("Paris")});
    ETabulonCursorEData cursor;
    cursor.Init(CountriesAndCities(), &table, /*ownsTable=*/false);
    return WalksFrance(cursor) && ShowsATree(cursor);
}

bool WalksCsv() {
#ifdef WITH_SQLITE
    std::ofstream("orders.csv") << "country,city\nFrance,Lyon\nAustria,Graz\nFrance,Paris\n";
    ESqlError error;
    const auto source = LoadCsv("orders.csv", ECsvOptions(), error);
    auto table = source ? source->OpenTable("orders", error) : nullptr;
    if (!table) {
        std::printf("%s\n", error.text.c_str());
        return false;
    }
    ETabulonCursorSql cursor;
    cursor.Init(CountriesAndCities(), table.release(), /*ownsTable=*/true);
    return WalksFrance(cursor);
#else
    return true;
#endif
}

bool SortsByLanguage() {
#ifdef WITH_ICU
    std::string error;
    return InstallIcuLocaleOrder("sv", error) && Chaine("ö").CompareLocale("z") > 0;
#else
    return true;
#endif
}

bool WritesReports() {
#ifdef WITH_REPORT
    EReportRanking ranking;
    ranking.columns = {{"City", false, true}, {"Orders", true}};
    ranking.lines = {{{EVariant("Lyon")}, {ETabulonValue(EVariant(2), Chaine(), false)}}};
    ranking.totals = {ETabulonValue(EVariant(3), Chaine(), false)};
    std::string error;
    EReportFile sheet;
    EReportFile picture;
    if (!sheet.Open("orders.xlsx", error) || !picture.Open("orders.svg", error)) {
        return false;
    }
    EReportXlsxWriter writer(sheet);
    WriteRanking(writer, ranking);
    WriteSvg(DrawChart(MakeChart(ranking), EReportTheme::Dark()), picture);
    return sheet.Commit(error) && picture.Commit(error);
#else
    return true;
#endif
}

bool IsTheVersionAskedFor() { return std::string(kVersion) == EXPECTED_VERSION; }

}  // namespace

int main() {
    return IsTheVersionAskedFor() && WalksMemory() && WalksCsv() && SortsByLanguage() &&
                   WritesReports()
               ? 0
               : 1;
}
