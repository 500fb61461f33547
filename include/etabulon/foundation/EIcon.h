#pragma once

#include "etabulon/foundation/EExport.h"

namespace etabulon {

/// An icon of the platform: an opaque handle.
struct _ICON;
using HICON = _ICON*;

/// Releases an icon's resources; a second call for one handle must have no effect.
using IconRelease = void (*)(HICON icon);
ETABULON_API void SetIconRelease(IconRelease release) noexcept;
ETABULON_API void DestroyIcon(HICON icon);

}  // namespace etabulon
