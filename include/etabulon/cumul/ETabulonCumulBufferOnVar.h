#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/values/fwd.h"

namespace etabulon {

/// A running calculation: a calculation and its buffer.
///
/// Ownership  counted; holds a reference to each of the two.
/// Example    tests/cumul/CalculationsTest.cpp
class ETABULON_API ETabulonCumulBufferOnVar : public virtual ECountedUnknown {
public:
    ETabulonCumulBufferOnVar(ETabulonCumulFuncOnVar* desc, ETabulonCumulBuffer* buffer);
    ~ETabulonCumulBufferOnVar() override;

    // No reference is added.
    [[nodiscard]] ETabulonCumulFuncOnVar* Desc() const noexcept { return desc_.Get(); }
    [[nodiscard]] ETabulonCumulBuffer* Function() const noexcept { return buffer_.Get(); }
    /// The buffer's result; for an average, the call computes it.
    [[nodiscard]] const ETabulonValue& Result() const;
    /// Folds the record's value of the variable, which must be one of the extract's.
    void AddValue(const ETabulonExtractValue& extract);

private:
    ERef<ETabulonCumulFuncOnVar> desc_;
    ERef<ETabulonCumulBuffer> buffer_;
};

}  // namespace etabulon
