#pragma once

#include "etabulon/grid/ITabulonResGridUI.h"

namespace etabulon {

/// A view of a cross table that ignores every call: derive from it and override what matters.
/// Example    examples/grid.cpp
class ETABULON_API EGridView : public ITabulonResGridUI {
public:
    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override {}
    void SetAxeCount(unsigned int /*count*/) override {}
    void SetAxe(AxeDirection /*direction*/, const ETabulonGridAxe* /*axe*/) override {}
    void SetValue(unsigned int /*column*/, unsigned int /*line*/,
                  const ETabulonValue& /*value*/) override {}
    void SetTotal(const ETabulonValue& /*value*/) override {}
    void SetTotal(AxeDirection /*direction*/, unsigned int /*index*/,
                  const ETabulonValue& /*value*/) override {}
};

}  // namespace etabulon
