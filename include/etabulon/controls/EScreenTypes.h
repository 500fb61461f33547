#pragma once

#include "etabulon/foundation/EIcon.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace etabulon {

/// An item of a tree view: a number in the shape of a pointer, never dereferenced, never reused.
struct _TREEITEM;
/// A font of the platform; never dereferenced.
struct _FONT;
using HFONT = _FONT*;
/// Mouse pointers are handles like icons, and DestroyIcon destroys them too.
using HCURSOR = HICON;

/// 0x00BBGGRR, as in alerts.
using EColour = std::uint32_t;
inline constexpr EColour kDefaultColour = 0xFFFFFFFF;

/// In pixels of the screen, or in the unit that a front end draws in.
struct EPoint {
    int x = 0;
    int y = 0;
};
/// In the same unit: `right` and `bottom` are the first outside.
struct ERect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    [[nodiscard]] constexpr bool Contains(EPoint point) const noexcept {
        return point.x >= left && point.x < right && point.y >= top && point.y < bottom;
    }
};

/// What a font looks like, in the sixty bytes of the platform. Two are compared as memory, with all
/// bytes after the end of the face name: build them zeroed.
struct ELogFont {
    static constexpr std::int32_t kNormal = 400;
    static constexpr std::int32_t kBold = 700;

    std::int32_t height = 0;
    std::int32_t width = 0;
    std::int32_t escapement = 0;
    std::int32_t orientation = 0;
    std::int32_t weight = kNormal;
    std::uint8_t italic = 0;
    std::uint8_t underline = 0;
    std::uint8_t strikeOut = 0;
    std::uint8_t charSet = 0;
    std::uint8_t outPrecision = 0;
    std::uint8_t clipPrecision = 0;
    std::uint8_t quality = 0;
    std::uint8_t pitchAndFamily = 0;
    std::array<char, 32> faceName{};

    friend bool operator==(const ELogFont& a, const ELogFont& b) noexcept {
        return std::memcmp(&a, &b, sizeof(ELogFont)) == 0;
    }
};
static_assert(sizeof(ELogFont) == 60);

}  // namespace etabulon
