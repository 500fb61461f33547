#pragma once

#include "apps/etabulon/request/CliSortOptions.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/sort/ETabulonSortDesc.h"

#include <string>
#include <vector>

namespace etabulon {

/// Counts, in the walk that fills a cross table, the records of labels that a reader of the table
/// can't tell apart: they are shown alike, or its order takes them for equal and shows one of them.
///
/// Ownership  has a filler on the cursor for each axis of the table. `levels` and the cursor
///            outlive this.
class CliAlikeLabels {
public:
    /// To be made before the walk. `mergesEqual` tells that the table has one line for labels that
    /// its order takes for equal.
    CliAlikeLabels(const CliResultLevels& levels, ETabulonCursor& cursor, bool mergesEqual);

    /// A sentence for each axis that has such labels. Requires that the walk has reached its end.
    [[nodiscard]] std::vector<std::string> Sentences() const;

private:
    struct Axis {
        unsigned int level;
        ERef<ETabulonSortDesc> byValue;  // the filler needs it until the walk begins
        ERef<ETabulonGridFiller> filler;
    };
    [[nodiscard]] std::string Sentence(const Axis& axis) const;

    const CliResultLevels& levels_;
    bool mergesEqual_;
    std::vector<Axis> axes_;
};

}  // namespace etabulon
