#pragma once

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>

namespace etabulon::test {

/// What the storms have in common, tests that do what they draw and check after each round.
class Storm {
protected:
    explicit Storm(unsigned int seed) : random_(seed) {}

    /// Less than `count`.
    unsigned int Any(std::size_t count) { return static_cast<unsigned int>(random_() % count); }
    /// Does one of these, in one out of `turns` each; the last one has the turns that are left.
    template <class... Actions>
    void DoOne(std::size_t turns, Actions... actions) {
        const std::function<void()> all[] = {std::move(actions)...};
        all[std::min<std::size_t>(Any(turns), std::size(all) - 1)]();
    }

    std::mt19937 random_;
};

}  // namespace etabulon::test
