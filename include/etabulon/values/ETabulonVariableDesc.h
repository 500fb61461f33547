#pragma once

#include "etabulon/cumul/ETabulonCumulFuncCollection.h"
#include "etabulon/cumul/fwd.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/values/ETabulonVariableID.h"

#include <utility>

namespace etabulon {

/// Describes a variable to calculations: the field to read, the header, the type, and the functions
/// that the type offers.
///
/// Ownership  counted. Neither the icon nor the type is owned.
/// Example    examples/function.cpp
class ETABULON_API ETabulonVariableDesc : public virtual ECountedUnknown {
public:
    // Each returns a reference for the caller.
    /// An empty header becomes the code, a null icon that of the type.
    [[nodiscard]] static ETabulonVariableDesc* Build(const ETabulonVariableID& id, int dataType,
                                                     unsigned int dataSize, const Chaine& header,
                                                     HICON icon);
    /// From the dictionary; `index` is the element of an array, and ignored for other variables.
    [[nodiscard]] static ETabulonVariableDesc* Build(const DVariable* variable, int index);
    /// As Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonVariableDesc> Make(Arguments&&... arguments) {
        return ERef<ETabulonVariableDesc>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }

    ETabulonVariableDesc(const ETabulonVariableDesc& other) = default;
    ETabulonVariableDesc& operator=(const ETabulonVariableDesc& other) = default;

    [[nodiscard]] const ETabulonVariableID& DataID() const noexcept { return dataID_; }
    [[nodiscard]] const Chaine& Header() const noexcept { return header_; }
    [[nodiscard]] HICON Icon() const noexcept { return icon_; }
    [[nodiscard]] const ETabulonType* Type() const noexcept { return type_; }
    [[nodiscard]] const ETabulonCumulFuncCollection& Functions() const noexcept {
        return functions_;
    }
    [[nodiscard]] int DataType() const noexcept { return dataType_; }
    /// In bytes, as declared.
    [[nodiscard]] unsigned int DataSize() const noexcept { return dataSize_; }

protected:
    ETabulonVariableDesc(const ETabulonVariableID& id, int dataType, unsigned int dataSize,
                         const Chaine& header, HICON icon);
    void AddFunction(ETabulonCumulFunc* function, bool addRef) {
        functions_.AddFunction(function, addRef);
    }

private:
    ETabulonVariableID dataID_;
    Chaine header_;
    HICON icon_;
    const ETabulonType* type_;
    ETabulonCumulFuncCollection functions_;
    int dataType_;
    unsigned int dataSize_;
};

}  // namespace etabulon
