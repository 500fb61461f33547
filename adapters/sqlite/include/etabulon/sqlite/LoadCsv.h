#pragma once

#include "etabulon/sqlite/ESqliteSource.h"

#include <memory>

namespace etabulon {

/// How a CSV file is loaded, and where to.
struct ECsvOptions {
    /// The SQLite file to load into, made if it doesn't exist. Empty: a database in memory, shared
    /// by the connections of this process, which ends with the source and its tables.
    Chaine database;
    /// Empty: the CSV file's name without folder and extension.
    Chaine table;
    char separator = ',';
    bool header = true;    // the first row names the columns
    bool replace = false;  // replaces an existing table of that name; otherwise that is an error
};

/// Loads a CSV file (RFC 4180, UTF-8 with or without a byte order mark) into a table.
///
/// A column gets the type that all its cells have: whole numbers, reals, ISO dates, times and
/// timestamps, true/false; otherwise text. A cell that a number wouldn't reproduce makes its column
/// text: leading zeros (007), a plus (+5), a bare point (.097), whole numbers beyond 64 bits, or
/// beyond 2^53 beside reals. An empty cell is NULL; a quoted empty cell is an empty text in a text
/// column, and NULL in others. Columns without a name are column1, column2...; a repeated `name`
/// becomes name_2. Null with `error`, which names the line: rows of different lengths, bad quoting,
/// a missing file. After a failure nothing of the file stays in the database.
[[nodiscard]] ETABULON_API std::unique_ptr<ESqliteSource> LoadCsv(const Chaine& path,
                                                                  const ECsvOptions& options,
                                                                  ESqlError& error);

}  // namespace etabulon
