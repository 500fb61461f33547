#pragma once

#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/fwd.h"

#include <memory>
#include <vector>

namespace etabulon {

class ETabulonExtractValue;
class ETabulonTag;
class ETabulonVariableID;

namespace detail {
class GridCells;
}  // namespace detail

/// The running results of a grid: takes the records of a walk, and sends axes, cells and totals to
/// a view. Made by ETabulonGridCumuls::Start; there is no clearing.
///
/// Ownership  counted; holds a reference to its description.
/// Threads    one walk writes. Readers hold the cursor's lock, as the filler does for them: they
///            write too, as the axes are made when asked for.
/// Failure    none is reported. Records outside the root are dropped; what doesn't exist is sent as
///            ValNull.
/// Cost       a record that falls where another fell allocates nothing.
class ETABULON_API ETabulonGridCumulsBuffers : public virtual ECountedUnknown {
public:
    /// Adds a reference to `desc`.
    explicit ETabulonGridCumulsBuffers(ETabulonGridCumuls* desc);
    ETabulonGridCumulsBuffers(const ETabulonGridCumulsBuffers&) = delete;
    ETabulonGridCumulsBuffers& operator=(const ETabulonGridCumulsBuffers&) = delete;

    [[nodiscard]] const ETabulonGridCumuls* Desc() const noexcept { return desc_.Get(); }
    [[nodiscard]] unsigned int GridAxesCount() const;
    /// Folds a record into its cell and totals. Requires that the extract knows the variables of
    /// the description's calculations.
    void AddValue(const ETabulonExtractValue& extract);
    /// Returns a reference for the caller. The same axis until the next AddValue.
    [[nodiscard]] ETabulonGridAxe* BuildAxeDesc(unsigned int index) const;
    /// The variable and the position behind a cell. One past the last label of an axis is its
    /// total. False for a cell that a grid without axes doesn't have.
    [[nodiscard]] bool GetSelection(unsigned int column, unsigned int line,
                                    ETabulonVariableID* variable, ETabulonTag* tag) const;
    void SendTo(ITabulonResGridUI* view) const;

protected:
    ~ETabulonGridCumulsBuffers() override;

private:
    friend class ETabulonGridFiller;

    /// AddValue of an extract that was made for this description's calculations, in their order.
    void AddOwnValue(const ETabulonExtractValue& extract);
    void ReleaseAxes() const noexcept;
    void GetSelection(const ETabulonGridAxe& axe, unsigned int index, ETabulonVariableID* variable,
                      ETabulonTag* tag) const;

    ERef<ETabulonGridCumuls> desc_;
    std::unique_ptr<detail::GridCells> cells_;
    // By index; entries may be null. Of the cells as they were before the last AddValue, if stale.
    mutable std::vector<ERef<ETabulonGridAxe>> axes_;
    mutable bool axesStale_ = false;
};

}  // namespace etabulon
