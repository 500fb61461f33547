#include "etabulon/controls/EMessagePort.h"

#include <algorithm>
#include <utility>

namespace etabulon {

void EMessagePort::SetWaker(Waker waker) {
    const std::lock_guard hold(mutex_);
    if (receiver_ == nullptr) {
        return;
    }
    waker_ = std::move(waker);
    unwoken_ = queue_.size();
    WakeForUnwoken();
}

/// The caller holds mutex_.
void EMessagePort::WakeForUnwoken() noexcept {
    if (!waker_) {
        return;
    }
    try {
        for (; unwoken_ > 0; --unwoken_) {
            waker_();
        }
    } catch (...) {
        // The rest is left to the next post or WakeAgain.
    }
}

void EMessagePort::WakeAgain() {
    const std::lock_guard hold(mutex_);
    WakeForUnwoken();
}

void EMessagePort::Reserve(std::size_t count) {
    const std::lock_guard hold(mutex_);
    while (receiver_ != nullptr && reserved_.size() < count) {
        reserved_.emplace_back();
    }
}

void EMessagePort::PostReserved(EMessage message) {
    const std::lock_guard hold(mutex_);
    if (receiver_ == nullptr) {
        return;
    }
    if (reserved_.empty()) {
        reserved_.emplace_back();
    }
    reserved_.front() = std::move(message);
    queue_.splice(queue_.end(), reserved_, reserved_.begin());
    ++unwoken_;
    WakeForUnwoken();
}

void EMessagePort::Post(EMessage message) {
    const std::lock_guard hold(mutex_);
    if (receiver_ == nullptr) {
        return;
    }
    queue_.push_back(std::move(message));
    WakeForUnwoken();
    if (!waker_) {
        ++unwoken_;
    } else {
        try {
            waker_();
        } catch (...) {
            queue_.pop_back();  // the screen's thread wouldn't fetch it
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
        unwoken_ = std::min(unwoken_, queue_.size());
        receiver = receiver_;
    }
    receiver->OnMessage(message);
    return true;
}

void EMessagePort::Close() {
    std::list<EMessage> dropped;  // destroyed outside the mutex
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
