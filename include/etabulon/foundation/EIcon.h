#pragma once

#include "etabulon/foundation/EExport.h"

namespace etabulon {

/// An icon of the platform; never looked into.
struct _ICON;
using HICON = _ICON*;

/// Gives an icon's resources back; called again for one handle, the platform ignores it.
using IconRelease = void (*)(HICON icon);
ETABULON_API void SetIconRelease(IconRelease release) noexcept;
ETABULON_API void DestroyIcon(HICON icon);

}  // namespace etabulon
