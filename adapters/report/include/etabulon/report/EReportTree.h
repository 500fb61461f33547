#pragma once

#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/foundation/EExport.h"
#include "etabulon/foundation/fwd.h"
#include "etabulon/report/EReportCross.h"
#include "etabulon/report/EReportWriter.h"
#include "etabulon/tree/fwd.h"
#include "etabulon/values/ETabulonVariableID.h"

#include <vector>

namespace etabulon {

/// Writes a record for each node of a tree, from the root down: its label, the number of leaves
/// that it is or has, and its results of `names`. The caller holds the cursor's lock if a walk may
/// run.
/// @param totals  null if nothing is calculated.
ETABULON_API void WriteTree(EReportWriter& writer, const EDataTree& tree, const EReportNames& names,
                            const ETreeTotals* totals);

/// Writes each record of a walk: its levels and the values of variables. No event tells the end of
/// a walk: the caller of Browse calls the writer's Finish, with whether the walk was whole.
///
/// Ownership  nothing is owned.
/// Example    adapters/report/src/EReportTree.cpp
class ETABULON_API EReportRecords final : public ECursorListener {
public:
    EReportRecords(EReportWriter& writer, const EReportNames& names,
                   std::vector<ETabulonVariableID> values)
        : writer_(writer), names_(names), values_(std::move(values)) {}

    CursorStatus OnReset(const ETabulonTag& tag, const ETabulonCursor& cursor) override;
    CursorStatus OnMove(const ETabulonCursor& cursor) override;

private:
    EReportWriter& writer_;
    const EReportNames& names_;
    std::vector<ETabulonVariableID> values_;
    std::vector<const EField*> fields_;
    EReportCellMaker maker_;
};

}  // namespace etabulon
