#pragma once

#include "etabulon/controls/IScreen.h"
#include "etabulon/foundation/FSortedMap.h"

#include <memory>

namespace etabulon {

/// A control's image list, and the index of each icon in it. Icons are never removed.
/// Example    tests/controls/TreeCtrlDisplayTest.cpp
class ETABULON_API EIconImages {
public:
    EIconImages(IScreen& screen, unsigned int flags)
        : list_(screen.NewImageList(screen.Measure(IScreen::MetricSmallIconWidth),
                                    screen.Measure(IScreen::MetricSmallIconHeight), flags,
                                    /*initial=*/1, /*growth=*/1)) {}

    /// The index of the icon's image, which a new icon gets first; -1 for null.
    [[nodiscard]] int IndexOf(HICON icon) {
        if (icon == nullptr) {
            return -1;
        }
        if (const int* index = indexes_.FindValue(icon)) {
            return *index;
        }
        const int added = list_->Add(icon);
        indexes_[icon] = added;
        return added;
    }
    [[nodiscard]] IImageList* List() const noexcept { return list_.get(); }

private:
    std::unique_ptr<IImageList> list_;
    FSortedMap<HICON, int> indexes_;
};

}  // namespace etabulon
