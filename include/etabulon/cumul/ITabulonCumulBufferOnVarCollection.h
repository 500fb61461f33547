#pragma once

#include "etabulon/foundation/ECountedUnknown.h"

namespace etabulon {

class ETabulonCumulBufferOnVar;
class ETabulonCumulFuncOnVar;

/// The running buffers of one cell, one for each calculation.
class ETABULON_API ITabulonCumulBufferOnVarCollection : public virtual EUnknown {
public:
    [[nodiscard]] virtual unsigned Size() const = 0;
    /// Returns a reference for the caller. Requires that this is one of the calculations; of one
    /// that stands there twice it is the later buffer.
    [[nodiscard]] virtual ETabulonCumulBufferOnVar* Calculation(
        const ETabulonCumulFuncOnVar* calculation) const = 0;
    /// Returns a reference for the caller. Requires index < Size().
    [[nodiscard]] virtual ETabulonCumulBufferOnVar* Calculation(unsigned index) const = 0;
};

}  // namespace etabulon
