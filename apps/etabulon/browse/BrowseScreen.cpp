#include "apps/etabulon/browse/BrowseScreen.h"

namespace etabulon {

HICON BrowseScreen::LoadIcon(unsigned int /*iconID*/, int /*width*/, int /*height*/) {
    return reinterpret_cast<HICON>(&waitIcon_);
}

HFONT BrowseScreen::NewFont(const ELogFont& font) {
    fonts_.push_back(std::make_unique<ELogFont>(font));
    return reinterpret_cast<HFONT>(fonts_.back().get());
}

void BrowseScreen::DeleteFont(HFONT font) {
    std::erase_if(fonts_, [font](const std::unique_ptr<ELogFont>& known) {
        return reinterpret_cast<HFONT>(known.get()) == font;
    });
}

ELogFont BrowseScreen::LookOf(HFONT font) {
    return font != nullptr ? *reinterpret_cast<const ELogFont*>(font) : ELogFont{};
}

/// English, the language of the program's other texts.
Chaine BrowseScreen::String(unsigned int stringID) const {
    constexpr unsigned int kPreparing = 10712;
    return stringID == kPreparing ? Chaine("The tree is being filled...")
                                  : EPlainScreen::String(stringID);
}

}  // namespace etabulon
