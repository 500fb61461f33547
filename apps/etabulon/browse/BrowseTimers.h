#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace etabulon {

/// Periodic timers, each with a number, on the steady clock. A timer that fires late skips the
/// periods that it missed.
class BrowseTimers {
    using Clock = std::chrono::steady_clock;
    struct Timer {
        unsigned int timerID;
        std::chrono::milliseconds period;
        Clock::time_point due;
    };
    template <class Timers>
    static auto Next(Timers& timers) {
        return std::min_element(timers.begin(), timers.end(),
                                [](const Timer& a, const Timer& b) { return a.due < b.due; });
    }

public:
    void Start(unsigned int timerID, unsigned int milliseconds) {
        Stop(timerID);
        const std::chrono::milliseconds period(std::max(milliseconds, 1U));
        timers_.push_back({timerID, period, Clock::now() + period});
    }
    void Stop(unsigned int timerID) {
        std::erase_if(timers_, [&](const Timer& timer) { return timer.timerID == timerID; });
    }
    /// Milliseconds until the next timer fires; -1 if there is none.
    [[nodiscard]] int Wait() const {
        const auto next = Next(timers_);
        if (next == timers_.end()) {
            return -1;
        }
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(next->due - Clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(rest.count(), 0));
    }
    /// Calls ring(timerID) for each due timer. The call may start and stop timers.
    template <class Ring>
    void RingDue(Ring ring) {
        const Clock::time_point now = Clock::now();
        for (auto next = Next(timers_); next != timers_.end() && next->due <= now;
             next = Next(timers_)) {
            next->due = now + next->period;
            ring(next->timerID);
        }
    }

private:
    std::vector<Timer> timers_;
};

}  // namespace etabulon
