#pragma once

#include "etabulon/foundation/EExport.h"

namespace etabulon {

/// What every view of a result hears, whatever the result.
class ETABULON_API ITabulonResultUI {
public:
    virtual ~ITabulonResultUI() = default;
    /// The first call of a sending; Reset follows at once.
    virtual void StartRefresh() = 0;
    /// The last.
    virtual void EndRefresh() = 0;
    /// Forget what was shown.
    virtual void Reset() = 0;
};

}  // namespace etabulon
