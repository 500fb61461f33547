#pragma once

#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeFillPath.h"

namespace etabulon {

/// What few nodes have.
struct EDataTreeNode::Extra {
    ETabulonTag tag;                       // whole; valid with hasTag
    ETabulonPrimaryKey key;                // whole; valid with hasKey
    detail::TreeFillPath* path = nullptr;  // of the refresh that starts here
    bool hasTag = false;
    bool hasKey = false;
};

}  // namespace etabulon
