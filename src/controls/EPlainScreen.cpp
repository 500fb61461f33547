#include "etabulon/controls/EPlainScreen.h"

#include <atomic>

namespace etabulon {
namespace {

constinit std::atomic<IScreen*> installedScreen{nullptr};

class PlainImageList final : public IImageList {
public:
    int Add(HICON) override { return count_++; }

private:
    int count_ = 0;
};

}  // namespace

std::unique_ptr<IImageList> EPlainScreen::NewImageList(int, int, unsigned int, int, int) {
    return std::make_unique<PlainImageList>();
}

EColour EPlainScreen::Colour(SystemColour which) const {
    switch (which) {
        case ColourWindow:
        case ColourHighlightText:
            return 0x00FFFFFF;
        case ColourHighlight:
            return 0x00D77800;
        case ColourButtonFace:
            return 0x00F0F0F0;
        case ColourGrayText:
            return 0x006D6D6D;
        case ColourMenuText:
            break;
    }
    return 0;
}

IScreen& IScreen::Installed() noexcept {
    static EPlainScreen plain;
    IScreen* screen = installedScreen.load(std::memory_order_acquire);
    return screen != nullptr ? *screen : plain;
}

void IScreen::Install(IScreen* screen) noexcept {
    installedScreen.store(screen, std::memory_order_release);
}

}  // namespace etabulon
