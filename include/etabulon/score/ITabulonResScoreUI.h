#pragma once

#include "etabulon/foundation/PTableau.h"
#include "etabulon/grid/ITabulonResultUI.h"

namespace etabulon {

class ETabulonGridAxe;
class ETabulonSortDesc;
class ETabulonTag;
class ETabulonValue;

/// A view of a ranking: it is told the axis of calculations, then the lines in order, then the
/// total.
///
/// Order    StartRefresh, Reset, SetScoreAxe, SetScoreLine for each line, SetScoreTotal, then
///          EndRefresh.
/// Values   one for each calculation, in order, in an array of their own; ValNull where there is no
///          result, ValSpecial where common values differ. The axis may have fewer labels.
/// Threads  called under the filler's cursor lock, on the thread of SendTo.
class ETABULON_API ITabulonResScoreUI : public virtual ITabulonResultUI {
public:
    /// `levelCount` counts the root's values and the label levels together. A view that keeps the
    /// axis or the sort description past EndRefresh adds a reference.
    virtual void SetScoreAxe(const ETabulonSortDesc* sortDesc, unsigned int levelCount,
                             const ETabulonGridAxe* axe) = 0;
    virtual void SetScoreLine(const ETabulonTag& label, const PTableau<ETabulonValue>& values) = 0;
    virtual void SetScoreTotal(const PTableau<ETabulonValue>& values) = 0;
};

}  // namespace etabulon
