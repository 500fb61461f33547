#pragma once

#include "ESqliteFileState.h"
#include "etabulon/sql/ESqlEngine.h"
#include "etabulon/sql/ESqlSource.h"

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace etabulon {

/// A connection to an SQLite file, or to a named database in memory ("file:/name?vfs=memdb").
class ESqliteConnection final : public ISqlConnection {
public:
    /// Null with `error`, whose text begins with `location`.
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> Open(const Chaine& location,
                                                                 ESqlOpenMode mode,
                                                                 ESqlError& error);
    /// For LoadCsv: makes the file if it doesn't exist.
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> Create(const Chaine& location,
                                                                   ESqlError& error);
    ~ESqliteConnection() override;
    ESqliteConnection(const ESqliteConnection&) = delete;
    ESqliteConnection& operator=(const ESqliteConnection&) = delete;

    std::unique_ptr<ISqlStatement> Prepare(const std::string& statement) override;
    bool Execute(const char* statement) override;
    ESqlError LastError() const override;
    bool Begin() override;
    ESqlOutcome Commit(ESqlError& error) override;
    void Rollback() override;
    bool IsInTransaction() const override { return sqlite3_get_autocommit(database_) == 0; }
    void ResetWait() noexcept override { sharedWait_ = kPatience; }
    void Interrupt() noexcept override { interrupted_.store(true); }
    void ResetInterrupt() noexcept override { interrupted_.store(false); }
    bool IsInterrupted() const noexcept override { return interrupted_.load(); }
    std::int64_t Changes() const override { return sqlite3_changes64(database_); }
    std::int64_t TotalChanges() const override { return sqlite3_total_changes64(database_); }
    const std::string& Identity() const override { return identity_; }
    std::unique_ptr<ISqlConnection> OpenReader() override;
    std::optional<std::int64_t> StateNumber() override;
    bool BeginReading() override;
    void EndReading() noexcept override;

    [[nodiscard]] sqlite3* Handle() const noexcept { return database_; }
    /// Returns `step`, or Failed if pages of two states of the file may have been read.
    [[nodiscard]] ESqlStep Checked(ESqlStep step) {
        return still_ == nullptr ? step : CheckStill(step);
    }
    /// Retries the first step of a statement if `code` is a passing failure. Returns the last code.
    [[nodiscard]] int StepAgain(sqlite3_stmt* statement, int code);
    /// Marks the steps that Interrupt may end; see ESqliteStatement.
    void SetWalking(bool walking) noexcept { walking_ = walking; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kPatience{2};  // the wait for others' locks

    /// The fields of the file's header that tell commits apart.
    struct Header {
        bool isKnown = false;
        bool isWriteAhead = false;
        std::uint32_t changes = 0;  // with a rollback journal each commit adds 1
    };
    /// How long the busy handler waits.
    enum class Waiting : std::uint8_t {
        Alone = 0,   // up to kPatience for each statement
        Shared = 1,  // for the rest of sharedWait_
        Never = 2,
    };
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

    ESqliteConnection(const Chaine& location, std::string identity)
        : location_(location), identity_(std::move(identity)) {}
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> OpenOnce(const Chaine& location,
                                                                     ESqlOpenMode mode,
                                                                     Waiting waiting,
                                                                     ESqlError& error);
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> OpenUri(const Chaine& location,
                                                                    const std::string& uri,
                                                                    int flags, ESqlError& error);
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> OpenWriteAhead(
        std::unique_ptr<ESqliteConnection> plain, const std::string& uri, ESqlError& error);
    [[nodiscard]] bool SetUp(ESqlOpenMode mode);
    [[nodiscard]] ESqlStep CheckStill(ESqlStep step);
    [[nodiscard]] bool PrepareTransactions();
    [[nodiscard]] int Run(const Statement& statement, Waiting waiting);
    [[nodiscard]] Header ReadHeader() const;
    [[nodiscard]] bool IsTakenBack(int code);
    void PlayBack();
    [[nodiscard]] bool IsWalkCancelled() const noexcept {
        return walking_ && interrupted_.load(std::memory_order_relaxed);
    }
    static int OnProgress(void* connection) noexcept;
    static int OnBusy(void* connection, int turn) noexcept;

    Chaine location_;
    std::string identity_;
    sqlite3* database_ = nullptr;
    std::atomic<bool> interrupted_{false};
    bool walking_ = false;  // used only by the connection's own thread
    std::string log_;       // the log's path if the database has one and is open for reading
    // For a file that is read without locks: its state when it was opened, and the page cache's
    // misses up to the last check.
    std::unique_ptr<ESqliteFileState> still_;
    int misses_ = 0;
    Waiting waiting_ = Waiting::Alone;
    Clock::duration ownWait_{};               // the rest of the statement's wait
    Clock::duration sharedWait_ = kPatience;  // the rest of the wait of Begin and Commit
    Header begun_;                            // at the begin of the transaction
    // Prepared with the first transaction, so that ending a transaction needs no memory.
    Statement begin_;
    Statement commit_;
    Statement rollback_;
    Statement look_;
    Statement state_;  // prepared with the first StateNumber
    ESqlOpenMode mode_ = ESqlOpenMode::ReadOnly;
};

/// Whether the location names a database in memory.
[[nodiscard]] bool IsSqliteMemory(const Chaine& location) noexcept;

}  // namespace etabulon
