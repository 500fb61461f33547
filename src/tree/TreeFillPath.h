#pragma once

#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeNode.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// What one refresh keeps between records: the nodes of the last record, so that a record costs one
/// comparison for each level it shares with the one before, and the nodes whose newcomers wait for
/// their place until nobody adds any more.
///
/// Lives on the stack of EDataTreeNode::Refresh; the start node points at it meanwhile.
class TreeFillPath {
public:
    /// `dirty` nodes below the start have their flag set.
    TreeFillPath(EDataTreeNode& start, std::size_t dirty);
    ~TreeFillPath();
    TreeFillPath(const TreeFillPath&) = delete;
    TreeFillPath& operator=(const TreeFillPath&) = delete;

    /// AddChild of the start node.
    EDataTreeNode* Add(const ETabulonTag& tag);
    /// The walk meets the node. Here alone does a walk clear flags.
    void Meet(EDataTreeNode& node) noexcept {
        if (node.dirty_) {
            node.dirty_ = false;
            --dirty_;
        }
    }
    /// No flag is left to be cleared. May be false where there is none, after changes from
    /// elsewhere.
    [[nodiscard]] bool HasMetAll() const noexcept { return dirty_ == 0; }
    /// The node has newcomers.
    void Touch(EDataTreeNode& node) { touched_.push_back(ERef<EDataTreeNode>::Retain(&node)); }
    /// Nodes are about to go: gives all newcomers their places and forgets the last record, here
    /// and in the refreshes of the same node that this one runs inside of.
    void Forget() noexcept;

private:
    [[nodiscard]] EDataTreeNode* AddIrregular(const ETabulonTag& tag);
    [[nodiscard]] bool IsStraight() const;
    void ReadLevels();
    [[nodiscard]] bool ReadValues(const ETabulonTag& tag);
    [[nodiscard]] EDataTreeNode* ChildFor(EDataTreeNode& node, const ETabulonTag& tag,
                                          std::size_t depth);
    [[nodiscard]] const ETabulonTag& PartOf(const ETabulonTag& tag, std::size_t depth);
    [[nodiscard]] EDataTreeNode* Recall();
    [[nodiscard]] bool StandsFor(EDataTreeNode* node, std::size_t depth);
    void Remember(EDataTreeNode* node, std::size_t depth) noexcept;

    EDataTreeNode& start_;
    const ETabulonSortDesc& sort_;
    TreeFillPath* outer_;                       // of a refresh that this one runs inside of
    std::vector<unsigned> levels_;              // shown, from the top down
    std::vector<unsigned> places_;              // of those levels in the last record's tag
    std::vector<const ETabulonValue*> values_;  // of the record, from the top down
    std::vector<EDataTreeNode*> nodes_;         // of the last record, from below the start down
    std::vector<ERef<EDataTreeNode>> touched_;
    // Nodes met before by a hash of their path, so that most records look at their own node and not
    // at the siblings on the way. A hint: what it gives is compared. Empty until the walk is long.
    std::vector<EDataTreeNode*> recalled_;
    std::vector<std::uint32_t> hashes_;  // of the record's path, by depth
    std::size_t records_ = 0;
    ETabulonTag part_;
    std::size_t dirty_;             // nodes that the walk has still to meet, or more
    std::uint64_t orderStamp_ = 0;  // of levels_; 0 = to be read
    bool straight_ = false;         // each level once, and the start node among them
};

}  // namespace etabulon::detail
