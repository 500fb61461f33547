#pragma once

#include "etabulon/sqlite/ESqliteSource.h"

#include <memory>

namespace etabulon {

struct ECsvOptions {
    /// The SQLite file to load into, made if it isn't there; empty: a database in memory, shared by
    /// the connections of this process and gone with the source and its tables.
    Chaine database;
    /// Empty: the file's name without folder and extension.
    Chaine table;
    char separator = ',';
    bool header = true;    // the first row names the columns
    bool replace = false;  // an existing table of that name goes; otherwise it is an error
};

/// Reads a CSV file (RFC 4180, UTF-8 with or without a mark at its start) into a table.
///
/// Types are those that every cell of a column has: whole numbers, reals, ISO dates, times and
/// timestamps, true/false; else text. A cell whose spelling a number wouldn't give back keeps its
/// column text: leading zeros (007), a plus (+5), a bare point (.097), whole numbers beyond 64
/// bits, or beyond 2^53 beside reals. An empty cell is NULL; a quoted empty one is an empty text in
/// a text column, and NULL in others. Columns without a name are column1, column2...; a second
/// `name` becomes name_2.
/// Null with `error`, which names the line: rows of different lengths, bad quoting, no such file.
/// Nothing of a file that fails stays in the database.
[[nodiscard]] ETABULON_API std::unique_ptr<ESqliteSource> LoadCsv(const Chaine& path,
                                                                  const ECsvOptions& options,
                                                                  ESqlError& error);

}  // namespace etabulon
