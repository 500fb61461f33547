#include "ESqliteConnection.h"

#include "ESqliteError.h"
#include "ESqliteStatement.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <thread>

namespace etabulon {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBusyTurn{5};
constexpr int kBusyTurns = 400;       // two seconds in all
constexpr int kProgressSteps = 4000;  // of SQLite's machine: some 50 microseconds
constexpr int kHeaderSize = 20;
constexpr std::size_t kReadVersionAt = 19;  // 2 = write-ahead log

ESqlError OpenError(const Chaine& location, std::int32_t status, std::string_view what) {
    ESqlError error;
    error.status = status;
    error.text = location;
    error.text.Append(": ");
    error.text.Append(what);
    return error;
}

/// "file:" with whatever has a meaning in a URI escaped.
std::string FileUri(std::string_view path) {
    constexpr char kHex[] = "0123456789ABCDEF";
    // An empty host, or a path that begins with two slashes would name one. A path without folder
    // could be ":memory:", which is no file to SQLite.
    std::string uri = path.substr(0, 1) == "/" ? "file://" : "file:./";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            const auto byte = static_cast<unsigned char>(c);
            uri += {'%', kHex[byte >> 4], kHex[byte & 15]};
        } else {
            uri += c;
        }
    }
    return uri;
}

bool HasContent(const fs::path& path) {
    std::error_code failure;
    const auto size = fs::file_size(path, failure);
    return !failure && size > 0;
}

// Through SQLite: whoever closes another descriptor of the file gives up all locks that this
// process holds on it, those of open transactions too.
bool IsWriteAhead(sqlite3* database) {
    std::array<char, kHeaderSize> header{};
    sqlite3_file* file = nullptr;
    return sqlite3_file_control(database, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
           file != nullptr && file->pMethods != nullptr &&
           file->pMethods->xRead(file, header.data(), kHeaderSize, 0) == SQLITE_OK &&
           header[kReadVersionAt] == 2;
}

/// What a read-only open of a write-ahead database needs so as to create no file. Empty where it
/// can't be read that way.
std::string WriteAheadQuery(const Chaine& location, ESqlError& error) {
    const std::string path(location.View());
    if (HasContent(path + "-shm")) {
        return "?mode=ro&readonly_shm=1";
    }
    if (HasContent(path + "-wal")) {
        error = OpenError(location, DataReadOnly,
                          "its write-ahead log must be recovered, which a read-only open never "
                          "does: open it once for writing");
        return {};
    }
    return "?mode=ro&immutable=1";
}

bool CheckFile(const Chaine& location, ESqlError& error) {
    std::error_code failure;
    const fs::file_status file = fs::status(location.c_str(), failure);
    if (!fs::exists(file)) {
        error = OpenError(location, DataConnectionLost, "there is no such file");
        return false;
    }
    if (fs::is_directory(file)) {
        error = OpenError(location, DataConnectionLost, "this is a folder, not a database");
        return false;
    }
    if (!fs::is_regular_file(file)) {
        error = OpenError(location, DataConnectionLost, "this is no file");
        return false;
    }
    if (::access(location.c_str(), R_OK) != 0) {
        error = OpenError(location, DataReadOnly, "there is no permission to read it");
        return false;
    }
    return true;
}

std::string IdentityOf(const Chaine& location) {
    if (IsSqliteMemory(location)) {
        return location.c_str();
    }
    std::error_code failure;
    const fs::path path = fs::weakly_canonical(location.c_str(), failure);
    return failure ? std::string(location.c_str()) : path.string();
}

}  // namespace

bool IsSqliteMemory(const Chaine& location) noexcept {
    constexpr std::string_view kMark = "?vfs=memdb";
    const std::string_view text = location.View();
    return text.substr(0, 6) == "file:/" && text.size() > kMark.size() &&
           text.substr(text.size() - kMark.size()) == kMark;
}

