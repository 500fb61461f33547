#pragma once

#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonTag.h"
#include "tree/TreeWalk.h"

#include <memory>

namespace etabulon {
class ETabulonSortDesc;
}  // namespace etabulon

namespace etabulon::detail {

/// The part of a node that few nodes need. The topmost node always has one.
struct NodeExtra {
    ETabulonTag tag;  // whole; valid with hasTag
    std::unique_ptr<ETabulonPrimaryKey>
        key;  // whole, where a caller asked for it or it isn't packed
    bool hasTag = false;

    // Of the whole tree, valid in its topmost node only.
    bool keepsKeys = false;  // some node of the tree has a whole key
    const ETabulonSortDesc* sortDesc = nullptr;
    TreeWalks walks;
};

}  // namespace etabulon::detail
