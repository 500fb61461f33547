#include "support/AllocationCount.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr std::int64_t kNever = -1;

constinit std::atomic<std::uint64_t> allocations{0};
constinit std::atomic<std::int64_t> blocks{0};
constinit std::atomic<std::int64_t> untilFailure{kNever};

}  // namespace

std::uint64_t etabulon::test::AllocationsSoFar() noexcept {
    return allocations.load(std::memory_order_relaxed);
}

std::int64_t etabulon::test::BlocksAlive() noexcept {
    return blocks.load(std::memory_order_relaxed);
}

etabulon::test::FailingAllocation::FailingAllocation(std::uint64_t allowed) noexcept {
    untilFailure = static_cast<std::int64_t>(allowed);
}

etabulon::test::FailingAllocation::~FailingAllocation() { untilFailure = kNever; }

bool etabulon::test::FailingAllocation::HasFailed() const noexcept {
    return untilFailure.load() == kNever;
}

#if ETABULON_TEST_COUNTS_ALLOCATIONS
namespace {

void* Counted(void* bytes) {
    const bool fails =
        untilFailure.load(std::memory_order_relaxed) != kNever && untilFailure.fetch_sub(1) == 0;
    if (bytes == nullptr || fails) {
        std::free(bytes);
        throw std::bad_alloc();
    }
    blocks.fetch_add(1, std::memory_order_relaxed);
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
void operator delete(void* bytes) noexcept {
    blocks.fetch_sub(bytes != nullptr ? 1 : 0, std::memory_order_relaxed);
    std::free(bytes);
}
void operator delete(void* bytes, std::size_t) noexcept { operator delete(bytes); }
void operator delete(void* bytes, std::align_val_t) noexcept { operator delete(bytes); }
void operator delete(void* bytes, std::size_t, std::align_val_t) noexcept {
    operator delete(bytes);
}
#endif
