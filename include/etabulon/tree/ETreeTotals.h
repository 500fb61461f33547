#pragma once

#include "etabulon/cumul/ETabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/IBlockNotifier.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/values/ETabulonExtractValue.h"

#include <memory>
#include <optional>
#include <vector>

namespace etabulon {

class EDataTreeNode;
class ETabulonPendingChanges;
class ETabulonSortDesc;
class ETabulonTag;
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
/// Results    those of the records that the walks met; in the midst of a walk, of those that it has
///            met below its tag. After a cancelled or failed walk known leaves have their results
///            of before, and new ones those of the records met; a walk that another listener ends
///            leaves what it met. LAST, FIRST, COMMONVAL and the codes of extremes go by the order
///            of the records, where those of a refreshed branch are later ones. CODEMIN over
///            records without a value is ValSpecial above the leaves. Levels that were shown or
///            hidden since the last walk take the results away until the next one.
/// Ownership  counted. The cursor, the sort description and the pending changes aren't owned and
///            must outlive it.
/// Threads    records come on the walking thread. Readers hold the cursor's lock, as for the nodes,
///            and one reads at a time: the first read behind a change works the subtotals out.
/// Cost       a record of a known leaf allocates nothing. The subtotals take one pass over the
///            leaves.
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
    void ReadResult(const ETabulonTag& node, unsigned calculation, ETabulonValue& result) const;
    /// What a node's result is of that of another node, in percent: of its parent's or the root's.
    /// None where there is no value, or the other's is 0. It is meant for functions whose results
    /// add up: COUNT, COUNTVAL and SUM.
    [[nodiscard]] std::optional<double> Share(const ETabulonTag& node, const ETabulonTag& of,
                                              unsigned calculation) const;
    /// The order of a node's children by a result, as their indexes: no value is the lowest, then
    /// come values that differ (COMMONVAL). Equal ones stay in the tree's order.
    [[nodiscard]] std::vector<unsigned> OrderOf(const EDataTreeNode& parent, unsigned calculation,
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
