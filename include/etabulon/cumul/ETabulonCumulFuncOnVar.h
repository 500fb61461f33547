#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/values/fwd.h"

#include <utility>

namespace etabulon {

/// A calculation: a function bound to a variable, such as the sum of an amount.
///
/// Ownership  counted; holds a reference to each of the two.
/// Failure    a function code that neither the variable nor PresentFunctions.h has builds null.
/// Example    examples/function.cpp
class ETABULON_API ETabulonCumulFuncOnVar : public virtual ECountedUnknown {
public:
    // Each returns a reference for the caller, or null.
    [[nodiscard]] static ETabulonCumulFuncOnVar* Build(ETabulonCumulFunc* function,
                                                       ETabulonVariableDesc* variable);
    [[nodiscard]] static ETabulonCumulFuncOnVar* Build(const Chaine& functionCode,
                                                       const ETabulonVariableID& id, int type,
                                                       unsigned int size, const Chaine& header);
    /// For the variable with the field's number, if it has one, otherwise with its name.
    [[nodiscard]] static ETabulonCumulFuncOnVar* Build(const Chaine& functionCode,
                                                       const EField& field, const Chaine& header);
    /// `index` is the element of an array variable.
    [[nodiscard]] static ETabulonCumulFuncOnVar* Build(const Chaine& functionCode,
                                                       const DVariable* variable, int index);
    /// As Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonCumulFuncOnVar> Make(Arguments&&... arguments) {
        return ERef<ETabulonCumulFuncOnVar>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    ~ETabulonCumulFuncOnVar() override;

    // No reference is added.
    [[nodiscard]] ETabulonVariableDesc* Variable() const noexcept { return variable_.Get(); }
    [[nodiscard]] ETabulonCumulFunc* Function() const noexcept { return function_.Get(); }
    /// Returns a reference for the caller.
    [[nodiscard]] ETabulonCumulBufferOnVar* Start();

protected:
    ETabulonCumulFuncOnVar(ETabulonVariableDesc* variable, ETabulonCumulFunc* function);

private:
    ERef<ETabulonVariableDesc> variable_;
    ERef<ETabulonCumulFunc> function_;
};

}  // namespace etabulon
