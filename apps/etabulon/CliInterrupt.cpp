#include "apps/etabulon/CliInterrupt.h"

#include "etabulon/cursors/ETabulonCursor.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace etabulon {
namespace {

bool IsIgnored(int signal) {
    struct sigaction present {};
    return sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

}  // namespace

CliInterrupt::CliInterrupt(bool saves) : saves_(saves) {
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
    thread_ = std::thread([this] { Wait(); });
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

void CliInterrupt::Raise(int signal) {
    const std::lock_guard<std::mutex> guard(lock_);
    if (isCommitting_) {
        return;
    }
    if (handler_) {
        return handler_();
    }
    if (cursor_ == nullptr || raised_.exchange(signal) != 0) {
        // There is nothing to tidy up: what a save hasn't committed goes with the process.
        if (saves_) {
            constexpr std::string_view kWords = "etabulon: cancelled: nothing was saved\n";
            static_cast<void>(::write(STDERR_FILENO, kWords.data(), kWords.size()));
        }
        _exit(kSignalExit + signal);
    }
    cursor_->Cancel();
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
