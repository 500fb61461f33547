#include "etabulon/sort/ETabulonLevelsLevelUI.h"

namespace etabulon {

unsigned int ETabulonLevels::AddLevel(const Chaine& header, const ETabulonVariableID& dataID,
                                      const ETabulonVariableID& descID, HICON icon) {
    auto ui = MakeRef<LevelUI>(icon, /*ownsIcons=*/true);
    return AddLevel(header, dataID, descID, ui.Detach(), /*addRef=*/false);
}

ETabulonLevels::LevelUI::~LevelUI() {
    if (!ownsIcons_) {
        return;
    }
    if (defaultIcon_ != nullptr) {
        DestroyIcon(defaultIcon_);
    }
    // Deliberate: the default icon stands in the cache for each value without one of its own, and
    // is destroyed again for each of them. The platform ignores it.
    // DefaultIconIsDestroyedOnceMoreForEachEntry holds it.
    for (unsigned int index = 0; index < cache_.Size(); ++index) {
        if (cache_.At(index).value != nullptr) {
            DestroyIcon(cache_.At(index).value);
        }
    }
}

HICON ETabulonLevels::LevelUI::Icon(const EVariant& value) {
    if (value.GetBuffer() == nullptr) {
        return defaultIcon_;
    }
    const int known = cache_.Find(value, FindExact);
    if (known >= 0) {
        return cache_.At(static_cast<unsigned int>(known)).value;
    }
    HICON icon = iLoadIcon(value);
    if (icon == nullptr) {
        icon = defaultIcon_;
    }
    // Looked up again: iLoadIcon may call Icon, which adds entries.
    const int index = cache_.Find(value, FindOrInsert);
    cache_.At(static_cast<unsigned int>(index)).value = icon;
    return icon;
}

HICON ETabulonLevels::LevelUI::iLoadIcon(const EVariant& /*value*/) { return nullptr; }

}  // namespace etabulon
