#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/ECountedUnknown.h"

namespace etabulon {

/// The running buffers of one cell, one for each calculation.
/// Example    include/etabulon/cumul/ETabulonCumulBufferOnVarCollection.h
class ETABULON_API ITabulonCumulBufferOnVarCollection : public virtual EUnknown {
public:
    [[nodiscard]] virtual unsigned int Size() const = 0;
    /// Returns a reference for the caller. Requires one of the calculations; for one that occurs
    /// twice it is the later buffer.
    [[nodiscard]] virtual ETabulonCumulBufferOnVar* Calculation(
        const ETabulonCumulFuncOnVar* calculation) const = 0;
    /// Returns a reference for the caller. Requires index < Size().
    [[nodiscard]] virtual ETabulonCumulBufferOnVar* Calculation(unsigned int index) const = 0;
};

}  // namespace etabulon
