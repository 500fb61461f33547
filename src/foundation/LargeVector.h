#pragma once

#include <cstddef>
#include <vector>

namespace etabulon::detail {

/// Memory in which the system may put large pages, where there are many bytes: a fresh array of
/// megabytes then costs a page fault for each 2 MB of it instead of each 4 KB. Throws
/// std::bad_alloc.
[[nodiscard]] void* AllocateLarge(std::size_t bytes);
/// Requires the same size.
void FreeLarge(void* memory, std::size_t bytes) noexcept;

template <class T>
class LargeAllocator {
public:
    using value_type = T;

    LargeAllocator() noexcept = default;
    template <class U>
    LargeAllocator(const LargeAllocator<U>& /*other*/) noexcept {}

    // A vector asks for no more than max_size(), so that the product fits.
    [[nodiscard]] T* allocate(std::size_t count) {
        return static_cast<T*>(AllocateLarge(count * sizeof(T)));
    }
    void deallocate(T* memory, std::size_t count) noexcept { FreeLarge(memory, count * sizeof(T)); }

    friend bool operator==(const LargeAllocator& /*a*/, const LargeAllocator& /*b*/) noexcept {
        return true;
    }
};

/// For arrays that grow to megabytes.
template <class T>
using LargeVector = std::vector<T, LargeAllocator<T>>;

}  // namespace etabulon::detail
