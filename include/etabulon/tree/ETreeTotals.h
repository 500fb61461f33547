#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/pending/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/tree/fwd.h"
#include "etabulon/values/ETabulonExtractValue.h"
#include "etabulon/values/fwd.h"

#include <memory>
#include <optional>
#include <vector>

namespace etabulon {

namespace detail {
class TreeTotals;
}  // namespace detail

/// The results of calculations for each node of a tree: a subtotal for every level, each over the
/// records below its node, so that the average of a branch isn't one of averages.
///
/// The records of a walk are folded once, into the state of their leaf; the states of leaves merge
/// into those of the nodes above. So the results follow a new order of the levels without a walk,
/// and a refresh of a branch replaces the states below its tag alone.
///
/// Use        Make for the tree's cursor and sort description, SetCalculations, add it to the
///            cursor's notifiers before EDataTree::Fill, and leave it there for refreshes.
/// Results    during a walk, a node below its tag has the results of the records met so far. After
///            a cancelled or failed walk, leaves that existed before keep their previous results;
///            new leaves have those of the records met. A walk that another listener ends keeps the
///            results of the records met. LAST, FIRST, COMMONVAL and the codes of extremes depend
///            on the order of the records; the records of a refreshed branch are the last. CODEMIN
///            over records without a value is ValSpecial above the leaves. After a level is shown
///            or hidden there are no results until the next walk.
/// Ownership  counted. The cursor, the sort description and the pending changes aren't owned and
///            must outlive it.
/// Threads    records come on the walking thread. Readers hold the cursor's lock, as for the nodes,
///            and one reads at a time: the first read after a change computes the subtotals.
/// Cost       a record of a known leaf allocates nothing. The subtotals take one pass over the
///            leaves.
/// Example    examples/totals.cpp
class ETABULON_API ETreeTotals : public EBlockListener {
public:
    /// `pending` may be null: then records are seen as the cursor shows them.
    [[nodiscard]] static ERef<ETreeTotals> Make(const ETabulonSortDesc* sortDesc,
                                                const ETabulonPendingChanges* pending);
    ETreeTotals(const ETreeTotals&) = delete;
    ETreeTotals& operator=(const ETreeTotals&) = delete;

    /// Drops the results; the next walk makes new ones. The calculations are copied. False, and no
    /// calculations, for a function that an application brought: its buffers can't be merged.
    [[nodiscard]] bool SetCalculations(const ITabulonCumulFuncOnVarCollection& calculations);
    [[nodiscard]] const ETabulonCumulFuncOnVarCollection& Calculations() const noexcept {
        return calculations_;
    }

    /// The result of a node, by its tag; ValNull where it has no records. The root's tag is empty.
    void ReadResult(const ETabulonTag& node, unsigned int calculation, ETabulonValue& result) const;
    /// The node's result as a percentage of the result of another node, usually its parent or the
    /// root. Empty if either has no value, or if the other's is 0. It is meant for functions whose
    /// results add up: COUNT, COUNTVAL and SUM.
    [[nodiscard]] std::optional<double> Share(const ETabulonTag& node, const ETabulonTag& of,
                                              unsigned int calculation) const;
    /// The indexes of a node's children in the order of a result. Children without a value rank
    /// lowest, then those whose records differ (COMMONVAL). Children of equal rank stay in the
    /// tree's order.
    [[nodiscard]] std::vector<unsigned int> OrderOf(const EDataTreeNode& parent,
                                                    unsigned int calculation,
                                                    bool descending) const;

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    [[nodiscard]] bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) override;
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;
    void OnCancel(const ETabulonCursor& cursor) override;
    void OnError(const ETabulonCursor& cursor, CursorStatus status) override;

private:
    ETreeTotals(const ETabulonSortDesc* sortDesc, const ETabulonPendingChanges* pending);
    ~ETreeTotals() override;
    void GiveUp();

    const ETabulonSortDesc* sortDesc_;
    const ETabulonPendingChanges* pending_;
    ETabulonCumulFuncOnVarCollection calculations_;
    ETabulonExtractValue extract_;
    std::unique_ptr<detail::TreeTotals> totals_;  // null before the first walk
};

}  // namespace etabulon
