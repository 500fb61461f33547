#pragma once

#include "etabulon/tree/EDataTreeNode.h"

namespace etabulon::detail {

/// One walk of the start node's tag, which keeps the nodes that it meets, adds the new ones and, if
/// it ends well, drops the rest. `oneFound` tells whether the walk met a record.
[[nodiscard]] CursorStatus WalkAndFile(EDataTreeNode& start, ETabulonCursor& cursor,
                                       bool& oneFound);

}  // namespace etabulon::detail
