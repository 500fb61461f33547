// A tree over a database: the wildlife strikes by state and airport, both behind foreign keys.
// Give it the file that data/make-strikes makes.

#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlTable.h"
#include "etabulon/sql/ETabulonCursorSql.h"
#include "etabulon/sqlite/ESqliteSource.h"
#include "etabulon/tree/EDataTree.h"

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

    EDataTree tree(&cursor, "Strikes", nullptr);
    if (const CursorStatus status = tree.Fill(); status != StatusOk) {
        std::fprintf(stderr, "%s (status %d)\n", table->LastErrorText().c_str(), status);
        return 1;
    }
    for (unsigned index = 0; index < tree.Root()->Size(); ++index) {
        const EDataTreeNode& state = *tree.Root()->Get(index);
        std::printf("%s: %u airports\n", state.DisplayValue().DisplayValue().c_str(),
                    state.LeafCount());
    }
    return 0;
}
