#include "ESqlProcess.h"

#include "etabulon/foundation/EData.h"
#include "etabulon/sql/ESqlError.h"

#include <condition_variable>
#include <mutex>
#include <unordered_map>

namespace etabulon {

namespace {

struct HeldLock {
    const void* holder;
    std::uint64_t thread;
    std::uint8_t ways;
};

struct Process {
    std::mutex mutex;
    std::condition_variable released;
    std::unordered_map<std::string, HeldLock> locks;                                      // guarded
    std::unordered_map<std::string, std::weak_ptr<std::atomic<std::uint64_t>>> versions;  // guarded
};

/// The thread's number, which unlike the system's is never reused by a later thread.
std::uint64_t ThisThread() {
    static std::atomic<std::uint64_t> last{0};
    thread_local const std::uint64_t number = ++last;
    return number;
}

Process& TheProcess() {
    static Process* const process = new Process;  // tables may outlive the statics
    return *process;
}

}  // namespace

std::int32_t TakeSqlLock(const std::string& name, const void* holder, ESqlLockWay way, bool wait,
                         const std::atomic<bool>& interrupted) {
    Process& process = TheProcess();
    std::unique_lock guard(process.mutex);
    for (;;) {
        const auto [entry, isNew] =
            process.locks.try_emplace(name, HeldLock{holder, ThisThread(), 0});
        if (isNew || entry->second.holder == holder) {
            entry->second.ways |= static_cast<std::uint8_t>(way);
            return DataOk;
        }
        if (!wait || entry->second.thread == ThisThread()) {
            return DataLocked;
        }
        if (interrupted.load()) {
            return kDataInterrupted;
        }
        process.released.wait(guard);
    }
}

void DropSqlLock(const std::string& name, const void* holder, ESqlLockWay way) {
    Process& process = TheProcess();
    const std::lock_guard guard(process.mutex);
    const auto entry = process.locks.find(name);
    if (entry == process.locks.end() || entry->second.holder != holder) {
        return;
    }
    entry->second.ways &= static_cast<std::uint8_t>(~static_cast<std::uint8_t>(way));
    if (entry->second.ways == 0) {
        process.locks.erase(entry);
        process.released.notify_all();
    }
}

void DropSqlLocks(const void* holder) {
    Process& process = TheProcess();
    const std::lock_guard guard(process.mutex);
    if (std::erase_if(process.locks,
                      [holder](const auto& lock) { return lock.second.holder == holder; }) > 0) {
        process.released.notify_all();
    }
}

bool IsSqlLockedByOther(const std::string& name, const void* holder) {
    Process& process = TheProcess();
    const std::lock_guard guard(process.mutex);
    const auto entry = process.locks.find(name);
    return entry != process.locks.end() && entry->second.holder != holder;
}

void WakeSqlLockWaiters() {
    Process& process = TheProcess();
    const std::lock_guard guard(process.mutex);  // no thread is between its test and its wait
    process.released.notify_all();
}

std::shared_ptr<std::atomic<std::uint64_t>> SqlTableVersion(const std::string& table) {
    Process& process = TheProcess();
    const std::lock_guard guard(process.mutex);
    std::weak_ptr<std::atomic<std::uint64_t>>& known = process.versions[table];
    auto version = known.lock();
    if (version == nullptr) {
        version = std::make_shared<std::atomic<std::uint64_t>>(0);
        known = version;
    }
    return version;
}

}  // namespace etabulon