std::unique_ptr<ESqliteConnection> ESqliteConnection::Open(const Chaine& location,
                                                           ESqlOpenMode mode, ESqlError& error) {
    error = ESqlError{};
    std::string uri(location.View());
    const bool isReadOnly = mode == ESqlOpenMode::ReadOnly;
    if (!IsSqliteMemory(location)) {
        if (!CheckFile(location, error)) {
            return nullptr;
        }
        uri = FileUri(location.View());
    }
    auto connection =
        OpenUri(location, uri, isReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE, error);
    if (connection != nullptr && isReadOnly && !IsSqliteMemory(location) &&
        IsWriteAhead(connection->database_)) {
        const std::string query = WriteAheadQuery(location, error);
        connection =
            query.empty() ? nullptr : OpenUri(location, uri + query, SQLITE_OPEN_READONLY, error);
    }
    if (connection != nullptr && !connection->SetUp(mode)) {
        error = connection->LastError();
        return nullptr;
    }
    return connection;
}

std::unique_ptr<ESqliteConnection> ESqliteConnection::Create(const Chaine& location,
                                                             ESqlError& error) {
    error = ESqlError{};
    const std::string uri =
        IsSqliteMemory(location) ? std::string(location.View()) : FileUri(location.View());
    return OpenUri(location, uri, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, error);
}

std::unique_ptr<ESqliteConnection> ESqliteConnection::OpenUri(const Chaine& location,
                                                              const std::string& uri, int flags,
                                                              ESqlError& error) {
    auto connection =
        std::unique_ptr<ESqliteConnection>(new ESqliteConnection(location, IdentityOf(location)));
    // No mutex of its own: a connection belongs to one table, and that to one thread at a time.
    const int code = sqlite3_open_v2(uri.c_str(), &connection->database_,
                                     flags | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        error = SqliteError(location, connection->database_, code);
        return nullptr;
    }
    sqlite3_extended_result_codes(connection->database_, 1);
    sqlite3_busy_handler(connection->database_, &OnBusy, connection.get());
    sqlite3_progress_handler(connection->database_, kProgressSteps, &OnProgress, connection.get());
    return connection;
}

bool ESqliteConnection::SetUp(ESqlOpenMode mode) {
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
    // Also the size of the runs that a long sort is made of: within one no cancel is seen. A file
    // may ask for any size.
    if (!Execute("PRAGMA cache_size=-1000")) {
        return false;
    }
    if (mode == ESqlOpenMode::ReadOnly) {
        // Not mapped into memory, though walks would be some 5 percent faster: a file that somebody
        // cuts off, or a disk that goes, would end the program.
        return Execute("PRAGMA query_only=1") && Execute("PRAGMA mmap_size=0") &&
               Execute("SELECT count(*) FROM sqlite_schema");
    }
    // The same look at the schema: what is no database shows at once, not at the first walk.
    return Execute("PRAGMA foreign_keys=1") && Execute("SELECT count(*) FROM sqlite_schema");
}

ESqliteConnection::~ESqliteConnection() { sqlite3_close_v2(database_); }

std::unique_ptr<ISqlStatement> ESqliteConnection::Prepare(const std::string& statement) {
    sqlite3_stmt* prepared = nullptr;
    const int code =
        sqlite3_prepare_v3(database_, statement.data(), static_cast<int>(statement.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
    if (code != SQLITE_OK) {
        return nullptr;
    }
    return std::make_unique<ESqliteStatement>(*this, prepared);
}

bool ESqliteConnection::Execute(const char* statement) {
    return sqlite3_exec(database_, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
}

ESqlError ESqliteConnection::LastError() const {
    return SqliteError(location_, database_, sqlite3_extended_errcode(database_));
}

int ESqliteConnection::OnProgress(void* connection) noexcept {
    return static_cast<const ESqliteConnection*>(connection)->IsWalkCancelled() ? 1 : 0;
}

/// SQLite's own wait can't be ended by a cancel.
int ESqliteConnection::OnBusy(void* connection, int turn) noexcept {
    if (turn >= kBusyTurns ||
        static_cast<const ESqliteConnection*>(connection)->IsWalkCancelled()) {
        return 0;
    }
    std::this_thread::sleep_for(kBusyTurn);
    return 1;
}

}  // namespace etabulon
