#pragma once

#include "etabulon/controls/EMessagePort.h"

#include <memory>

namespace etabulon {

/// Wakes the main loop for messages posted by other threads and for signals. It catches the signals
/// of a terminal program during its lifetime.
///
/// Threads    the main thread; wakers and Raise may be called from any. One exists at a time.
class BrowseWake {
public:
    BrowseWake();
    ~BrowseWake();
    BrowseWake(const BrowseWake&) = delete;
    BrowseWake& operator=(const BrowseWake&) = delete;

    /// A descriptor that is readable while a message or a signal waits.
    [[nodiscard]] int Descriptor() const noexcept;
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port);
    /// Acts as if this signal had come.
    void Raise(int signal) noexcept;

    /// Dispatches the waiting messages.
    void Dispatch();
    /// Takes a signal that has come; 0 if there is none. To be called until it returns 0.
    [[nodiscard]] int TakeSignal();

private:
    struct Loop;
    class Signals;
    std::shared_ptr<Loop> loop_;
    std::unique_ptr<Signals> signals_;
};

}  // namespace etabulon
