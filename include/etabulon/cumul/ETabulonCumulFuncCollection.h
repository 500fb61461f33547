#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ITabulonCumulFuncCollection.h"
#include "etabulon/foundation/FDictionnary.h"

namespace etabulon {

/// Functions by code, enumerated in code order without regard to case. It always holds the general
/// ones: COMMONVAL, COUNT, LAST.
///
/// Ownership  holds one reference for each function; a copy shares them.
/// Threads    any number of threads may read while none adds.
/// Example    apps/etabulon/request/CliCalculations.cpp
class ETABULON_API ETabulonCumulFuncCollection : public virtual ITabulonCumulFuncCollection {
public:
    ETabulonCumulFuncCollection();

    [[nodiscard]] unsigned int Size() const override { return functions_.Size(); }
    [[nodiscard]] ETabulonCumulFunc* GetFunction(unsigned int index) const override;
    [[nodiscard]] ETabulonCumulFunc* GetFunction(const Chaine& code) const override;

    /// Of two functions with one code the first stays; with `addRef` false the second is released.
    void AddFunction(ETabulonCumulFunc* function, bool addRef);
    void AddFunctions(const ITabulonCumulFuncCollection* other);

private:
    FDictionnaryNoCase<ERef<ETabulonCumulFunc>> functions_;
};

}  // namespace etabulon
