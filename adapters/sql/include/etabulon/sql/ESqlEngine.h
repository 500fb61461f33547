#pragma once

#include "etabulon/sql/ESqlError.h"
#include "etabulon/sql/fwd.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace etabulon {

/// One value on its way into a statement, or out of it where a whole row isn't wanted.
/// Bytes are borrowed: until the next step when they come out, until Bind returns when they go in.
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
    Done = 1,    // the real end, and only that
    Failed = 2,  // anything else; the connection tells what
};

/// A prepared statement. It must go before its connection.
class ETABULON_API ISqlStatement {
public:
    virtual ~ISqlStatement() = default;
    /// Parameters are counted from 1 and keep their values over Reset. A value that can't be bound
    /// fails the next step.
    virtual void Bind(int parameter, const ESqlValue& value) = 0;
    /// Never interrupted.
    [[nodiscard]] virtual ESqlStep Step() = 0;
    /// A step of a walk: the row is decoded into `row` in the same call, and Interrupt ends it.
    [[nodiscard]] virtual ESqlStep StepWalk(ESqlRow& row) = 0;
    /// Decodes the row that the statement stands on. False where memory for a value of it ran out:
    /// what `row` holds then isn't the row.
    [[nodiscard]] virtual bool ReadRow(ESqlRow& row) = 0;
    /// A value that can't be read fails the next step.
    [[nodiscard]] virtual ESqlValue Column(int column) = 0;
    /// Ends the run and gives up what it locked.
    virtual void Reset() = 0;
};

/// A connection to an engine: what adapters implement. One thread at a time, but for Interrupt.
class ETABULON_API ISqlConnection {
public:
    virtual ~ISqlConnection() = default;
    /// Null where the statement is bad; the error tells.
    [[nodiscard]] virtual std::unique_ptr<ISqlStatement> Prepare(const std::string& statement) = 0;
    /// Runs a statement without results; false on failure.
    [[nodiscard]] virtual bool Execute(const char* statement) = 0;
    /// Of the last failure.
    [[nodiscard]] virtual ESqlError LastError() const = 0;
    /// Begins a transaction that may write at once; false on failure.
    [[nodiscard]] virtual bool Begin() = 0;
    /// Ends the transaction. Where it isn't committed, `error` tells why, and none is open
    /// afterwards.
    [[nodiscard]] virtual ESqlOutcome Commit(ESqlError& error) = 0;
    /// Takes the transaction back, unless the engine has done so already.
    virtual void Rollback() = 0;
    /// A transaction is open; what an engine says when it can't know is false.
    [[nodiscard]] virtual bool IsInTransaction() const = 0;
    /// Begin and Commit wait for the locks of others for a limited time in all: counted from this
    /// call, or from the last commit that succeeded.
    virtual void ResetWait() noexcept = 0;
    /// From any thread: the walk steps fail with kDataInterrupted until ResetInterrupt.
    virtual void Interrupt() noexcept = 0;
    virtual void ResetInterrupt() noexcept = 0;
    [[nodiscard]] virtual bool IsInterrupted() const noexcept = 0;
    /// How many rows the last write hit.
    [[nodiscard]] virtual std::int64_t Changes() const = 0;
    /// How many rows all writes hit, with what triggers and foreign keys have done to other rows.
    [[nodiscard]] virtual std::int64_t TotalChanges() const = 0;
    /// Names the database within this process, for locks and versions.
    [[nodiscard]] virtual const std::string& Identity() const = 0;
};

}  // namespace etabulon
