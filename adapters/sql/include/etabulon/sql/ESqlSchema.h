#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/EExport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace etabulon {

/// Which values a range may push down into SQL: those that SQL compares at most as strictly as
/// variants do, so that the range never becomes narrower than the filter.
enum class ESqlPush : std::uint8_t {
    Never = 0,
    Number = 1,   // whole numbers and reals, by value
    Text = 2,     // texts by bytes, or less strictly
    IsoDate = 3,  // dates stored as YYYY-MM-DD
};

/// A column as the dictionary declares it.
/// Example    apps/etabulon/request/CliDictionary.cpp
struct ESqlColumn {
    Chaine name;             // in the database
    Chaine code;             // of the variable
    Chaine declared;         // the declared type
    int type = TYPE_CHAINE;  // of the variable
    bool notNull = false;
    bool generated = false;     // read, never written
    bool binaryOrder = false;   // the engine orders it by bytes without a COLLATE
    bool foreignOrder = false;  // has a collation of an application, which may be unknown here
    ESqlPush push = ESqlPush::Never;
    std::string isMissing;  // the condition for values that read as missing; empty: not pushed
};

/// What identifies the rows of a table.
enum class ESqlKeyKind : std::uint8_t {
    None = 0,     // a view: walked, never written
    Integer = 1,  // one column that holds only 64-bit integers, which are the positions
    RowId = 2,    // no key, addressed by the engine's own row number, which is the position
    Columns = 3,  // key columns; positions are numbers from a registry
};

/// A foreign key of a table, which its cursors follow as a link.
struct ESqlForeignKey {
    Chaine name;                        // of the constraint, otherwise of its column
    std::vector<unsigned int> columns;  // own, by index
    Chaine target;                      // the table's name in the database
    std::vector<Chaine> targetColumns;  // names in the database; empty: its primary key
};

/// A table or view, whose description is read once when the source is opened.
/// Example    apps/etabulon/request/CliDictionary.cpp
struct ESqlTableInfo {
    Chaine name;
    Chaine code;
    Chaine qualifiedName;  // quoted, with its schema: ready for a statement
    bool isView = false;
    ESqlKeyKind keyKind = ESqlKeyKind::None;
    std::string binaryCollation;  // " COLLATE ..." of the order by bytes
    /// The row number's unquoted name, which no column hides: for RowId, and for Columns if a part
    /// of the key may be NULL. Several rows may have the same key with a NULL; the row number
    /// distinguishes them.
    std::string rowIdName;
    std::string orFail;  // after INSERT or UPDATE: a conflict fails, whatever the table says
    std::vector<unsigned int> key;  // column indexes in key order
    /// " COLLATE ..." of each part of the key; empty if it has its column's collation.
    std::vector<std::string> keyCollations;
    /// The database stores texts as UTF-16. Texts of keys are read as UTF-16 too, since not every
    /// such text survives a conversion to UTF-8 and back.
    bool hasWideTexts = false;
    std::size_t mostColumns = 0;  // the engine's limit for a result; 0: none
    std::vector<ESqlColumn> columns;
    std::vector<ESqlForeignKey> foreignKeys;
};

/// An unquoted name of the row number that no column hides; empty if there is none.
[[nodiscard]] ETABULON_API const char* SqlRowIdName(const ESqlTableInfo& table);

}  // namespace etabulon
