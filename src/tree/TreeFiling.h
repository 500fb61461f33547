#pragma once

#include "etabulon/sort/ETabulonSortDesc.h"
#include "tree/NodeAccess.h"
#include "tree/TreeChildCache.h"
#include "tree/TreeHeldRecords.h"
#include "tree/TreeLeafFiling.h"
#include "tree/TreeLeafKeys.h"
#include "tree/TreeNewLeaves.h"
#include "tree/TreeRefreshMarks.h"
#include "tree/TreeWalk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Files the records of one walk below a node. It keeps the nodes of the last record, so that a
/// record costs one comparison for each level that it shares with the record before; finds other
/// nodes in a cache of the children met; and holds records back where each has a leaf of its own.
/// A record that doesn't fit the levels shown is filed by the general method, FileByParents.
///
/// Lives on the stack of a refresh, and is one of the tree's walks meanwhile.
/// Failure  std::bad_alloc passes through; the walk has to end then.
class TreeFiling final : public TreeWalk {
public:
    explicit TreeFiling(EDataTreeNode& start);
    ~TreeFiling() override;

    /// Prefetches what File of the same tag reads. Requires that the tag lives until then.
    void Prefetch(const ETabulonTag& tag);
    /// AddChild of the start node, and SetPrimaryKey of the node that it gives. Requires Prefetch
    /// of the tag before.
    void File(const ETabulonTag& tag, const ETabulonPrimaryKey& key);
    /// Files the records that are held back, and writes the keys. Fails also where an earlier flush
    /// for a reader ran out of memory.
    void Flush();
    /// So many nodes below the start have their flag set. Without this call none has.
    void SetDirtyCount(std::size_t dirty) noexcept { marks_.SetDirtyCount(dirty); }
    /// The walk has met each node that was below the start. It may be false though it has.
    [[nodiscard]] bool HasMetAll() const noexcept { return marks_.HasMetAll(); }

    // For the records of a block, whose caller finds nodes by itself and writes the keys. It has to
    // call FlushRecords before it sets keys past this object.

    /// Files the single records that are held back, and writes their keys.
    void FlushRecords();
    /// The leaves that the caller has met, with their keys, and the new ones. A reader of the tree
    /// makes this object write the keys, place the new leaves and forget all leaves.
    [[nodiscard]] TreeLeafKeys& LeafKeys() noexcept { return leafKeys_; }
    [[nodiscard]] TreeNewLeaves& NewLeaves() noexcept { return newLeaves_; }
    /// Writes the keys and places the new leaves.
    void FlushLeaves();
    void ForgetLeaves() noexcept;
    [[nodiscard]] TreeLeafFiling& Leaves() noexcept { return leaves_; }

    /// Each level is shown once, below the start and the nodes above it, and making a node runs no
    /// code of the application.
    [[nodiscard]] bool CanFileBlocks();
    [[nodiscard]] EDataTreeNode& Start() const noexcept { return start_; }
    /// The levels shown, from the top down, as of the last CanFileBlocks.
    [[nodiscard]] std::size_t Depth() const noexcept { return path_.size(); }
    [[nodiscard]] unsigned int LevelAt(std::size_t depth) const noexcept {
        return path_[depth].level;
    }
    /// The child for a record's value at that depth, made if it isn't there. Requires that the
    /// parent's path is identical to the record's, if the child may be made. Null where it can't be
    /// found by value, or mayn't be made.
    [[nodiscard]] EDataTreeNode* Step(EDataTreeNode& parent, std::size_t depth,
                                      const ETabulonValue& value, bool mayMake);
    /// AddChild of the start node. Null for a record that has only hidden values.
    [[nodiscard]] EDataTreeNode* Add(const ETabulonTag& tag);
    /// The node of that depth which the last Add met; null if FileByParents filed it.
    [[nodiscard]] EDataTreeNode* NodeAt(std::size_t depth) const noexcept {
        return path_[depth].node;
    }
    /// How often nodes were forgotten.
    [[nodiscard]] std::uint64_t Forgotten() const noexcept { return forgotten_; }

    /// See TreeRefreshMarks.
    void LeaveWaiting() noexcept { marks_.LeaveWaiting(); }

    void FlushForReader() noexcept override;
    void Forget() noexcept override;

private:
    /// A level that the tree shows, with what the last record has there.
    struct PathLevel {
        explicit PathLevel(unsigned int shown) : level(shown) {}

        unsigned int level;
        unsigned int index = 0;  // of the level in the record's tag
        const ETabulonValue* value = nullptr;
        EDataTreeNode* node = nullptr;
        // Where `node` is the last record's too, only the hash of this key is valid.
        TreeChildCache::Key key;
        std::uint32_t slot = TreeChildCache::kNoSlot;  // of the node in the cache
        std::uint32_t lookups = 0;  // records whose node isn't that of the record before
        std::uint32_t known = 0;    // of them, those whose node was there already
        ETabulonTag part;           // the record's as far as this level, made for new nodes
        bool usesCache = false;
        bool isOwnValue = true;    // the record's value is identical to the node's
        bool isIdentical = false;  // from below the start to here, the path is the record's
    };

    [[nodiscard]] EDataTreeNode* AddRegular(const ETabulonTag& tag, const TreeKeyWord* key);
    [[nodiscard]] EDataTreeNode* AddIrregular(const ETabulonTag& tag);
    [[nodiscard]] bool CanHoldBack(const ETabulonTag& tag) const;
    void Hold(EDataTreeNode& parent, const ETabulonValue& value, TreeKeyWord key);
    void FileHeld();
    void ForgetRecord() noexcept;
    void ReadLevels();
    [[nodiscard]] bool AreLevelsRegular() const;
    [[nodiscard]] bool ReadValues(const ETabulonTag& tag);
    void PrefetchEntries(std::size_t depth);
    [[nodiscard]] std::uint32_t HashAbove(std::size_t depth) const noexcept;
    [[nodiscard]] bool IsWorthCaching(const PathLevel& at) const noexcept;
    [[nodiscard]] bool HasLastNode(std::size_t depth);
    [[nodiscard]] EDataTreeNode* Step(EDataTreeNode& node, const ETabulonTag& tag,
                                      std::size_t depth);
    [[nodiscard]] bool IsIdenticalAbove(std::size_t depth) const;
    [[nodiscard]] EDataTreeNode* AddChild(EDataTreeNode& node, const ETabulonTag& tag,
                                          std::size_t depth);
    [[nodiscard]] const ETabulonTag& PartOf(const ETabulonTag& tag, std::size_t depth);

    const ETabulonSortDesc& sort_;
    std::vector<PathLevel> path_;  // the levels shown, from the top down
    TreeRefreshMarks marks_;
    TreeChildCache cache_;
    TreeHeldRecords held_;
    TreeLeafFiling leaves_;
    TreeLeafKeys leafKeys_;
    TreeNewLeaves newLeaves_;
    std::size_t shared_ = 0;         // the depth down to which the nodes are the last record's
    bool isRegularRecord_ = false;   // the record has a value for each level shown
    bool areLevelsRegular_ = false;  // each level once, and the start stands for the first of them
    bool outOfMemory_ = false;       // in a flush for a reader, which can't fail itself
    std::uint64_t forgotten_ = 0;
    std::uint64_t orderStamp_ = 0;  // of the levels in path_; 0 = to be read
};

}  // namespace etabulon::detail
