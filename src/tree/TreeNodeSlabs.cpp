#include "tree/TreeNodeSlabs.h"

#include <algorithm>
#include <new>

namespace etabulon::detail {

namespace {

// In front of the first place and of each node: as much as keeps both aligned.
constexpr std::size_t kHead = sizeof(void*);

}  // namespace

void* TreeNodeSlabs::Take(std::size_t size) {
    if (left_ == 0) {
        void* const memory = ::operator new(kHead + places_ * (kHead + size));
        slab_ = ::new (memory) Slab{{places_}};
        next_ = static_cast<unsigned char*>(memory) + kHead;
        left_ = places_;
        places_ = std::min(places_ * 2, kMost);
    }
    ::new (next_) Slab*(slab_);
    void* const place = next_ + kHead;
    next_ += kHead + size;
    --left_;
    return place;
}

void TreeNodeSlabs::GiveBack(void* place) noexcept {
    Release(*reinterpret_cast<Slab**>(static_cast<unsigned char*>(place) - kHead), 1);
}

void TreeNodeSlabs::Release(Slab* slab, std::uint32_t places) noexcept {
    // A count that is all the caller's can't be changed by another thread.
    if (slab->inUse.load(std::memory_order_acquire) == places ||
        slab->inUse.fetch_sub(places, std::memory_order_acq_rel) == places) {
        slab->~Slab();
        ::operator delete(slab);
    }
}

void TreeNodeSlabs::Leave() noexcept {
    if (left_ != 0) {
        Release(slab_, left_);
    }
}

}  // namespace etabulon::detail
