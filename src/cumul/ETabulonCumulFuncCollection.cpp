#include "etabulon/cumul/ETabulonCumulFuncCollection.h"

#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"

namespace etabulon {

ETabulonCumulFuncCollection::ETabulonCumulFuncCollection() {
    AddFunction(new ETabulonCumulFuncCommonVal, /*addRef=*/false);
    AddFunction(new ETabulonCumulFuncCount, /*addRef=*/false);
    AddFunction(new ETabulonCumulFuncLast, /*addRef=*/false);
}

ETabulonCumulFunc* ETabulonCumulFuncCollection::GetFunction(unsigned int index) const {
    E_EXPECTS(index < Size());
    return ERef<ETabulonCumulFunc>(functions_.Value(index)).Detach();
}

ETabulonCumulFunc* ETabulonCumulFuncCollection::GetFunction(const Chaine& code) const {
    const auto* function = functions_.FindValue(code);
    return function == nullptr ? nullptr : ERef<ETabulonCumulFunc>(*function).Detach();
}

void ETabulonCumulFuncCollection::AddFunction(ETabulonCumulFunc* function, bool addRef) {
    auto added = ERef<ETabulonCumulFunc>::Take(function, addRef);
    auto& entry = functions_[function->Code()];
    if (!entry) {
        entry = std::move(added);
    }
}

void ETabulonCumulFuncCollection::AddFunctions(const ITabulonCumulFuncCollection* other) {
    const unsigned int size = other->Size();
    for (unsigned int index = 0; index < size; ++index) {
        AddFunction(other->GetFunction(index), /*addRef=*/false);
    }
}

}  // namespace etabulon
