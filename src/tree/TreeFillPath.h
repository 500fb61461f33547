#pragma once

#include "etabulon/foundation/ERef.h"
#include "etabulon/tree/EDataTreeNode.h"
#include "tree/TreeChildCache.h"

#include <atomic>
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

    /// Asks the memory for what File of the same tag will read.
    void Look(const ETabulonTag& tag);
    /// AddChild of the start node, and SetPrimaryKey of what it gives. Requires Look before it.
    void File(const ETabulonTag& tag, const ETabulonPrimaryKey& key);
    /// The walk meets the node. Here alone does a walk clear flags.
    void Meet(EDataTreeNode& node) noexcept {
        if (dirty_ != 0 && node.dirty_) {
            node.dirty_ = false;
            --dirty_;
        }
    }
    /// No flag is left to be cleared. May be false where there is none, after changes from
    /// elsewhere.
    [[nodiscard]] bool HasMetAll() const noexcept { return dirty_ == 0; }
    /// Newcomers get their places at the next look, not at the end of the walk.
    void LeaveWaiting() noexcept { touched_.clear(); }
    /// The node has newcomers.
    void Touch(EDataTreeNode& node) { touched_.push_back(ERef<EDataTreeNode>::Retain(&node)); }
    [[nodiscard]] const ETabulonSortDesc& Sort() const noexcept { return sort_; }

    /// Files the records that are held back. Fails where some were lost for want of memory.
    void Settle();
    /// The same for somebody who looks at the tree in mid-walk. Without memory the walk fails
    /// later.
    void SettleForReader() noexcept;
    [[nodiscard]] static bool IsAnyLate() noexcept {
        return lateWalks_.load(std::memory_order_relaxed) != 0;
    }

    /// Nodes are about to go: gives all newcomers their places and forgets the last record, here
    /// and in the refreshes of the same node that this one runs inside of.
    void Forget() noexcept;

private:
    /// A level that the tree shows, with what the last record had there.
    struct Rung {
        explicit Rung(unsigned shown) : level(shown) {}

        unsigned level;
        unsigned place = 0;  // of the level in the record's tag
        const ETabulonValue* value = nullptr;
        EDataTreeNode* node = nullptr;
        // Where the node is the last record's, its hash alone is good: the one of the node's value.
        TreeChildCache::Key key;
        std::uint32_t entry = TreeChildCache::kNoSlot;  // of the node in the cache
        std::uint32_t steps = 0;                        // records that came to another node here
        std::uint32_t known = 0;                        // of them, those whose node was there
        ETabulonTag part;          // the record's as far as here, made for new nodes
        bool isSought = false;     // in the cache
        bool isOwnValue = true;    // the value is the node's to the letter
        bool isIdentical = false;  // from below the start to here, the path is the record's
    };

    /// A record that is held back: its place in the tree is known, its node wasn't looked at.
    struct Late {
        EDataTreeNode* parent;
        ETabulonValue value;
        TreeKeyWord key;
    };
    static constexpr std::size_t kMostLate = 32;

    [[nodiscard]] EDataTreeNode* Add(const ETabulonTag& tag, const TreeKeyWord* key);
    [[nodiscard]] bool MayWait(const ETabulonTag& tag) const;
    void HoldBack(EDataTreeNode& parent, const ETabulonValue& value, TreeKeyWord key);
    void FileLate(const Late& late);
    void SettleRecords();
    void BecomeLate() noexcept;
    void DropLate() noexcept;
    [[nodiscard]] EDataTreeNode* AddIrregular(const ETabulonTag& tag);
    [[nodiscard]] bool IsStraight() const;
    void ForgetRecord() noexcept;
    void ReadLevels();
    [[nodiscard]] bool ReadValues(const ETabulonTag& tag);
    void LookAhead(std::size_t depth);
    [[nodiscard]] std::uint32_t HashAbove(std::size_t depth) const noexcept;
    [[nodiscard]] bool IsRemembered(const Rung& rung) const noexcept;
    [[nodiscard]] bool StandsStill(std::size_t depth);
    [[nodiscard]] EDataTreeNode* Step(EDataTreeNode& node, const ETabulonTag& tag,
                                      std::size_t depth);
    [[nodiscard]] bool IsIdenticalAbove(std::size_t depth) const;
    [[nodiscard]] EDataTreeNode* MakeChild(EDataTreeNode& node, const ETabulonTag& tag,
                                           std::size_t depth);
    [[nodiscard]] const ETabulonTag& PartOf(const ETabulonTag& tag, std::size_t depth);

    EDataTreeNode& start_;
    const ETabulonSortDesc& sort_;
    TreeFillPath* outer_;      // of a refresh that this one runs inside of
    std::vector<Rung> rungs_;  // of the levels shown, from the top down
    std::vector<ERef<EDataTreeNode>> touched_;
    TreeChildCache cache_;
    std::size_t same_ = 0;           // so many rungs are the last record's
    bool isStraightRecord_ = false;  // the record has a value for each rung
    std::vector<Late> late_;
    std::size_t filed_ = 0;  // of late_, from the front
    bool isLate_ = false;    // records or keys are held back, and the topmost node tells it
    bool isShort_ = false;   // memory ran out where nothing could be thrown
    static std::atomic<int> lateWalks_;
    std::size_t dirty_;             // nodes that the walk has still to meet, or more
    std::uint64_t orderStamp_ = 0;  // of rungs_; 0 = to be read
    bool straight_ = false;         // each level once, and the start node among them
};

}  // namespace etabulon::detail
