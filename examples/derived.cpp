// A level that is made from a column: orders by groups of their amounts.

#include "Shop.h"
#include "etabulon/foundation/EDerivation.h"
#include "etabulon/tree/EDataTree.h"

#include <cstdio>

using namespace etabulon;

int main() {
    Shop shop;
    ETabulonLevels levels;
    levels.AddLevel("Amount", "amount group", HICON{});
    ETabulonCursorEData cursor;
    cursor.Init(levels, shop.table.get(), /*ownsTable=*/false);
    if (!cursor.DeclareDerivedField("amount group", "amount", EDerivation::Bin(100))) {
        return 1;
    }
    EDataTree tree(&cursor, "Orders", nullptr);
    tree.SetCompareSource(ETabulonSortDesc::CompareOnValue);
    if (tree.Fill() != StatusOk) {
        return 1;
    }
    for (unsigned int index = 0; index < tree.Root()->Size(); ++index) {
        std::printf("from %s\n", tree.Root()->Get(index)->DisplayValue().DisplayValue().c_str());
    }
    return tree.Root()->LeafCount() == 3 ? 0 : 1;
}
