#pragma once

#include "etabulon/sql/ESqlSource.h"

#include <map>
#include <memory>
#include <string>

namespace etabulon {

/// Types that the schema doesn't tell: by "table.column", both as named in the database.
using ESqliteTypeHints = std::map<std::string, int>;

/// An SQLite database file.
///
/// Types      by declared type: BOOL..., DATE, TIME, TIMESTAMP and DATETIME; NUMERIC and DECIMAL
///            (p,s) that fit 64 bits become whole (s = 0) or scaled numbers, others TYPE_DOUBLE;
///            then by affinity; BLOB becomes bytes, and a column without a type text. Dates and
///            times are ISO texts. A value of another type reads as missing and is counted.
/// Read-only  changes no byte of the database, and each walk sees one state of it, whatever others
///            write meanwhile. Beside a database in write-ahead mode the log and its index (-wal,
///            -shm) lie as long as it is open; they go with the last connection, but for a log
///            that others have left or written, and its index. Where the file or its folder can't
///            be written no file is made: a log with its index is read with them, a log alone is
///            refused, and without a log the file is read without locks. A step that comes upon
///            a write of others then fails with DataOther, and the source is to be opened again.
/// Read-write foreign keys are enforced.
class ETABULON_API ESqliteSource : public ESqlSource {
public:
    /// Null with `error`: no such file, a directory, not a database, corrupt, locked.
    [[nodiscard]] static std::unique_ptr<ESqliteSource> Open(const Chaine& path, ESqlOpenMode mode,
                                                             ESqlError& error,
                                                             const ESqliteTypeHints& hints = {});
    ~ESqliteSource() override;
    [[nodiscard]] std::unique_ptr<ISqlConnection> Connect(ESqlError& error) override;

private:
    ESqliteSource(const Chaine& path, ESqlOpenMode mode) : ESqlSource(path, mode) {}
};

}  // namespace etabulon
