#include "tree/ETabulonCursorTree.h"

namespace etabulon {

ETabulonCursorTree::ETabulonCursorTree(const EDataTreeNode& root) {
    records_.reserve(root.LeafCount() + 1);
    Collect(root);
}

void ETabulonCursorTree::Collect(const EDataTreeNode& node) {
    if (node.IsTreeLeaf()) {
        records_.push_back(&node);
        return;
    }
    for (unsigned int index = 0; index < node.Size(); ++index) {
        Collect(*node.Get(index));
    }
}

CursorStatus ETabulonCursorTree::Reset(const ETabulonTag& /*tag*/) {
    position_ = 0;
    return records_.empty() ? StatusEnd : StatusOk;
}

CursorStatus ETabulonCursorTree::GetNext() {
    ++position_;
    return position_ < records_.size() ? StatusOk : StatusEnd;
}

void ETabulonCursorTree::ExtractCurrentTag(ETabulonTag& tag) const {
    records_[position_]->ExtractTag(tag);
}

void ETabulonCursorTree::ExtractPrimaryKey(ETabulonPrimaryKey& key) const {
    records_[position_]->ExtractPrimaryKey(key);
}

}  // namespace etabulon
