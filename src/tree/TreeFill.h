#pragma once

#include "etabulon/foundation/ERef.h"
#include "tree/TreeBlockFiling.h"
#include "tree/TreeFiling.h"

#include <cstddef>
#include <limits>

namespace etabulon::detail {

/// What files the records of an EDataTreeFiller's walk by blocks. Between two calls nothing waits
/// to be filed or written, because the end of a walk isn't announced.
class TreeFill {
public:
    TreeFill(EDataTreeNode& start, TreeBlockFiling::Mode mode)
        : start_(ERef<EDataTreeNode>::Retain(&start)), filing_(start), blocks_(filing_, mode) {
        // A refresh may run around this walk: the nodes that are met here are met by it.
        filing_.SetDirtyCount(std::numeric_limits<std::size_t>::max());
    }

    [[nodiscard]] bool Want(const ETabulonCursor& cursor, EBlockRequest& request) {
        return blocks_.Want(cursor, request);
    }
    /// Returns the record's node, or null if it has only hidden values.
    EDataTreeNode* File(const ETabulonCursor& cursor) { return blocks_.File(cursor); }
    /// Returns the records' nodes, null for those that have only hidden values. Empty without a
    /// mode with nodes.
    std::span<EDataTreeNode* const> File(const ERecordBlock& block,
                                         std::span<const EBlockIndex> records) {
        blocks_.File(block, records);
        filing_.Flush();
        return blocks_.Nodes();
    }

private:
    ERef<EDataTreeNode> start_;  // may be dropped before the filler
    TreeFiling filing_;
    TreeBlockFiling blocks_;
};

}  // namespace etabulon::detail
