#pragma once

#include "apps/etabulon/request/CliFailure.h"

#include <signal.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace etabulon {

class CliOutput;
class ETabulonCursor;

/// Waits for SIGINT in a thread of its own. The first one cancels the cursor that is walking, which
/// ends the command in order; without such a cursor the process ends, after a whole line of the
/// output. The second one ends it at once. In a program that saves SIGTERM does the same as SIGINT.
/// A signal that was ignored when the program was started stays ignored.
///
/// Made in the main thread before any other thread, as threads inherit what it blocks.
/// Ownership  the output isn't owned and must outlive this.
/// Failure    std::system_error where no thread can be started.
class CliInterrupt {
public:
    /// With `saves` the program first says on stderr that nothing was saved where it ends at once.
    CliInterrupt(CliOutput& output, bool saves);
    ~CliInterrupt();
    CliInterrupt(const CliInterrupt&) = delete;
    CliInterrupt& operator=(const CliInterrupt&) = delete;

    /// A signal has come that cancels.
    [[nodiscard]] bool IsRaised() const noexcept { return raised_.load() != 0; }
    /// What the program ends with after that.
    [[nodiscard]] CliExit Exit() const noexcept;

    /// The point of no return, right before the commit: from here on signals don't count, so that
    /// the program reports what it has saved. False where a signal has come before.
    [[nodiscard]] bool BeginCommit();

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
    const bool saves_;

    void Wait();
    void Raise(int signal);

    CliOutput& output_;
    std::mutex lock_;
    ETabulonCursor* cursor_ = nullptr;  // guarded by lock_
    std::function<void()> handler_;     // guarded by lock_
    bool isCommitting_ = false;         // guarded by lock_
    std::atomic<int> raised_{0};        // the signal
    std::atomic<bool> ending_{false};
    sigset_t awaited_{};  // but for those that are ignored
    std::thread thread_;  // none where both are
};

}  // namespace etabulon
