#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"

#include "etabulon/cumul/ETabulonCumulBufferOnVarCollection.h"
#include "etabulon/values/ETabulonVariableID.h"

namespace etabulon {

ETabulonCumulFuncOnVarCollection::ETabulonCumulFuncOnVarCollection(
    const ETabulonCumulFuncOnVarCollection& other)
    : ETabulonCumulFuncOnVarCollection(
          static_cast<const ITabulonCumulFuncOnVarCollection*>(&other)) {}

ETabulonCumulFuncOnVarCollection::ETabulonCumulFuncOnVarCollection(
    const ITabulonCumulFuncOnVarCollection* other)
    : priorityCalculationPos_(other->PriorityCalculationPos()) {
    AddCalculations(other);
}

ETabulonCumulFuncOnVarCollection& ETabulonCumulFuncOnVarCollection::operator=(
    const ETabulonCumulFuncOnVarCollection& other) {
    return *this = static_cast<const ITabulonCumulFuncOnVarCollection&>(other);
}

ETabulonCumulFuncOnVarCollection& ETabulonCumulFuncOnVarCollection::operator=(
    const ITabulonCumulFuncOnVarCollection& other) {
    // Copied first: `other` may be this collection, or be held by a calculation that is released.
    ETabulonCumulFuncOnVarCollection copy(&other);
    calculations_.Swap(copy.calculations_);
    priorityCalculationPos_ = copy.priorityCalculationPos_;
    return *this;
}

ETabulonCumulFuncOnVar* ETabulonCumulFuncOnVarCollection::Calculation(unsigned int index) const {
    E_EXPECTS(index < Size());
    return ERef<ETabulonCumulFuncOnVar>(calculations_.At(index)).Detach();
}

ETabulonCumulBufferOnVarCollection* ETabulonCumulFuncOnVarCollection::Start() {
    auto running = MakeRef<ETabulonCumulBufferOnVarCollection>();
    for (const auto& calculation : calculations_) {
        running->AddCalculation(calculation->Start(), /*addRef=*/false);
    }
    return running.Detach();
}

int ETabulonCumulFuncOnVarCollection::AddCalculation(ETabulonCumulFuncOnVar* calculation,
                                                     bool addRef) {
    if (calculation == nullptr) {
        return -1;
    }
    calculations_.Add(ERef<ETabulonCumulFuncOnVar>::Take(calculation, addRef));
    return static_cast<int>(calculations_.Size()) - 1;
}

int ETabulonCumulFuncOnVarCollection::AddCalculation(const Chaine& functionCode,
                                                     const ETabulonVariableID& id, int type,
                                                     unsigned int size, const Chaine& header) {
    return AddCalculation(ETabulonCumulFuncOnVar::Build(functionCode, id, type, size, header),
                          /*addRef=*/false);
}

int ETabulonCumulFuncOnVarCollection::AddCalculation(const Chaine& functionCode,
                                                     const EField& field, const Chaine& header) {
    return AddCalculation(ETabulonCumulFuncOnVar::Build(functionCode, field, header),
                          /*addRef=*/false);
}

void ETabulonCumulFuncOnVarCollection::AddCalculations(
    const ITabulonCumulFuncOnVarCollection* other) {
    // Reads the size once: `other` may be this collection.
    const unsigned int size = other->Size();
    for (unsigned int index = 0; index < size; ++index) {
        AddCalculation(other->Calculation(index), /*addRef=*/false);
    }
}

}  // namespace etabulon
