#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace etabulon {

class ETabulonCursor;

/// Waits for SIGINT in a thread of its own. The first one cancels the cursor that is walking, so
/// that what was written stays whole; without such a cursor, and at the second, the process ends at
/// once. A SIGINT that was ignored when the program was started stays ignored.
///
/// Made in the main thread before any other thread, as threads inherit what it blocks.
class CliInterrupt {
public:
    CliInterrupt();
    ~CliInterrupt();
    CliInterrupt(const CliInterrupt&) = delete;
    CliInterrupt& operator=(const CliInterrupt&) = delete;

    /// A SIGINT has come.
    [[nodiscard]] bool IsRaised() const noexcept { return raised_.load(); }

    /// Names the cursor to cancel for a scope. There is one at a time.
    class [[nodiscard]] Cancelling {
    public:
        Cancelling(CliInterrupt& interrupt, ETabulonCursor& cursor);
        ~Cancelling();
        Cancelling(const Cancelling&) = delete;
        Cancelling& operator=(const Cancelling&) = delete;

    private:
        CliInterrupt& interrupt_;
    };

    /// Has every SIGINT call `handler` instead, for a scope: a program that must tidy up before it
    /// ends. Called by the thread that waits; there is one at a time.
    class [[nodiscard]] Handling {
    public:
        Handling(CliInterrupt& interrupt, std::function<void()> handler);
        ~Handling();
        Handling(const Handling&) = delete;
        Handling& operator=(const Handling&) = delete;

    private:
        CliInterrupt& interrupt_;
    };

private:
    void Wait();
    void Raise();

    std::mutex lock_;
    ETabulonCursor* cursor_ = nullptr;  // guarded by lock_
    std::function<void()> handler_;     // guarded by lock_
    std::atomic<bool> raised_{false};
    std::atomic<bool> ending_{false};
    std::thread thread_;  // none where SIGINT is ignored
};

}  // namespace etabulon
