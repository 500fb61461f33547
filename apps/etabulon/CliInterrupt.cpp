#include "apps/etabulon/CliInterrupt.h"

#include "apps/etabulon/CliFailure.h"
#include "etabulon/cursors/ETabulonCursor.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <utility>

namespace etabulon {
namespace {

sigset_t OnlySigInt() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    return set;
}

bool IsIgnored() {
    struct sigaction present {};
    return sigaction(SIGINT, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

}  // namespace

CliInterrupt::CliInterrupt() {
    if (IsIgnored()) {
        return;
    }
    const sigset_t set = OnlySigInt();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    thread_ = std::thread([this] { Wait(); });
}

CliInterrupt::~CliInterrupt() {
    if (!thread_.joinable()) {
        return;
    }
    ending_.store(true);
    pthread_kill(thread_.native_handle(), SIGINT);
    thread_.join();
}

void CliInterrupt::Wait() {
    const sigset_t set = OnlySigInt();
    for (;;) {
        int signal = 0;
        sigwait(&set, &signal);
        if (ending_.load()) {
            return;
        }
        Raise();
    }
}

void CliInterrupt::Raise() {
    const std::lock_guard<std::mutex> guard(lock_);
    if (handler_) {
        return handler_();
    }
    if (cursor_ == nullptr || raised_.exchange(true)) {
        // There is nothing to tidy up: what a save hasn't committed goes with the process.
        _exit(static_cast<int>(CliExit::Cancelled));
    }
    cursor_->Cancel();
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
