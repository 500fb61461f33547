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

/// Waits for SIGINT in a thread of its own. The first signal cancels the walking cursor, and the
/// command ends in order; if no cursor walks, the process ends after a whole line of the output.
/// The second signal ends the process at once. While a program saves, SIGTERM acts like SIGINT. A
/// signal that was ignored when the program was started stays ignored.
///
/// To be made in the main thread before any other thread, so that all threads inherit the blocked
/// signals.
///
/// Ownership  the output isn't owned and must outlive this.
/// Failure    std::system_error where no thread can be started.
class CliInterrupt {
public:
    /// With `saves`, a process that ends at once first reports on stderr that nothing was saved.
    CliInterrupt(CliOutput& output, bool saves);
    ~CliInterrupt();
    CliInterrupt(const CliInterrupt&) = delete;
    CliInterrupt& operator=(const CliInterrupt&) = delete;

    /// A signal has cancelled the command.
    [[nodiscard]] bool IsRaised() const noexcept { return raised_.load() != 0; }
    /// The exit status of a cancelled program.
    [[nodiscard]] CliExit Exit() const noexcept;

    /// To be called right before a commit, or before a file takes its place: later signals are
    /// ignored, so that the program reports what it saved. Returns false if a signal has come
    /// before.
    [[nodiscard]] bool BeginCommit();

    /// Makes a cursor the one to cancel, for a scope. There is one at a time.
    class [[nodiscard]] Cancelling {
    public:
        Cancelling(CliInterrupt& interrupt, ETabulonCursor& cursor);
        ~Cancelling();
        Cancelling(const Cancelling&) = delete;
        Cancelling& operator=(const Cancelling&) = delete;

    private:
        CliInterrupt& interrupt_;
    };

    /// Makes the first signal only count, for a scope that asks IsRaised again and again.
    class [[nodiscard]] Asking {
    public:
        explicit Asking(CliInterrupt& interrupt);
        ~Asking();
        Asking(const Asking&) = delete;
        Asking& operator=(const Asking&) = delete;

    private:
        CliInterrupt& interrupt_;
    };

    /// Makes every SIGINT call `handler` instead, for a scope, in a program that must tidy up
    /// before it ends. The waiting thread calls the handler; there is one at a time.
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
    bool isAsked_ = false;              // guarded by lock_
    bool isCommitting_ = false;         // guarded by lock_
    std::atomic<int> raised_{0};        // the signal that came; 0 if none
    std::atomic<bool> ending_{false};
    sigset_t awaited_{};  // without the ignored ones
    std::thread thread_;  // none if both signals are ignored
};

}  // namespace etabulon
