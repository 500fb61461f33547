#pragma once

#include "etabulon/csv/ECsvFormat.h"
#include "etabulon/sqlite/ESqliteSource.h"

#include <memory>

namespace etabulon {

/// How a CSV file is written, and where it is loaded to.
struct ECsvOptions : ECsvFormat {
    /// The SQLite file to load into, made if it doesn't exist. Empty: a database in memory, shared
    /// by the connections of this process, which ends with the source and its tables.
    Chaine database;
    /// Empty: the CSV file's name without folder and extension.
    Chaine table;
    bool replace = false;  // replaces an existing table of that name; otherwise that is an error
};

/// Loads a CSV file into a table, which has the names, types and values that ECsvTable would give
/// it; dates and times are stored as ISO spells them, and NULL is a missing value. Null with
/// `error`, which names the line, for what ECsvTable fails with. After a failure nothing of the
/// file stays in the database.
[[nodiscard]] ETABULON_API std::unique_ptr<ESqliteSource> LoadCsv(const Chaine& path,
                                                                  const ECsvOptions& options,
                                                                  ESqlError& error);

}  // namespace etabulon
