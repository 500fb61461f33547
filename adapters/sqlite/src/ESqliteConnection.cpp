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
constexpr int kProgressSteps =
    4000;  // instructions of SQLite's virtual machine: some 50 microseconds
constexpr int kHeaderSize = 28;
constexpr std::size_t kReadVersionAt = 19;  // 2 = write-ahead log
constexpr std::size_t kChangesAt = 24;      // four bytes, big-endian

ESqlError OpenError(const Chaine& location, std::int32_t status, std::string_view what) {
    ESqlError error;
    error.status = status;
    error.text = location;
    error.text.Append(": ");
    error.text.Append(what);
    return error;
}

/// A "file:" URI of the path, with the characters escaped that have a meaning in a URI.
std::string FileUri(std::string_view path) {
    constexpr char kHex[] = "0123456789ABCDEF";
    // The empty host keeps a path that begins with two slashes from naming a host. "./" keeps the
    // path ":memory:" a file.
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

/// The file's size; 0 for a missing file. Allocates nothing, since a destructor calls it.
std::uintmax_t SizeOf(const std::string& path) noexcept {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 ? static_cast<std::uintmax_t>(found.st_size) : 0;
}

/// Whether the log holds only a header and stays so, because its writer was killed before the first
/// frame. With such a log SQLite makes a reader with read-only shared memory wait for ten seconds
/// and then fail, unless another connection has the log open.
bool IsLogCutOff(const std::string& log) {
    for (int turn = 0; turn < kLogTurns; ++turn) {
        if (SizeOf(log) != kLogHeaderSize) {
            return false;
        }
        std::this_thread::sleep_for(kBusyTurn);
    }
    return true;
}

/// The URI parameters for reading a write-ahead database when no file may be written beside it.
/// Empty with `error` if it can't be read.
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

/// Whether this process may make the log and its index, as every user of the database does, and so
/// takes part in its locks. A process that may write the folder but not the file could make them
/// too, but couldn't remove them, and the file's writers couldn't use them.
bool MayJoin(const std::string& path) {
    const std::string folder = (fs::path(path).parent_path() / ".").string();
    return MayWrite(path) &&
           (MayWrite(folder, W_OK | X_OK) || (MayWrite(path + "-wal") && MayWrite(path + "-shm")));
}

/// Whether a read that failed with `code` may succeed a moment later, because other connections
/// make and remove journal files. SQLite doesn't call its busy handler for these failures.
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
    auto connection = OpenOnce(location, mode, Waiting::Alone, error);
    while (connection == nullptr && IsPassing(error.engineCode) && Clock::now() < end) {
        std::this_thread::sleep_for(kBusyTurn);
        connection = OpenOnce(location, mode, Waiting::Alone, error);
    }
    return connection;
}

std::unique_ptr<ESqliteConnection> ESqliteConnection::OpenOnce(const Chaine& location,
                                                               ESqlOpenMode mode, Waiting waiting,
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
    // SQLite opens an unwritable file all the same. A reading of it would leave a log and an index
    // of this user beside it, which keep its owner from writing.
    if (connection != nullptr && !isReadOnly &&
        sqlite3_db_readonly(connection->database_, "main") == 1) {
        error = OpenError(location, DataReadOnly, "there is no permission to write it");
        return nullptr;
    }
    if (connection != nullptr && isReadOnly && !IsSqliteMemory(location) &&
        connection->ReadHeader().isWriteAhead) {
        connection = OpenWriteAhead(std::move(connection), uri, error);
    }
    if (connection == nullptr) {
        return nullptr;
    }
    connection->waiting_ = waiting;
    connection->mode_ = mode;
    if (!connection->SetUp(mode)) {
        error = connection->LastError();
        return nullptr;
    }
    return connection;
}

