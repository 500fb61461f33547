#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataType.h"

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// What text equality in SQL is worth against the equality of variants: decides what a range may
/// push without becoming narrower than the filter.
enum class ESqlPush : std::uint8_t {
    Never = 0,
    Number = 1,   // whole numbers and reals, by value
    Text = 2,     // texts by bytes, or more widely
    IsoDate = 3,  // dates kept as YYYY-MM-DD
};

/// A column as the dictionary declares it.
struct ESqlColumn {
    Chaine name;             // in the database
    Chaine code;             // of the variable
    Chaine declared;         // the declared type
    int type = TYPE_CHAINE;  // of the variable
    bool notNull = false;
    bool generated = false;     // read, never written
    bool binaryOrder = false;   // is ordered by bytes without being told
    bool foreignOrder = false;  // its own order isn't the engine's, and may be unknown here
    ESqlPush push = ESqlPush::Never;
    std::string isMissing;  // the condition for values that read as missing; empty: never pushed
};

/// How rows of a table are told apart.
enum class ESqlKeyKind : std::uint8_t {
    None = 0,     // a view: walked, never written
    Integer = 1,  // one column that holds nothing but 64-bit integers: the position itself
    RowId = 2,    // no key, addressed by the engine's own row number, which is the position
    Columns = 3,  // key columns; positions are numbers from a registry
};

struct ESqlForeignKey {
    Chaine name;                        // of the constraint, else of its column
    std::vector<unsigned> columns;      // own, by index
    Chaine target;                      // the table's name in the database
    std::vector<Chaine> targetColumns;  // names in the database; empty: its primary key
};

/// A table or view, read once when the source is opened.
struct ESqlTableInfo {
    Chaine name;
    Chaine code;
    Chaine qualifiedName;  // quoted, with its schema: ready for a statement
    bool isView = false;
    ESqlKeyKind keyKind = ESqlKeyKind::None;
    std::string binaryCollation;  // " COLLATE ..." of the order by bytes
    /// For RowId, and for Columns where a part of the key may be NULL: an unquoted name that no
    /// column hides. A key with a NULL in it doesn't tell rows apart; with the row number it does.
    std::string rowIdName;
    std::string orFail;         // behind INSERT or UPDATE: a conflict fails, whatever it declares
    std::vector<unsigned> key;  // column indexes in key order
    /// " COLLATE ..." of each part of the key; empty where it is that of the column.
    std::vector<std::string> keyCollations;
    /// The database keeps texts in UTF-16. Those of keys are read so: not every such text has
    /// a form in UTF-8 that is written back as the same.
    bool hasWideTexts = false;
    std::size_t mostColumns = 0;  // of a statement's result; 0: any number
    std::vector<ESqlColumn> columns;
    std::vector<ESqlForeignKey> foreignKeys;
};

}  // namespace etabulon
