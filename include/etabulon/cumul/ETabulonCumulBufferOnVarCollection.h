#pragma once

#include "etabulon/cumul/ETabulonCumulBufferOnVar.h"
#include "etabulon/cumul/ITabulonCumulBufferOnVarCollection.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/values/fwd.h"

namespace etabulon {

/// The running calculations of one cell, in order of adding.
///
/// Ownership  counted; holds one reference for each entry.
/// Example    tests/cumul/CalculationsTest.cpp
class ETABULON_API ETabulonCumulBufferOnVarCollection : public ITabulonCumulBufferOnVarCollection,
                                                        public virtual ECountedUnknown {
public:
    ETabulonCumulBufferOnVarCollection() = default;
    ETabulonCumulBufferOnVarCollection(const ETabulonCumulBufferOnVarCollection&) = delete;
    ETabulonCumulBufferOnVarCollection& operator=(const ETabulonCumulBufferOnVarCollection&) =
        delete;

    [[nodiscard]] unsigned int Size() const override { return calculations_.Size(); }
    [[nodiscard]] ETabulonCumulBufferOnVar* Calculation(
        const ETabulonCumulFuncOnVar* calculation) const override;
    [[nodiscard]] ETabulonCumulBufferOnVar* Calculation(unsigned int index) const override;

    void AddCalculation(ETabulonCumulBufferOnVar* running, bool addRef);
    /// Folds the record into every buffer, in order.
    void AddValue(const ETabulonExtractValue& extract);
    // Each returns a reference for the caller, or null. Of several matches the order of addresses
    // decides: callers must not rely on which it is.
    /// Ignores the case of the code.
    [[nodiscard]] ETabulonCumulBufferOnVar* FindFirstByFunctionName(const Chaine& code) const;
    [[nodiscard]] ETabulonCumulBufferOnVar* FindFirstByVariableName(
        const ETabulonVariableID& id) const;

protected:
    ~ETabulonCumulBufferOnVarCollection() override = default;

private:
    FSortedMap<const ETabulonCumulFuncOnVar*, ETabulonCumulBufferOnVar*> byFunction_;  // no refs
    PTableau<ERef<ETabulonCumulBufferOnVar>> calculations_;
};

}  // namespace etabulon
