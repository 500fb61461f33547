#pragma once

namespace etabulon::detail {

/// Starts to load the cache line of `address`, for a read or a write that follows soon. Any address
/// will do.
inline void PrefetchToRead(const void* address) noexcept {
    __builtin_prefetch(address);
    // GCC drops calls of functions whose only effect is a prefetch. The empty statement is an
    // effect to it.
    __asm__ volatile("");
}
inline void PrefetchToWrite(const void* address) noexcept {
    __builtin_prefetch(address, /*rw=*/1);
    __asm__ volatile("");
}

}  // namespace etabulon::detail
