#pragma once

#include "etabulon/score/ITabulonResScoreUI.h"

namespace etabulon {

/// A view of a ranking that ignores every call: derive from it and override what matters.
/// Example    examples/score.cpp
class ETABULON_API EScoreView : public ITabulonResScoreUI {
public:
    void StartRefresh() override {}
    void EndRefresh() override {}
    void Reset() override {}
    void SetScoreAxe(const ETabulonSortDesc* /*sortDesc*/, unsigned int /*levelCount*/,
                     const ETabulonGridAxe* /*axe*/) override {}
    void SetScoreLine(const ETabulonTag& /*label*/,
                      const PTableau<ETabulonValue>& /*values*/) override {}
    void SetScoreTotal(const PTableau<ETabulonValue>& /*values*/) override {}
};

}  // namespace etabulon
