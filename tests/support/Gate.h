#pragma once

#include <condition_variable>
#include <mutex>

namespace etabulon::test {

/// Holds a thread at a place, until another one lets it pass.
class Gate {
public:
    /// Waits until the gate is open. It stays open.
    void Pass() {
        std::unique_lock hold(mutex_);
        isReached_ = true;
        changed_.notify_all();
        changed_.wait(hold, [this] { return isOpen_; });
    }
    void Open() {
        const std::lock_guard hold(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }
    /// Waits until somebody stands at the gate, or has passed it.
    void WaitReached() {
        std::unique_lock hold(mutex_);
        changed_.wait(hold, [this] { return isReached_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isReached_ = false;
    bool isOpen_ = false;
};

}  // namespace etabulon::test
