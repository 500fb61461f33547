#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <cstddef>
#include <vector>

namespace etabulon {

/// Replays the leaves of a tree as records, for a re-sort without a walk of the table. The cursor
/// has neither fields nor levels: listeners may use the tag and the key only.
///
/// Ownership  the nodes aren't owned; the tree must outlive the replay.
class ETabulonCursorTree : public ETabulonCursor {
public:
    /// Collects the leaves below `root`, depth first. A root that is a leaf is one record.
    explicit ETabulonCursorTree(const EDataTreeNode& root);

protected:
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

private:
    void Collect(const EDataTreeNode& node);

    std::vector<const EDataTreeNode*> records_;
    std::size_t position_ = static_cast<std::size_t>(-1);
};

}  // namespace etabulon
