#pragma once

#include "etabulon/controls/IScreen.h"

namespace etabulon {

/// A screen without pictures, fonts or a visible pointer: image lists only count their images,
/// texts come from the string table, all else is null or a usual measure. A front end with few
/// means derives from it.
/// Example    examples/window.cpp
class ETABULON_API EPlainScreen : public IScreen {
public:
    void SetPointer(HCURSOR cursor) override { pointer_ = cursor; }
    [[nodiscard]] HCURSOR Pointer() const override { return pointer_; }
    [[nodiscard]] EPoint PointerPosition() const override { return {-1, -1}; }
    [[nodiscard]] HCURSOR LoadCursor(SystemCursor) override { return nullptr; }
    void BeginWaitCursor() override {}
    void EndWaitCursor() override {}
    [[nodiscard]] HICON LoadIcon(unsigned int, int, int) override { return nullptr; }
    [[nodiscard]] std::unique_ptr<IImageList> NewImageList(int width, int height,
                                                           unsigned int flags, int initial,
                                                           int growth) override;
    [[nodiscard]] EColour Colour(SystemColour which) const override;
    [[nodiscard]] int Measure(Metric) const override { return 16; }
    [[nodiscard]] unsigned int CaretBlinkTime() const override { return 530; }
    [[nodiscard]] HFONT NewFont(const ELogFont&) override { return nullptr; }
    void DeleteFont(HFONT) override {}
    [[nodiscard]] Chaine String(unsigned int stringID) const override {
        return Chaine::Load(stringID);
    }

private:
    HCURSOR pointer_ = nullptr;
};

}  // namespace etabulon
