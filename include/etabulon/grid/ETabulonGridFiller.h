#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/pending/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <span>
#include <utility>

namespace etabulon {

/// The listener that turns a cursor's walk into a grid.
///
/// Use        Build, SetParams, add it to the cursor's notifiers, Browse, SendTo a view. A reset
///            drops the previous grid and starts an empty one. A walk that is cancelled or fails
///            leaves the records that it reached, and SendTo sends them.
/// Ownership  counted. The cursor, the pending changes and the sort description are not owned; a
///            reset copies the sort description, which must live until then.
/// Threads    records come on the walking thread, without a lock. BuildAxeDesc, GetSelection and
///            SendTo take the cursor's lock, and a view is called under it. SetParams takes none
///            and must not meet a walk.
/// Blocks     a walk may be read by blocks, unless there are pending changes, a function of an
///            application, or a derived class; the grid is the same.
/// Failure    none is reported, and the filler keeps no status of the walk. Requires SetParams
///            before a walk, and a reset before any of the grid's operations.
/// Example    examples/grid.cpp
class ETABULON_API ETabulonGridFiller : public EBlockListener {
public:
    /// Returns a reference for the caller, who adds it to the cursor. Requires a cursor;
    /// `pending` may be null.
    [[nodiscard]] static ETabulonGridFiller* Build(ETabulonCursor* cursor,
                                                   const ETabulonPendingChanges* pending);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ETabulonGridFiller> Make(Arguments&&... arguments) {
        return ERef<ETabulonGridFiller>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    ETabulonGridFiller(const ETabulonGridFiller&) = delete;
    ETabulonGridFiller& operator=(const ETabulonGridFiller&) = delete;

    /// Drops the grid at once; a new one comes with the next reset. The calculations are copied.
    void SetParams(const ITabulonCumulFuncOnVarCollection* calculations, unsigned int axesCount,
                   const ETabulonSortDesc* sortDesc);
    /// The filler's copy of the calculations.
    [[nodiscard]] const ITabulonCumulFuncOnVarCollection* Calculations() const noexcept {
        return &calculations_;
    }
    /// Takes no lock.
    [[nodiscard]] unsigned int GridAxesCount() const;
    /// Returns a reference for the caller.
    [[nodiscard]] ETabulonGridAxe* BuildAxeDesc(unsigned int index) const;
    /// The variable and the tag behind a cell. The index one past an axis's last label means its
    /// total.
    [[nodiscard]] bool GetSelection(int column, int line, ETabulonVariableID* variable,
                                    ETabulonTag* tag) const;
    /// Requires that a walk has reset this: one that is cancelled before has made no result.
    void SendTo(ITabulonResGridUI* view) const;

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;

protected:
    ETabulonGridFiller(ETabulonCursor* cursor, const ETabulonPendingChanges* pending);
    ~ETabulonGridFiller() override;

private:
    void Free();

    const ETabulonPendingChanges* pending_;  // not owned
    ETabulonCumulFuncOnVarCollection calculations_;
    const ETabulonSortDesc* sortDesc_ = nullptr;  // not owned
    unsigned int axesCount_ = 0;
    ERef<ETabulonGridCumuls> grid_;
    ERef<ETabulonGridCumulsBuffers> buffers_;
    ETabulonExtractValue extract_;
    ETabulonCursor* cursor_;  // not owned
};

}  // namespace etabulon
