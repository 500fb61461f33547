#pragma once

#include "etabulon/foundation/PTableau.h"
#include "etabulon/grid/ITabulonResultUI.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/sort/fwd.h"
#include "etabulon/values/fwd.h"

namespace etabulon {

/// A view of a ranking. It gets the axis of calculations, then the lines in order, then the total.
///
/// Order    StartRefresh, Reset, SetScoreAxe, SetScoreLine for each line, SetScoreTotal, then
///          EndRefresh.
/// Values   one for each calculation, in order, in a new array; ValNull without a result,
///          ValSpecial if common values differ. The axis may have fewer labels than there are
///          calculations.
/// Threads  called under the filler's cursor lock, on the thread of SendTo.
/// Example    tests/score/LiteralScore.h
class ETABULON_API ITabulonResScoreUI : public virtual ITabulonResultUI {
public:
    /// `levelCount` is the sum of the root's values and the label levels. A view that keeps the
    /// axis or the sort description past EndRefresh adds a reference.
    virtual void SetScoreAxe(const ETabulonSortDesc* sortDesc, unsigned int levelCount,
                             const ETabulonGridAxe* axe) = 0;
    virtual void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) = 0;
    virtual void SetScoreTotal(const PTableau<ETabulonValue>& values) = 0;
};

}  // namespace etabulon
