#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EExport.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace etabulon {

/// A recursive lock that knows its owner and depth.
/// Failure  an unlock by a thread that doesn't hold it does nothing, and is reported in
///          checked builds.
/// Example    include/etabulon/cursors/ETabulonCursor.h
class ETABULON_API ECriticalSection {
public:
    ECriticalSection() = default;
    ECriticalSection(const ECriticalSection&) = delete;
    ECriticalSection& operator=(const ECriticalSection&) = delete;

    void Lock() {
        mutex_.lock();
        owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
        ++depth_;
    }
    void Unlock() {
        E_EXPECTS(IsHeldByThisThread());
        if (!IsHeldByThisThread()) {
            return;
        }
        if (--depth_ == 0) {
            owner_.store(std::thread::id(), std::memory_order_relaxed);
        }
        mutex_.unlock();
    }
    [[nodiscard]] bool IsHeldByThisThread() const noexcept {
        return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }
    /// How often the holder has locked it. Requires IsHeldByThisThread() or quiescence.
    [[nodiscard]] int Depth() const noexcept { return depth_; }

private:
    std::recursive_mutex mutex_;
    std::atomic<std::thread::id> owner_{};
    int depth_ = 0;  // guarded by mutex_
};

/// Holds a critical section for a scope.
/// Example    src/pending/ETabulonPendingChanges.cpp
class ECriticalSectionHold {
public:
    explicit ECriticalSectionHold(ECriticalSection& section) : section_(section) {
        section_.Lock();
    }
    ~ECriticalSectionHold() { section_.Unlock(); }
    ECriticalSectionHold(const ECriticalSectionHold&) = delete;
    ECriticalSectionHold& operator=(const ECriticalSectionHold&) = delete;

private:
    ECriticalSection& section_;
};

}  // namespace etabulon
