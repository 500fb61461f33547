// Calculations beside the nodes of a tree: subtotals of every level, under any order of the levels.

#include "Shop.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"

#include <cstdio>

using namespace etabulon;

static void Print(const EDataTreeNode& node, const ETreeTotals& totals) {
    ETabulonValue amount;
    ETabulonValue median;
    totals.ReadResult(node.Tag(), 0, amount);
    totals.ReadResult(node.Tag(), 1, median);
    const int indent = static_cast<int>(2 * node.Depth());
    std::printf("%*s%s %s %s\n", indent, "", node.DisplayValue().DisplayValue().c_str(),
                amount.DisplayValue().c_str(), median.DisplayValue().c_str());
    for (const unsigned int child : totals.OrderOf(node, 0, /*descending=*/true)) {
        Print(*node.Get(child), totals);  // the largest amount first
    }
}

int main() {
    Shop shop;
    EDataTree tree(&shop.cursor, "Orders", nullptr);
    ETabulonCumulFuncOnVarCollection calculations;
    if (calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount") < 0 ||
        calculations.AddCalculation("MEDIAN", "amount", TYPE_DOUBLE, 9, "Median") < 0 ||
        !shop.cursor.FindUnresolved({"amount"}).empty()) {
        return 1;
    }

    const auto totals = ETreeTotals::Make(tree.SortDesc(), /*pending=*/nullptr);
    if (!totals->SetCalculations(calculations)) {
        return 1;  // a function of an application, which can't be merged
    }
    const ECursorListening listening(shop.cursor, *totals);
    if (tree.Fill() != StatusOk) {
        return 1;
    }
    Print(*tree.Root(), *totals);

    tree.MoveSortLevel(kProduct, 0);  // the product first: no walk
    Print(*tree.Root(), *totals);

    ETabulonValue lamps;
    totals->ReadResult(ETabulonTag{{kProduct, "Lamp"}}, 0, lamps);
    return lamps.Data() == EVariant::FromDouble(270) ? 0 : 1;
}
