#pragma once

#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeFillPath.h"

#include <memory>

namespace etabulon {

/// What few nodes have.
struct EDataTreeNode::Extra {
    ETabulonTag tag;                             // whole; valid with hasTag
    std::unique_ptr<ETabulonPrimaryKey> key;     // whole, where it was asked for or can't be packed
    const ETabulonSortDesc* sortDesc = nullptr;  // of the tree; in the root, and in an orphan
    detail::TreeFillPath* path = nullptr;        // of the innermost refresh that started here
    detail::TreeFillPath* late = nullptr;        // in the topmost node: holds records back
    bool hasTag = false;
    bool keepsKeys = false;  // in the topmost node: some node of the tree has a whole key
};

}  // namespace etabulon
