#pragma once

#include "etabulon/report/EReportCell.h"

namespace etabulon {

using CliCell = EReportCell;
using CliCellKind = EReportKind;
using CliCellMaker = EReportCellMaker;

}  // namespace etabulon
