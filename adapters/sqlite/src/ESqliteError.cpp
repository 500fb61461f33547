#include "ESqliteError.h"

#include <sqlite3.h>

#include <iterator>

namespace etabulon {

namespace {

struct CodeStatus {
    int code;
    std::int32_t status;
    const char* sentence;  // null: SQLite's own message
};

constexpr const char* kRecover =
    "its write-ahead log must be recovered, which a read-only open never does: open it once for "
    "writing";

constexpr const char* kLocked =
    "it is locked by another connection: try again when that one has ended its work";

// Extended codes stand before their primary code, so that the search finds them first.
constexpr CodeStatus kCodes[] = {
    {SQLITE_CONSTRAINT_PRIMARYKEY, DataDuplicate, nullptr},
    {SQLITE_CONSTRAINT_UNIQUE, DataDuplicate, nullptr},
    {SQLITE_CONSTRAINT_ROWID, DataDuplicate, nullptr},
    {SQLITE_CONSTRAINT, DataConstraint, nullptr},
    {SQLITE_BUSY, DataLocked, kLocked},
    {SQLITE_LOCKED, DataLocked, kLocked},
    {SQLITE_PROTOCOL, DataLocked, kLocked},
    {SQLITE_READONLY_RECOVERY, DataReadOnly, kRecover},
    {SQLITE_READONLY_CANTINIT, DataReadOnly, kRecover},
    {SQLITE_READONLY_ROLLBACK, DataReadOnly,
     "a save that was cut off must be taken back, which a read-only open never does: open it once "
     "for writing"},
    {SQLITE_READONLY, DataReadOnly, "it can't be written"},
    {SQLITE_PERM, DataReadOnly, "there is no permission to open it"},
    {SQLITE_AUTH, DataReadOnly, nullptr},
    {SQLITE_CANTOPEN, DataConnectionLost, "it can't be opened"},
    {SQLITE_NOTADB, DataOther, "it is not an SQLite database"},
    {SQLITE_CORRUPT, DataOther, "the database is corrupt"},
    {SQLITE_IOERR_SHMSIZE, DataOther,
     "the file that its connections share (-shm) can't grow: is the disk full?"},
    {SQLITE_FULL, DataOther, "the disk or the database is full"},
    {SQLITE_NOMEM, DataNoMemory, "memory ran out"},
    {SQLITE_INTERRUPT, kDataInterrupted, "the walk was cancelled"},
    {SQLITE_ERROR, DataBadStatement, nullptr},
    {SQLITE_SCHEMA, DataBadStatement, nullptr},
    {SQLITE_MISMATCH, DataBadStatement, nullptr},
    {SQLITE_RANGE, DataBadStatement, nullptr},
    {SQLITE_TOOBIG, DataBadStatement, nullptr},
};

const CodeStatus* FindCode(int code) noexcept {
    for (const int wanted : {code, code & 0xFF}) {
        for (const CodeStatus& entry : kCodes) {
            if (entry.code == wanted) {
                return &entry;
            }
        }
    }
    return nullptr;
}

}  // namespace

std::int32_t SqliteStatus(int code) noexcept {
    const CodeStatus* const entry = FindCode(code);
    return entry != nullptr ? entry->status : std::int32_t{DataOther};
}

ESqlError SqliteError(const Chaine& location, sqlite3* database, int code) {
    const CodeStatus* const entry = FindCode(code);
    ESqlError error;
    error.status = SqliteStatus(code);
    error.engineCode = code;
    error.text = location;
    error.text.Append(": ");
    if (entry != nullptr && entry->sentence != nullptr) {
        error.text.Append(entry->sentence);
    } else {
        error.text.Append(database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(code));
    }
    return error;
}

}  // namespace etabulon
