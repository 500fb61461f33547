#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/PTableau.h"

namespace etabulon {

/// Calculations in order of adding; one may occur twice. Edited before a walk, read during it.
///
/// Ownership  holds one reference for each entry; a copy holds its own.
/// Example    examples/totals.cpp
class ETABULON_API ETabulonCumulFuncOnVarCollection
    : public virtual ITabulonCumulFuncOnVarCollection {
public:
    ETabulonCumulFuncOnVarCollection() = default;
    ETabulonCumulFuncOnVarCollection(const ETabulonCumulFuncOnVarCollection& other);
    /// A copy, position of the priority calculation included.
    explicit ETabulonCumulFuncOnVarCollection(const ITabulonCumulFuncOnVarCollection* other);
    ETabulonCumulFuncOnVarCollection& operator=(const ETabulonCumulFuncOnVarCollection& other);
    ETabulonCumulFuncOnVarCollection& operator=(const ITabulonCumulFuncOnVarCollection& other);
    ~ETabulonCumulFuncOnVarCollection() override = default;

    [[nodiscard]] unsigned int Size() const override { return calculations_.Size(); }
    [[nodiscard]] ETabulonCumulFuncOnVar* Calculation(unsigned int index) const override;
    [[nodiscard]] int PriorityCalculationPos() const override { return priorityCalculationPos_; }
    [[nodiscard]] ETabulonCumulBufferOnVarCollection* Start() override;

    /// Not checked against the calculations.
    void SetPriorityCalculationPos(int position) noexcept { priorityCalculationPos_ = position; }
    /// Each returns the position. For null and for an unknown function it returns -1 and adds
    /// nothing.
    int AddCalculation(ETabulonCumulFuncOnVar* calculation, bool addRef);
    int AddCalculation(const Chaine& functionCode, const ETabulonVariableID& id, int type,
                       unsigned int size, const Chaine& header);
    int AddCalculation(const Chaine& functionCode, const EField& field, const Chaine& header);
    /// The position of the priority calculation stays.
    void AddCalculations(const ITabulonCumulFuncOnVarCollection* other);

private:
    PTableau<ERef<ETabulonCumulFuncOnVar>> calculations_;
    int priorityCalculationPos_ = -1;
};

}  // namespace etabulon
