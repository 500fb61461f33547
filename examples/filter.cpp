// A cursor that shows only some records: the lamps, and what costs more than 400.

#include "Shop.h"
#include "etabulon/cursors/EFilter.h"
#include "etabulon/tree/EDataTree.h"

#include <cstdio>

using namespace etabulon;

int main() {
    Shop shop;
    const EFilter lamps = EFilter::In("product", {"Lamp", "Candle"});
    const EFilter dear = EFilter::Compare("amount", EFilter::Test::Above, 400);
    const EFilter filter = EFilter::Any({lamps, dear});
    if (!shop.cursor.FindUnresolved(filter.Variables()).empty()) {
        return 1;
    }
    shop.cursor.SetFilter(filter);

    EDataTree tree(&shop.cursor, "Orders", nullptr);
    if (tree.Fill() != StatusOk) {
        return 1;
    }
    for (unsigned int index = 0; index < tree.Root()->Size(); ++index) {
        const EDataTreeNode& country = *tree.Root()->Get(index);
        std::printf("%s: %u\n", country.DisplayValue().DisplayValue().c_str(),
                    static_cast<unsigned int>(country.LeafCount()));
    }
    const unsigned int filtered = tree.Root()->LeafCount();
    shop.cursor.SetFilter(EFilter());  // all records again, from the next walk on
    return filtered == 4 && tree.Fill() == StatusOk && tree.Root()->LeafCount() == 5 ? 0 : 1;
}
