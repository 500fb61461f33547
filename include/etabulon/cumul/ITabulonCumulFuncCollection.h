#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/fwd.h"

namespace etabulon {

/// The functions that a type or a variable offers.
/// Example    src/cumul/ETabulonCumulFuncCollection.cpp
class ETABULON_API ITabulonCumulFuncCollection {
public:
    virtual ~ITabulonCumulFuncCollection() = default;
    [[nodiscard]] virtual unsigned int Size() const = 0;
    /// Returns a reference for the caller. Requires index < Size().
    [[nodiscard]] virtual ETabulonCumulFunc* GetFunction(unsigned int index) const = 0;
    /// Returns a reference for the caller; null for a code that isn't there.
    [[nodiscard]] virtual ETabulonCumulFunc* GetFunction(const Chaine& code) const = 0;
};

}  // namespace etabulon
