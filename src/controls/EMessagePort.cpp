#include "etabulon/controls/EMessagePort.h"

#include <utility>

namespace etabulon {

void EMessagePort::SetWaker(Waker waker) {
    const std::lock_guard hold(mutex_);
    if (receiver_ == nullptr) {
        return;
    }
    waker_ = std::move(waker);
    if (waker_) {
        for (std::size_t waiting = queue_.size(); waiting > 0; --waiting) {
            waker_();
        }
    }
}

void EMessagePort::Post(EMessage message) {
    const std::lock_guard hold(mutex_);
    if (receiver_ == nullptr) {
        return;
    }
    queue_.push_back(std::move(message));
    if (waker_) {
        try {
            waker_();
        } catch (...) {
            queue_.pop_back();  // nobody would come for it
            throw;
        }
    }
}

void EMessagePort::Send(EMessage message) {
    IReceiver* receiver = nullptr;
    {
        const std::lock_guard hold(mutex_);
        receiver = receiver_;
    }
    if (receiver != nullptr) {
        receiver->OnMessage(message);
    }
}

bool EMessagePort::Dispatch() {
    EMessage message;
    IReceiver* receiver = nullptr;
    {
        const std::lock_guard hold(mutex_);
        if (queue_.empty()) {
            return false;
        }
        message = std::move(queue_.front());
        queue_.pop_front();
        receiver = receiver_;
    }
    receiver->OnMessage(message);
    return true;
}

void EMessagePort::Close() {
    std::deque<EMessage> dropped;  // goes outside the mutex
    Waker cut;
    const std::lock_guard hold(mutex_);
    receiver_ = nullptr;
    dropped.swap(queue_);
    cut.swap(waker_);
}

bool EMessagePort::IsClosed() const {
    const std::lock_guard hold(mutex_);
    return receiver_ == nullptr;
}

std::size_t EMessagePort::Size() const {
    const std::lock_guard hold(mutex_);
    return queue_.size();
}

}  // namespace etabulon
