#include "etabulon/cumul/ETabulonType.h"

#include "etabulon/cumul/ETabulonTypeDateTime.h"
#include "etabulon/cumul/ETabulonTypeText.h"

#include <mutex>

namespace etabulon {
namespace {

constexpr unsigned short kNumericIcon = 16805;
constexpr unsigned short kTextIcon = 16800;
constexpr unsigned short kDateTimeIcon = 16801;

constinit std::mutex platformLock;
constinit ETypeIconPlatform iconPlatform{};  // guarded by platformLock

ETypeIconPlatform CurrentPlatform() {
    const std::lock_guard hold(platformLock);
    return iconPlatform;
}

HICON LoadIconFrom(const ETypeIconPlatform& platform, HINSTANCE module, unsigned short iconID) {
    return platform.loadIcon == nullptr ? nullptr : platform.loadIcon(module, iconID);
}

}  // namespace

void SetTypeIconPlatform(const ETypeIconPlatform& platform) noexcept {
    const std::lock_guard hold(platformLock);
    iconPlatform = platform;
}

ETabulonType::ETabulonType(unsigned long iconID, HINSTANCE module, GenericType type)
    : icon_(LoadIconFrom(CurrentPlatform(), module, static_cast<unsigned short>(iconID & 0xFFFFU))),
      ownsIcon_(true),
      genericType_(type) {}

ETabulonType::ETabulonType(HICON icon, GenericType type) noexcept
    : icon_(icon), ownsIcon_(false), genericType_(type) {}

ETabulonType::ETabulonType(LateIcon icon, GenericType type) noexcept
    : icon_(nullptr), ownsIcon_(true), genericType_(type), late_(icon), isLate_(true) {}

ETabulonType::~ETabulonType() {
    if (ownsIcon_ && icon_.load() != nullptr) {
        DestroyIcon(icon_.load());
    }
}

HICON ETabulonType::Icon() const {
    if (!isLate_.load(std::memory_order_acquire)) {
        return icon_.load(std::memory_order_relaxed);
    }
    const ETypeIconPlatform platform = CurrentPlatform();
    if (platform.loadIcon == nullptr) {
        return nullptr;  // the next call asks again: a platform may be set later
    }
    static constinit std::mutex loading;
    const std::lock_guard hold(loading);
    if (isLate_.load(std::memory_order_relaxed)) {
        const HINSTANCE module =
            platform.findModule == nullptr ? nullptr : platform.findModule(late_.searchID);
        icon_.store(LoadIconFrom(platform, module, late_.iconID), std::memory_order_relaxed);
        isLate_.store(false, std::memory_order_release);
    }
    return icon_.load(std::memory_order_relaxed);
}

// Deliberate: the text icon is loaded from the module that holds the numeric icon. Modules hold
// all icons of families or none, and applications have shipped theirs by that.
// TextIconComesFromTheModuleOfTheNumericOne holds it.
ETabulonTypeText::ETabulonTypeText()
    : ETabulonType(LateIcon{kTextIcon, kNumericIcon}, GenericText) {}

ETabulonTypeDateTime::ETabulonTypeDateTime()
    : ETabulonType(LateIcon{kDateTimeIcon, kDateTimeIcon}, GenericDateTime) {}

}  // namespace etabulon
