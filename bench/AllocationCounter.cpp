#include "bench/AllocationCounter.h"

#include <malloc.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<std::uint64_t> allocations{0};

void* Allocate(std::size_t size) {
    // No atomic addition: it would cost as much as a good part of the allocation.
    allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace

// Arrays come down to these. The nothrow form would too, but for the sanitizers, which have one of
// their own. Over-aligned memory isn't counted.
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }

namespace etabulon::bench {

std::uint64_t Allocations() noexcept { return allocations.load(std::memory_order_relaxed); }

std::size_t HeapBytes() noexcept {
    const struct mallinfo2 heap = ::mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

double PeakMegabytes() noexcept {
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

}  // namespace etabulon::bench
