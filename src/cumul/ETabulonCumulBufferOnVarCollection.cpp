#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/values/ETabulonVariableDesc.h"

namespace etabulon {
namespace {

ETabulonCumulBufferOnVar* Referenced(ETabulonCumulBufferOnVar* running) {
    return ERef<ETabulonCumulBufferOnVar>::Retain(running).Detach();
}

}  // namespace

ETabulonCumulBufferOnVar* ETabulonCumulBufferOnVarCollection::Calculation(
    const ETabulonCumulFuncOnVar* calculation) const {
    return Referenced(byFunction_[calculation]);
}

ETabulonCumulBufferOnVar* ETabulonCumulBufferOnVarCollection::Calculation(
    unsigned int index) const {
    return Referenced(calculations_.At(index).Get());
}

void ETabulonCumulBufferOnVarCollection::AddCalculation(ETabulonCumulBufferOnVar* running,
                                                        bool addRef) {
    auto added = ERef<ETabulonCumulBufferOnVar>::Take(running, addRef);
    byFunction_[running->Desc()] = running;
    calculations_.Add(std::move(added));
}

void ETabulonCumulBufferOnVarCollection::AddValue(const ETabulonExtractValue& extract) {
    for (const auto& running : calculations_) {
        running->AddValue(extract);
    }
}

ETabulonCumulBufferOnVar* ETabulonCumulBufferOnVarCollection::FindFirstByFunctionName(
    const Chaine& code) const {
    for (const auto& entry : byFunction_) {
        if (Chaine::EqualsFolded(entry.key->Function()->Code().View(), code.View())) {
            return Referenced(entry.value);
        }
    }
    return nullptr;
}

ETabulonCumulBufferOnVar* ETabulonCumulBufferOnVarCollection::FindFirstByVariableName(
    const ETabulonVariableID& id) const {
    for (const auto& entry : byFunction_) {
        if (entry.key->Variable()->DataID() == id) {
            return Referenced(entry.value);
        }
    }
    return nullptr;
}

}  // namespace etabulon
