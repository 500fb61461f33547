#include "etabulon/sql/ESqlSchema.h"

#include <algorithm>

namespace etabulon {

const char* SqlRowIdName(const ESqlTableInfo& table) {
    for (const char* const name : {"rowid", "_rowid_", "oid"}) {
        const bool isHidden = std::any_of(
            table.columns.begin(), table.columns.end(),
            [name](const ESqlColumn& column) { return column.name.EqualsFolded(Chaine(name)); });
        if (!isHidden) {
            return name;
        }
    }
    return "";
}

}  // namespace etabulon
