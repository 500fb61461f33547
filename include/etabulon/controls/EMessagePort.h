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

/// A message on its way to a control. It owns its tag: a message that is never delivered takes the
/// tag with it.
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
/// Failure    std::bad_alloc from Post, and whatever the waker throws: in either case nothing is
///            queued. A message with room of its own is queued whatever happens. After Close, a
///            message dies unheard.
class ETABULON_API EMessagePort {
public:
    class ETABULON_API IReceiver {
    public:
        virtual ~IReceiver() = default;
        /// May move the tag out. May close the port, and even destroy the receiver.
        virtual void OnMessage(EMessage& message) = 0;
    };
    /// Asks the screen's thread to call Dispatch once, soon. Called once for each posted message,
    /// by the thread that posts and under the port's mutex: it must return at once and not come
    /// back to the port. If it throws it is called again, where the message stays.
    using Waker = std::function<void()>;

    /// The receiver is not owned, and must close the port before it goes.
    explicit EMessagePort(IReceiver& receiver) : receiver_(&receiver) {}
    EMessagePort(const EMessagePort&) = delete;
    EMessagePort& operator=(const EMessagePort&) = delete;

    /// Wakes at once for each message that waits already. An empty one wakes nobody.
    void SetWaker(Waker waker);

    void Post(EMessage message);
    /// Sees to it that there is room for that many messages of PostReserved.
    void Reserve(std::size_t count);
    /// Needs no memory and throws nothing as long as there is room.
    void PostReserved(EMessage message);
    /// Wakes for messages whose waker has thrown. So does each post.
    void WakeAgain();
    /// The receiver has answered when this returns.
    void Send(EMessage message);
    /// Delivers the oldest message, outside the mutex. Returns false if none waited.
    bool Dispatch();
    /// Drops what waits, the waker and the receiver. No call of the waker is under way when this
    /// returns.
    void Close();

    [[nodiscard]] bool IsClosed() const;
    /// The messages that wait.
    [[nodiscard]] std::size_t Size() const;

private:
    void WakeForUnwoken() noexcept;

    mutable std::mutex mutex_;
    // All guarded by mutex_.
    IReceiver* receiver_;  // null once closed
    Waker waker_;
    std::list<EMessage> queue_;
    std::list<EMessage> room_;  // empty messages
    std::size_t unwoken_ = 0;   // messages that nobody was woken for
};

}  // namespace etabulon
