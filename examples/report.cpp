// Results as files: a cross table as a spreadsheet, as CSV, as HTML and as a picture.

#include "Shop.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/report/EReportDelimited.h"
#include "etabulon/report/EReportFile.h"
#include "etabulon/report/EReportMarkup.h"
#include "etabulon/report/EReportScene.h"
#include "etabulon/report/EReportXlsx.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstdio>

using namespace etabulon;

/// Writes a file whole, or not at all.
template <class Write>
bool WriteFile(const char* path, Write write) {
    EReportFile file;
    std::string error;
    if (!file.Open(path, error)) {
        std::printf("%s\n", error.c_str());
        return false;
    }
    write(file);
    if (!file.Commit(error)) {
        std::printf("%s\n", error.c_str());
        return false;
    }
    return true;
}

int main() {
    Shop shop;
    ETabulonSortDesc order(shop.levels);
    ETabulonSortDesc::SortKeyArray keys;
    keys.Add({kCountry, /*reverse=*/false, 0});
    keys.Add({kProduct, /*reverse=*/false, 0});
    order.SetSortLevels(keys);
    ETabulonCumulFuncOnVarCollection calculations;
    calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount");
    const auto grid = ETabulonGridFiller::Make(&shop.cursor, nullptr);
    grid->SetParams(&calculations, /*axesCount=*/2, &order);
    const ECursorListening listening(shop.cursor, *grid);
    if (shop.cursor.Browse(ETabulonTag::Null) != StatusOk) {
        return 1;
    }

    const EReportNames names = EReportNames::Of(shop.levels, calculations);
    EReportCross cross;
    EReportGridView view(names, cross);
    grid->SendTo(&view);

    const auto writeCross = [&cross](EReportWriter&& writer) {
        WriteCrosses(writer, {&cross, 1}, /*isNumber=*/true);
    };
    const bool areTables =
        WriteFile("shop.xlsx", [&](EReportSink& file) { writeCross(EReportXlsxWriter(file)); }) &&
        WriteFile("shop.csv", [&](EReportSink& file) { writeCross(EReportCsvWriter(file)); }) &&
        WriteFile("shop.html", [&](EReportSink& file) { writeCross(EReportHtmlWriter(file)); });
    const EReportChart chart = MakeChart(cross);  // a heat map of two axes
    const bool isPicture = WriteFile("shop.svg", [&](EReportSink& file) {
        WriteSvg(DrawChart(chart, EReportTheme::Light()), file);
    });
    std::printf("%s\n", chart.title.c_str());
    return areTables && isPicture && chart.title == "SUM(Amount) by Country and Product" ? 0 : 1;
}
