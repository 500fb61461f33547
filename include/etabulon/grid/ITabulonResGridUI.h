#pragma once

#include "etabulon/grid/ITabulonResultUI.h"
#include "etabulon/grid/fwd.h"
#include "etabulon/values/fwd.h"

#include <cstdint>

namespace etabulon {

/// A view of a cross table. It gets the axes, then the cells line by line, then the totals.
///
/// Order    StartRefresh, Reset, SetAxeCount, SetAxe for each axis with all its labels, the values
///          and totals if the grid holds a record, EndRefresh.
/// Axes     lines lie along axis 0 and columns along axis 1. A grid of one axis sends its values
///          along the lines, as SetValue(0, index, value), and its total as
///          SetTotal(AxeLines, 0, value); a grid of none sends the one value (0, 0).
/// Threads  called under the filler's cursor lock, on the thread of SendTo.
/// Example    tests/grid/LiteralGrid.h
class ETABULON_API ITabulonResGridUI : public virtual ITabulonResultUI {
public:
    enum AxeDirection : std::uint32_t {
        AxeLines = 0,    // axis 0; for a total: a column's, which lies in the total line
        AxeColumns = 1,  // axis 1; for a total: a line's, which lies in the total column
    };

    virtual void SetAxeCount(unsigned int count) = 0;
    /// `direction` is the axis's index, also when it is 2 or more. A view that keeps the axis past
    /// EndRefresh adds a reference.
    virtual void SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) = 0;
    /// ValNull for a cell without records, ValSpecial if its records' common values differ.
    virtual void SetValue(unsigned int column, unsigned int line, const ETabulonValue& value) = 0;
    /// The grand total.
    virtual void SetTotal(const ETabulonValue& value) = 0;
    virtual void SetTotal(AxeDirection direction, unsigned int index,
                          const ETabulonValue& value) = 0;
};

}  // namespace etabulon
