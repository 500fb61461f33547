#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace etabulon::detail {

/// The index of the last element that a lookup reached; -1 for none. A copy of a container copies
/// its hint. Atomic, so that lookups of one container from two threads disturb each other's speed
/// only.
class EHint {
public:
    constexpr EHint() noexcept = default;
    EHint(const EHint& other) noexcept : index_(other.Get()) {}
    EHint(EHint&& other) noexcept : index_(other.Get()) { other.Set(-1); }
    EHint& operator=(const EHint& other) noexcept {
        Set(other.Get());
        return *this;
    }
    EHint& operator=(EHint&& other) noexcept {
        const std::int32_t index = other.Get();
        other.Set(-1);
        Set(index);
        return *this;
    }

    [[nodiscard]] std::int32_t Get() const noexcept {
        return index_.load(std::memory_order_relaxed);
    }
    /// The hint if it is an index of `size` elements, otherwise -1.
    [[nodiscard]] std::int32_t Within(std::int32_t size) const noexcept {
        const std::int32_t index = Get();
        return index < size ? index : -1;
    }
    /// Writes only a change: a hint that stays keeps its cache line unshared between readers.
    void Set(std::int32_t index) const noexcept {
        if (Get() != index) {
            index_.store(index, std::memory_order_relaxed);
        }
    }

private:
    mutable std::atomic<std::int32_t> index_{-1};
};

}  // namespace etabulon::detail
