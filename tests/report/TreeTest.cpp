#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/report/EReportTree.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"
#include "examples/Shop.h"

#include <gtest/gtest.h>

#include <string>

namespace etabulon::test {
namespace {

/// The records in one line each: depth, then the cells.
struct Lines final : EReportWriter {
    void Begin(std::span<const EReportColumn> columns) override {
        for (const EReportColumn& column : columns) {
            text += column.name + '|';
        }
        text += '\n';
    }
    void SetDepth(std::uint32_t depth) override { text += std::to_string(depth) + ' '; }
    void Cell(const EReportCell& cell) override { text += std::string(cell.text) + '|'; }
    void EndRecord() override { text += '\n'; }
    void Finish(bool isWhole) override { text += isWhole ? "end" : "broken off"; }
    std::string text;
};

TEST(TreeReport, HasTheNodesWithTheirLeavesAndResults) {
    Shop shop;
    EDataTree tree(&shop.cursor, "orders", nullptr);
    ETabulonSortDesc::SortKeyArray keys;
    keys.Add({kCountry, /*reverse=*/false, 0});
    keys.Add({kCity, /*reverse=*/false, 0});
    tree.SetSortLevels(keys);
    ETabulonCumulFuncOnVarCollection calculations;
    calculations.AddCalculation("SUM", "quantity", TYPE_LONG, 5, "Quantity");
    const auto totals = ETreeTotals::Make(tree.SortDesc(), nullptr);
    ASSERT_TRUE(totals->SetCalculations(calculations));
    shop.cursor.AddNotifier(totals.Get());
    ASSERT_EQ(tree.Fill(), StatusOk);
    Lines lines;
    WriteTree(lines, tree, EReportNames::Of(shop.levels, calculations), totals.Get());
    EXPECT_EQ(lines.text,
              "orders|leaves|SUM(Quantity)|\n0 orders|3|11|\n1 Austria|1|4|\n2 Graz|1|4|\n"
              "1 France|2|7|\n2 Lyon|1|6|\n2 Paris|1|1|\nend");
}

TEST(RecordsReport, HasEachRecordOfAWalk) {
    Shop shop;
    Lines lines;
    const EReportNames names = EReportNames::Of(shop.levels, {});
    EReportRecords records(lines, names, {"id", "amount"});
    const ECursorListening listening(shop.cursor, records);
    ETabulonTag austria;
    austria.SetValue(kCountry, ETabulonValue(EVariant("Austria"), Chaine(), /*modified=*/false));
    ASSERT_EQ(shop.cursor.Browse(austria), StatusOk);
    lines.Finish(/*isWhole=*/true);
    EXPECT_EQ(lines.text,
              "Country|City|Product|id|amount|\nAustria|Graz|Chair|2|120|\n"
              "Austria|Graz|Lamp|5|135|\nend");
}

}  // namespace
}  // namespace etabulon::test
