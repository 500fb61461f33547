#pragma once

#include "etabulon/cumul/fwd.h"
#include "etabulon/cursors/fwd.h"
#include "etabulon/foundation/ECountedUnknown.h"
#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/values/fwd.h"

#include <memory>
#include <span>
#include <vector>

namespace etabulon {

namespace detail {
class GridCells;
}  // namespace detail

/// The running results of a grid: folds the records of a walk, and sends axes, cells and totals to
/// a view. ETabulonGridCumuls::Start makes it; a new walk needs a new object.
///
/// Ownership  counted; holds a reference to its description.
/// Threads    one walk writes. Readers hold the cursor's lock, as the filler does for them: reading
///            writes too, since the axes are built on demand.
/// Failure    none is reported. Records outside the root are ignored; a cell without records is
///            sent as ValNull.
/// Cost       a record of a known cell allocates nothing.
/// Example    tests/grid/GridSendTest.cpp
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
    /// Merges the state of records at this position, as if they came after those before. Requires
    /// a partial state over the description's calculations, which IsMergeable().
    void AddPartial(const ETabulonTag& position, const CumulPartial& partial);
    /// Returns a reference for the caller, to the same axis until the next AddValue.
    [[nodiscard]] ETabulonGridAxe* BuildAxeDesc(unsigned int index) const;
    /// The variable and the tag behind a cell. The index one past an axis's last label means its
    /// total. False for a cell other than (0, 0) of a grid without axes.
    [[nodiscard]] bool GetSelection(unsigned int column, unsigned int line,
                                    ETabulonVariableID* variable, ETabulonTag* tag) const;
    void SendTo(ITabulonResGridUI* view) const;

protected:
    ~ETabulonGridCumulsBuffers() override;

private:
    friend class ETabulonGridFiller;

    /// AddValue for an extract that was initialised with this description's calculations.
    void AddOwnValue(const ETabulonExtractValue& extract);
    /// False where the records must come one by one.
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request);
    /// AddOwnValue for each of these records of a block, all at or below the root.
    void AddBlock(const ERecordBlock& block, std::span<const EBlockIndex> records);
    void ReleaseAxes() const noexcept;
    void GetSelection(const ETabulonGridAxe& axe, unsigned int index, ETabulonVariableID* variable,
                      ETabulonTag* tag) const;

    ERef<ETabulonGridCumuls> desc_;
    std::unique_ptr<detail::GridCells> cells_;
    // By index; entries may be null. If stale, the axes lack the records of the last AddValue
    // calls.
    mutable std::vector<ERef<ETabulonGridAxe>> axes_;
    mutable bool axesStale_ = false;
};

}  // namespace etabulon
