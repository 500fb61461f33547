// A cross table: quantities and amounts by country and product, with totals; then a look at the
// records behind one cell.

#include "Shop.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/grid/EGridView.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstdio>

using namespace etabulon;

/// Prints what it is sent, a line for each value.
class Printed : public EGridView {
public:
    void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) override {
        std::printf("axis %u: %s =", direction, axe->DisplayName().c_str());
        for (unsigned int index = 0; index < axe->Size(); ++index) {
            std::printf(" %s", axe->Label(index).DisplayValue().c_str());
        }
        std::printf("\n");
    }
    void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) override {
        std::printf("(%u, %u) %s\n", line, column, value.DisplayValue().c_str());
    }
    using EGridView::SetTotal;  // the totals of the axes stay ignored
    void SetTotal(const ETabulonValue& value) override {
        std::printf("total %s\n", value.DisplayValue().c_str());
        total = value.Data().AsDouble();
    }

    double total = 0;
};

/// Counts the records of a walk and prints their keys.
class Keys : public ECursorListener {
public:
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        std::printf("order %s\n", cursor.PrimaryKey().SingleCode().DisplayValue().c_str());
        ++count;
        return StatusOk;
    }
    int count = 0;
};

int main() {
    Shop shop;
    ETabulonSortDesc order(shop.levels);
    ETabulonSortDesc::SortKeyArray keys;
    keys.Add({kCountry, /*reverse=*/false, 0});
    keys.Add({kProduct, /*reverse=*/false, 0});
    order.SetSortLevels(keys);
    order.SetCompareSource(ETabulonSortDesc::CompareOnValue);

    ETabulonCumulFuncOnVarCollection calculations;
    if (calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount") < 0 ||
        !shop.cursor.FindUnresolved({"amount"}).empty()) {
        return 1;  // no such function, or no such variable
    }

    const auto grid = ETabulonGridFiller::Make(&shop.cursor, nullptr);
    grid->SetParams(&calculations, /*axesCount=*/2, &order);
    {
        const ECursorListening listening(shop.cursor, *grid);
        if (shop.cursor.Browse(ETabulonTag::Null) != StatusOk) {
            return 1;
        }
    }
    Printed view;
    grid->SendTo(&view);

    // What the cell of France and chairs is made of: the tag behind it, and a walk under that tag.
    ETabulonVariableID variable;
    ETabulonTag cell;
    if (!grid->GetSelection(/*column=*/0, /*line=*/1, &variable, &cell)) {
        return 1;
    }
    const auto records = MakeRef<Keys>();
    const ECursorListening listening(shop.cursor, *records);
    const CursorStatus status = shop.cursor.Browse(cell);
    return status == StatusOk && records->count == 1 && view.total == 870 ? 0 : 1;
}
