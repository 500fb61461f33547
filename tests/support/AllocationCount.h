#pragma once

#include <cstdint>

// Sanitizers replace the allocation functions themselves; there nothing is counted.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ETABULON_TEST_COUNTS_ALLOCATIONS 0
#elif !defined(__has_feature)
#define ETABULON_TEST_COUNTS_ALLOCATIONS 1
#elif __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define ETABULON_TEST_COUNTS_ALLOCATIONS 0
#else
#define ETABULON_TEST_COUNTS_ALLOCATIONS 1
#endif

namespace etabulon::test {

inline constexpr bool kAllocationsAreCounted = ETABULON_TEST_COUNTS_ALLOCATIONS != 0;

/// How often operator new was called in this process, by any thread; 0 where nothing is counted.
[[nodiscard]] std::uint64_t AllocationsSoFar() noexcept;

/// Counts from its construction: EXPECT_EQ(count.Taken(), 0) holds under sanitizers too.
class AllocationCount {
public:
    AllocationCount() noexcept : start_(AllocationsSoFar()) {}
    [[nodiscard]] std::uint64_t Taken() const noexcept { return AllocationsSoFar() - start_; }

private:
    std::uint64_t start_;
};

/// What operator new gave and wasn't given back yet; 0 where nothing is counted.
[[nodiscard]] std::int64_t BlocksAlive() noexcept;

/// Lets one allocation of this process fail, the one that follows `allowed` others. The next
/// succeeds again. Without effect where nothing is counted.
class FailingAllocation {
public:
    explicit FailingAllocation(std::uint64_t allowed) noexcept;
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    [[nodiscard]] bool HasFailed() const noexcept;
};

}  // namespace etabulon::test
