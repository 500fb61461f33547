#pragma once

#include "ESqliteConnection.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <vector>

namespace etabulon {

/// Reads the tables and views with their columns, keys and foreign keys; false with `error`.
[[nodiscard]] bool ReadSqliteSchema(ESqliteConnection& connection, const ESqliteTypeHints& hints,
                                    std::vector<ESqlTableInfo>& tables, ESqlError& error);

/// The names of the foreign key constraints in a CREATE TABLE statement, in the statement's order;
/// empty for a constraint without a name.
[[nodiscard]] std::vector<Chaine> SqliteConstraintNames(std::string_view createTable);
/// Whether a constraint of the table has an ON CONFLICT clause, by which a write could remove
/// another row.
[[nodiscard]] bool SqliteDeclaresConflict(std::string_view createTable);

enum class SqliteAffinity : std::uint8_t {
    None = 0,
    Integer = 1,
    Text = 2,
    Blob = 3,
    Real = 4,
    Numeric = 5,
};
[[nodiscard]] SqliteAffinity SqliteAffinityOf(std::string_view declared);

/// The type of a column by its declared type; see ESqliteSource.
[[nodiscard]] int SqliteColumnType(std::string_view declared);

}  // namespace etabulon
