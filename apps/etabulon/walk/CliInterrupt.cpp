#include "apps/etabulon/walk/CliInterrupt.h"

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/cursors/ETabulonCursor.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <system_error>
#include <utility>

namespace etabulon {
namespace {

constexpr int kSignalExit = 128;

constexpr timespec kMoment{.tv_sec = 0, .tv_nsec = 10'000'000};

/// Ends the process without tidying up: the engine rolls back what a save hasn't committed.
[[noreturn]] void End(int signal, bool saves, const CliOutput& output) noexcept {
    if (saves) {
        WriteError("etabulon: cancelled: nothing was saved\n");
    }
    if (output.IsFile()) {
        WriteError("etabulon: ");
        WriteError(kFileLeft);
        WriteError("\n");
    }
    _exit(kSignalExit + signal);
}

bool IsIgnored(int signal) {
    struct sigaction present {};
    return sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

}  // namespace

CliInterrupt::CliInterrupt(CliOutput& output, bool saves) : saves_(saves), output_(output) {
    sigemptyset(&awaited_);
    if (!IsIgnored(SIGINT)) {
        sigaddset(&awaited_, SIGINT);
    }
    if (saves && !IsIgnored(SIGTERM)) {
        sigaddset(&awaited_, SIGTERM);
    }
    if (sigisemptyset(&awaited_) != 0) {
        return;
    }
    pthread_sigmask(SIG_BLOCK, &awaited_, nullptr);
    try {
        thread_ = std::thread([this] { Wait(); });
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), "no thread can be started");
    }
}

CliInterrupt::~CliInterrupt() {
    if (!thread_.joinable()) {
        return;
    }
    ending_.store(true);
    pthread_kill(thread_.native_handle(), sigismember(&awaited_, SIGINT) != 0 ? SIGINT : SIGTERM);
    thread_.join();
}

void CliInterrupt::Wait() {
    while (!ending_.load()) {
        int signal = 0;
        sigwait(&awaited_, &signal);
        if (!ending_.load()) {
            Raise(signal);
        }
    }
}

CliExit CliInterrupt::Exit() const noexcept {
    return static_cast<CliExit>(kSignalExit + raised_.load());
}

void CliInterrupt::Raise(int signal) {
    {
        const std::lock_guard<std::mutex> guard(lock_);
        if (isCommitting_) {
            return;
        }
        if (handler_) {
            return handler_();
        }
        if (raised_.exchange(signal) != 0) {
            End(signal, saves_, output_);
        }
        if (isAsked_) {
            return;
        }
        if (cursor_ != nullptr) {
            return cursor_->Cancel();
        }
    }
    // A slow reader of the output may keep a line from its end. A second signal ends the process
    // without it. No commit can begin meanwhile: this signal counts.
    while (!output_.TryStop()) {
        const int second = sigtimedwait(&awaited_, nullptr, &kMoment);
        if (ending_.load()) {
            return;
        }
        if (second > 0) {
            End(second, saves_, output_);
        }
    }
    End(signal, saves_, output_);
}

bool CliInterrupt::BeginCommit() {
    const std::lock_guard<std::mutex> guard(lock_);
    isCommitting_ = !IsRaised();
    return isCommitting_;
}

CliInterrupt::Cancelling::Cancelling(CliInterrupt& interrupt, ETabulonCursor& cursor)
    : interrupt_(interrupt) {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.cursor_ = &cursor;
}

CliInterrupt::Cancelling::~Cancelling() {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.cursor_ = nullptr;
}

CliInterrupt::Asking::Asking(CliInterrupt& interrupt) : interrupt_(interrupt) {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.isAsked_ = true;
}

CliInterrupt::Asking::~Asking() {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.isAsked_ = false;
}

CliInterrupt::Handling::Handling(CliInterrupt& interrupt, std::function<void()> handler)
    : interrupt_(interrupt) {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.handler_ = std::move(handler);
}

CliInterrupt::Handling::~Handling() {
    const std::lock_guard<std::mutex> guard(interrupt_.lock_);
    interrupt_.handler_ = nullptr;
}

}  // namespace etabulon
