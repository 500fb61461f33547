#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/EExport.h"

namespace etabulon {

/// The calculations that a screen wants, in order.
/// Example    tests/grid/RandomResult.h
class ETABULON_API ITabulonCumulFuncOnVarCollection {
public:
    [[nodiscard]] virtual unsigned int Size() const = 0;
    /// Returns a reference for the caller. Requires index < Size().
    [[nodiscard]] virtual ETabulonCumulFuncOnVar* Calculation(unsigned int index) const = 0;
    /// The position of the one calculation that a grid shows when it shows a single one; -1 for
    /// none.
    [[nodiscard]] virtual int PriorityCalculationPos() const = 0;
    /// A running buffer for each calculation, in order. Returns a reference for the caller.
    [[nodiscard]] virtual ETabulonCumulBufferOnVarCollection* Start() = 0;

protected:
    virtual ~ITabulonCumulFuncOnVarCollection() = default;
};

}  // namespace etabulon
