#pragma once

#include "etabulon/sql/ESqlSource.h"

#include <map>
#include <memory>
#include <string>

namespace etabulon {

/// Types of columns whose declaration lacks them, by "table.column" as named in the database.
using ESqliteTypeHints = std::map<std::string, int>;

/// An SQLite database file.
///
/// Types      by declared type: BOOL..., DATE, TIME, TIMESTAMP and DATETIME; NUMERIC and DECIMAL
///            (p,s) that fit 64 bits become whole (s = 0) or scaled numbers, others TYPE_DOUBLE;
///            then by affinity; BLOB becomes bytes, and a column without a type text. Dates and
///            times are ISO texts. A value of another type reads as missing and is counted, and so
///            does a number that has more digits than the column's type can hold.
/// Read-only  changes no byte of the database, and each walk sees one state of it, whatever others
///            write meanwhile. A database in write-ahead mode has its log and index (-wal, -shm)
///            beside it while it is open; the last connection removes them, except a log that
///            others have left or written, and its index. If the file or its folder can't be
///            written, no file is made: a log with an index is read with them, a log without an
///            index is refused, and without a log the file is read without locks. A step that
///            detects a write by others then fails with DataOther, and the program opens the source
///            again.
/// Read-write foreign keys are enforced.
/// Example    examples/database.cpp
class ETABULON_API ESqliteSource : public ESqlSource {
public:
    /// Null with `error` for a missing file, a directory, a file that is no database or corrupt,
    /// and a locked database.
    [[nodiscard]] static std::unique_ptr<ESqliteSource> Open(const Chaine& path, ESqlOpenMode mode,
                                                             ESqlError& error,
                                                             const ESqliteTypeHints& hints = {});
    ~ESqliteSource() override;
    [[nodiscard]] std::unique_ptr<ISqlConnection> Connect(ESqlError& error) override;

private:
    ESqliteSource(const Chaine& path, ESqlOpenMode mode) : ESqlSource(path, mode) {}
};

}  // namespace etabulon
