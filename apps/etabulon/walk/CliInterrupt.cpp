#include "apps/etabulon/walk/CliInterrupt.h"

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/cursors/ETabulonCursor.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <string_view>
#include <system_error>
#include <utility>

namespace etabulon {
namespace {

constexpr int kSignalExit = 128;

/// Ends the process; async-signal-safe. Nothing is tidied up: the engine rolls back what a save
/// hasn't committed.
[[noreturn]] void EndSaving(int signal) noexcept {
    constexpr std::string_view kWords = "etabulon: cancelled: nothing was saved\n";
    static_cast<void>(::write(STDERR_FILENO, kWords.data(), kWords.size()));
    _exit(kSignalExit + signal);
}

[[noreturn]] void EndReading(int signal) noexcept { _exit(kSignalExit + signal); }

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
    for (;;) {
        int signal = 0;
        sigwait(&awaited_, &signal);
        if (ending_.load()) {
            return;
        }
        Raise(signal);
    }
}

CliExit CliInterrupt::Exit() const noexcept {
    return static_cast<CliExit>(kSignalExit + raised_.load());
}

void CliInterrupt::Raise(int signal) {
    const auto end = saves_ ? &EndSaving : &EndReading;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        if (isCommitting_) {
            return;
        }
        if (handler_) {
            return handler_();
        }
        if (raised_.exchange(signal) != 0) {
            end(signal);
        }
        if (cursor_ != nullptr) {
            return cursor_->Cancel();
        }
    }
    // Stop may wait for a slow reader of the output. A second signal ends the process without it.
    // No commit can begin meanwhile: this signal counts.
    struct sigaction atOnce {};
    atOnce.sa_handler = end;
    for (const int second : {SIGINT, SIGTERM}) {
        if (sigismember(&awaited_, second) != 0) {
            sigaction(second, &atOnce, nullptr);
        }
    }
    pthread_sigmask(SIG_UNBLOCK, &awaited_, nullptr);
    output_.Stop();
    pthread_sigmask(SIG_BLOCK, &awaited_, nullptr);
    end(signal);
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
