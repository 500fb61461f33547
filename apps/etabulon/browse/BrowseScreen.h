#pragma once

#include "apps/etabulon/browse/BrowseTerminal.h"
#include "etabulon/controls/EPlainScreen.h"

#include <memory>
#include <vector>

namespace etabulon {

/// The screen of a terminal: fonts are bold and italic, and the only picture is that of waiting.
class BrowseScreen final : public EPlainScreen {
public:
    [[nodiscard]] HICON LoadIcon(unsigned iconID, int width, int height) override;
    [[nodiscard]] HFONT NewFont(const ELogFont& font) override;
    void DeleteFont(HFONT font) override;
    /// The terminal's own, which nobody can be asked for.
    [[nodiscard]] EColour Colour(SystemColour) const override { return kDefaultColour; }
    [[nodiscard]] Chaine String(unsigned stringID) const override;

    /// What a font of this screen looks like; plain without one.
    [[nodiscard]] static ELogFont LookOf(HFONT font);

private:
    char waitIcon_ = 0;
    std::vector<std::unique_ptr<ELogFont>> fonts_;
};

}  // namespace etabulon
