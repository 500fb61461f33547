#pragma once

#include "etabulon/foundation/EExport.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

namespace etabulon {

/// A message on its way to a control. It owns its tag, so that a dropped message leaks nothing.
struct EMessage {
    std::uint32_t number = 0;
    std::intptr_t wParam = 0;
    std::unique_ptr<ETabulonTag> tag;  // may be null
};

/// The queue of messages from any thread to one control on the screen's thread.
///
/// Ownership  shared (std::shared_ptr) by the control, its thread object and each run, so that a
///            run that outlives its control posts into a closed port.
/// Threads    Post from any thread. All else on the screen's thread.
/// Order      posted messages arrive in the order of posting. A sent one overtakes them.
/// Failure    Post throws std::bad_alloc, or what the waker throws; in both cases it queues
///            nothing. A reserved message is always queued. A closed port drops all messages.
/// Example    examples/window.cpp
class ETABULON_API EMessagePort {
public:
    class ETABULON_API IReceiver {
    public:
        virtual ~IReceiver() = default;
        /// May move the tag out. May close the port, and even destroy the receiver.
        virtual void OnMessage(EMessage& message) = 0;
    };
    /// Asks the screen's thread to call Dispatch once, soon. The port calls it once for each posted
    /// message, on the posting thread and under the port's mutex: it must return at once and not
    /// call the port. After a waker that threw, the port calls it again for each message that is
    /// still queued.
    using Waker = std::function<void()>;

    /// The receiver is not owned, and must close the port before it goes.
    explicit EMessagePort(IReceiver& receiver) : receiver_(&receiver) {}
    EMessagePort(const EMessagePort&) = delete;
    EMessagePort& operator=(const EMessagePort&) = delete;

    /// Calls the waker at once for each queued message. An empty waker is never called.
    void SetWaker(Waker waker);

    void Post(EMessage message);
    /// Allocates what is missing for `count` messages of PostReserved.
    void Reserve(std::size_t count);
    /// Allocates only if no reserved message is left; otherwise throws nothing.
    void PostReserved(EMessage message);
    /// Calls the waker for messages whose waker has thrown. Each post does so too.
    void WakeAgain();
    /// Returns when the receiver has answered.
    void Send(EMessage message);
    /// Delivers the oldest message, outside the mutex. Returns false if the queue was empty.
    bool Dispatch();
    /// Drops the queued messages, the waker and the receiver. No call of the waker is active when
    /// Close returns.
    void Close();

    [[nodiscard]] bool IsClosed() const;
    /// The number of queued messages.
    [[nodiscard]] std::size_t Size() const;

private:
    void WakeForUnwoken() noexcept;

    mutable std::mutex mutex_;
    // All guarded by mutex_.
    IReceiver* receiver_;  // null once closed
    Waker waker_;
    std::list<EMessage> queue_;
    std::list<EMessage> reserved_;  // empty messages
    std::size_t unwoken_ = 0;       // queued messages that the waker wasn't called for
};

}  // namespace etabulon
