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
    /// Null with `error`, whose sentence begins with `location`.
    [[nodiscard]] static std::unique_ptr<ESqliteConnection> Open(const Chaine& location,
                                                                 ESqlOpenMode mode,
                                                                 ESqlError& error);
    /// For loading: makes the file if it isn't there.
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

    [[nodiscard]] sqlite3* Handle() const noexcept { return database_; }
    /// `step`, or Failed where pages of two states of the file may have been read.
    [[nodiscard]] ESqlStep Checked(ESqlStep step) {
        return still_ == nullptr ? step : CheckStill(step);
    }
    /// Steps a statement that stands at its beginning again, where `code` tells of a state that
    /// passes; the last code.
    [[nodiscard]] int StepAgain(sqlite3_stmt* statement, int code);
    /// Steps that Interrupt may end are marked by this; see ESqliteStatement.
    void SetWalking(bool walking) noexcept { walking_ = walking; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kPatience{2};  // with others' locks

    /// What the header of the file tells of its commits.
    struct Header {
        bool isKnown = false;
        bool isWriteAhead = false;
        std::uint32_t changes = 0;  // with a rollback journal, each commit counts one up
    };
    /// What the busy handler is to do.
    enum class Waiting : std::uint8_t {
        Alone = 0,   // waits as long for each statement
        Shared = 1,  // waits for what is left of sharedWait_
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
    bool walking_ = false;  // of the connection's own thread
    std::string log_;       // the path of the log, where the database has one and is only read
    // Of a file that is read without locks: its state as it was opened, and the pages read so far.
    std::unique_ptr<ESqliteFileState> still_;
    int misses_ = 0;
    Waiting waiting_ = Waiting::Alone;
    Clock::duration ownWait_{};               // what is left of the statement's
    Clock::duration sharedWait_ = kPatience;  // what is left for Begin and Commit
    Header begun_;                            // as the transaction began
    // Made with the first transaction: ending one needs no memory then.
    Statement begin_;
    Statement commit_;
    Statement rollback_;
    Statement look_;
};

/// It names a database in memory.
[[nodiscard]] bool IsSqliteMemory(const Chaine& location) noexcept;

}  // namespace etabulon
