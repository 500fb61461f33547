#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/values/ETabulonValue.h"
#include "etabulon/values/fwd.h"

#include <memory>
#include <vector>

namespace etabulon {

namespace detail {
class CumulCells;
}  // namespace detail

/// The calculations of a grid or score over some of the records of a walk: for each calculation a
/// state that merges with the states of other records. An application that folds a part of the
/// records elsewhere (in another thread or process, or in a cache) passes their partial state to
/// AddPartial of the grid or score.
///
/// Exact      the merged state gives the result of a walk over all records, one group after the
///            other, but for the last digits of sums of reals, for a sum that was clamped at the
///            limits of its type on the way, and for CODEMIN where a record of either group has no
///            value: that result is ValSpecial.
/// Ownership  holds a reference to each calculation.
/// Threads    one at a time.
/// Example    examples/partial.cpp
class ETABULON_API CumulPartial {
public:
    explicit CumulPartial(const ITabulonCumulFuncOnVarCollection& calculations);
    CumulPartial(CumulPartial&& other) noexcept;
    CumulPartial& operator=(CumulPartial&& other) noexcept;
    ~CumulPartial();

    /// False for functions that an application brought: their buffers can't be merged.
    [[nodiscard]] bool IsMergeable() const noexcept;
    /// Folds a record. Requires that the extract knows the calculations' variables.
    void AddValue(const ETabulonExtractValue& extract);
    /// Merges the state of records that come after those of this one. Requires another state over
    /// the same calculations, and IsMergeable().
    void Merge(const CumulPartial& after);
    [[nodiscard]] ETabulonValue Result(unsigned int calculation) const;

private:
    friend class ETabulonGridCumulsBuffers;
    friend class ETabulonScoreCumulsBuffers;

    std::unique_ptr<detail::CumulCells> cells_;  // one row
    std::vector<const EVariant*> values_;        // of the last record
};

}  // namespace etabulon