/// Opens a database in write-ahead mode again, so that each walk sees one state and no byte of the
/// file changes.
std::unique_ptr<ESqliteConnection> ESqliteConnection::OpenWriteAhead(
    std::unique_ptr<ESqliteConnection> plain, const std::string& uri, ESqlError& error) {
    const std::string path = plain->identity_;  // symbolic links resolved: the log is there
    const Chaine location = plain->location_;
    if (HasContent(path + "-journal")) {
        return plain;  // an unfinished change of mode, which only a writer may roll back
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
    // Without SQLite's mutex: a connection belongs to one table, and one thread uses it at a time.
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
    // A table that is written may have triggers that keep an index of texts or places in step,
    // which only a trusted schema may. It finds no function here that reaches out of the database.
    const int isTrusted = mode == ESqlOpenMode::ReadWrite ? 1 : 0;
    sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, isTrusted, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
    // The cache size, which a file may override, is also the size of a long sort's runs. SQLite
    // doesn't notice a cancel within a run.
    if (!Execute("PRAGMA cache_size=-1000")) {
        return false;
    }
    if (mode == ESqlOpenMode::ReadOnly) {
        // Not mapped into memory, though walks would be some 5 percent faster: a file that another
        // program truncates, or a failing disk, would end this program by a signal.
        return Execute("PRAGMA query_only=1") && Execute("PRAGMA mmap_size=0") &&
               Execute("SELECT count(*) FROM sqlite_schema");
    }
    // Reads the schema too, so that opening fails for a file that is no database. Writes walk over
    // a list of keys: the cells of a damaged page could be read as any numbers, and their records
    // be passed over as gone.
    return Execute("PRAGMA foreign_keys=1") && Execute("PRAGMA cell_size_check=1") &&
           Execute("SELECT count(*) FROM sqlite_schema");
}

ESqliteConnection::~ESqliteConnection() {
    for (Statement* const statement : {&begin_, &commit_, &rollback_, &look_, &state_}) {
        statement->reset();
    }
    if (!log_.empty() && SizeOf(log_) > 0) {
        // Closing the last connection would move the log into the file, which a reader mustn't.
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

// ------------------------------------------------------------------------------------ transactions

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
    // Within the transaction SQLite needs a lock only to write pages before the commit. It can do
    // without while another connection reads, but would call the busy handler for each page.
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
/// the journal, to the next read. Without a read here they would stay for other programs, and
/// those that open the file only to read can't play the journal back.
void ESqliteConnection::PlayBack() { static_cast<void>(Run(look_, Waiting::Never)); }

/// Whether a commit that failed with `code`, after which SQLite has closed the transaction,
/// certainly changed nothing.
///
/// With both kinds of journal all pages are read and written before the point of no return. With a
/// rollback journal that point is the journal's deletion. A journal that still exists rolls back at
/// the next read; a commit that took effect, and then failed to sync the folder, to release the
/// lock or to truncate the file, has raised the header's change counter. With a write-ahead log the
/// last frame commits, and the log is synced after it: once that frame is written, the next reader
/// of the log may find it or not.
bool ESqliteConnection::IsTakenBack(int code) {
    constexpr std::array kBeforeReturn = {SQLITE_FULL, SQLITE_IOERR_READ, SQLITE_IOERR_SHORT_READ,
                                          SQLITE_IOERR_CORRUPTFS, SQLITE_IOERR_WRITE};
    if (std::find(kBeforeReturn.begin(), kBeforeReturn.end(), code) != kBeforeReturn.end()) {
        return true;
    }
    if (!begun_.isKnown || begun_.isWriteAhead) {
        return false;
    }
    bool isSame = false;
    if (sqlite3_step(look_.get()) == SQLITE_ROW) {  // holds a read lock until the reset
        const Header present = ReadHeader();
        isSame = present.isKnown && present.changes == begun_.changes;
    }
    sqlite3_reset(look_.get());
    return isSame;
}

// Reads through SQLite's own descriptor: closing another descriptor of the file would release all
// locks that this process holds on it, including those of open transactions.
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

/// Replaces SQLite's own wait, which a cancel can't end.
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
