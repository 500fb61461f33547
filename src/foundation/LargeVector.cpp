#include "foundation/LargeVector.h"

#include <sys/mman.h>

#include <new>

namespace etabulon::detail {

namespace {

constexpr std::size_t kLargePage = std::size_t{1} << 21;
constexpr std::size_t kLeast = 2 * kLargePage;  // rounding up adds at most half
constexpr std::align_val_t kAlignment{kLargePage};

}  // namespace

void* AllocateLarge(std::size_t bytes) {
    if (bytes < kLeast) {
        return ::operator new(bytes);
    }
    const std::size_t rounded = (bytes + kLargePage - 1) / kLargePage * kLargePage;
    void* const memory = ::operator new(rounded, kAlignment);
    // An advice: where the system doesn't take it, the pages are small ones.
    static_cast<void>(::madvise(memory, rounded, MADV_HUGEPAGE));
    return memory;
}

void FreeLarge(void* memory, std::size_t bytes) noexcept {
    if (bytes < kLeast) {
        ::operator delete(memory);
    } else {
        ::operator delete(memory, kAlignment);
    }
}

}  // namespace etabulon::detail
