#include "support/AllocationCount.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<std::uint64_t> allocations{0};

}  // namespace

std::uint64_t etabulon::test::AllocationsSoFar() noexcept {
    return allocations.load(std::memory_order_relaxed);
}

#if ETABULON_TEST_COUNTS_ALLOCATIONS
namespace {

void* Counted(void* bytes) {
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    allocations.fetch_add(1, std::memory_order_relaxed);
    return bytes;
}

}  // namespace

// The array and nothrow forms of the standard library call these.
void* operator new(std::size_t size) { return Counted(std::malloc(size + (size == 0 ? 1 : 0))); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    return Counted(std::aligned_alloc(step, (size / step + 1) * step));
}
void operator delete(void* bytes) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::align_val_t) noexcept { std::free(bytes); }
void operator delete(void* bytes, std::size_t, std::align_val_t) noexcept { std::free(bytes); }
#endif
