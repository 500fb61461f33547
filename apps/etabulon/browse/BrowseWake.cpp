#include "apps/etabulon/browse/BrowseWake.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

namespace etabulon {
namespace {

constexpr unsigned char kMessage = 0;  // no signal has this number

/// The descriptor that the signal handler writes to; set before the handler is installed.
int signalEnd = -1;

/// A failed write is ignored: a full pipe wakes the loop already.
void WriteByte(int descriptor, int byte) noexcept {
    const auto written = static_cast<unsigned char>(byte);
    const int error = errno;
    static_cast<void>(!write(descriptor, &written, 1));
    errno = error;
}

}  // namespace

/// Shared with the wakers, as a worker may call one after the loop has ended.
struct BrowseWake::Loop {
    Loop() {
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "a pipe can't be made");
        }
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop() {
        close(ends[0]);
        close(ends[1]);
    }

    std::array<int, 2> ends{-1, -1};
    std::mutex mutex;
    std::deque<std::weak_ptr<EMessagePort>> waiting;  // guarded by mutex
};

/// Catches the signals that resize or end the program, and restores their former handlers.
class BrowseWake::Signals {
public:
    explicit Signals(int descriptor) {
        signalEnd = descriptor;
        for (std::size_t index = 0; index < kSignals.size(); ++index) {
            struct sigaction caught {};
            caught.sa_handler = [](int signal) { WriteByte(signalEnd, signal); };
            sigaction(kSignals[index], nullptr, &former_[index]);
            if (former_[index].sa_handler != SIG_IGN) {
                sigaction(kSignals[index], &caught, nullptr);
            }
        }
    }
    ~Signals() {
        for (std::size_t index = 0; index < kSignals.size(); ++index) {
            sigaction(kSignals[index], &former_[index], nullptr);
        }
    }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

private:
    static constexpr std::array kSignals = {SIGWINCH, SIGTERM, SIGHUP, SIGQUIT};
    std::array<struct sigaction, kSignals.size()> former_{};
};

BrowseWake::BrowseWake()
    : loop_(std::make_shared<Loop>()), signals_(std::make_unique<Signals>(loop_->ends[1])) {}

BrowseWake::~BrowseWake() = default;

int BrowseWake::Descriptor() const noexcept { return loop_->ends[0]; }

EMessagePort::Waker BrowseWake::MakeWaker(std::weak_ptr<EMessagePort> port) {
    return [loop = loop_, port = std::move(port)] {
        {
            const std::lock_guard hold(loop->mutex);
            loop->waiting.push_back(port);
        }
        WriteByte(loop->ends[1], kMessage);
    };
}

void BrowseWake::Raise(int signal) noexcept { WriteByte(loop_->ends[1], signal); }

void BrowseWake::Dispatch() {
    for (;;) {
        std::weak_ptr<EMessagePort> next;
        {
            const std::lock_guard hold(loop_->mutex);
            if (loop_->waiting.empty()) {
                return;
            }
            next = std::move(loop_->waiting.front());
            loop_->waiting.pop_front();
        }
        if (const auto port = next.lock()) {
            port->Dispatch();
        }
    }
}

int BrowseWake::TakeSignal() {
    unsigned char byte = kMessage;
    while (read(loop_->ends[0], &byte, 1) == 1) {
        if (byte != kMessage) {
            return byte;
        }
    }
    return 0;
}

}  // namespace etabulon
