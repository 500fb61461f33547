#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace etabulon {

// The state that all tables of this process share: locks and versions.

/// The operation that took a lock; each operation's counterpart releases only its own.
enum class ESqlLockWay : std::uint8_t { Table = 1, Record = 2 };

/// Takes the record lock `name` for `holder`. With `wait` it waits for another holder's release,
/// unless `interrupted` becomes true or the other holder belongs to this thread, which would
/// deadlock. The result is a status.
[[nodiscard]] std::int32_t TakeSqlLock(const std::string& name, const void* holder, ESqlLockWay way,
                                       bool wait, const std::atomic<bool>& interrupted);
void DropSqlLock(const std::string& name, const void* holder, ESqlLockWay way);
void DropSqlLocks(const void* holder);
[[nodiscard]] bool IsSqlLockedByOther(const std::string& name, const void* holder);
/// Wakes the waiting threads, so that they test their `interrupted`.
void WakeSqlLockWaiters();

/// Counts the writes of this process to one table.
[[nodiscard]] std::shared_ptr<std::atomic<std::uint64_t>> SqlTableVersion(const std::string& table);

}  // namespace etabulon
