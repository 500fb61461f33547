#include "etabulon/foundation/EIcon.h"

#include <atomic>

namespace etabulon {
namespace {

constinit std::atomic<IconRelease> iconRelease{nullptr};

}  // namespace

void SetIconRelease(IconRelease release) noexcept {
    iconRelease.store(release, std::memory_order_relaxed);
}

void DestroyIcon(HICON icon) {
    const IconRelease release = iconRelease.load(std::memory_order_relaxed);
    if (release != nullptr && icon != nullptr) {
        release(icon);
    }
}

}  // namespace etabulon
