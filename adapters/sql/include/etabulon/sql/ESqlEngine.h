#pragma once

#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/fwd.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace etabulon {

/// One value that is bound to a statement, or read from it without decoding the whole row. Bytes
/// are borrowed: a read value's until the next step, a bound value's until Bind returns.
/// Example    adapters/sql/src/ESqlRow.cpp
struct ESqlValue {
    enum class Kind : std::uint8_t {
        Null = 0,
        Int = 1,
        Real = 2,
        Text = 3,
        Blob = 4,
        WideText = 5,  // UTF-16 in the machine's byte order: see ESqlTableInfo::hasWideTexts
    };
    Kind kind = Kind::Null;
    std::int64_t integer = 0;
    double real = 0;
    const char* bytes = nullptr;
    std::size_t size = 0;
};

enum class ESqlStep : std::uint8_t {
    Row = 0,
    Done = 1,    // the end of the rows
    Failed = 2,  // anything else; see ISqlConnection::LastError
};

/// A prepared statement. It must go before its connection.
/// Example    adapters/sql/src/ESqlTableState.h
class ETABULON_API ISqlStatement {
public:
    virtual ~ISqlStatement() = default;
    /// Parameters are numbered from 1 and keep their values through Reset. If a value can't be
    /// bound, the next step fails.
    virtual void Bind(int parameter, const ESqlValue& value) = 0;
    /// Runs to its end; Interrupt doesn't affect it.
    [[nodiscard]] virtual ESqlStep Step() = 0;
    /// A step of a walk, which decodes the row into `row` in the same call. Interrupt ends it.
    [[nodiscard]] virtual ESqlStep StepWalk(ESqlRow& row) = 0;
    /// Steps of a walk, each decoded into `rows`, until it has no room for more: then the result is
    /// Row, and the statement stands on the last of them. It is Row too if Interrupt comes between
    /// two steps. At the end, in front of a row after `rows.lastKey`, and at a failure `rows` has
    /// the rows before it.
    [[nodiscard]] virtual ESqlStep StepBlock(ESqlRowBlock& rows) = 0;
    /// Decodes the row that the statement stands on. False if memory ran out; `row` is then
    /// incomplete.
    [[nodiscard]] virtual bool ReadRow(ESqlRow& row) = 0;
    /// If the value can't be read, the next step fails.
    [[nodiscard]] virtual ESqlValue Column(int column) = 0;
    /// Ends the run and releases its locks.
    virtual void Reset() = 0;
    /// The work that the statement has taken since the last call, in about the steps that an engine
    /// makes to read one value; 0 if the engine doesn't count.
    [[nodiscard]] virtual std::int64_t TakeEffort() { return 0; }
};

/// A connection to an engine, which adapters implement. One thread at a time, except for Interrupt.
/// Example    adapters/sql/src/ESqlLinkSource.cpp
class ETABULON_API ISqlConnection {
public:
    virtual ~ISqlConnection() = default;
    /// Null for a bad statement; see LastError.
    [[nodiscard]] virtual std::unique_ptr<ISqlStatement> Prepare(const std::string& statement) = 0;
    /// Runs a statement without results; false on failure.
    [[nodiscard]] virtual bool Execute(const char* statement) = 0;
    /// The error of the last failure.
    [[nodiscard]] virtual ESqlError LastError() const = 0;
    /// Begins a transaction that holds the write lock; false on failure.
    [[nodiscard]] virtual bool Begin() = 0;
    /// Ends the transaction; none is open afterwards. `error` tells why it wasn't committed.
    [[nodiscard]] virtual ESqlOutcome Commit(ESqlError& error) = 0;
    /// Rolls the transaction back, unless the engine has done so already.
    virtual void Rollback() = 0;
    /// Whether a transaction is open; false if the engine can't know.
    [[nodiscard]] virtual bool IsInTransaction() const = 0;
    /// Resets the time limit for locks. Begin and Commit together wait for other connections' locks
    /// for a limited time since this call or the last successful commit.
    virtual void ResetWait() noexcept = 0;
    /// May be called from any thread. StepWalk fails with kDataInterrupted until ResetInterrupt.
    virtual void Interrupt() noexcept = 0;
    virtual void ResetInterrupt() noexcept = 0;
    [[nodiscard]] virtual bool IsInterrupted() const noexcept = 0;
    /// The number of rows that the last write changed.
    [[nodiscard]] virtual std::int64_t Changes() const = 0;
    /// The number of rows that all writes changed, including those by triggers and foreign keys.
    [[nodiscard]] virtual std::int64_t TotalChanges() const = 0;
    /// The database's name within this process, for locks and versions.
    [[nodiscard]] virtual const std::string& Identity() const = 0;

    // ---------------------------------------------------------------- several readers of one state
    /// Another connection to the same database, which never waits for a lock. Null if the engine
    /// has no such readers, and if it can't be opened.
    [[nodiscard]] virtual std::unique_ptr<ISqlConnection> OpenReader() { return nullptr; }
    /// A number that differs from that of an earlier call if other connections have committed in
    /// between; none if the engine can't tell, or the database isn't the one at its location.
    [[nodiscard]] virtual std::optional<std::int64_t> StateNumber() { return std::nullopt; }
    /// Begins a transaction that reads, whose state is that of this moment; false on failure.
    [[nodiscard]] virtual bool BeginReading() { return false; }
    virtual void EndReading() noexcept {}
};

}  // namespace etabulon
