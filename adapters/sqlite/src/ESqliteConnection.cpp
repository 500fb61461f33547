#include "ESqliteConnection.h"

#include "ESqliteError.h"
#include "ESqliteStatement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <thread>

namespace etabulon {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kBusyTurn{5};
constexpr int kLogTurns = 20;
constexpr std::uintmax_t kLogHeaderSize = 32;
constexpr int kProgressSteps = 4000;  // of SQLite's machine: some 50 microseconds
constexpr int kHeaderSize = 28;
constexpr std::size_t kReadVersionAt = 19;  // 2 = write-ahead log
constexpr std::size_t kChangesAt = 24;      // four bytes, the highest first

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

/// 0 where there is no such file. Allocates nothing: a connection that closes asks it too.
std::uintmax_t SizeOf(const std::string& path) noexcept {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 ? static_cast<std::uintmax_t>(found.st_size) : 0;
}

/// The log is a header alone, and stays so: its writer was killed before the first frame. Unless a
/// connection has the log open, a reader with read-only shared memory waits in SQLite for ten
/// seconds, and then fails.
bool IsLogCutOff(const std::string& log) {
    for (int turn = 0; turn < kLogTurns; ++turn) {
        if (SizeOf(log) != kLogHeaderSize) {
            return false;
        }
        std::this_thread::sleep_for(kBusyTurn);
    }
    return true;
}

/// How a write-ahead database is read where nothing may be written beside it. Empty where it can't
/// be.
std::string WriteAheadQuery(const Chaine& location, const std::string& path, ESqlError& error) {
    std::error_code failure;
    if (SizeOf(path + "-shm") > 0 && fs::exists(path + "-wal", failure) &&
        !IsLogCutOff(path + "-wal")) {
        return "?mode=ro&readonly_shm=1";
    }
    if (SizeOf(path + "-wal") > kLogHeaderSize) {
        error = OpenError(location, DataReadOnly,
                          "its write-ahead log must be recovered, and there is no permission to "
                          "write beside it: open it once with that permission");
        return {};
    }
    return "?mode=ro&immutable=1";
}

bool MayWrite(const std::string& path, int mode = W_OK) {
    return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

/// This process may make the log and its index, as any other does that uses the database, and so
/// takes part in the locks. One that may write the folder and not the file could make them too, but
/// neither remove them nor give them to those who may write the file.
bool MayJoin(const std::string& path) {
    const std::string folder = (fs::path(path).parent_path() / ".").string();
    return MayWrite(path) &&
           (MayWrite(folder, W_OK | X_OK) || (MayWrite(path + "-wal") && MayWrite(path + "-shm")));
}

/// A reading that fails so may succeed a moment later: files of the journal come and go with other
/// connections. SQLite's busy handler isn't asked about these.
bool IsPassing(int code) noexcept {
    switch (code & 0xFF) {
        case SQLITE_CANTOPEN:
        case SQLITE_PROTOCOL:
            return true;
        default:
            return code == SQLITE_READONLY_RECOVERY || code == SQLITE_READONLY_CANTINIT ||
                   code == SQLITE_READONLY_ROLLBACK;
    }
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
    const auto end = Clock::now() + kPatience;
    auto connection = OpenOnce(location, mode, error);
    while (connection == nullptr && IsPassing(error.engineCode) && Clock::now() < end) {
        std::this_thread::sleep_for(kBusyTurn);
        connection = OpenOnce(location, mode, error);
    }
    return connection;
}

std::unique_ptr<ESqliteConnection> ESqliteConnection::OpenOnce(const Chaine& location,
                                                               ESqlOpenMode mode,
                                                               ESqlError& error) {
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
        connection->ReadHeader().isWriteAhead) {
        connection = OpenWriteAhead(std::move(connection), uri, error);
    }
    if (connection != nullptr && !connection->SetUp(mode)) {
        error = connection->LastError();
        return nullptr;
    }
    return connection;
}

/// A database in write-ahead mode, opened again so that each walk sees one state, and no byte of
/// the file changes.
std::unique_ptr<ESqliteConnection> ESqliteConnection::OpenWriteAhead(
    std::unique_ptr<ESqliteConnection> plain, const std::string& uri, ESqlError& error) {
    const std::string path = plain->identity_;  // where links lead: the log lies there
    const Chaine location = plain->location_;
    if (HasContent(path + "-journal")) {
        return plain;  // a change of mode was cut off: writing would take it back
    }
    plain.reset();
    if (MayJoin(path)) {
        auto joined = OpenUri(location, uri, SQLITE_OPEN_READWRITE, error);
        if (joined != nullptr) {
            joined->log_ = path + "-wal";
        }
        return joined;
    }
    auto state = std::make_unique<ESqliteFileState>(path);
    const std::string query = WriteAheadQuery(location, path, error);
    auto connection =
        query.empty() ? nullptr : OpenUri(location, uri + query, SQLITE_OPEN_READONLY, error);
    if (connection != nullptr && query.find("immutable") != std::string::npos) {
        connection->still_ = std::move(state);
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
    // Writes walk over a list of keys: read alone, those of a damaged page would be any numbers,
    // and their records be passed over as gone.
    return Execute("PRAGMA foreign_keys=1") && Execute("PRAGMA cell_size_check=1") &&
           Execute("SELECT count(*) FROM sqlite_schema");
}

ESqliteConnection::~ESqliteConnection() {
    for (Statement* const statement : {&begin_, &commit_, &rollback_, &look_}) {
        statement->reset();
    }
    if (!log_.empty() && SizeOf(log_) > 0) {
        // The last to close would move the log into the file. That is for those who wrote it.
        sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    sqlite3_close_v2(database_);
}

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

ESqlStep ESqliteConnection::CheckStill(ESqlStep step) {
    int misses = 0;
    int unused = 0;
    sqlite3_db_status(database_, SQLITE_DBSTATUS_CACHE_MISS, &misses, &unused, 0);
    const bool hasRead = misses != misses_;
    misses_ = misses;
    return hasRead && still_->HasChanged() ? ESqlStep::Failed : step;
}

// --------------------------------------------------------------------------------- transactions

bool ESqliteConnection::PrepareTransactions() {
    const auto prepare = [this](Statement& statement, const char* text) {
        sqlite3_stmt* prepared = statement.release();
        if (prepared == nullptr) {
            sqlite3_prepare_v3(database_, text, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
        }
        statement.reset(prepared);
        return prepared != nullptr;
    };
    return prepare(begin_, "BEGIN IMMEDIATE") && prepare(commit_, "COMMIT") &&
           prepare(rollback_, "ROLLBACK") && prepare(look_, "SELECT 1 FROM sqlite_schema LIMIT 1");
}

int ESqliteConnection::Run(const Statement& statement, Waiting waiting) {
    waiting_ = waiting;
    const int code = sqlite3_step(statement.get());
    sqlite3_reset(statement.get());
    return code;
}

bool ESqliteConnection::Begin() {
    const bool isBegun = PrepareTransactions() &&
                         StepAgain(begin_.get(), Run(begin_, Waiting::Shared)) == SQLITE_DONE;
    sqlite3_reset(begin_.get());
    // In the transaction only writing pages ahead of the commit needs a lock. SQLite does without
    // where another connection reads, and would else wait again with each page.
    waiting_ = isBegun ? Waiting::Never : Waiting::Alone;
    if (isBegun) {
        begun_ = ReadHeader();
    }
    return isBegun;
}

ESqlOutcome ESqliteConnection::Commit(ESqlError& error) {
    const bool wasInTransaction = IsInTransaction();
    const int code = Run(commit_, Waiting::Shared);
    waiting_ = Waiting::Alone;
    if (code == SQLITE_DONE) {
        ResetWait();
        return ESqlOutcome::Committed;
    }
    error = LastError();
    if (!wasInTransaction) {
        return ESqlOutcome::RolledBack;
    }
    if (IsInTransaction()) {
        Rollback();
        return ESqlOutcome::RolledBack;
    }
    if (IsTakenBack(error.engineCode)) {
        PlayBack();
        return ESqlOutcome::RolledBack;
    }
    error.status = kDataUnknown;
    return ESqlOutcome::Unknown;
}

void ESqliteConnection::Rollback() {
    if (IsInTransaction()) {
        static_cast<void>(Run(rollback_, Waiting::Never));
    }
    PlayBack();
    waiting_ = Waiting::Alone;
}

/// After a failure of the disk SQLite leaves the pages that it has written ahead of the commit, and
/// the journal, to the next read. Without one here the file stays so for others, and those that
/// only read it can't play the journal back.
void ESqliteConnection::PlayBack() { static_cast<void>(Run(look_, Waiting::Never)); }

/// Whether a commit that failed with `code`, after which SQLite has closed the transaction, is sure
/// to have changed nothing.
///
/// All pages are read and written before the point of no return, in both kinds of journal. With a
/// rollback journal that point is its deletion. A journal that is still there takes all back with
/// the next read; a commit that went through (the folder can't be synced, the lock not given up,
/// the file not shortened) has counted the header's changes up. With a write-ahead log the last
/// frame commits, and the log is synced behind it: once that frame stands, the next reader of the
/// log may find it, or not.
bool ESqliteConnection::IsTakenBack(int code) {
    constexpr std::array kBeforeReturn = {SQLITE_FULL, SQLITE_IOERR_READ, SQLITE_IOERR_SHORT_READ,
                                          SQLITE_IOERR_WRITE};
    if (std::find(kBeforeReturn.begin(), kBeforeReturn.end(), code) != kBeforeReturn.end()) {
        return true;
    }
    if (!begun_.isKnown || begun_.isWriteAhead) {
        return false;
    }
    bool isSame = false;
    if (sqlite3_step(look_.get()) == SQLITE_ROW) {  // with the lock of a reader, until the reset
        const Header present = ReadHeader();
        isSame = present.isKnown && present.changes == begun_.changes;
    }
    sqlite3_reset(look_.get());
    return isSame;
}

// Through SQLite's own descriptor: closing another one of the file gives up all locks that this
// process holds on it, those of open transactions too.
ESqliteConnection::Header ESqliteConnection::ReadHeader() const {
    std::array<unsigned char, kHeaderSize> bytes{};
    sqlite3_file* file = nullptr;
    Header header;
    if (sqlite3_file_control(database_, "main", SQLITE_FCNTL_FILE_POINTER, &file) == SQLITE_OK &&
        file != nullptr && file->pMethods != nullptr &&
        file->pMethods->xRead(file, bytes.data(), kHeaderSize, 0) == SQLITE_OK) {
        header.isKnown = true;
        header.isWriteAhead = bytes[kReadVersionAt] == 2;
        for (std::size_t i = kChangesAt; i < kChangesAt + 4; ++i) {
            header.changes = header.changes << 8U | bytes[i];
        }
    }
    return header;
}

ESqlError ESqliteConnection::LastError() const {
    if (still_ != nullptr && still_->HasChanged()) {
        return OpenError(location_, DataOther,
                         "another program has written it meanwhile, and without permission to "
                         "write beside it no lock keeps it as it was: read it again");
    }
    return SqliteError(location_, database_, sqlite3_extended_errcode(database_));
}

int ESqliteConnection::StepAgain(sqlite3_stmt* statement, int code) {
    const auto end = Clock::now() + kPatience;
    while (code != SQLITE_DONE && IsPassing(sqlite3_extended_errcode(database_)) &&
           !IsInTransaction() && !IsWalkCancelled() && Clock::now() < end) {
        sqlite3_reset(statement);
        std::this_thread::sleep_for(kBusyTurn);
        code = sqlite3_step(statement);
    }
    return code;
}

int ESqliteConnection::OnProgress(void* connection) noexcept {
    return static_cast<const ESqliteConnection*>(connection)->IsWalkCancelled() ? 1 : 0;
}

/// SQLite's own wait can't be ended by a cancel.
int ESqliteConnection::OnBusy(void* connection, int turn) noexcept {
    auto& self = *static_cast<ESqliteConnection*>(connection);
    const bool isShared = self.waiting_ == Waiting::Shared;
    if (turn == 0 && !isShared) {
        self.ownWait_ = kPatience;
    }
    Clock::duration& left = isShared ? self.sharedWait_ : self.ownWait_;
    if (left <= Clock::duration::zero() || self.waiting_ == Waiting::Never ||
        self.IsWalkCancelled()) {
        return 0;
    }
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(kBusyTurn);
    left -= Clock::now() - start;
    return 1;
}

}  // namespace etabulon
