// A nested cross table: country and city down, products across, with subtotals; its lines by
// amount, the cities below the first of a country put together, and the records behind one of the
// cells.

#include "Shop.h"
#include "etabulon/cross/ECrossFiller.h"
#include "etabulon/cross/ECrossTable.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <cstdio>

using namespace etabulon;

void Print(const ECrossTable& table) {
    ETabulonTag label;
    ETabulonValue value;
    for (std::uint32_t line = 0; line < table.Count(ECrossSide::Lines); ++line) {
        const ECrossEntry entry = table.Entry(ECrossSide::Lines, line);
        table.ReadLabel(ECrossSide::Lines, line, label);
        std::printf("%s%s", label.DisplayID().c_str(),
                    entry.part == ECrossEntry::Others     ? " others"
                    : entry.part == ECrossEntry::Subtotal ? " total"
                                                          : "");
        for (std::uint32_t column = 0; column < table.Count(ECrossSide::Columns); ++column) {
            table.ReadValue(line, column, /*calculation=*/0, value);
            std::printf(" %s", value.DisplayValue().c_str());
        }
        const auto share = table.Share(line, ECrossTable::kTotal, 0, ECrossBase::All);
        std::printf(" %.1f%%\n", share.value_or(0));
    }
}

/// Counts the records of a selection.
class Counted : public ECursorListener {
public:
    explicit Counted(const ECrossSelection& chosen) : selection(chosen) {}
    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        count += selection.Has(cursor.CurrentTag()) ? 1 : 0;
        return StatusOk;
    }

    const ECrossSelection& selection;
    int count = 0;
};

int main() {
    Shop shop;
    ETabulonSortDesc order(shop.levels);
    ETabulonCumulFuncOnVarCollection calculations;
    if (calculations.AddCalculation("SUM", "amount", TYPE_DOUBLE, 9, "Amount") < 0 ||
        !shop.cursor.FindUnresolved({"amount"}).empty()) {
        return 1;  // no such function, or no such variable
    }

    const auto cross = ECrossFiller::Make(&shop.cursor, nullptr);
    cross->SetParams(&calculations, &order, /*lines=*/{kCountry, kCity}, /*columns=*/{kProduct});
    {
        const ECursorListening listening(shop.cursor, *cross);
        if (shop.cursor.Browse(ETabulonTag::Null) != StatusOk) {
            return 1;
        }
    }
    ECrossOrder arranged;
    arranged.lines.keys = {{.source = ECrossKey::Total, .isFalling = true, .calculation = 0}};
    arranged.lines.most = {ECrossAxisOrder::kAll, 1};  // all countries, of each the first city
    arranged.lines.others = "others";
    const ECrossTable table(*cross, arranged);
    Print(table);

    const ECrossSelection selection = table.Selection(/*line=*/1, ECrossTable::kTotal);
    const auto records = MakeRef<Counted>(selection);
    const ECursorListening listening(shop.cursor, *records);
    if (shop.cursor.Browse(selection.Tag()) != StatusOk) {
        return 1;
    }
    std::printf("%d record behind the others of France\n", records->count);
    return table.Count(ECrossSide::Lines) == 5 && records->count == 1 ? 0 : 1;
}
