#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace etabulon {

// What the tables of this process share about one database.

/// Which of a table's two operations took a lock: each gives back only its own.
enum class ESqlLockWay : std::uint8_t { Table = 1, Record = 2 };

/// Takes the record lock `name` for `holder`. With `wait` until another holder lets go, unless
/// `interrupted` becomes true or the other holder is of this thread, which would wait for ever.
/// The result is a status.
[[nodiscard]] std::int32_t TakeSqlLock(const std::string& name, const void* holder, ESqlLockWay way,
                                       bool wait, const std::atomic<bool>& interrupted);
void DropSqlLock(const std::string& name, const void* holder, ESqlLockWay way);
void DropSqlLocks(const void* holder);
[[nodiscard]] bool IsSqlLockedByOther(const std::string& name, const void* holder);
/// Makes those who wait look at their `interrupted`.
void WakeSqlLockWaiters();

/// Counts the writes of this process to one table.
[[nodiscard]] std::shared_ptr<std::atomic<std::uint64_t>> SqlTableVersion(const std::string& table);

}  // namespace etabulon
