#pragma once

#include "etabulon/foundation/EExport.h"

namespace etabulon {

/// The calls that views of all kinds of results get.
/// Example    tests/support/ResultTrace.h
class ETABULON_API ITabulonResultUI {
public:
    virtual ~ITabulonResultUI() = default;
    /// The first call of each sending; Reset follows immediately.
    virtual void StartRefresh() = 0;
    /// The last call of each sending.
    virtual void EndRefresh() = 0;
    /// Clears the view.
    virtual void Reset() = 0;
};

}  // namespace etabulon
