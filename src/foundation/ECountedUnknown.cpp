#include "etabulon/foundation/ECountedUnknown.h"

#ifdef ETABULON_CHECKS
#include <atomic>
#endif

namespace etabulon {

namespace {

#ifdef ETABULON_CHECKS
// Atomic, although the counts are plain: objects of different owners live in different threads.
constinit std::atomic<std::int64_t> liveObjects{0};

void CountLive(std::int64_t step) noexcept {
    liveObjects.fetch_add(step, std::memory_order_relaxed);
}
#else
void CountLive(std::int64_t) noexcept {}
#endif

}  // namespace

EUnknown::~EUnknown() = default;

void* EUnknown::QueryInterface(std::uint32_t, std::uint32_t* result) {
    if (result != nullptr) {
        *result = kNoInterface;
    }
    return nullptr;
}

ECountedUnknown::ECountedUnknown() noexcept { CountLive(1); }

// A copy is a new object with a creator of its own: it starts at one, whatever the other's count.
ECountedUnknown::ECountedUnknown(const ECountedUnknown& other) noexcept : EUnknown(other) {
    CountLive(1);
}

// The references are to this object, not to what it holds: assignment leaves the count.
ECountedUnknown& ECountedUnknown::operator=(const ECountedUnknown&) noexcept { return *this; }

ECountedUnknown::~ECountedUnknown() { CountLive(-1); }

void ECountedUnknown::AddRef() {
    E_EXPECTS(count_ > 0);
    ++count_;
}

std::int32_t ECountedUnknown::Release() {
    E_EXPECTS(count_ > 0);
    // The last reference leaves count_ at 1: a destructor that passes the object to a function
    // which retains and releases it must not destroy it a second time.
    if (count_ == 1) {
        delete this;
        return 0;
    }
    return --count_;
}

std::int64_t ECountedUnknown::LiveObjects() noexcept {
#ifdef ETABULON_CHECKS
    return liveObjects.load(std::memory_order_relaxed);
#else
    return 0;
#endif
}

}  // namespace etabulon
