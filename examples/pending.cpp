// Edits held aside: seen by every walk over the overlay, written by one save.

#include "Shop.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "etabulon/tree/EDataTree.h"

#include <cstdio>

using namespace etabulon;

static unsigned int Leaves(ETabulonCursor& cursor) {
    EDataTree tree(&cursor, "Orders", nullptr);
    return tree.Fill() == StatusOk ? tree.Root()->LeafCount() : 0;
}

int main() {
    Shop shop;
    if (!shop.cursor.FindUnresolved({"quantity"}).empty()) {
        return 1;  // an edit of an unknown variable shows nothing and writes nothing
    }
    ETabulonPendingChanges changes;
    // A tag that names no city and no product means all records below it.
    changes.AppendUpdate(ETabulonTag{{kCountry, "France"}}, "quantity", EVariant(0));
    changes.AppendDelete(ETabulonTag{{kCountry, "Austria"}});

    ETabulonCursorPending overlay(&shop.cursor, &changes);
    overlay.Init(shop.cursor.Levels());
    const unsigned int before = Leaves(shop.cursor);  // the table, as it is: 5
    const unsigned int after = Leaves(overlay);       // as it will be: 3
    std::printf("%u leaves, %u once this is saved\n", before, after);

    ETabulonSavePending save(&overlay, shop.levels);
    if (const CursorStatus status = save.Run(&changes, ETabulonTag::Null); status != StatusOk) {
        std::printf("not all of it was saved: %d\n", status);
        return 1;
    }
    changes.Reset();
    return before == 5 && after == 3 && Leaves(shop.cursor) == 3 ? 0 : 1;
}
