#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/cursors/fwd.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/FSortedMap.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/pending/fwd.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"
#include "etabulon/values/fwd.h"

#include <cstdint>
#include <span>
#include <vector>

namespace etabulon {

/// One record for the calculations: its position, its key, and the values of their variables, seen
/// through the pending changes.
///
/// Use        Init once a walk, SetCurrent or ViewCurrent at each record.
/// Ownership  neither the pending changes nor the variables are owned, and both must outlive this;
///            nor is the cursor of ViewCurrent.
/// Threads    one at a time, const operations included.
/// Cost       fields are looked up once for each field set: a walk allocates nothing per record.
/// Example    tests/cumul/CalculationsTest.cpp
class ETABULON_API ETabulonExtractValue {
public:
    ETabulonExtractValue() = default;
    /// A copy is a snapshot, even of a record that is only viewed.
    ETabulonExtractValue(const ETabulonExtractValue& other);
    ETabulonExtractValue& operator=(const ETabulonExtractValue& other);
    virtual ~ETabulonExtractValue() = default;

    /// Forgets all values and makes room for those of the calculations' variables. With a null
    /// `pending`, records are read as the table holds them.
    void Init(const ITabulonCumulFuncOnVarCollection* calculations,
              const ETabulonPendingChanges* pending);
    /// Takes a copy of the cursor's current record.
    void SetCurrent(const ETabulonCursor& cursor);
    /// The same without copying, for listeners that need a record only during their call: values
    /// are read from the cursor and stay valid until its next step. Context makes the key on
    /// demand.
    void ViewCurrent(const ETabulonCursor& cursor);

    /// Requires a variable of Init.
    [[nodiscard]] const EVariant& GetValue(const ETabulonVariableDesc* variable) const;
    /// The values of the calculations' variables, one for each calculation of Init, in order.
    [[nodiscard]] std::span<const EVariant* const> CalculationValues() const noexcept {
        return calculationValues_;
    }
    // Deliberate: false for every variable, changed or not. The extract doesn't record what the
    // pending changes touched, and the functions that ask get false. RecordsAreNeverModified holds
    // it.
    [[nodiscard]] bool IsModified(const ETabulonVariableDesc* /*variable*/) const noexcept {
        return false;
    }
    [[nodiscard]] const ETabulonTag& Position() const;
    /// See ETabulonCursor::TagGeneration. Ask after Position().
    [[nodiscard]] std::uint64_t PositionGeneration() const noexcept;
    [[nodiscard]] const ETabulonPrimaryKey& Context() const;

protected:
    using ValueMap = FSortedMap<const ETabulonVariableDesc*, EVariant>;
    /// The values as of this call, by the address of their variable. After ViewCurrent the values
    /// are those of the last SetCurrent.
    [[nodiscard]] const ValueMap& Values() const;

private:
    /// Where a variable's value is read and kept; worked out once for each field set.
    struct Binding {
        const ETabulonVariableDesc* variable;
        const EField* field;
        EVariant* value;          // in values_
        const EVariant* current;  // the field, or value
    };
    void Bind(const EFieldSet& fields, bool viewed);
    void ReadPending(const ETabulonTag& position);
    void BindOwnValues();

    const ETabulonPendingChanges* pending_ = nullptr;
    ETabulonTag position_;
    ETabulonPrimaryKey context_;
    ValueMap values_;               // never handed out: bindings_ point into it
    mutable ValueMap shownValues_;  // the result of Values, whose copies share it

    const ETabulonCursor* cursor_ = nullptr;   // whose record is viewed; null after SetCurrent
    std::vector<Binding> bindings_;            // in the order of values_
    std::vector<std::uint32_t> valueIndexes_;  // in values_, one for each calculation
    std::vector<const EVariant*> calculationValues_;
    const EField* boundFields_ = nullptr;  // first field of the set that bindings_ are for
    std::uint64_t boundShape_ = 0;
    bool boundViewed_ = false;
};

}  // namespace etabulon
