#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/sort/ETabulonSortDesc.h"
#include "etabulon/values/ETabulonTag.h"

#include <cstdint>
#include <utility>

namespace etabulon {

/// The description of one cross table: its root tag, and how its axes are shared between the
/// calculations and the levels below the root.
///
/// Several variables or functions don't fit into one cell, so that they take axes of their own, the
/// intrinsic axes. The other axes asked for go to the levels: the data axes. Levels that the sort
/// description hides in calculations get no axis.
///
/// Ownership  counted; has copies of the sort description and of the calculations.
/// Threads    as the filler: const operations fill two caches.
/// Immutable  except for these caches.
/// Example    apps/etabulon/commands/GridCommand.cpp
class ETABULON_API ETabulonGridCumuls : public virtual ECountedUnknown {
public:
    enum IntrinsicAxesMode : std::int32_t {
        IntrinsicUnknown = 0,   // not computed yet
        IntrinsicNone = 1,      // at most one variable and function: no axis
        IntrinsicPriority = 2,  // several, of which the grid shows only the priority one: no axis
        IntrinsicVars = 3,      // variables, with their own column types
        IntrinsicFuncs = 4,     // several functions of one variable
        IntrinsicVarFuncs = 5,  // several variables with one function each
        IntrinsicVarsAndFuncs = 6,  // an axis of variables and an axis of functions
    };

    /// Returns a reference for the caller.
    [[nodiscard]] static ETabulonGridCumuls* Build(
        const ETabulonTag& root, unsigned int axesCount, const ETabulonSortDesc* sortDesc,
        const ITabulonCumulFuncOnVarCollection* calculations);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonGridCumuls> Make(Arguments&&... arguments) {
        return ERef<ETabulonGridCumuls>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    ETabulonGridCumuls(const ETabulonGridCumuls&) = delete;
    ETabulonGridCumuls& operator=(const ETabulonGridCumuls&) = delete;

    [[nodiscard]] const ETabulonTag& Root() const noexcept { return root_; }
    /// The number of axes asked for.
    [[nodiscard]] unsigned int AxesCount() const noexcept { return axesCount_; }
    [[nodiscard]] const ETabulonSortDesc* SortDesc() const noexcept { return sortDesc_.Get(); }
    [[nodiscard]] ITabulonCumulFuncOnVarCollection& Calculations() noexcept {
        return calculations_;
    }
    [[nodiscard]] const ITabulonCumulFuncOnVarCollection& Calculations() const noexcept {
        return calculations_;
    }

    [[nodiscard]] IntrinsicAxesMode AxesMode() const;
    /// The number of axes that the grid has.
    [[nodiscard]] unsigned int GridAxesCount() const;
    /// The number of data axes among them.
    [[nodiscard]] unsigned int CalculationAxesCount() const;
    /// The number of levels below the root.
    [[nodiscard]] unsigned int MaxDataAxesCount() const;
    /// The number of data axes with a level: CalculationAxesCount(), unless the root holds more
    /// levels than the sort description shows.
    [[nodiscard]] unsigned int DetailLevelCount() const;

    /// Returns a reference for the caller. A data axis comes without labels.
    [[nodiscard]] ETabulonGridAxe* BuildAxeDesc(unsigned int index) const;
    /// Whether the tag is the root or below it.
    [[nodiscard]] bool IsComputeTag(const ETabulonTag& tag) const;
    /// The root with the tag's values at the levels of the data axes.
    [[nodiscard]] ETabulonTag ExtractComputeTag(const ETabulonTag& tag) const;
    /// New running results for this description. Returns a reference for the caller.
    [[nodiscard]] ETabulonGridCumulsBuffers* Start();

protected:
    ETabulonGridCumuls(const ETabulonTag& root, unsigned int axesCount,
                       const ETabulonSortDesc* sortDesc,
                       const ITabulonCumulFuncOnVarCollection* calculations);
    ~ETabulonGridCumuls() override = default;

private:
    static constexpr unsigned int kNotComputed = static_cast<unsigned int>(-1);

    [[nodiscard]] unsigned int IntrinsicAxesCount() const;
    [[nodiscard]] IntrinsicAxesMode ComputeIntrinsics() const;
    [[nodiscard]] unsigned int LevelsBelowRoot() const;
    [[nodiscard]] ERef<ETabulonGridAxe> VariablesAxe() const;
    [[nodiscard]] ERef<ETabulonGridAxe> FunctionsAxe() const;
    [[nodiscard]] ERef<ETabulonGridAxe> DataAxe(unsigned int index) const;

    ETabulonTag root_;
    unsigned int axesCount_;
    ERef<ETabulonSortDesc> sortDesc_;
    ETabulonCumulFuncOnVarCollection calculations_;
    mutable unsigned int calculationAxesCount_ = kNotComputed;
    mutable IntrinsicAxesMode axesMode_ = IntrinsicUnknown;
};

}  // namespace etabulon
