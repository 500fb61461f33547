#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace etabulon::test {

/// Ends the program when nothing has been fed to it for five seconds: a test that hangs fails at
/// once, with its threads as they stand.
class Watchdog {
public:
    Watchdog() = default;
    ~Watchdog() {
        {
            const std::lock_guard hold(mutex_);
            isOver_ = true;
        }
        fed_.notify_one();
        thread_.join();
    }
    void Feed() {
        {
            const std::lock_guard hold(mutex_);
            ++meals_;
        }
        fed_.notify_one();
    }

private:
    void Watch() {
        std::unique_lock hold(mutex_);
        while (!isOver_) {
            const unsigned int before = meals_;
            if (!fed_.wait_for(hold, std::chrono::seconds(5),
                               [&] { return isOver_ || meals_ != before; })) {
                std::fputs("watchdog: nothing happened for five seconds\n", stderr);
                std::abort();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable fed_;
    unsigned int meals_ = 0;  // guarded by mutex_
    bool isOver_ = false;     // guarded by mutex_
    std::thread thread_{[this] { Watch(); }};
};

}  // namespace etabulon::test
