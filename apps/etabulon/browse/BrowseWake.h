#pragma once

#include "etabulon/controls/EMessagePort.h"

#include <memory>

namespace etabulon {

/// What wakes the main loop from other threads and from signals: messages that were posted, and
/// signals that came. The signals of a terminal program are caught as long as it lives.
///
/// Threads    the main one; wakers and Raise may be called from any. There is one at a time.
class BrowseWake {
public:
    BrowseWake();
    ~BrowseWake();
    BrowseWake(const BrowseWake&) = delete;
    BrowseWake& operator=(const BrowseWake&) = delete;

    /// Readable when something waits.
    [[nodiscard]] int Descriptor() const noexcept;
    [[nodiscard]] EMessagePort::Waker MakeWaker(std::weak_ptr<EMessagePort> port);
    /// As if this signal had come.
    void Raise(int signal) noexcept;

    /// Dispatches the messages that wait.
    void Dispatch();
    /// A signal that came, 0 for none. To be called until there is none.
    [[nodiscard]] int TakeSignal();

private:
    struct Loop;
    class Signals;
    std::shared_ptr<Loop> loop_;
    std::unique_ptr<Signals> signals_;
};

}  // namespace etabulon
