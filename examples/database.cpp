// A tree over a database: the wildlife strikes by state and airport, both behind foreign keys, and
// how many species were met.
// Give it the file that data/make-strikes makes.

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlTable.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "etabulon/tree/EDataTree.h"
#include "etabulon/tree/ETreeTotals.h"

#include <algorithm>
#include <cstdio>

using namespace etabulon;

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: %s strikes.sqlite\n", arguments[0]);
        return 2;
    }
    ESqlError error;
    const auto source = ESqliteSource::Open(arguments[1], ESqlOpenMode::ReadOnly, error);
    auto table = source != nullptr ? source->OpenTable("strikes", error) : nullptr;
    if (table == nullptr) {
        std::fprintf(stderr, "%s\n", error.text.c_str());
        return 1;
    }

    ETabulonLevels levels;
    levels.AddLevel("State", "strikes.airport>state>name", HICON{});
    levels.AddLevel("Airport", "strikes.airport>name", HICON{});
    ETabulonCursorSql cursor;
    cursor.Init(levels, table.get(), /*ownsTable=*/false);

    // The links of levels are declared by Init, those of calculations by the application.
    const ETabulonVariableID species("strikes.species>name");
    if (!cursor.DeclareLinkField(species) || !cursor.FindUnresolved({species}).empty()) {
        return 1;
    }
    ETabulonCumulFuncOnVarCollection calculations;
    if (calculations.AddCalculation("DISTINCT", species, TYPE_CHAINE, 0, "Species") < 0) {
        return 1;
    }

    EDataTree tree(&cursor, "Strikes", nullptr);
    const auto totals = ETreeTotals::Make(tree.SortDesc(), /*pending=*/nullptr);
    if (!totals->SetCalculations(calculations)) {
        return 1;
    }
    const ECursorListening listening(cursor, *totals);
    if (const CursorStatus status = tree.Fill(); status != StatusOk) {
        std::fprintf(stderr, "%s (status %d)\n", table->LastErrorText().c_str(), status);
        return 1;
    }
    double most = 0;
    for (unsigned int index = 0; index < tree.Root()->Size(); ++index) {
        const EDataTreeNode& state = *tree.Root()->Get(index);
        ETabulonValue kinds;
        totals->ReadResult(state.Tag(), 0, kinds);
        std::printf("%s: %u airports, %s species\n", state.DisplayValue().DisplayValue().c_str(),
                    state.LeafCount(), kinds.DisplayValue().c_str());
        most = std::max(most, kinds.Data().AsDouble());
    }
    return most > 1 ? 0 : 1;
}
