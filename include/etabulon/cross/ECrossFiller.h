#pragma once

#include "etabulon/cross/fwd.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/pending/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <span>
#include <utility>
#include <vector>

namespace etabulon {

/// The listener that turns a cursor's walk into a cross table whose axes may be nested, with all
/// subtotals: an ECrossTable arranges the result.
///
/// Use        Build, SetParams, add it to the cursor's notifiers, Browse, make an ECrossTable. A
///            reset drops the previous result; tables made of it keep it.
/// Ownership  counted. The cursor, the pending changes and the sort description are not owned; a
///            reset copies the sort description, which must live until then.
/// Threads    records come on the walking thread, without a lock.
/// Blocks     a walk may be read by blocks, unless there are pending changes, a function of an
///            application, or a derived class; the result is the same.
/// Failure    none is reported. Requires SetParams before a walk.
/// Cost       for each record one fold for each depth of the lines with each depth of the columns:
///            three for two levels, five for two on one axis and one on the other.
/// Example    examples/cross.cpp
class ETABULON_API ECrossFiller : public EBlockListener {
public:
    /// The levels of an axis from the outermost on.
    using Levels = std::vector<unsigned int>;

    /// Returns a reference for the caller, who adds it to the cursor. Requires a cursor;
    /// `pending` may be null.
    [[nodiscard]] static ECrossFiller* Build(ETabulonCursor* cursor,
                                             const ETabulonPendingChanges* pending);
    /// The same as Build, held by an ERef.
    template <class... Arguments>
    [[nodiscard]] static ERef<ECrossFiller> Make(Arguments&&... arguments) {
        return ERef<ECrossFiller>::Adopt(Build(std::forward<Arguments>(arguments)...));
    }
    ECrossFiller(const ECrossFiller&) = delete;
    ECrossFiller& operator=(const ECrossFiller&) = delete;

    /// Drops the result at once. The calculations are copied. Requires levels with a key in the
    /// sort description, each once on the two axes. A level that the tag of a walk holds makes no
    /// depth of its axis.
    void SetParams(const ITabulonCumulFuncOnVarCollection* calculations,
                   const ETabulonSortDesc* sortDesc, Levels lines, Levels columns);

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;

protected:
    ECrossFiller(ETabulonCursor* cursor, const ETabulonPendingChanges* pending);
    ~ECrossFiller() override;

private:
    friend class ECrossTable;

    const ETabulonPendingChanges* pending_;  // not owned
    ETabulonCumulFuncOnVarCollection calculations_;
    const ETabulonSortDesc* sortDesc_ = nullptr;  // not owned
    Levels lines_;
    Levels columns_;
    ERef<detail::CrossCells> cells_;
    ETabulonExtractValue extract_;
    ETabulonCursor* cursor_;  // not owned
};

}  // namespace etabulon
