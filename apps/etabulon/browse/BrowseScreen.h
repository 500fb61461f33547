#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "etabulon/controls/EPlainScreen.h"

#include <memory>
#include <vector>

namespace etabulon {

/// The screen of a terminal. A font is bold, italic or both; the only picture is the waiting mark.
class BrowseScreen final : public EPlainScreen {
public:
    [[nodiscard]] HICON LoadIcon(unsigned int iconID, int width, int height) override;
    [[nodiscard]] HFONT NewFont(const ELogFont& font) override;
    void DeleteFont(HFONT font) override;
    /// The default colour: a terminal's own colours can't be read.
    [[nodiscard]] EColour Colour(SystemColour) const override { return kDefaultColour; }
    [[nodiscard]] Chaine String(unsigned int stringID) const override;

    /// The style of a font of this screen; plain for null.
    [[nodiscard]] static ELogFont LookOf(HFONT font);

private:
    char waitIcon_ = 0;
    std::vector<std::unique_ptr<ELogFont>> fonts_;
};

}  // namespace etabulon
