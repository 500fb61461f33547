// The part of a connection that reads beside others, from one state with them.

#include "ESqliteConnection.h"

namespace etabulon {

std::unique_ptr<ISqlConnection> ESqliteConnection::OpenReader() {
    ESqlError error;
    return StateNumber().has_value() ? OpenOnce(location_, mode_, Waiting::Never, error) : nullptr;
}

// A database in memory has one state for all connections only while they hold its one lock, and a
// file without locks can be read by one statement alone.
std::optional<std::int64_t> ESqliteConnection::StateNumber() {
    int hasMoved = 0;
    if (IsSqliteMemory(location_) || still_ != nullptr || sqlite3_threadsafe() == 0 ||
        sqlite3_file_control(database_, "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved) != SQLITE_OK ||
        hasMoved != 0) {
        return std::nullopt;
    }
    if (state_ == nullptr) {
        sqlite3_stmt* prepared = nullptr;
        sqlite3_prepare_v3(database_, "PRAGMA data_version", -1, SQLITE_PREPARE_PERSISTENT,
                           &prepared, nullptr);
        state_.reset(prepared);
    }
    std::optional<std::int64_t> number;
    if (sqlite3_step(state_.get()) == SQLITE_ROW) {
        number = sqlite3_column_int64(state_.get(), 0);
    }
    sqlite3_reset(state_.get());
    return number;
}

bool ESqliteConnection::BeginReading() {
    // A transaction reads its state with its first statement.
    return Execute("BEGIN") && Execute("SELECT 1 FROM sqlite_schema LIMIT 1");
}

void ESqliteConnection::EndReading() noexcept {
    if (IsInTransaction()) {
        static_cast<void>(Execute("ROLLBACK"));
    }
}

}  // namespace etabulon
